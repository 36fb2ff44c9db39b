#include "Tests/CommandSets/IpelaFixture.h"

#include <functional>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
using Operation = std::function<HRESULT(CCgiCommandBase&)>;

const std::string kSetup = "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
} // namespace

class IpelaCommand : public IpelaTest
{
};
class IpelaStream : public IpelaTest
{
};

TEST_F(IpelaCommand, SendsOneRequestAndLogsItWhenItFails)
{
    const struct
    {
        const char* name;
        const char* model;
        Operation operation;
        std::string request;
    } rows[] = {
        {"SetImageSize", "SNC-RX550", [](auto& set) { return set.SetImageSize(640, 480, 15, VC_MPEG4); },
         "command/camera.cgi?M4ImageSize=640,0&M4FrameRate=15"},
        {"SetImageSize", "SNC-RZ25", [](auto& set) { return set.SetImageSize(320, 240, 30, VC_MPEG4); },
         "command/camera.cgi?ImageSize=320,2&M4FrameRate=30"},
        {"SetImageSize", "SNC-ER580", [](auto& set) { return set.SetImageSize(1280, 720, 30, VC_MPEG4); },
         "command/camera.cgi?ImageSize1=1280%2C720&M4FrameRate=30"},
        {"SetImageSize", "SNC-EP550", [](auto& set) { return set.SetImageSize(640, 368, 10, VC_MPEG4); },
         "command/camera.cgi?ImageCodec1=mpeg4&AspectRatioConversion=squeeze&ImageSize1=640%2C368&FrameRate1=10"},
        {"SetImageSize", "SNC-EP580", [](auto& set) { return set.SetImageSize(1920, 1080, 30, VC_H264); },
         "command/camera.cgi?ImageCodec1=h264&ImageSize1=1920%2C1080&FrameRate1=30"},
        {"SetBitRate", "SNC-EP580", [](auto& set) { return set.SetBitRate(100); }, "command/camera.cgi?BitRate1=128"},
        {"SetBitRate", "SNC-EP580", [](auto& set) { return set.SetBitRate(1024); }, "command/camera.cgi?BitRate1=1024"},
        {"SetBitRate", "SNC-ER580", [](auto& set) { return set.SetBitRate(9000); },
         "command/camera.cgi?M4BitRate=8192"},
        {"SetAudioInVolume", "SNC-EP580", [](auto& set) { return set.SetAudioInVolume(-10); },
         "command/camera.cgi?AudioInVolume=-10"},
        {"SetAudioInVolume", "SNC-EP580", [](auto& set) { return set.SetAudioInVolume(10); },
         "command/camera.cgi?AudioInVolume=10"},
        {"SendPTZCommand", "SNC-EP580", [](auto& set) { return set.SendPTZCommand(PTZ_UPPER, PT_10); },
         "command/ptzf.cgi?Relative=0801"},
        {"SendPTZCommand", "SNC-EP580", [](auto& set) { return set.SendPTZCommand(PTZ_ZOOM_TELE, PT_100); },
         "command/ptzf.cgi?Relative=1110"},
        {"SendPTZCommand", "SNC-EP580", [](auto& set) { return set.SendPTZCommand(static_cast<PTZCommand>(5), PT_10); },
         "command/ptzf.cgi?Relative=0501"},
        {"SendPTZAreaZoomCommand", "SNC-EP580", [](auto& set) { return set.SendPTZAreaZoomCommand(-5, 10, 320, 240); },
         "command/ptzf.cgi?AreaZoom=-5,10,320,240"},
        {"SendPTZAreaZoomCommand", "SNC-EP580", [](auto& set) { return set.SendPTZAreaZoomCommand(0, 0, 0, 0); },
         "command/ptzf.cgi?AreaZoom=0,0,0,0"},
        {"SendPTZStartCommand", "SNC-EP580", [](auto& set) { return set.SendPTZStartCommand(PTZ_UPPER, 50); },
         "command/ptzf.cgi?Move=up,12"},
        {"SendPTZStartCommand", "SNC-EP580", [](auto& set) { return set.SendPTZStartCommand(PTZ_UPPER_LEFT, 50); },
         "command/ptzf.cgi?Move=up-left,12"},
        {"SendPTZStartCommand", "SNC-EP580", [](auto& set) { return set.SendPTZStartCommand(PTZ_ZOOM_TELE, 1); },
         "command/ptzf.cgi?Move=tele,1"},
        {"SendPTZStopCommand", "SNC-EP580", [](auto& set) { return set.SendPTZStopCommand(PTZ_UPPER); },
         "command/ptzf.cgi?Move=stop,motor"},
        {"SendPTZStopCommand", "SNC-EP580", [](auto& set) { return set.SendPTZStopCommand(PTZ_ZOOM_WIDE); },
         "command/ptzf.cgi?Move=stop,zoom"},
        {"SendPTZStopCommand", "SNC-EP580", [](auto& set) { return set.SendPTZStopCommand(PTZ_None); },
         "command/ptzf.cgi?Move=stop,motor"},
        {"StartVideo", "SNC-EP580", [](auto& set) { return set.StartVideo(true, 0); }, "image1?UdpMode=multicast"},
        {"StartVideo", "SNC-EP580", [](auto& set) { return set.StartVideo(false, 5000); },
         "image1?UdpMode=unicast&UdpPort=5000"},
        {"StartVideo", "SNC-ER580", [](auto& set) { return set.StartVideo(true, 5000); }, "mpeg4?udpMode=multicast"},
        {"StartVideo", "SNC-ER580", [](auto& set) { return set.StartVideo(false, 65535); },
         "mpeg4?UdpMode=unicast&UdpPort=65535"},
        {"StartAudio", "SNC-EP580", [](auto& set) { return set.StartAudio(true, 0); }, "audio?udpMode=multicast"},
        {"StartAudio", "SNC-ER580", [](auto& set) { return set.StartAudio(false, 5002); },
         "audio?UdpMode=unicast&UdpPort=5002"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.name << ", " << row.request);
        Probe(row.model, {HttpAnswer(200, "OK"), HttpAnswer(403, "not you")});
        EXPECT_EQ(S_OK, row.operation(m_commandSet));
        EXPECT_THAT(Sent(), ElementsAre(row.request));
        EXPECT_EQ(0u, m_log.Count(L"failed"));
        m_log.Clear();

        EXPECT_EQ(E_FAIL, row.operation(m_commandSet));
        EXPECT_THAT(Sent(), ElementsAre(row.request));
        EXPECT_EQ(L"8 CCgiCommandIpela::" + Widened(row.name) + L", request (" + Widened(row.request) +
                      L") failed, dwStatusCode = 403, hr = 0x80004005",
                  LastLogged());
    }
}

TEST_F(IpelaCommand, RefusesArgumentsWithoutARequest)
{
    const struct
    {
        const char* reason;
        Operation operation;
        HRESULT hr;
    } rows[] = {
        {"volume too high", [](auto& set) { return set.SetAudioInVolume(11); }, E_INVALIDARG},
        {"volume too low", [](auto& set) { return set.SetAudioInVolume(-11); }, E_INVALIDARG},
        {"area of negative width", [](auto& set) { return set.SendPTZAreaZoomCommand(0, 0, -1, 1); }, E_INVALIDARG},
        {"area of negative height", [](auto& set) { return set.SendPTZAreaZoomCommand(0, 0, 1, -1); }, E_INVALIDARG},
        {"size that the model lacks", [](auto& set) { return set.SetImageSize(800, 600, 30, VC_H264); }, E_INVALIDARG},
        {"rate that is in no table", [](auto& set) { return set.SetImageSize(640, 480, 7, VC_H264); }, E_INVALIDARG},
        {"codec that the size lacks", [](auto& set) { return set.SetImageSize(1920, 1080, 30, VC_MPEG4); },
         E_INVALIDARG},
        {"no codec", [](auto& set) { return set.SetImageSize(640, 480, 30, VC_None); }, E_INVALIDARG},
        {"unicast video to no port", [](auto& set) { return set.StartVideo(false, 0); }, E_INVALIDARG},
        {"unicast audio to no port", [](auto& set) { return set.StartAudio(false, 0); }, E_INVALIDARG},
        {"no movement", [](auto& set) { return set.SendPTZStartCommand(PTZ_None, 50); }, S_OK},
        {"pause is not needed", [](auto& set) { return set.PauseStreaming(); }, S_OK},
        {"stop is not needed", [](auto& set) { return set.StopStreaming(); }, S_OK},
        {"no RTSP", [](auto& set) { return set.ConnectToRtspServer(L"127.0.0.1", 80, L"", L"", true); }, S_FALSE},
    };
    Probe("SNC-EP580");
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(row.hr, row.operation(m_commandSet));
        EXPECT_THAT(Sent(), IsEmpty());
        EXPECT_THAT(Logged(), IsEmpty());
    }
}

TEST_F(IpelaCommand, WhatIsNoDirectionIsUnexpected)
{
    Probe("SNC-EP580");
    for (const int number : {5, 12, -1})
    {
        EXPECT_EQ(E_UNEXPECTED, m_commandSet.SendPTZStartCommand(static_cast<PTZCommand>(number), 50));
        EXPECT_THAT(Logged(), ElementsAre(L"8 CCgiCommandIpela::SendPTZStartCommand, unexpected command (" +
                                          std::to_wstring(number) + L")"));
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IpelaCommand, BitRateLogsWhatWasAskedAndWhatIsSet)
{
    Probe("SNC-EP580");
    EXPECT_EQ(S_OK, m_commandSet.SetBitRate(100));
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::SetBitRate, change bitRate from 100 to 128"));
}

TEST_F(IpelaCommand, TransportFailureIsReturnedUnchanged)
{
    Probe("SNC-EP580");
    m_http.Close();
    EXPECT_EQ(E_UNEXPECTED, m_commandSet.SetAudioInVolume(1));
    EXPECT_EQ(L"8 CCgiCommandIpela::SetAudioInVolume, request (command/camera.cgi?AudioInVolume=1) failed, "
              L"dwStatusCode = 0, hr = 0x8000ffff",
              LastLogged());
}

TEST_F(IpelaStream, BadRequestSetsTheCameraUpAndTriesOnceMore)
{
    const struct
    {
        const wchar_t* name;
        Operation start;
        std::string request;
    } rows[] = {
        {L"StartVideo", [](auto& set) { return set.StartVideo(true, 0); }, "image1?UdpMode=multicast"},
        {L"StartAudio", [](auto& set) { return set.StartAudio(false, 5002); }, "audio?UdpMode=unicast&UdpPort=5002"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.request);
        const std::wstring prefix = std::wstring(L"8 CCgiCommandIpela::") + row.name;
        const std::wstring failed =
            prefix + L", request (" + Widened(row.request) + L") failed, dwStatusCode = 400, hr = 0x80004005";

        Probe("SNC-EP580", {HttpAnswer(400, "bad"), HttpAnswer(200, "OK"), HttpAnswer(200, "OK")});
        EXPECT_EQ(S_OK, row.start(m_commandSet));
        EXPECT_THAT(Sent(), ElementsAre(row.request, kSetup, row.request));
        EXPECT_THAT(Logged(), ElementsAre(failed));

        Probe("SNC-EP580", {HttpAnswer(400, "bad"), HttpAnswer(200, "OK"), HttpAnswer(400, "bad")});
        EXPECT_EQ(E_FAIL, row.start(m_commandSet));
        EXPECT_THAT(Sent(), ElementsAre(row.request, kSetup, row.request)) << "no third attempt";
        EXPECT_THAT(Logged(), ElementsAre(failed, failed));

        Probe("SNC-EP580", {HttpAnswer(400, "bad"), HttpAnswer(503, "busy")});
        EXPECT_EQ(E_FAIL, row.start(m_commandSet));
        EXPECT_THAT(Sent(), ElementsAre(row.request, kSetup));
        EXPECT_THAT(Logged(), ElementsAre(failed,
                                          L"1 CCgiCommandIpela::SetRequiredSettings, request (" + Widened(kSetup) +
                                              L"), dwStatusCode = 503, hr = 0x80004005",
                                          prefix + L", SetRequiredSettings failed, hr = 0x80004005"));
    }
}

TEST_F(IpelaStream, OtherFailuresAreNotRetried)
{
    for (const int statusCode : {403, 404, 503})
    {
        SCOPED_TRACE(statusCode);
        Probe("SNC-ER580", {HttpAnswer(statusCode, "no")});
        EXPECT_EQ(E_FAIL, m_commandSet.StartVideo(true, 0));
        EXPECT_THAT(Sent(), ElementsAre("mpeg4?udpMode=multicast"));
        EXPECT_EQ(E_FAIL, m_commandSet.StartAudio(true, 0));
        EXPECT_THAT(Sent(), ElementsAre("audio?udpMode=multicast"));
    }
}

TEST_F(IpelaStream, RetryEmptiesTheCache)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings), HttpAnswer(400, "bad"), HttpAnswer(200, "OK"),
                        HttpAnswer(200, "OK"), HttpAnswer(200, kH264Settings)});
    ImageSize2 size = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
    ASSERT_EQ(S_OK, m_commandSet.StartVideo(true, 0));
    Sent();
    EXPECT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
    EXPECT_THAT(Sent(), ElementsAre(kInquiry));
}
