// Stream starts: the request, and the packets that then arrive.

#include "Tests/Component/RtpReceiver.h"
#include "Tests/Component/SimulatedCameraFixture.h"

#include <functional>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class StreamStart : public SimulatedCameraTest
{
};

TEST_F(StreamStart, UnicastArrivesAtTheAskedForPort)
{
    const struct
    {
        const char* model;
        const char* path;
        MediaKind kind;
    } rows[] = {{"SNC-EP580", "image1", MediaKind::H264},
                {"SNC-RX550", "mpeg4", MediaKind::Mpeg4},
                {"SNC-UNKNOWN", "mpeg4", MediaKind::Mpeg4}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.model);
        StartConnected({.model = row.model});
        const CRtpReceiver video;
        const CRtpReceiver audio;
        EXPECT_EQ(S_OK, m_command->StartMpeg4Video2(FALSE, video.Port()));
        EXPECT_EQ(S_OK, m_command->StartAudio2(FALSE, audio.Port()));
        EXPECT_THAT(Sent(),
                    ElementsAre(std::string(row.path) + "?UdpMode=unicast&UdpPort=" + std::to_string(video.Port()),
                                "audio?UdpMode=unicast&UdpPort=" + std::to_string(audio.Port())));
        ExpectRtp(video);
        ExpectRtp(audio);
        const std::vector<StreamStatus> streams = m_camera->Streams();
        ASSERT_EQ(2u, streams.size());
        EXPECT_EQ(row.kind, streams[0].order.kind);
        EXPECT_EQ(MediaKind::Pcmu, streams[1].order.kind);
    }
}

TEST_F(StreamStart, MulticastGoesToThePortOfTheCamera)
{
    for (const char* model : {"SNC-EP580", "SNC-ER580"})
    {
        SCOPED_TRACE(model);
        const bool isNewest = std::string(model) == "SNC-EP580";
        StartConnected({.model = model});
        const CRtpReceiver video;
        const CRtpReceiver audio;
        m_camera->SetSetting(isNewest ? "McVideoPort1" : "McVideoPort", std::to_string(video.Port()));
        m_camera->SetSetting("McAudioPort", std::to_string(audio.Port()));
        const std::string request = isNewest ? "image1?UdpMode=multicast" : "mpeg4?udpMode=multicast";
        EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
        EXPECT_EQ(S_OK, m_command->StartAudio());
        EXPECT_THAT(Sent(), ElementsAre(request, "audio?udpMode=multicast"));
        ExpectRtp(video);
        ExpectRtp(audio);
        // Any true value, and a port that counts for unicast only.
        EXPECT_EQ(S_OK, m_command->StartMpeg4Video2(-1, 4711));
        EXPECT_EQ(S_OK, m_command->StartAudio2(2, 4711));
        EXPECT_THAT(Sent(), ElementsAre(request, "audio?udpMode=multicast"));
    }
}

TEST_F(StreamStart, UnicastNeedsAPort)
{
    StartConnected();
    EXPECT_EQ(E_INVALIDARG, m_command->StartMpeg4Video2(FALSE, 0));
    EXPECT_EQ(E_INVALIDARG, m_command->StartAudio2(FALSE, 0));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(StreamStart, PauseAndStopAreTheClientsOwnBusiness)
{
    StartConnected();
    const CRtpReceiver video;
    ASSERT_EQ(S_OK, m_command->StartMpeg4Video2(FALSE, video.Port()));
    ExpectRtp(video);
    Forget();
    EXPECT_EQ(S_OK, m_command->PauseStreaming());
    EXPECT_EQ(S_OK, m_command->StopStreaming());
    EXPECT_THAT(Sent(), IsEmpty()) << "the camera sends until it is told otherwise by other means";
    EXPECT_EQ(1u, m_camera->Streams().size());
}

TEST_F(StreamStart, BadRequestSetsTheCameraUpAndTriesOnceMore)
{
    const struct
    {
        const char* name;
        std::function<HRESULT(IAVCommand5*, unsigned short)> start;
        const char* path;
    } rows[] = {
        {"StartVideo", [](auto c, auto port) { return c->StartMpeg4Video2(FALSE, port); }, "image1"},
        {"StartAudio", [](auto c, auto port) { return c->StartAudio2(FALSE, port); }, "audio"},
    };
    const std::string setup = "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        StartConnected();
        // Somebody changes the camera behind the client's back.
        m_camera->SetSetting("AudioIn", "off");
        const CRtpReceiver receiver;
        const std::string request =
            std::string(row.path) + "?UdpMode=unicast&UdpPort=" + std::to_string(receiver.Port());
        EXPECT_EQ(S_OK, row.start(m_command.get(), receiver.Port()));
        EXPECT_THAT(Sent(), ElementsAre(request, setup, request));
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::" + std::string(row.name) + ", request (" + request +
                                  ") failed, dwStatusCode = 400, hr = 0x80004005"));
        ExpectRtp(receiver);
        CameraSettings3 settings = {};
        EXPECT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
        ::SysFreeString(settings.MulticastAddress);
        EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=camera")) << "the setup has emptied the cache";
    }
}

TEST_F(StreamStart, SecondBadRequestIsFinal)
{
    StartConnected();
    m_camera->SetSetting("ImageCodec1", "jpeg"); // which the setup without a codec leaves
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_THAT(Sent(), ElementsAre("image1?UdpMode=multicast",
                                    "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off",
                                    "image1?UdpMode=multicast"));
}

TEST_F(StreamStart, FailedSetupIsReturned)
{
    StartConnected();
    m_camera->SetSetting("AudioIn", "off");
    m_camera->AddFault("status:403@command/camera.cgi");
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_EQ(E_FAIL, m_command->StartAudio());
    EXPECT_EQ(1u, m_log.Count("CCgiCommandIpela::StartVideo, SetRequiredSettings failed, hr = 0x80004005"));
    EXPECT_EQ(1u, m_log.Count("CCgiCommandIpela::StartAudio, SetRequiredSettings failed, hr = 0x80004005"));
    EXPECT_EQ(4u, Sent().size());
}

TEST_F(StreamStart, OtherFailuresAreFinal)
{
    StartConnected();
    m_camera->AddFault("status:503@image1");
    m_camera->AddFault("status:404@audio");
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_EQ(E_FAIL, m_command->StartAudio());
    EXPECT_THAT(Sent(), ElementsAre("image1?UdpMode=multicast", "audio?udpMode=multicast"));
}
} // namespace
