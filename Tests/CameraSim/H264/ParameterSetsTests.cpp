#include "CameraSim/H264/ParameterSets.h"

#include <gtest/gtest.h>

namespace
{

TEST(ParameterSets, TheLevelIsTheLowestThatHoldsSizeRateAndBitRate)
{
    struct Row
    {
        unsigned width;
        unsigned height;
        unsigned framesPerSecond;
        unsigned kilobitsPerSecond;
        const char* profileLevelId;
    };
    // Table A-1: 21 is level 2.1 and 0x15.
    const Row rows[] = {
        {480, 270, 30, 0, "4D4015"},   {352, 288, 30, 0, "4D400D"},    {800, 450, 30, 0, "4D401F"},
        {800, 450, 25, 0, "4D401E"},   {1280, 720, 30, 0, "4D401F"},   {1920, 1080, 30, 0, "4D4028"},
        {2688, 1512, 30, 0, "4D4032"}, {480, 270, 30, 9000, "4D401E"}, {1920, 1080, 30, 30000, "4D4029"},
        {4096, 4096, 60, 0, "4D4034"},
    };
    for (const Row& row : rows)
    {
        const H264Format format{.width = row.width,
                                .height = row.height,
                                .framesPerSecond = row.framesPerSecond,
                                .kilobitsPerSecond = row.kilobitsPerSecond};
        EXPECT_EQ(row.profileLevelId, ParameterSets::Write(format).ProfileLevelId())
            << row.width << "x" << row.height << "@" << row.framesPerSecond;
    }
}

TEST(ParameterSets, ProfilesSayWhatTheyAre)
{
    EXPECT_EQ("42C01F", ParameterSets::Write({.profile = H264Profile::Baseline}).ProfileLevelId());
    EXPECT_EQ("4D401F", ParameterSets::Write({.profile = H264Profile::Main}).ProfileLevelId());
    EXPECT_EQ("64001F", ParameterSets::Write({.profile = H264Profile::High}).ProfileLevelId());
}

TEST(ParameterSets, TheDescriptionHoldsBothInBase64)
{
    const H264ParameterSets sets{"\x67"
                                 "abc",
                                 "\x68"
                                 "d"};
    EXPECT_EQ("Z2FiYw==,aGQ=", sets.SpropParameterSets());
}

} // namespace
