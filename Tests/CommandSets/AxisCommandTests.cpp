#include "Tests/CommandSets/AxisFixture.h"

#include "Tests/Support/FailingTaskMemory.h"
#include "Win32/ComMemory.h"

#include <functional>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
const std::string kImageSize = "axis-cgi/imagesize.cgi?camera=1";
const std::string kListRate = "axis-cgi/param.cgi?action=list&group=Image.I0.Stream.FPS";
const std::string kSetRate = "axis-cgi/param.cgi?action=update&Image.I0.Stream.FPS=";
const ScriptedReply kHdPicture = HttpAnswer(200, "image width = 1280\r\nimage height = 720\r\n");
const ScriptedReply kOk = HttpAnswer(200, "OK\r\n");
const ScriptedReply kBusy = HttpAnswer(503, "busy");

class AxisPicture : public AxisTest
{
};
class AxisSizes : public AxisTest
{
};
class AxisCommands : public AxisTest
{
};
} // namespace

TEST_F(AxisPicture, IsTheCamerasSizeAndRateInH264)
{
    Start({kHdPicture, HttpAnswer(200, "Image.I0.Stream.FPS=15\r\n")});
    ImageSize2 size = {};
    EXPECT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
    EXPECT_EQ(1280, size.ImageWidth);
    EXPECT_EQ(720, size.ImageHeight);
    EXPECT_EQ(15, size.FrameRate);
    EXPECT_EQ(VC_H264, size.VideoEncoding);
    EXPECT_THAT(Sent(), ElementsAre(kImageSize, kListRate));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(AxisPicture, RateWithoutLimitIsSetToThatOfTheStandard)
{
    const struct
    {
        const char* reason;
        const char* reply;
    } rows[] = {
        {"no limit", "Image.I0.Stream.FPS=0\r\n"},
        {"no number", "Image.I0.Stream.FPS=max\r\n"},
        {"no such line", "# Error: Error -1 getting param in group 'Image.I0.Stream.FPS'\r\n"},
        {"nothing", ""},
        // The parameter is asked for by its whole name; under another name it is another parameter.
        {"with the root in front", "root.Image.I0.Stream.FPS=15\r\n"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start({kHdPicture, HttpAnswer(200, row.reply), kOk});
        ImageSize2 size = {};
        EXPECT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
        EXPECT_EQ(30, size.FrameRate);
        EXPECT_THAT(Sent(), ElementsAre(kImageSize, kListRate, kSetRate + "30"));
        EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandAxis::GetCameraFrameRate, unlimited frame rate, will set it "
                                          L"to our default: 30"));
    }
}

TEST_F(AxisPicture, RateOfA50HzCameraIsSetTo25)
{
    AxisReplies replies = RightAxisReplies();
    replies[AxisStep::Source] = HttpAnswer(200, "root.ImageSource.I0.Sensor.CaptureFrequency=50Hz");
    replies[AxisStep::SetPFrames] = kOk;
    ASSERT_EQ(S_OK, Connect(replies, "26"));
    Start({kHdPicture, HttpAnswer(200, "IMAGE.I0.STREAM.FPS=0"), kOk});
    ImageSize2 size = {};
    EXPECT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
    EXPECT_EQ(25, size.FrameRate);
    EXPECT_THAT(Sent(), ElementsAre(kImageSize, kListRate, kSetRate + "25"));
}

TEST_F(AxisPicture, FailureIsLoggedAndLeavesTheRecordsAlone)
{
    const std::wstring prefix = L"1 CCgiCommandAxis::";
    const std::wstring status = L"', dwStatusCode = 503, hr = 0x80004005";
    const struct
    {
        const char* reason;
        std::vector<ScriptedReply> script;
        std::vector<std::wstring> logged;
    } rows[] = {
        {"no size",
         {kBusy},
         {prefix + L"GetCameraImageSize, failed to send request: '/axis-cgi/imagesize.cgi?camera=1" + status,
          prefix + L"GetCameraImageSize, GetImageSize failed, hr = 0x80004005"}},
        {"an answer without height",
         {HttpAnswer(200, "image width = 1280\r\n")},
         {prefix + L"GetCameraImageSize, failed, http response: image width = 1280\r\n",
          prefix + L"GetCameraImageSize, GetImageSize failed, hr = 0x80004005"}},
        {"no rate",
         {kHdPicture, kBusy},
         {prefix +
              L"GetCameraFrameRate, failed to send request: "
              L"'/axis-cgi/param.cgi?action=list&group=Image.I0.Stream.FPS" +
              status,
          prefix + L"GetCameraImageSize, GetFrameRate failed, hr = 0x80004005"}},
        {"a rate that cannot be set",
         {kHdPicture, HttpAnswer(200, "Image.I0.Stream.FPS=0"), kBusy},
         {prefix + L"GetCameraFrameRate, unlimited frame rate, will set it to our default: 30",
          prefix +
              L"GetCameraFrameRate, failed to send request: "
              L"'/axis-cgi/param.cgi?action=update&Image.I0.Stream.FPS=30" +
              status,
          prefix + L"GetCameraImageSize, GetFrameRate failed, hr = 0x80004005"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start(row.script);
        ImageSize2 size = {1, 2, 3, VC_MPEG4};
        EXPECT_EQ(E_FAIL, m_commandSet.GetCameraImageSize(&size));
        EXPECT_EQ(row.logged, Logged());
        EXPECT_EQ(1, size.ImageWidth);
        EXPECT_EQ(3, size.FrameRate);

        Start(row.script);
        wchar_t address[] = L"mine";
        CameraSettings3 settings = {};
        settings.MulticastAddress = address;
        settings.FrameRate = 77;
        EXPECT_EQ(E_FAIL, m_commandSet.GetCameraSettings(&settings));
        std::vector<std::wstring> logged = row.logged;
        logged.push_back(prefix + L"GetCameraSettings, GetCameraImageSize failed, hr = 0x80004005");
        EXPECT_EQ(logged, Logged());
        EXPECT_EQ(address, settings.MulticastAddress);
        EXPECT_EQ(77, settings.FrameRate);
    }
}

TEST_F(AxisPicture, IsAllThatTheSettingsHave)
{
    Start({kHdPicture, HttpAnswer(200, "Image.I0.Stream.FPS=12")});
    wchar_t address[] = L"not the camera's";
    CameraSettings3 settings = {address, 1, 2, 3, 4, 5, 6, 7, 8, 9, VC_None};
    EXPECT_EQ(S_OK, m_commandSet.GetCameraSettings(&settings));
    EXPECT_EQ(nullptr, settings.MulticastAddress);
    EXPECT_EQ(0, settings.MulticastVideoPort);
    EXPECT_EQ(0, settings.MulticastAudioPort);
    EXPECT_EQ(1280, settings.ImageWidth);
    EXPECT_EQ(720, settings.ImageHeight);
    EXPECT_EQ(12, settings.FrameRate);
    EXPECT_EQ(0, settings.BitRate);
    EXPECT_EQ(0, settings.UnicastVideoPort);
    EXPECT_EQ(0, settings.UnicastAudioPort);
    EXPECT_EQ(0, settings.AudioInVolume);
    EXPECT_EQ(VC_H264, settings.VideoEncoding);
}

TEST_F(AxisPicture, NeedsARecord)
{
    Start({kOk});
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetCameraImageSize(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetCameraSettings(nullptr));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(AxisSizes, AreThoseOfTheModelTable)
{
    CTaskMemory<ImageSize2> sizes;
    LONG count = 0;
    ASSERT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(sizes.put(), &count));
    ASSERT_EQ(4, count);
    const LONG expected[][2] = {{480, 270}, {800, 450}, {1280, 720}, {1920, 1080}};
    for (LONG i = 0; i < count; ++i)
    {
        EXPECT_EQ(expected[i][0], sizes.get()[i].ImageWidth);
        EXPECT_EQ(expected[i][1], sizes.get()[i].ImageHeight);
        EXPECT_EQ(30, sizes.get()[i].FrameRate);
        EXPECT_EQ(VC_H264, sizes.get()[i].VideoEncoding);
    }
    LONG countAlone = 0;
    EXPECT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(nullptr, &countAlone));
    EXPECT_EQ(4, countAlone);
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetSupportedImageSizes(sizes.put(), nullptr));
}

TEST_F(AxisSizes, WantOfMemoryIsReported)
{
    ImageSize2* sizes = reinterpret_cast<ImageSize2*>(1);
    LONG count = 0;
    {
        const CFailingTaskMemory shortMemory;
        EXPECT_EQ(E_OUTOFMEMORY, m_commandSet.GetSupportedImageSizes(&sizes, &count));
    }
    EXPECT_EQ(nullptr, sizes);
    EXPECT_THAT(Logged(), ElementsAre(L"8 CCgiCommandAxis::GetSupportedImageSizes, out of memory"));
}

TEST_F(AxisSizes, AreSupportedWithARateOfTheStandardInH264)
{
    const struct
    {
        const char* reason;
        LONG width;
        LONG height;
        LONG rate;
        VideoCodec codec;
        HRESULT hr;
    } rows[] = {
        {"a row", 1920, 1080, 30, VC_H264, S_OK},
        {"another rate of the standard", 480, 270, 1, VC_H264, S_OK},
        {"a rate of the other standard", 480, 270, 12, VC_H264, S_FALSE},
        {"no rate", 480, 270, 0, VC_H264, S_FALSE},
        {"another codec", 480, 270, 30, VC_MPEG4, S_FALSE},
        {"no codec", 480, 270, 30, VC_None, S_FALSE},
        {"the size of another model", 2688, 1512, 30, VC_H264, S_FALSE},
        {"width and height of two rows", 480, 720, 30, VC_H264, S_FALSE},
    };
    Start({kOk});
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(row.hr, m_commandSet.IsImageSizeSupported(row.width, row.height, row.rate, row.codec));
        EXPECT_EQ(row.hr == S_OK ? S_OK : E_INVALIDARG,
                  m_commandSet.SetImageSize(row.width, row.height, row.rate, row.codec));
        EXPECT_EQ(row.hr == S_OK ? 2u : 0u, Sent().size());
    }
}

TEST_F(AxisSizes, SizeIsSetBeforeTheRate)
{
    const std::string size = "axis-cgi/param.cgi?action=update&Image.I0.Appearance.Resolution=800x450";
    const std::wstring failed = L"8 CCgiCommandAxis::SetImageSize, failed to send request: "
                                L"'/axis-cgi/param.cgi?action=update&";
    const std::wstring status = L"', dwStatusCode = 503, hr = 0x80004005";
    Start({kOk});
    EXPECT_EQ(S_OK, m_commandSet.SetImageSize(800, 450, 15, VC_H264));
    EXPECT_THAT(Sent(), ElementsAre(size, kSetRate + "15"));
    EXPECT_THAT(Logged(), IsEmpty());
    Start({kBusy});
    EXPECT_EQ(E_FAIL, m_commandSet.SetImageSize(800, 450, 15, VC_H264));
    EXPECT_THAT(Sent(), ElementsAre(size)) << "the rate stays when the size does";
    EXPECT_THAT(Logged(), ElementsAre(failed + L"Image.I0.Appearance.Resolution=800x450" + status));
    Start({kOk, kBusy});
    EXPECT_EQ(E_FAIL, m_commandSet.SetImageSize(800, 450, 15, VC_H264));
    EXPECT_THAT(Sent(), ElementsAre(size, kSetRate + "15"));
    EXPECT_THAT(Logged(), ElementsAre(failed + L"Image.I0.Stream.FPS=15" + status));
}

TEST_F(AxisSizes, CanBeReadFromTheCameraItself)
{
    const std::string request = "axis-cgi/param.cgi?action=list&group=Properties.Image.Resolution";
    std::vector<AxisPictureSize> sizes = {{1, 2}};
    Start({kBusy, HttpAnswer(200, "Properties.Image.Resolution=some\r\n"),
           HttpAnswer(200, "root.Properties.Image.Resolution=1920x1080,480x270\r\n")});
    EXPECT_EQ(E_FAIL, m_commandSet.GetImageResolutions(sizes));
    EXPECT_EQ(E_FAIL, m_commandSet.GetImageResolutions(sizes));
    EXPECT_THAT(sizes, ElementsAre(AxisPictureSize{1, 2})) << "untouched";
    EXPECT_EQ(S_OK, m_commandSet.GetImageResolutions(sizes));
    EXPECT_THAT(sizes, ElementsAre(AxisPictureSize{1920, 1080}, AxisPictureSize{480, 270}));
    EXPECT_THAT(Sent(), ElementsAre(request, request, request));
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandAxis::GetImageResolutions, failed to send request: '/" +
                                          Widened(request) + L"', dwStatusCode = 503, hr = 0x80004005",
                                      L"1 CCgiCommandAxis::GetImageResolutions, failed, http response: "
                                      L"'Properties.Image.Resolution=some\r\n'"));
}

TEST_F(AxisCommands, RequestAndFailureOfEach)
{
    using Command = std::function<HRESULT(CCgiCommandAxis&)>;
    const std::string update = "axis-cgi/param.cgi?action=update&";
    const std::string ptz = "axis-cgi/com/ptz.cgi?";
    const struct
    {
        const char* name;
        Command command;
        std::string request;
        const wchar_t* failed; ///< {} stands for the request
    } rows[] = {
        {"SetBitRate", [](auto& c) { return c.SetBitRate(700); },
         update + "Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=700",
         L"failed to send request: '{}'"},
        {"SetBitRate", [](auto& c) { return c.SetBitRate(-1); },
         update + "Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=-1",
         L"failed to send request: '{}'"},
        {"SetAudioInVolume", [](auto& c) { return c.SetAudioInVolume(99); }, update + "AudioSource.A0.InputGain=99",
         L"failed to send request: '{}'"},
        {"SendPTZStartCommand", [](auto& c) { return c.SendPTZStartCommand(PTZ_LOWER_LEFT, 0); },
         ptz + "continuouspantiltmove=-24,-24", L"request ({}) failed"},
        {"SendPTZStartCommand", [](auto& c) { return c.SendPTZStartCommand(PTZ_ZOOM_WIDE, 100); },
         ptz + "continuouszoommove=-100", L"request ({}) failed"},
        {"SendPTZStopCommand", [](auto& c) { return c.SendPTZStopCommand(PTZ_UPPER); },
         ptz + "continuouspantiltmove=0,0", L"request ({}) failed"},
        {"SendPTZStopCommand", [](auto& c) { return c.SendPTZStopCommand(PTZ_ZOOM_TELE); },
         ptz + "continuouszoommove=0", L"request ({}) failed"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.request);
        Start({kOk, kBusy});
        EXPECT_EQ(S_OK, row.command(m_commandSet));
        EXPECT_THAT(Logged(), IsEmpty());
        EXPECT_EQ(E_FAIL, row.command(m_commandSet));
        EXPECT_THAT(Sent(), ElementsAre(row.request, row.request));
        std::wstring failed = row.failed;
        failed.replace(failed.find(L"{}"), 2, L"/" + Widened(row.request));
        EXPECT_THAT(Logged(), ElementsAre(L"8 CCgiCommandAxis::" + Widened(row.name) + L", " + failed +
                                          L", dwStatusCode = 503, hr = 0x80004005"));
    }
}

TEST_F(AxisCommands, WhatIsNoMovementSendsNothing)
{
    Start({kOk});
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStartCommand(PTZ_None, 50));
    EXPECT_THAT(Logged(), IsEmpty());
    for (const int number : {5, 12, -1})
    {
        EXPECT_EQ(E_UNEXPECTED, m_commandSet.SendPTZStartCommand(static_cast<PTZCommand>(number), 50));
        EXPECT_THAT(Logged(), ElementsAre(L"8 CCgiCommandAxis::SendPTZStartCommand, unexpected command (" +
                                          std::to_wstring(number) + L")"));
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(AxisCommands, StopOfNoMovementStopsPanAndTilt)
{
    Start({kOk});
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStopCommand(PTZ_None));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStopCommand(static_cast<PTZCommand>(5)));
    EXPECT_THAT(Sent(), ElementsAre("axis-cgi/com/ptz.cgi?continuouspantiltmove=0,0",
                                    "axis-cgi/com/ptz.cgi?continuouspantiltmove=0,0"));
}

TEST_F(AxisCommands, StepsAndAreasAreNotForThisFamily)
{
    Start({kOk});
    EXPECT_EQ(E_NOTIMPL, m_commandSet.SendPTZCommand(PTZ_UPPER, PT_10));
    EXPECT_EQ(E_NOTIMPL, m_commandSet.SendPTZAreaZoomCommand(1, 2, 3, 4));
    EXPECT_THAT(Sent(), IsEmpty());
}
