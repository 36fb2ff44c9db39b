#include "CameraSim/Rtp/MediaSource.h"

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

TEST(MediaSource, H264PicturesAreAsLargeAsTheBitRateAsks)
{
    const auto source = IMediaSource::Make(
        {.kind = MediaKind::H264, .width = 1280, .height = 720, .framesPerSecond = 10, .kilobitsPerSecond = 1024});
    std::size_t sizeBytes = 0;
    for (int frame = 0; frame < 20; ++frame)
    {
        for (const MediaPayload& payload : source->NextFrame())
        {
            EXPECT_LE(payload.bytes.size(), 1400u);
            sizeBytes += payload.bytes.size();
        }
    }
    // Two seconds; the payload headers come on top.
    EXPECT_NEAR(256000, static_cast<double>(sizeBytes), 2000);
}

TEST(MediaSource, H264KeyPicturesComeEveryTwoSecondsWithTheParameterSetsInFront)
{
    const auto source = IMediaSource::Make({.kind = MediaKind::H264, .framesPerSecond = 5, .kilobitsPerSecond = 64});
    for (int frame = 0; frame < 21; ++frame)
    {
        constexpr char kStapA = 0x78;
        EXPECT_EQ(frame % 10 == 0, source->NextFrame()[0].bytes[0] == kStapA) << frame;
    }
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
