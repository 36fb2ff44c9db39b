#include "CameraSim/Ipela/IpelaModel.h"

#include <gtest/gtest.h>

namespace
{

TEST(IpelaModel, NamesMatchByTheirBeginningInAnyCase)
{
    EXPECT_EQ("SNC-EP550", IpelaModels::Find("SNC-EP550").name);
    EXPECT_EQ("SNC-EP550", IpelaModels::Find("snc-ep550N").name);
    EXPECT_EQ("", IpelaModels::Find("XSNC-EP550").name);
    EXPECT_EQ("", IpelaModels::Find("SNC-EP55").name);
    EXPECT_EQ("", IpelaModels::Find("").name);
}

TEST(IpelaModel, SizesAreTheListedOnes)
{
    struct Row
    {
        const char* model;
        std::size_t ntscCount;
        std::size_t palCount;
        IpelaSize ntscFirst;
        IpelaSize palLast;
    };
    constexpr auto kMpeg4 = IpelaCodec::Mpeg4;
    constexpr auto kH264 = IpelaCodec::H264;
    const Row rows[] = {
        {"unknown", 4, 4, {1920, 1080, 20, kMpeg4}, {320, 240, 25, kMpeg4}},
        {"SNC-RZ25", 2, 2, {640, 480, 30, kMpeg4}, {320, 240, 25, kMpeg4}},
        {"SNC-RX550", 2, 2, {640, 480, 30, kMpeg4}, {320, 240, 25, kMpeg4}},
        {"SNC-RH124", 3, 3, {1280, 720, 30, kMpeg4}, {320, 240, 25, kMpeg4}},
        {"SNC-ER550", 3, 3, {1280, 720, 30, kMpeg4}, {320, 240, 25, kMpeg4}},
        {"SNC-ER580", 3, 3, {1280, 720, 30, kMpeg4}, {320, 240, 25, kMpeg4}},
        {"SNC-EP550", 10, 10, {1280, 720, 30, kMpeg4}, {320, 240, 25, kH264}},
        {"SNC-EP520", 4, 4, {640, 480, 30, kMpeg4}, {320, 240, 25, kH264}},
        {"SNC-WR600", 3, 3, {1280, 720, 30, kH264}, {320, 184, 25, kH264}},
        {"SNC-EP580", 7, 7, {1920, 1080, 30, kH264}, {320, 184, 25, kH264}},
    };
    for (const Row& row : rows)
    {
        const auto ntsc = IpelaModels::Find(row.model).Sizes(VideoStandard::Ntsc);
        const auto pal = IpelaModels::Find(row.model).Sizes(VideoStandard::Pal);
        ASSERT_EQ(row.ntscCount, ntsc.size()) << row.model;
        ASSERT_EQ(row.palCount, pal.size()) << row.model;
        EXPECT_EQ(row.ntscFirst, ntsc.front()) << row.model;
        EXPECT_EQ(row.palLast, pal.back()) << row.model;
    }
    EXPECT_EQ((IpelaSize{320, 192, 30, kH264}), IpelaModels::Find("SNC-EP580").ntscSizes.back());
    EXPECT_EQ((IpelaSize{1920, 1080, 20, kMpeg4}), IpelaModels::Find("").palSizes.front());
}

} // namespace
