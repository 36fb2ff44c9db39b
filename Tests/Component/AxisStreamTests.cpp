// A session with an Axis camera through COM: streams start, arrive, stop, are shared, and are left.

#include "Tests/Component/AxisStreamFixture.h"

#include <functional>

namespace
{
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string kTunnelGet = "axis-media/media.amp?videocodec=h264&audio=1";
const std::string kTunnelPost = "POST /axis-media/media.amp?videocodec=h264&audio=1 HTTP/1.1";
const std::string kAll = " rtsp://127.0.0.1/axis-media/media.amp?videocodec=h264&audio=1 RTSP/1.0";

class AxisStream : public AxisStreamTest
{
protected:
    static HRESULT SetUpStream(const CommandPointer& command, LONG streamId, WORD port)
    {
        CTransport transport(port);
        return command->SetupTransport(streamId, transport.Record());
    }
    HRESULT SetUpStream(LONG streamId, WORD port)
    {
        return SetUpStream(m_command, streamId, port);
    }
    /// The camera's video arrives at the port.
    void StartVideo(const CRtpReceiver& video)
    {
        ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
        ASSERT_EQ(S_OK, SetUpStream(kVideo, video.Port()));
        ASSERT_EQ(S_OK, m_command->StartMpeg4Video2(FALSE, video.Port()));
        EXPECT_LE(0, ExpectRtp(video));
    }
    CommandPointer AnotherObject(WORD port) const
    {
        CommandPointer command = CreateCommand();
        EXPECT_EQ(S_OK, Open(command, port));
        EXPECT_EQ(S_OK, command->ConnectToCamera());
        return command;
    }
    /// What the capture side finds in the registry; "none" without a value.
    static std::wstring SequenceNumbers()
    {
        wchar_t text[100] = {};
        DWORD sizeBytes = sizeof(text);
        const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, L"Software\\Orbell\\Video", L"SequenceNumbers",
                                              RRF_RT_REG_SZ, nullptr, text, &sizeBytes);
        return status == ERROR_SUCCESS ? text : L"none";
    }
};

TEST_F(AxisStream, ConnectingOpensTheTunnelAndSaysNothing)
{
    for (const LONG join : {1L, 0L, -1L})
    {
        SCOPED_TRACE(join);
        StartConnected(Small());
        EXPECT_EQ(S_OK, m_command->ConnectToRtspServer(join));
        EXPECT_TRUE(WaitForTunnels(1));
        EXPECT_THAT(Requests(), ElementsAre(kTunnelGet, kTunnelPost));
    }
}

TEST_F(AxisStream, VideoAndAudioArriveWhereTheyWereSetUp)
{
    const CRtpReceiver video;
    const CRtpReceiver audio;
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    ASSERT_EQ(S_OK, SetUpStream(kVideo, video.Port()));
    ASSERT_EQ(S_OK, SetUpStream(kAudio, audio.Port()));
    EXPECT_EQ(L"none", SequenceNumbers());
    Forget();
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video2(TRUE, 9)) << "what it is told counts for other families";
    EXPECT_THAT(Requests(), ElementsAre("PLAY" + kAll));
    const std::wstring numbers = SequenceNumbers();
    EXPECT_EQ(numbers, std::to_wstring(ExpectRtp(video)) + L"," + std::to_wstring(ExpectRtp(audio)))
        << "the first packets are those that the camera has announced";
    EXPECT_EQ(S_OK, m_command->StartAudio2(FALSE, 0));
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    EXPECT_EQ(S_OK, m_command->StartAudio());
    EXPECT_THAT(Requests(), ElementsAre("PLAY" + kAll, "PLAY" + kAll, "PLAY" + kAll));
    EXPECT_TRUE(m_camera->RtspSessions().at(0).playing);
}

TEST_F(AxisStream, MulticastArrivesAtTheAnnouncedPort)
{
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    CTransport video(0, true);
    CTransport audio(0, true);
    ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, video.Record()));
    ASSERT_EQ(S_OK, m_command->SetupTransport(kAudio, audio.Record()));
    const CRtpReceiver videoReceiver(video->RtpPort);
    const CRtpReceiver audioReceiver(audio->RtpPort);
    EXPECT_EQ(S_OK, m_command->StartAudio());
    EXPECT_LE(0, ExpectRtp(videoReceiver)) << "either start starts both";
    EXPECT_LE(0, ExpectRtp(audioReceiver));
}

TEST_F(AxisStream, PauseIsTheClientsOwnBusinessAndStopEndsTheSession)
{
    const CRtpReceiver video;
    StartVideo(video);
    Forget();
    EXPECT_EQ(S_OK, m_command->PauseStreaming());
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_TRUE(m_camera->RtspSessions().at(0).playing);
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    EXPECT_EQ(S_OK, m_command->StopStreaming());
    EXPECT_THAT(Requests(), ElementsAre("PLAY" + kAll, "TEARDOWN" + kAll));
    EXPECT_THAT(m_camera->RtspSessions(), IsEmpty());
    EXPECT_EQ(S_OK, m_command->StopStreaming()) << "nothing is left to stop";
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video()) << "waits until the stream is set up again";
    EXPECT_THAT(Requests(), IsEmpty());

    const CRtpReceiver again;
    ASSERT_EQ(S_OK, SetUpStream(kVideo, again.Port()));
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    EXPECT_LE(0, ExpectRtp(again));
}

TEST_F(AxisStream, RefusalsAreReturned)
{
    const CRtpReceiver video;
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    ASSERT_EQ(S_OK, SetUpStream(kVideo, video.Port()));
    m_camera->AddFault("status:500@rtsp:PLAY*2");
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_EQ(E_FAIL, m_command->StartAudio());
    EXPECT_EQ(2u, m_log.Count("1 CCgiCommandRtsp::StartStreaming, failed"));
    EXPECT_EQ(L"none", SequenceNumbers());
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    m_camera->AddFault("status:500@rtsp:TEARDOWN*1");
    EXPECT_EQ(E_FAIL, m_command->StopStreaming());
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandRtsp::StopStreaming, failed"));
    EXPECT_LE(0, ExpectRtp(video));
    EXPECT_EQ(S_OK, m_command->StopStreaming());
}

TEST_F(AxisStream, StartedWithoutATransportFailsForThoseWhoDoNotJoin)
{
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(FALSE));
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_EQ(1u, m_log.Count("1 CRtspClient::StartPlay, can't PLAY in Init state"));
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video()) << "who joins is waited for, also by himself";
    EXPECT_EQ(1u, m_log.Count("1 CRtspSession::StartPlay, can't play now because participant(1) is NOT 'Ready'"));
    EXPECT_EQ(0u, Count("PLAY "));
}

TEST_F(AxisStream, CamerasWithoutATunnelFailTheConnection)
{
    m_camera->AddFault("status:503@tunnel:GET");
    EXPECT_EQ(E_FAIL, m_command->ConnectToRtspServer(TRUE));
    EXPECT_EQ(E_UNEXPECTED, m_command->StartMpeg4Video());
    EXPECT_EQ(E_UNEXPECTED, m_command->PauseStreaming());
    EXPECT_EQ(E_UNEXPECTED, m_command->StopStreaming());
    EXPECT_EQ(E_UNEXPECTED, SetUpStream(kVideo, 5000));
    EXPECT_EQ(0u, Count("DESCRIBE "));
    m_camera->ClearFaults();
    EXPECT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    EXPECT_EQ(S_OK, SetUpStream(kVideo, 5000));
}

TEST_F(AxisStream, EveryWayToLeaveEndsTheSessionWithoutTeardown)
{
    const struct
    {
        const char* reason;
        std::function<void(CommandPointer&, WORD)> leave;
    } rows[] = {
        {"connection closed", [](auto& command, auto) { EXPECT_EQ(S_OK, command->CloseConnection()); }},
        {"another one opened", [](auto& command, auto port) { EXPECT_EQ(S_OK, Open(command, port)); }},
        {"last reference released", [](auto& command, auto) { command.reset(); }},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        StartConnected(Small());
        const CRtpReceiver video;
        StartVideo(video);
        EXPECT_EQ(1u, m_camera->RtspSessions().size());
        Forget();
        row.leave(m_command, m_camera->Port());
        EXPECT_EQ(1u, m_log.Count("1 CRtspSessionManager::ReleaseRtspSession, remove rtsp session (0x"));
        EXPECT_TRUE(WaitForNoSession());
        EXPECT_THAT(Requests(), IsEmpty());
    }
}

TEST_F(AxisStream, ConnectingAgainBeginsANewSession)
{
    const CRtpReceiver video;
    StartVideo(video);
    const std::string id = m_camera->RtspSessions().at(0).id;
    Forget();
    EXPECT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    EXPECT_TRUE(WaitForTunnels(2));
    EXPECT_THAT(Requests(), ElementsAre(kTunnelGet, kTunnelPost));
    EXPECT_TRUE(WaitForNoSession());
    const CRtpReceiver again;
    ASSERT_EQ(S_OK, SetUpStream(kVideo, again.Port()));
    EXPECT_NE(id, m_camera->RtspSessions().at(0).id);
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    EXPECT_LE(0, ExpectRtp(again));
}

TEST_F(AxisStream, TwoObjectsShareASessionThatPlaysWhenBothAreReady)
{
    const CRtpReceiver video;
    const CRtpReceiver audio;
    CommandPointer other = AnotherObject(m_camera->Port());
    Forget();
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    ASSERT_EQ(S_OK, other->ConnectToRtspServer(TRUE));
    EXPECT_TRUE(WaitForTunnels(1));
    EXPECT_THAT(Requests(), ElementsAre(kTunnelGet, kTunnelPost)) << "one tunnel for both";
    ASSERT_EQ(S_OK, SetUpStream(kVideo, video.Port()));
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    EXPECT_EQ(1u, m_log.Count("1 CRtspSession::StartPlay, can't play now because participant(2) is NOT 'Ready'"));
    EXPECT_EQ(0u, Count("PLAY ")) << "held back";
    ASSERT_EQ(S_OK, SetUpStream(other, kAudio, audio.Port()));
    EXPECT_EQ(1u, Count("DESCRIBE "));
    EXPECT_EQ(S_OK, other->StartAudio());
    EXPECT_EQ(1u, Count("PLAY "));
    EXPECT_LE(0, ExpectRtp(video));
    EXPECT_LE(0, ExpectRtp(audio));
    EXPECT_EQ(1u, m_camera->RtspSessions().size());

    EXPECT_EQ(S_OK, m_command->CloseConnection());
    EXPECT_LE(0, ExpectRtp(audio)) << "the other goes on";
    EXPECT_TRUE(m_camera->RtspSessions().at(0).playing);
    other.reset();
    EXPECT_TRUE(WaitForNoSession());
    EXPECT_EQ(0u, Count("TEARDOWN "));
}

TEST_F(AxisStream, WhoDoesNotJoinHoldsNobodyUp)
{
    const CRtpReceiver video;
    const CommandPointer other = AnotherObject(m_camera->Port());
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    ASSERT_EQ(S_OK, other->ConnectToRtspServer(FALSE));
    ASSERT_EQ(S_OK, SetUpStream(kVideo, video.Port()));
    EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
    EXPECT_EQ(1u, Count("PLAY "));
    EXPECT_EQ(0u, m_log.Count("participant(2) state changed to 'Playing'"));
    EXPECT_LE(0, ExpectRtp(video));
    EXPECT_EQ(S_OK, other->StopStreaming()) << "any participant's stop ends it for all";
    EXPECT_THAT(m_camera->RtspSessions(), IsEmpty());
}

TEST_F(AxisStream, SessionsAreSharedByNameWhateverThePort)
{
    CCameraSimulator second({.model = "AXIS P5635-E"});
    const CommandPointer other = AnotherObject(second.Start());
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    ASSERT_EQ(S_OK, other->ConnectToRtspServer(TRUE));
    ASSERT_EQ(S_OK, SetUpStream(other, kVideo, 5000));
    EXPECT_EQ(1u, Count("SETUP ")) << "the first one's port";
    EXPECT_THAT(RequestHeads(second), Each(Not(StartsWith("POST "))));
}

TEST_F(AxisStream, KeepAliveNamesTheSession)
{
    const CRtpReceiver video;
    StartVideo(video);
    EXPECT_TRUE(WaitFor([this] { return Count("OPTIONS ") > 0; })) << "one second after the setup";
    for (const JournalEntry& entry : m_camera->Journal())
    {
        if (entry.request.method != "OPTIONS")
            continue;
        const std::string* session = entry.request.Header("Session");
        ASSERT_NE(nullptr, session);
        EXPECT_EQ(m_camera->RtspSessions().at(0).id, *session);
    }
}
} // namespace
