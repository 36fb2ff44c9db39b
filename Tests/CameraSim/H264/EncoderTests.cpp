#include "CameraSim/H264/Encoder.h"

#include "CameraSim/H264/NalUnit.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

std::string Types(const std::vector<std::string>& units)
{
    std::string types;
    for (const std::string& unit : units)
        types += (types.empty() ? "" : " ") + std::to_string(static_cast<int>(NalUnit::TypeOf(unit)));
    return types;
}

TEST(Encoder, KeyPicturesComeAtTheirDistanceWithTheSetsInFront)
{
    CH264Encoder encoder({.width = 32, .height = 32, .keyFrameDistance = 3});
    const BlockPicture picture(2, 2);
    for (const char* types : {"7 8 5", "1", "1", "7 8 5", "1"})
        EXPECT_EQ(types, Types(encoder.Encode(picture)));
    encoder.RequestKeyFrame();
    for (const char* types : {"7 8 5", "1", "1", "7 8 5"})
        EXPECT_EQ(types, Types(encoder.Encode(picture)));
}

TEST(Encoder, AnUnchangedPictureIsOneSkipRun)
{
    CH264Encoder encoder({.width = 32, .height = 32});
    const BlockPicture picture(2, 2);
    encoder.Encode(picture);
    // first_mb 1, slice_type 00110, pps 1, frame_num 00000001, three flags 000, qp_delta 1, no deblocking 010,
    // mb_skip_run of 4: 00101, stop bit.
    EXPECT_EQ("\x41\x9A\x02\x28\xB0"s, encoder.Encode(picture).at(0));
}

TEST(Encoder, SizesOutOfRangeAreBroughtIntoIt)
{
    const CH264Encoder small({.width = 1, .height = 0, .framesPerSecond = 0, .keyFrameDistance = 0});
    EXPECT_EQ((H264Format{.width = 16, .height = 16, .framesPerSecond = 1, .keyFrameDistance = 1}), small.Format());
    const CH264Encoder large({.width = 9999, .height = 1081, .framesPerSecond = 100});
    EXPECT_EQ((H264Format{.width = 4096, .height = 1080, .framesPerSecond = 60}), large.Format());
}

/// The arithmetic of a decoder (ITU-T H.264, 8.5.10 to 8.5.12) for one DC level alone.
TEST(Encoder, TheQuantisersGiveEveryResidualBack)
{
    constexpr int kLumaScale = 16 * 16;   // LevelScale(28 % 6, 0, 0)
    constexpr int kChromaScale = 16 * 16; // LevelScale(22 % 6, 0, 0)
    static_assert(ParameterSets::kLumaQuantiser == 28 && ParameterSets::kChromaQuantiserOffset == 22 - 28);
    for (int level = -255; level <= 255; ++level)
    {
        const int luma = (level * kLumaScale + (1 << (5 - 28 / 6))) >> (6 - 28 / 6);
        const int chroma = ((level * kChromaScale) << (22 / 6)) >> 5;
        EXPECT_EQ(level, (luma + 32) >> 6);
        EXPECT_EQ(level, (chroma + 32) >> 6);
    }
}

} // namespace
