#include "Protocol/AxisRequests.h"

#include <gtest/gtest.h>

#include <limits>

TEST(AxisRequests, ThatAreAlwaysTheSame)
{
    EXPECT_STREQ(AxisRequests::kWhoAmI, L"/axis-cgi/com/ptz.cgi?whoami=yes");
    EXPECT_STREQ(AxisRequests::kImageSize, L"/axis-cgi/imagesize.cgi?camera=1");
    EXPECT_STREQ(AxisRequests::kMediaPath, L"/axis-media/media.amp?videocodec=h264&audio=1");
    EXPECT_STREQ(AxisRequests::kEnableRtsp, L"/axis-cgi/param.cgi?action=update&Network.RTSP.Enabled=yes");
    EXPECT_STREQ(AxisRequests::kSetAudioEncoding,
                 L"/axis-cgi/param.cgi?action=update&AudioSource.A0.AudioEncoding=g711&AudioSource.A0.SampleRate=8000");
    EXPECT_STREQ(AxisRequests::kFixRateAndGroups,
                 L"/axis-cgi/param.cgi?action=update&Image.I0.MPEG.ZFpsMode=fixed&Image.I0.MPEG.ZGopMode=fixed");
    EXPECT_STREQ(AxisRequests::kEnableLowLatency,
                 L"/axis-cgi/param.cgi?action=update&root.ImageSource.I0.Sensor.LowLatencyMode=on");
    EXPECT_EQ(4000u, AxisRequests::kTimeoutMs);
}

TEST(AxisRequests, ThatCarryAValue)
{
    const struct
    {
        const char* reason;
        std::wstring request;
        const wchar_t* expected;
    } rows[] = {
        {"a group", AxisRequests::List(L"Brand"), L"/axis-cgi/param.cgi?action=list&group=Brand"},
        {"a group length", AxisRequests::SetPFrameCount(26),
         L"/axis-cgi/param.cgi?action=update&Image.I0.MPEG.PCount=26"},
        {"a size", AxisRequests::SetResolution(1280, 720),
         L"/axis-cgi/param.cgi?action=update&Image.I0.Appearance.Resolution=1280x720"},
        {"a rate", AxisRequests::SetFrameRate(12), L"/axis-cgi/param.cgi?action=update&Image.I0.Stream.FPS=12"},
        {"a bit rate, with the mode that keeps it", AxisRequests::SetBitRate(700),
         L"/axis-cgi/param.cgi?action=update&Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=700"},
        {"a gain", AxisRequests::SetAudioInputGain(-3),
         L"/axis-cgi/param.cgi?action=update&AudioSource.A0.InputGain=-3"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.expected, row.request) << row.reason;
}

TEST(AxisRequests, PtzStartAndStopPerDirection)
{
    const std::wstring panTilt = L"/axis-cgi/com/ptz.cgi?continuouspantiltmove=";
    const std::wstring zoom = L"/axis-cgi/com/ptz.cgi?continuouszoommove=";
    const struct
    {
        const char* reason;
        int direction;
        std::wstring start;
        std::wstring stop;
    } rows[] = {
        {"lower left", 1, panTilt + L"-7,-7", panTilt + L"0,0"},
        {"lower", 2, panTilt + L"0,-7", panTilt + L"0,0"},
        {"lower right", 3, panTilt + L"7,-7", panTilt + L"0,0"},
        {"left", 4, panTilt + L"-7,0", panTilt + L"0,0"},
        {"right", 6, panTilt + L"7,0", panTilt + L"0,0"},
        {"upper left", 7, panTilt + L"-7,7", panTilt + L"0,0"},
        {"upper", 8, panTilt + L"0,7", panTilt + L"0,0"},
        {"upper right", 9, panTilt + L"7,7", panTilt + L"0,0"},
        {"zoom wide", 10, zoom + L"-7", zoom + L"0"},
        {"zoom tele", 11, zoom + L"7", zoom + L"0"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const auto direction = static_cast<PtzDirection>(row.direction);
        EXPECT_EQ(row.start, AxisRequests::PtzStart(direction, 7).value_or(L"none"));
        EXPECT_EQ(row.stop, AxisRequests::PtzStop(direction));
    }
}

TEST(AxisRequests, WhatIsNoDirectionStartsNothingAndStopsPanAndTilt)
{
    for (const int number : {0, 5, 12, -1, std::numeric_limits<int>::max()})
    {
        SCOPED_TRACE(number);
        const auto direction = static_cast<PtzDirection>(number);
        EXPECT_FALSE(AxisRequests::PtzStart(direction, 7).has_value());
        EXPECT_EQ(L"/axis-cgi/com/ptz.cgi?continuouspantiltmove=0,0", AxisRequests::PtzStop(direction));
    }
}

TEST(AxisRequests, PtzSpeedGoesToTheCameraAsItIs)
{
    const struct
    {
        const char* reason;
        std::int32_t speed;
        const wchar_t* lowerLeft;
        const wchar_t* tele;
    } rows[] = {
        {"nothing stands for 24", 0, L"-24,-24", L"24"},
        {"slow", 1, L"-1,-1", L"1"},
        {"fast", 100, L"-100,-100", L"100"},
        {"not limited here", 250, L"-250,-250", L"250"},
        {"the other way", -5, L"5,5", L"-5"},
        {"the lowest number", std::numeric_limits<std::int32_t>::min(), L"2147483648,2147483648", L"-2147483648"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(std::wstring(L"/axis-cgi/com/ptz.cgi?continuouspantiltmove=") + row.lowerLeft,
                  AxisRequests::PtzStart(PtzDirection::LowerLeft, row.speed));
        EXPECT_EQ(std::wstring(L"/axis-cgi/com/ptz.cgi?continuouszoommove=") + row.tele,
                  AxisRequests::PtzStart(PtzDirection::ZoomTele, row.speed));
    }
}
