#include "CameraSim/Rtp/MediaSource.h"
#include "CameraSim/Rtp/RtpPacket.h"

#include <gtest/gtest.h>

namespace
{

/// ITU-T G.711, the decoder of the standard's table.
int FromMuLaw(unsigned char byte)
{
    byte = static_cast<unsigned char>(~byte);
    const int magnitude = ((((byte & 0x0F) << 3) + 0x84) << ((byte >> 4) & 7)) - 0x84;
    return (byte & 0x80) != 0 ? -magnitude : magnitude;
}

TEST(RtpPacket, WritesTheHeaderBitForBit)
{
    RtpHeader header;
    header.payloadType = 96;
    header.marker = true;
    header.sequence = 0x1234;
    header.timestamp = 0x89ABCDEF;
    header.ssrc = 0x01020304;
    EXPECT_EQ(std::string("\x80\xE0\x12\x34\x89\xAB\xCD\xEF\x01\x02\x03\x04pay", 15), RtpPacket::Write(header, "pay"));
    header.marker = false;
    EXPECT_EQ('\x60', RtpPacket::Write(header, "")[1]);
}

TEST(MediaSource, ThePcmuToneIsASineOfOneKilohertz)
{
    const auto source = IMediaSource::Make({.kind = MediaKind::Pcmu});
    const auto frame = source->NextFrame();
    ASSERT_EQ(1u, frame.size());
    ASSERT_EQ(160u, frame[0].bytes.size());
    // Eight samples to a wave at 8 kHz; mu-law keeps them within 4 % or so.
    const int wave[] = {0, 11585, 16384, 11585, 0, -11585, -16384, -11585};
    for (std::size_t i = 0; i < frame[0].bytes.size(); ++i)
        EXPECT_NEAR(wave[i % 8], FromMuLaw(static_cast<unsigned char>(frame[0].bytes[i])), 520) << i;
    EXPECT_EQ(frame[0].bytes, source->NextFrame()[0].bytes) << "every packet begins at the same phase";
}

TEST(MediaSource, LargeH264PicturesTravelAsFragments)
{
    const auto source = IMediaSource::Make({.kind = MediaKind::H264, .framesPerSecond = 10, .kilobitsPerSecond = 1024});
    const auto key = source->NextFrame();
    ASSERT_GT(key.size(), 4u);
    EXPECT_EQ('\x67', key[0].bytes[0]);
    EXPECT_EQ('\x68', key[1].bytes[0]);
    std::string slice;
    for (std::size_t i = 2; i < key.size(); ++i)
    {
        EXPECT_EQ(0x7C, key[i].bytes[0]) << "FU-A of the importance of an IDR slice";
        const unsigned header = static_cast<unsigned char>(key[i].bytes[1]);
        EXPECT_EQ(i == 2, (header & 0x80) != 0) << "start";
        EXPECT_EQ(i + 1 == key.size(), (header & 0x40) != 0) << "end";
        EXPECT_EQ(5u, header & 0x1F);
        EXPECT_LE(key[i].bytes.size(), 1402u);
        EXPECT_EQ(i + 1 == key.size(), key[i].marker);
        slice += key[i].bytes.substr(2);
    }
    EXPECT_EQ(12800u, slice.size()) << "1024 kbit/s at 10 pictures a second";
    EXPECT_EQ(std::string::npos, slice.find(std::string("\0\0", 2)));
    const auto next = source->NextFrame();
    EXPECT_EQ(0x5C, next[0].bytes[0]) << "FU-A of a slice that builds on the last picture";
    EXPECT_EQ(1u, static_cast<unsigned char>(next[0].bytes[1]) & 0x1Fu);
}

TEST(MediaSource, SmallH264PicturesAreOneUnit)
{
    const auto source = IMediaSource::Make({.kind = MediaKind::H264, .framesPerSecond = 30, .kilobitsPerSecond = 64});
    EXPECT_EQ(3u, source->NextFrame().size());
    const auto next = source->NextFrame();
    ASSERT_EQ(1u, next.size());
    EXPECT_EQ('\x41', next[0].bytes[0]);
    EXPECT_TRUE(next[0].marker);
}

TEST(MediaSource, KeyPicturesComeEveryTwoSeconds)
{
    const auto source = IMediaSource::Make({.kind = MediaKind::Mpeg4, .framesPerSecond = 5, .kilobitsPerSecond = 64});
    EXPECT_EQ(18000u, source->TicksPerFrame());
    EXPECT_EQ(std::chrono::microseconds(200000), source->FrameTime());
    for (int i = 0; i < 21; ++i)
    {
        const auto frame = source->NextFrame();
        const bool isKey = frame[0].bytes[3] == '\xB0';
        EXPECT_EQ(i % 10 == 0, isKey) << i;
        EXPECT_TRUE(frame.back().marker);
        if (!isKey)
        {
            EXPECT_EQ(std::string("\x00\x00\x01\xB6\x50", 5), frame[0].bytes.substr(0, 5));
        }
    }
}

} // namespace
