// How an object finds out what camera it talks to, and how often it tries.

#include "Tests/Component/LastingCamera.h"

#include <chrono>

namespace
{
using testing::Contains;
using testing::ElementsAre;

constexpr std::chrono::seconds kPause{5};
const std::string kTryAgain =
    "1 CAVCommand::ChooseCgiCommandSet, talk to camera timeout, will try again, tryCount = 1.";
const std::string kIsIpela = "1 CAVCommand::ChooseCgiCommandSet, camera is IPELA.";

const std::string kIsAxis = "1 CAVCommand::ChooseCgiCommandSet, camera is AXIS.";
const char kIpela = 'I';
const char kAxis = 'A';

/// Which families the camera was probed for, in order; other requests are left out.
std::vector<char> Probes(const CScriptedCamera& camera)
{
    std::vector<char> probes;
    for (const std::string& head : camera.Requests())
    {
        const std::string request = RequestOf(head);
        if (request == kProbe)
            probes.push_back(kIpela);
        else if (request == "axis-cgi/com/ptz.cgi?whoami=yes")
            probes.push_back(kAxis);
    }
    return probes;
}

class FamilyChoice : public LastingCameraTest
{
};

TEST_F(FamilyChoice, CameraIsAskedOnceAndThenKnown)
{
    const CScriptedCamera& camera = MakeCamera({ProbeReply("SNC-EP580"), HttpAnswer(200, "")});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    EXPECT_EQ(S_OK, command->SetAudioInVolume(1));
    EXPECT_EQ(S_OK, command->SetAudioInVolume(2));
    EXPECT_EQ(S_OK, command->IsImageSizeSupported(640, 480, 30));
    EXPECT_EQ(1u, CountProbes(camera));
    EXPECT_EQ(3u, camera.Requests().size());
    EXPECT_THAT(m_log.Lines(), ElementsAre("1 CCgiCommandIpela::TryTalkToCamera, IPELA ModelName = 'SNC-EP580', "
                                           "Serial = '4711', SoftVersion = '1.10'",
                                           kIsIpela));
}

TEST_F(FamilyChoice, CameraThatIsNoIpelaOneIsAskedWhetherItIsAnAxisOne)
{
    const CScriptedCamera& camera =
        MakeCamera({HttpAnswer(404, ""), HttpAnswer(200, "AXIS P5635"), HttpAnswer(200, "")});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    EXPECT_EQ(S_OK, command->SetAudioInVolume(1));
    EXPECT_EQ(S_OK, command->SetAudioInVolume(2));
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela, kAxis));
    EXPECT_EQ(4u, camera.Requests().size());
    EXPECT_THAT(m_log.Lines(), ElementsAre("1 CHttpRequest::SendRequest, failed for url: "
                                           "'command/inquiry.cgi?inq=system', status code: 404, 'Scripted'",
                                           "1 CCgiCommandIpela::TryTalkToCamera, failed to send request: "
                                           "'command/inquiry.cgi?inq=system', hr = 0x80004005",
                                           "1 CCgiCommandAxis::TryTalkToCamera, succeeded, request: "
                                           "'/axis-cgi/com/ptz.cgi?whoami=yes', server response: 'AXIS P5635'",
                                           kIsAxis));
}

TEST_F(FamilyChoice, IpelaCameraIsNotAskedWhetherItIsAnAxisOne)
{
    const CScriptedCamera& camera = MakeCamera({ProbeReply()});
    EXPECT_EQ(S_OK, OpenTo(camera)->PauseStreaming());
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela));
}

TEST_F(FamilyChoice, CameraThatKnowsBothRequestsCountsAsIpela)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(200, "")});
    EXPECT_EQ(S_OK, OpenTo(camera)->PauseStreaming());
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela));
}

TEST_F(FamilyChoice, ModelIsWhatItsNameBeginsWith)
{
    // The request for a bit rate tells the older cameras from the newer ones; the sizes tell the models.
    const struct
    {
        const char* name;
        const char* request;
        bool isUnknown;
    } rows[] = {
        {"snc-ep550x", "command/camera.cgi?BitRate1=64", false},
        {"SNC-WR600", "command/camera.cgi?BitRate1=64", false},
        {"XSNC-EP550", "command/camera.cgi?M4BitRate=64", true},
        {"SNC-EP5", "command/camera.cgi?M4BitRate=64", true},
        {"SNC-RX550", "command/camera.cgi?M4BitRate=64", false},
        {"Snc-Rz25n", "command/camera.cgi?M4BitRate=64", false},
        {"", "command/camera.cgi?M4BitRate=64", true},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        const CScriptedCamera& camera = MakeCamera({ProbeReply(row.name), HttpAnswer(200, "")});
        const CommandPointer command = OpenTo(camera);
        m_log.Clear();
        EXPECT_EQ(S_OK, command->SetBitRate(64));
        EXPECT_EQ(1u, m_log.Count(kIsIpela)) << "also when the model is unknown";
        EXPECT_EQ(row.isUnknown ? 1u : 0u, m_log.Count("1 CCgiCommandIpela::GetCameraModel, unknown camera model: "));
        ASSERT_EQ(2u, camera.Requests().size());
        EXPECT_EQ(row.request, RequestOf(camera.Requests()[1]));
    }
}

TEST_F(FamilyChoice, UnknownModelIsNamedInUpperCase)
{
    const CScriptedCamera& camera = MakeCamera({ProbeReply("xSNC-ep550")});
    const CommandPointer command = OpenTo(camera);
    EXPECT_EQ(S_OK, command->IsImageSizeSupported(1920, 1080, 20));
    EXPECT_THAT(m_log.Lines(), Contains("1 CCgiCommandIpela::GetCameraModel, unknown camera model: XSNC-EP550"));
}

TEST_F(FamilyChoice, EmptyAnswerIsAnUnknownModel)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(200, "")});
    const CommandPointer command = OpenTo(camera);
    EXPECT_EQ(S_OK, command->PauseStreaming());
    EXPECT_EQ(1u, m_log.Count(kIsIpela));
}

TEST_F(FamilyChoice, EveryMethodThatNeedsTheCameraFails)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(404, "")});
    const CommandPointer command = OpenTo(camera);
    ImageSize* sizes = nullptr;
    ImageSize2* sizes2 = nullptr;
    ImageSize2 size2 = {};
    long* rates = nullptr;
    long count = -1;
    CameraSettings settings = {};
    CameraSettings2 settings2 = {};
    CameraSettings3 settings3 = {};
    TransportParameters transport = {};
    H264Parameters h264 = {};
    IAVCommand5& c = *command.get();
    const HRESULT results[] = {
        c.ConnectToCamera(),
        c.StartMpeg4Video(),
        c.StartAudio(),
        c.GetSupportedImageSizes(&sizes, &count),
        c.IsImageSizeSupported(640, 480, 30),
        c.GetCameraSettings(&settings),
        c.SetImageSize(640, 480, 30),
        c.SetBitRate(64),
        c.SendPTZCommand(PTZ_UPPER, PT_10),
        c.SendPTZAreaZoomCommand(0, 0, 1, 1),
        c.SendPTZStartCommand(PTZ_UPPER, 1),
        c.SendPTZStopCommand(PTZ_UPPER),
        c.StartMpeg4Video2(TRUE, 0),
        c.StartAudio2(TRUE, 0),
        c.GetSupportedFrameRates(&rates, &count),
        c.SetAudioInVolume(0),
        c.GetCameraSettings2(&settings2),
        c.GetSupportedImageSizes2(&sizes2, &count),
        c.IsImageSizeSupported2(640, 480, 30, VC_H264),
        c.SetImageSize2(640, 480, 30, VC_H264),
        c.SetupTransport(0, &transport),
        c.GetCameraImageSize(&size2),
        c.GetCameraSettings3(&settings3),
        c.GetH264Parameters(&h264),
        c.PauseStreaming(),
        c.StopStreaming(),
        c.ConnectToRtspServer(TRUE),
    };
    EXPECT_THAT(results, testing::Each(E_FAIL));
    EXPECT_EQ(std::size(results), CountProbes(camera)) << "each tries anew";
    EXPECT_EQ(-1, count);
    EXPECT_EQ(nullptr, sizes);
    EXPECT_EQ(nullptr, settings.MulticastAddress);
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
}

class SilentCamera : public FamilyChoice
{
protected:
    SilentCamera()
    {
        m_registry.SetText(kTimeLimit, L"600");
    }
};

TEST_F(SilentCamera, IsAskedTwiceWithOnePause)
{
    const CScriptedCamera& camera = MakeCamera({Silence()});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, kPause);
    EXPECT_LT(elapsed, 2 * kPause) << "one pause only";
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela, kAxis, kIpela, kAxis));
    EXPECT_EQ(1u, m_log.Count("8 CAsyncHttpRequest::DoSendRequest, timeout")) << "once an hour";
    EXPECT_EQ(2u, m_log.Count("1 CCgiCommandIpela::TryTalkToCamera, failed to send request: "
                              "'command/inquiry.cgi?inq=system', hr = 0x800c05b4"));
    EXPECT_EQ(2u, m_log.Count("1 CCgiCommandAxis::TryTalkToCamera, failed, request: "
                              "'/axis-cgi/com/ptz.cgi?whoami=yes', dwStatusCode = "));
    EXPECT_EQ(1u, m_log.Count(kTryAgain));
    EXPECT_EQ(1u, m_log.Count(", will try again, ")) << "no other count";
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
}

TEST_F(SilentCamera, ThatWakesUpIsFoundInTheSecondPass)
{
    const CScriptedCamera& camera = MakeCamera({Silence(), Silence(), ProbeReply(), HttpAnswer(200, "")});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    EXPECT_EQ(S_OK, command->SetBitRate(64));
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela, kAxis, kIpela)) << "each family in the first pass";
    EXPECT_EQ(1u, m_log.Count(kTryAgain));
    EXPECT_EQ(1u, m_log.Count(kIsIpela));
    EXPECT_EQ(0u, m_log.Count(kCantTalk));
}

TEST_F(SilentCamera, ThatAnswersOnlyTheSecondProbeIsFoundAtOnce)
{
    const CScriptedCamera& camera = MakeCamera({Silence(), HttpAnswer(200, "AXIS"), HttpAnswer(200, "OK")});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(S_OK, command->SetBitRate(64));
    EXPECT_LT(std::chrono::steady_clock::now() - start, kPause);
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela, kAxis));
    EXPECT_EQ(0u, m_log.Count(kTryAgain));
    EXPECT_EQ(1u, m_log.Count(kIsAxis));
}

TEST_F(SilentCamera, ThatTimesOutOnTheSecondProbeAloneIsAskedTwice)
{
    const CScriptedCamera& camera = MakeCamera(
        {HttpAnswer(404, ""), Silence(), HttpAnswer(404, ""), HttpAnswer(200, "AXIS"), HttpAnswer(200, "OK")});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    EXPECT_EQ(S_OK, command->SetBitRate(64));
    EXPECT_THAT(Probes(camera), ElementsAre(kIpela, kAxis, kIpela, kAxis));
    EXPECT_EQ(1u, m_log.Count(kTryAgain));
    EXPECT_EQ(1u, m_log.Count(kIsAxis));
}

TEST_F(SilentCamera, StalledBodyIsNoReasonToTryAgain)
{
    ScriptedReply stalled{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nModelName="};
    stalled.silentAfter = true;
    const CScriptedCamera& camera = MakeCamera({stalled});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_LT(std::chrono::steady_clock::now() - start, kPause);
    EXPECT_EQ(1u, CountProbes(camera));
    EXPECT_GE(m_log.Count("8 CAsyncHttpRequest::SendRequest, receiving response timeout, url = "
                          "'command/inquiry.cgi?inq=system'"),
              1u);
    EXPECT_EQ(0u, m_log.Count(kTryAgain));
}
} // namespace
