#include "Protocol/AxisModels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAreArray;

TEST(AxisModels, ModelIsAPartOfTheProductNumber)
{
    const struct
    {
        const char* reason;
        std::wstring_view productNumber;
        int model;
    } rows[] = {
        {"with maker and variant", L"AXIS M5526-E", 4},
        {"alone", L"M5525", 1},
        {"variant behind", L"P5635-E", 2},
        {"anywhere", L"XV5915Y", 3},
        {"two names: the first of the list", L"M5525 M5526", 4},
        {"small letters are another name", L"m5526-e", 0},
        {"another model", L"Q6055-E", 0},
        {"half a name", L"M552", 0},
        {"nothing", L"", 0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.model, static_cast<int>(AxisModels::FromProductNumber(row.productNumber))) << row.reason;
}

TEST(AxisModels, SizesPerModelAndStandard)
{
    for (const int number : {0, 1, 2, 3, 4})
    {
        for (const bool is60Hz : {true, false})
        {
            SCOPED_TRACE(testing::Message() << "model " << number << (is60Hz ? " at 60 Hz" : " at 50 Hz"));
            const auto model = static_cast<AxisModel>(number);
            const auto standard = is60Hz ? VideoStandard::Ntsc60Hz : VideoStandard::Pal50Hz;
            const std::int32_t rate = is60Hz ? 30 : 25;
            std::vector<ImageFormat> expected = {{480, 270, rate, Compression::H264},
                                                 {800, 450, rate, Compression::H264},
                                                 {1280, 720, rate, Compression::H264},
                                                 {1920, 1080, rate, Compression::H264}};
            if (number == 4)
                expected.push_back({2688, 1512, rate, Compression::H264});
            EXPECT_THAT(AxisModels::ImageSizes(model, standard), ElementsAreArray(expected));
            for (const ImageFormat& format : expected)
            {
                EXPECT_TRUE(
                    AxisModels::IsImageSizeSupported(model, standard, format.width, format.height, Compression::H264));
                EXPECT_FALSE(
                    AxisModels::IsImageSizeSupported(model, standard, format.width, format.height, Compression::Mpeg4));
            }
            EXPECT_EQ(number == 4, AxisModels::IsImageSizeSupported(model, standard, 2688, 1512, Compression::H264));
            EXPECT_FALSE(AxisModels::IsImageSizeSupported(model, standard, 1280, 1080, Compression::H264));
            EXPECT_FALSE(AxisModels::IsImageSizeSupported(model, standard, 480, 720, Compression::H264));
            EXPECT_FALSE(AxisModels::IsImageSizeSupported(model, standard, 1280, 720, Compression::None));
        }
    }
}

TEST(AxisModels, OnlyTheM5526HasNoLowLatencyMode)
{
    for (const int number : {0, 1, 2, 3, 4})
        EXPECT_EQ(number != 4, AxisModels::HasLowLatencyMode(static_cast<AxisModel>(number))) << number;
}

TEST(AxisModels, RateAndGroupLengthFollowTheStandard)
{
    EXPECT_EQ(30, AxisModels::DefaultFrameRate(VideoStandard::Ntsc60Hz));
    EXPECT_EQ(25, AxisModels::DefaultFrameRate(VideoStandard::Pal50Hz));
    EXPECT_EQ(31, AxisModels::PFrameLimit(VideoStandard::Ntsc60Hz));
    EXPECT_EQ(26, AxisModels::PFrameLimit(VideoStandard::Pal50Hz));
}
