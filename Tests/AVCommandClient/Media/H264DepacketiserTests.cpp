#include "Media/H264Depacketiser.h"

#include <gmock/gmock.h>

namespace
{
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct Packet
{
    std::uint16_t number;
    std::string payload;
};

class H264Depacketiser : public testing::Test
{
protected:
    std::vector<std::string> Take(const std::vector<Packet>& packets)
    {
        std::vector<std::string> units;
        for (const Packet& packet : packets)
        {
            const std::vector<std::uint8_t> bytes(packet.payload.begin(), packet.payload.end());
            for (std::string& unit : m_depacketiser.Take({96, packet.number, 0, 0}, bytes))
                units.push_back(std::move(unit));
        }
        return units;
    }

    CH264Depacketiser m_depacketiser;
};

TEST_F(H264Depacketiser, PutsUnitsTogether)
{
    EXPECT_THAT(Take({{1, "\x41one"}}), ElementsAre("\x41one"));
    EXPECT_THAT(Take({{2, "\x78\0\x02\x67s\0\x03\x68pp"s}}), ElementsAre("\x67s", "\x68pp"));
    EXPECT_THAT(Take({{3, "\x7C\x85"
                          "be"},
                      {4, "\x7C\x05gi"},
                      {5, "\x7C\x45n"}}),
                ElementsAre("\x65"
                            "begin"));
    EXPECT_EQ(0u, m_depacketiser.CountBroken());
}

TEST_F(H264Depacketiser, NumbersMayWrapWithinAUnit)
{
    EXPECT_THAT(Take({{65535, "\x5C\x81x"}, {0, "\x5C\x41y"}}), ElementsAre("\x41xy"));
}

TEST_F(H264Depacketiser, WhatIsIncompleteOrMalformedIsDroppedAndCounted)
{
    struct Row
    {
        const char* reason;
        std::vector<Packet> packets;
        std::vector<std::string> units;
        std::uint64_t broken;
    };
    const Row rows[] = {
        {"a fragment is missing", {{1, "\x5C\x81x"}, {3, "\x5C\x41y"}, {4, "\x41z"}}, {"\x41z"}, 1},
        {"the end is missing", {{1, "\x5C\x81x"}, {2, "\x41z"}}, {"\x41z"}, 1},
        {"the next unit begins instead", {{1, "\x5C\x81x"}, {2, "\x5C\x81y"}, {3, "\x5C\x41z"}}, {"\x41yz"}, 1},
        {"we came in the middle", {{1, "\x5C\x01x"}, {2, "\x5C\x41y"}, {3, "\x41z"}}, {"\x41z"}, 0},
        {"a fragment without its second byte", {{1, "\x5C"}}, {}, 1},
        {"an aggregate that promises too much", {{1, "\x78\0\x01\x67\0\x09\x68"s}}, {"\x67"}, 1},
        {"an aggregate with half a length", {{1, "\x78\0\x01\x67\0"s}}, {"\x67"}, 1},
        {"an aggregate with an empty unit", {{1, "\x78\0\0\0\x01\x67"s}}, {}, 1},
        {"an interleaved mode", {{1, "\x79\0\0\0\x01\x67"s}}, {}, 1},
        {"no payload at all", {{1, ""}}, {}, 0},
    };
    for (const Row& row : rows)
    {
        m_depacketiser = {};
        EXPECT_EQ(row.units, Take(row.packets)) << row.reason;
        EXPECT_EQ(row.broken, m_depacketiser.CountBroken()) << row.reason;
    }
}

TEST_F(H264Depacketiser, AnEndlessUnitIsGivenUp)
{
    EXPECT_THAT(Take({{0, "\x5C\x81x"}}), IsEmpty());
    const std::string fragment = "\x5C\x01" + std::string(60000, 'x');
    constexpr auto kEnough = static_cast<std::uint16_t>(CH264Depacketiser::kMaxUnitBytes / 60000 + 2);
    for (std::uint16_t number = 1; number <= kEnough; ++number)
        EXPECT_THAT(Take({{number, fragment}}), IsEmpty());
    EXPECT_EQ(1u, m_depacketiser.CountBroken());
    EXPECT_THAT(Take({{kEnough + 1, "\x5C\x41x"}}), IsEmpty()) << "its end is not a unit";
}

TEST_F(H264Depacketiser, ResetForgetsTheBeginningWithoutCountingIt)
{
    EXPECT_THAT(Take({{1, "\x5C\x81x"}}), IsEmpty());
    m_depacketiser.Reset();
    EXPECT_THAT(Take({{2, "\x5C\x41y"}}), IsEmpty());
    EXPECT_EQ(0u, m_depacketiser.CountBroken());
}
} // namespace
