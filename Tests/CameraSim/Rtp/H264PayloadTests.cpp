#include "CameraSim/Rtp/H264Payload.h"

#include "CameraSim/Rtp/H264Source.h"

#include <gmock/gmock.h>

namespace
{

using namespace std::string_literals;
using testing::ElementsAre;

constexpr std::size_t kMaxBytes = 10;

std::vector<std::string> Bytes(const std::vector<std::string>& units)
{
    std::vector<std::string> bytes;
    for (const MediaPayload& payload : H264Payload::Packetise(units, kMaxBytes))
        bytes.push_back(payload.bytes);
    return bytes;
}

TEST(H264Payload, UnitsOfAnyLengthTravelAsRfc6184Says)
{
    struct Row
    {
        const char* reason;
        std::vector<std::string> units;
        std::vector<std::string> payloads;
    };
    const Row rows[] = {
        {"a unit that just fits is sent as it is",
         {"\x41"
          "123456789"},
         {"\x41"
          "123456789"}},
        {"one byte more makes two fragments, without the header byte",
         {"\x65"
          "123456789A"},
         {"\x7C\x85"
          "12345678",
          "\x7C\x45"
          "9A"}},
        {"a fragment between the first and the last is neither",
         {"\x41"
          "123456789ABCDEFGH"},
         {"\x5C\x81"
          "12345678",
          "\x5C\x01"
          "9ABCDEFG",
          "\x5C\x41"
          "H"}},
        {"no empty fragment when the last one is full",
         {"\x41"
          "123456789ABCDEFG"},
         {"\x5C\x81"
          "12345678",
          "\x5C\x41"
          "9ABCDEFG"}},
        {"parameter sets share a packet with the higher importance of the two",
         {"\x27"
          "ab",
          "\x68"
          "c",
          "\x65"
          "d"},
         {"\x78\0\x03\x27"
          "ab\0\x02\x68"
          "c"s,
          "\x65"
          "d"}},
        {"a sequence parameter set alone needs no company",
         {"\x67"
          "ab"},
         {"\x67"
          "ab"}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.payloads, Bytes(row.units)) << row.reason;
}

TEST(H264Payload, OnlyTheLastPacketOfAPictureHasTheMarker)
{
    const auto payloads = H264Payload::Packetise({"\x67"
                                                  "a",
                                                  "\x68"
                                                  "b",
                                                  "\x65"
                                                  "123456789ABC",
                                                  "\x0C"
                                                  "f"},
                                                 kMaxBytes);
    std::vector<bool> markers;
    for (const MediaPayload& payload : payloads)
        markers.push_back(payload.marker);
    EXPECT_THAT(markers, ElementsAre(false, false, false, true));
    EXPECT_TRUE(H264Payload::Packetise({}, kMaxBytes).empty());
}

TEST(H264Source, FramesCarryTheAnnouncedParameterSets)
{
    CH264Source source({.width = 1920, .height = 1080, .framesPerSecond = 25, .keyFrameDistance = 3});
    EXPECT_EQ(96, source.PayloadType());
    EXPECT_EQ(90000u, source.ClockHz());
    EXPECT_EQ(3600u, source.TicksPerFrame());
    EXPECT_EQ(std::chrono::microseconds(40000), source.FrameTime());
    const H264ParameterSets& sets = source.Sets();
    const auto key = source.NextFrame();
    EXPECT_EQ(sets.sequence, key[0].bytes.substr(3, sets.sequence.size()));
    EXPECT_EQ(sets.picture, key[0].bytes.substr(5 + sets.sequence.size()));
    EXPECT_EQ(std::size_t{1}, source.NextFrame().size());
}

TEST(H264Source, AskedForAKeyPictureTheNextFrameIsOne)
{
    constexpr char kStapA = 0x78;
    CH264Source source({.keyFrameDistance = 1000});
    EXPECT_EQ(kStapA, source.NextFrame()[0].bytes[0]);
    EXPECT_NE(kStapA, source.NextFrame()[0].bytes[0]);
    source.RequestKeyFrame();
    EXPECT_EQ(kStapA, source.NextFrame()[0].bytes[0]);
    EXPECT_NE(kStapA, source.NextFrame()[0].bytes[0]);
}

} // namespace
