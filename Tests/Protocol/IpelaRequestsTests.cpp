#include "Protocol/IpelaRequests.h"

#include "Tests/Protocol/IpelaNames.h"

#include <gtest/gtest.h>

#include <limits>

TEST(IpelaRequests, Inquiries)
{
    EXPECT_STREQ(IpelaRequests::kCameraInquiry, L"command/inquiry.cgi?inq=camera");
    EXPECT_STREQ(IpelaRequests::kSystemInquiry, L"command/inquiry.cgi?inq=system");
    EXPECT_EQ(IpelaRequests::kCameraInquiryTimeoutMs, 10000u);
    EXPECT_EQ(IpelaRequests::kTimeoutMs, 4000u);
}

TEST(IpelaRequests, RequiredSettingsPerModel)
{
    const std::wstring mpeg4 = L"command/camera.cgi?ImageCodec=mpeg4&AudioIn=on&AudInCodec=g711_64&M4AutoRateCtrl=off";
    const std::wstring h264 = L"command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    const std::wstring h264WithoutCodec = L"command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    const struct
    {
        const char* reason;
        int firstModel;
        int lastModel;
        std::wstring withCodec;
        std::wstring withoutCodec;
        std::wstring registryValue;
    } rows[] = {
        {"MPEG-4 family always sets the codec", 0, 5, mpeg4, mpeg4, L"CameraSetupCGICommand"},
        {"SNC-EP550 and SNC-EP520 keep a codec that is right", 6, 7, h264, h264WithoutCodec, L"CameraSetupCGICommand"},
        {"SNC-WR600 always sets the codec", 8, 8, h264, h264, L"CameraSetupCGICommand_WR600"},
        {"SNC-EP580 keeps a codec that is right", 9, 9, h264, h264WithoutCodec, L"CameraSetupCGICommand"},
    };
    for (const auto& row : rows)
    {
        for (int model = row.firstModel; model <= row.lastModel; ++model)
        {
            SCOPED_TRACE(testing::Message() << row.reason << ", model " << model);
            EXPECT_EQ(IpelaRequests::RequiredSettings(Model(model), true), row.withCodec);
            EXPECT_EQ(IpelaRequests::RequiredSettings(Model(model), false), row.withoutCodec);
            EXPECT_EQ(IpelaRequests::RequiredSettingsOverride(Model(model)), row.registryValue);
        }
    }
}

TEST(IpelaRequests, SetImageSizePerModel)
{
    const struct
    {
        const char* reason;
        int model;
        Compression compression;
        std::wstring_view request;
    } rows[] = {
        {"width and 0", 0, kMpeg4, L"command/camera.cgi?M4ImageSize=640,0&M4FrameRate=15"},
        {"width and 0", 1, kMpeg4, L"command/camera.cgi?M4ImageSize=640,0&M4FrameRate=15"},
        {"general size, width and 2", 2, kMpeg4, L"command/camera.cgi?ImageSize=640,2&M4FrameRate=15"},
        {"size of stream 1", 3, kMpeg4, L"command/camera.cgi?ImageSize1=640%2C480&M4FrameRate=15"},
        {"size of stream 1", 4, kMpeg4, L"command/camera.cgi?ImageSize1=640%2C480&M4FrameRate=15"},
        {"size of stream 1", 5, kMpeg4, L"command/camera.cgi?ImageSize1=640%2C480&M4FrameRate=15"},
        {"squeezed", 6, kMpeg4,
         L"command/camera.cgi?ImageCodec1=mpeg4&AspectRatioConversion=squeeze&ImageSize1=640%2C480&FrameRate1=15"},
        {"squeezed", 6, kH264,
         L"command/camera.cgi?ImageCodec1=h264&AspectRatioConversion=squeeze&ImageSize1=640%2C480&FrameRate1=15"},
        {"codec and size", 7, kMpeg4, L"command/camera.cgi?ImageCodec1=mpeg4&ImageSize1=640%2C480&FrameRate1=15"},
        {"codec and size", 7, kH264, L"command/camera.cgi?ImageCodec1=h264&ImageSize1=640%2C480&FrameRate1=15"},
        {"codec and size", 8, kH264, L"command/camera.cgi?ImageCodec1=h264&ImageSize1=640%2C480&FrameRate1=15"},
        {"codec and size", 9, kMpeg4, L"command/camera.cgi?ImageCodec1=mpeg4&ImageSize1=640%2C480&FrameRate1=15"},
        {"codec and size", 9, kH264, L"command/camera.cgi?ImageCodec1=h264&ImageSize1=640%2C480&FrameRate1=15"},
        {"what is not MPEG-4 is H.264", 9, Compression::None,
         L"command/camera.cgi?ImageCodec1=h264&ImageSize1=640%2C480&FrameRate1=15"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ", model " << row.model);
        EXPECT_EQ(IpelaRequests::SetImageSize(Model(row.model), 640, 480, 15, row.compression), row.request);
    }
}

TEST(IpelaRequests, Rz25GetsTenSecondsForAnImageSizeAllOthersFive)
{
    for (int model = 0; model <= 9; ++model)
        EXPECT_EQ(IpelaRequests::SetImageSizeTimeoutMs(Model(model)), model == 2 ? 10000u : 5000u) << model;
}

TEST(IpelaRequests, BitRateGoesUpToTheNextStep)
{
    const struct
    {
        const char* reason;
        std::int32_t asked;
        std::int32_t rounded;
    } rows[] = {
        {"between steps", 100, 128},
        {"a step stays", 1024, 1024},
        {"one above a step", 1025, 1536},
        {"one below a step", 1535, 1536},
        {"lowest step", 64, 64},
        {"below the lowest", 1, 64},
        {"zero", 0, 64},
        {"negative", -500, 64},
        {"highest step", 8192, 8192},
        {"above the highest", 8193, 8192},
        {"above the highest", 9000, 8192},
        {"highest number", std::numeric_limits<std::int32_t>::max(), 8192},
        {"lowest number", std::numeric_limits<std::int32_t>::min(), 64},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ": " << row.asked);
        EXPECT_EQ(IpelaRequests::RoundBitRate(row.asked), row.rounded);
    }
}

TEST(IpelaRequests, BitRateKeyPerFamily)
{
    for (int model = 0; model <= 9; ++model)
    {
        EXPECT_EQ(IpelaRequests::SetBitRate(Model(model), 128),
                  model >= 6 ? L"command/camera.cgi?BitRate1=128" : L"command/camera.cgi?M4BitRate=128")
            << model;
    }
}

TEST(IpelaRequests, AudioInVolumeIsSigned)
{
    EXPECT_EQ(IpelaRequests::SetAudioInVolume(-10), L"command/camera.cgi?AudioInVolume=-10");
    EXPECT_EQ(IpelaRequests::SetAudioInVolume(0), L"command/camera.cgi?AudioInVolume=0");
    EXPECT_EQ(IpelaRequests::SetAudioInVolume(10), L"command/camera.cgi?AudioInVolume=10");
}

TEST(IpelaRequests, StartVideoPerFamily)
{
    for (int model = 0; model <= 9; ++model)
    {
        SCOPED_TRACE(model);
        const bool isH264 = model >= 6;
        EXPECT_EQ(IpelaRequests::StartVideo(Model(model), true, 0),
                  isH264 ? L"image1?UdpMode=multicast" : L"mpeg4?udpMode=multicast");
        EXPECT_EQ(IpelaRequests::StartVideo(Model(model), true, 5000),
                  isH264 ? L"image1?UdpMode=multicast" : L"mpeg4?udpMode=multicast");
        EXPECT_EQ(IpelaRequests::StartVideo(Model(model), false, 65535),
                  isH264 ? L"image1?UdpMode=unicast&UdpPort=65535" : L"mpeg4?UdpMode=unicast&UdpPort=65535");
    }
}

TEST(IpelaRequests, StartAudioIsTheSameForAll)
{
    EXPECT_EQ(IpelaRequests::StartAudio(true, 0), L"audio?udpMode=multicast");
    EXPECT_EQ(IpelaRequests::StartAudio(false, 5002), L"audio?UdpMode=unicast&UdpPort=5002");
}

TEST(IpelaRequests, PtzStepPrintsTwoDigitsEach)
{
    const struct
    {
        const char* reason;
        std::int32_t command;
        std::int32_t distance;
        std::wstring_view request;
    } rows[] = {
        {"upper, smallest step", 8, 1, L"command/ptzf.cgi?Relative=0801"},
        {"lower left, largest step", 1, 10, L"command/ptzf.cgi?Relative=0110"},
        {"zoom wide", 10, 7, L"command/ptzf.cgi?Relative=1007"},
        {"zoom tele", 11, 10, L"command/ptzf.cgi?Relative=1110"},
        {"what is no direction is passed on", 5, 0, L"command/ptzf.cgi?Relative=0500"},
        {"more digits are kept", 123, 456, L"command/ptzf.cgi?Relative=123456"},
        {"a sign counts as a digit", -1, -12, L"command/ptzf.cgi?Relative=-1-12"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(IpelaRequests::PtzStep(row.command, row.distance), row.request);
    }
}

TEST(IpelaRequests, PtzAreaZoomListsFourNumbers)
{
    EXPECT_EQ(IpelaRequests::PtzAreaZoom(10, 20, 320, 240), L"command/ptzf.cgi?AreaZoom=10,20,320,240");
    EXPECT_EQ(IpelaRequests::PtzAreaZoom(-10, -20, 0, 0), L"command/ptzf.cgi?AreaZoom=-10,-20,0,0");
}

TEST(IpelaRequests, PtzStartAndStopPerDirection)
{
    const std::wstring stopMotor = L"command/ptzf.cgi?Move=stop,motor";
    const std::wstring stopZoom = L"command/ptzf.cgi?Move=stop,zoom";
    const struct
    {
        const char* reason;
        int direction;
        std::wstring start;
        std::wstring stop;
    } rows[] = {
        {"lower left", 1, L"command/ptzf.cgi?Move=down-left,12", stopMotor},
        {"lower", 2, L"command/ptzf.cgi?Move=down,12", stopMotor},
        {"lower right", 3, L"command/ptzf.cgi?Move=down-right,12", stopMotor},
        {"left", 4, L"command/ptzf.cgi?Move=left,12", stopMotor},
        {"right", 6, L"command/ptzf.cgi?Move=right,12", stopMotor},
        {"upper left", 7, L"command/ptzf.cgi?Move=up-left,12", stopMotor},
        {"upper", 8, L"command/ptzf.cgi?Move=up,12", stopMotor},
        {"upper right", 9, L"command/ptzf.cgi?Move=up-right,12", stopMotor},
        {"zoom wide", 10, L"command/ptzf.cgi?Move=wide,4", stopZoom},
        {"zoom tele", 11, L"command/ptzf.cgi?Move=tele,4", stopZoom},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const auto direction = static_cast<PtzDirection>(row.direction);
        ASSERT_NE(IpelaRequests::PtzDirectionWord(direction), nullptr);
        EXPECT_EQ(IpelaRequests::PtzStart(direction, 50), row.start);
        EXPECT_EQ(IpelaRequests::PtzStop(direction), row.stop);
    }
}

TEST(IpelaRequests, WhatIsNoDirectionHasNoWordAndStopsTheMotor)
{
    for (const int number : {0, 5, 12, -1})
    {
        SCOPED_TRACE(number);
        const auto direction = static_cast<PtzDirection>(number);
        EXPECT_EQ(IpelaRequests::PtzDirectionWord(direction), nullptr);
        EXPECT_EQ(IpelaRequests::PtzStop(direction), L"command/ptzf.cgi?Move=stop,motor");
    }
}

TEST(IpelaRequests, PtzSpeedIsAPercentageRoundedUp)
{
    const struct
    {
        const char* reason;
        PtzDirection direction;
        std::int32_t percent;
        std::int32_t speed;
    } rows[] = {
        {"half", PtzDirection::Upper, 50, 12},
        {"stands still", PtzDirection::Upper, 0, 0},
        {"any movement is at least 1", PtzDirection::Upper, 1, 1},
        {"just one step", PtzDirection::Upper, 4, 1},
        {"just above one step", PtzDirection::Upper, 5, 2},
        {"a quarter is exact", PtzDirection::Left, 25, 6},
        {"three quarters are exact", PtzDirection::Left, 75, 18},
        {"almost all", PtzDirection::Left, 99, 24},
        {"all", PtzDirection::Left, 100, 24},
        {"zoom, any movement is at least 1", PtzDirection::ZoomTele, 1, 1},
        {"zoom, one step and a bit", PtzDirection::ZoomTele, 13, 2},
        {"zoom, half", PtzDirection::ZoomWide, 50, 4},
        {"zoom, all", PtzDirection::ZoomWide, 100, 8},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ": " << row.percent);
        EXPECT_EQ(IpelaRequests::PtzSpeed(row.direction, row.percent), row.speed);
    }
}
