// SETUP, PLAY and TEARDOWN: the client's states, the transport record, the keep-alive's times, the registry.

#include "Tests/Rtsp/RtspFixture.h"
#include "Tests/Support/RegistryValueGuard.h"
#include "Win32/RegistryKey.h"

QUORVANE_IMPORT_SLOT(g_setValueSlot, RegSetValueExW, 24);
QUORVANE_IMPORT_SLOT(g_openKeySlot, RegOpenKeyExW, 20);

namespace
{
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr wchar_t kSettingsKey[] = L"Software\\Orbell\\Video";
constexpr wchar_t kSequenceNumbers[] = L"SequenceNumbers";

class RtspSetup : public RtspClientTest
{
protected:
    bool Setup(RtspTransport& transport)
    {
        return m_client->SetupTransport(kTrackUrl, transport);
    }
};

TEST_F(RtspSetup, TakesSessionTransportAndTimeout)
{
    Open();
    m_camera.Enqueue(Reply(200, "Session: 12345678;timeout=60\r\nTransport: "
                                "RTP/AVP;unicast;client_port=5000-5001;server_port=6970-6971;ssrc=1A2B3C4D\r\n"));
    RtspTransport transport = Wanted();
    EXPECT_TRUE(Setup(transport));
    EXPECT_EQ("RTP/AVP", transport.protocol);
    EXPECT_FALSE(transport.isMulticast);
    EXPECT_EQ(5000, transport.clientPort);
    EXPECT_EQ(6970, transport.serverRtpPort);
    EXPECT_EQ(6971, transport.serverRtcpPort);
    EXPECT_EQ("1A2B3C4D", transport.ssrc);
    const std::vector<std::wstring> lines = ClientLines();
    ASSERT_EQ(5u, lines.size());
    EXPECT_EQ(L"1 CRtspClient::SetupTransport, url: 'rtsp://127.0.0.1/media.amp/trackID=1', transport: "
              L"'RTP/AVP;unicast;client_port=5000-5001'",
              lines[0]);
    EXPECT_TRUE(lines[1].starts_with(L"1 CRtspClient::DoSendRtspRequest, command: 'SETUP', url: "));
    EXPECT_EQ(L"1 CRtspClient::SetupTransport, new session id: '12345678', timeout: 60", lines[2]);
    EXPECT_EQ(L"1 CRtspClient::StartPingTimer, started, interval = 60", lines[3]);
    EXPECT_EQ(L"1 CRtspClient::SetupTransport, client state changed from 'Init' to 'Ready'", lines[4]);
}

TEST_F(RtspSetup, AsksForMulticast)
{
    Open();
    RtspTransport transport = Wanted();
    transport.isMulticast = true;
    EXPECT_TRUE(Setup(transport));
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("\r\nTransport: RTP/AVP;multicast;\r\n"));
}

TEST_F(RtspSetup, NeedsAUrl)
{
    Open();
    RtspTransport transport = Wanted();
    EXPECT_FALSE(m_client->SetupTransport(L"", transport));
    EXPECT_FALSE(m_client->SetupTransport(nullptr, transport));
    EXPECT_THAT(m_camera.Requests(), IsEmpty());
    EXPECT_THAT(ClientLines(), IsEmpty());
}

TEST_F(RtspSetup, ReplyWithoutTransportLeavesTheRecordAlone)
{
    Open();
    RtspTransport transport = Wanted();
    transport.serverRtpPort = 1;
    transport.serverRtcpPort = 2;
    transport.ssrc = "old";
    m_camera.Enqueue(Reply(200, "Session: 1\r\n"));
    EXPECT_TRUE(Setup(transport));
    EXPECT_EQ("RTP/AVP", transport.protocol);
    EXPECT_EQ(1, transport.serverRtpPort);
    EXPECT_EQ(2, transport.serverRtcpPort);
    EXPECT_EQ("old", transport.ssrc);
}

TEST_F(RtspSetup, FailureLeavesRecordAndStateAlone)
{
    Open(kShortMs);
    RtspTransport transport = Wanted();
    transport.serverRtpPort = 1;
    m_camera.Enqueue(Reply(461, "Session: 1;timeout=60\r\nTransport: RTP/AVP/TCP;server_port=9-10\r\n"));
    EXPECT_FALSE(Setup(transport));
    EXPECT_EQ(L"1 CRtspClient::SetupTransport, failed, status code: 461", ClientLines().back());
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(Setup(transport));
    EXPECT_EQ(L"1 CRtspClient::SetupTransport, failed to to send command", ClientLines().back());
    EXPECT_EQ("RTP/AVP", transport.protocol);
    EXPECT_EQ(1, transport.serverRtpPort);
    EXPECT_THAT(m_timers.timers[0].settings, IsEmpty());
    EXPECT_FALSE(m_client->StartPlay(L""));
    EXPECT_EQ(L"1 CRtspClient::StartPlay, can't PLAY in Init state", ClientLines().back());
}

TEST_F(RtspSetup, FurtherStreamKeepsTheSessionAndItsTimer)
{
    Open();
    SetUpStream("Session: first;timeout=60\r\n");
    m_camera.Enqueue(Reply(200, "Session: first;timeout=30\r\n"));
    RtspTransport transport = Wanted();
    EXPECT_TRUE(Setup(transport));
    EXPECT_EQ(0u, m_log.Count(L"CRtspClient::SetupTransport, unexpected"));
    m_camera.Enqueue(Reply(200, "Session: second;timeout=30\r\n"));
    EXPECT_TRUE(Setup(transport));
    EXPECT_EQ(L"1 CRtspClient::SetupTransport, unexpected session id: 'second', timeout: 30", ClientLines().back());
    EXPECT_EQ(1u, m_timers.timers[0].settings.size());
    EXPECT_TRUE(m_client->StartPlay(L""));
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("\r\nSession: first\r\n"));
}

TEST_F(RtspSetup, StartsTheKeepAliveAfterASecondAndThenInFourFifthsOfTheTimeout)
{
    Open();
    SetUpStream("Session: 12345678;timeout=30\r\n");
    const CThreadpoolTimerSpy::Setting expected = {false, -10'000'000, 24'000, 0};
    EXPECT_THAT(m_timers.timers[0].settings, ElementsAre(expected));
}

TEST_F(RtspSetup, BlankInFrontOfTheTimeoutIsTheSame)
{
    Open();
    SetUpStream("Session: 12345678; timeout=60\r\n");
    const CThreadpoolTimerSpy::Setting expected = {false, -10'000'000, 48'000, 0};
    EXPECT_THAT(m_timers.timers[0].settings, ElementsAre(expected));
}

TEST_F(RtspSetup, TimeoutThatIsNoNumberIsAMinute)
{
    Open();
    SetUpStream("Session: 12345678;timeout=0\r\n");
    const CThreadpoolTimerSpy::Setting expected = {false, -10'000'000, 48'000, 0};
    EXPECT_THAT(m_timers.timers[0].settings, ElementsAre(expected));
}

// RFC 2326 has 60 s then. This client keeps alive only what the camera says will end.
TEST_F(RtspSetup, WithoutATimeoutThereIsNoKeepAlive)
{
    Open();
    SetUpStream("Session: 12345678\r\n");
    EXPECT_THAT(m_timers.timers[0].settings, IsEmpty());
}

TEST_F(RtspSetup, HeaderNamesOfTheReplyAreCaseSensitive)
{
    Open();
    m_camera.Enqueue(Reply(200, "session: 12345678;timeout=60\r\ntransport: RTP/AVP;server_port=1-2\r\n"));
    RtspTransport transport = Wanted();
    EXPECT_TRUE(Setup(transport));
    EXPECT_EQ(0, transport.serverRtpPort);
    EXPECT_THAT(m_timers.timers[0].settings, IsEmpty());
    EXPECT_TRUE(m_client->StartPlay(L""));
    EXPECT_THAT(m_camera.Requests().back(), Not(HasSubstr("Session")));
}

class RtspPlay : public RtspClientTest
{
protected:
    void Prepare(DWORD replyLimitMs = RtspLimits().replyMs)
    {
        m_value.SetText(L"left over");
        Open(replyLimitMs);
        SetUpStream();
    }
    std::wstring SavedNumbers()
    {
        return CRegistryKey::OpenMachine(kSettingsKey).ReadText(kSequenceNumbers).value_or(L"(none)");
    }

    CRegistryValueGuard m_value{HKEY_LOCAL_MACHINE, kSettingsKey, kSequenceNumbers};
};

TEST_F(RtspPlay, HandsTheSequenceNumbersToTheCaptureSide)
{
    Prepare();
    m_camera.Enqueue(Reply(200, "RTP-Info: url=rtsp://c/v;seq=45102;rtptime=1,url=rtsp://c/a;seq=30211;rtptime=2\r\n"));
    EXPECT_TRUE(m_client->StartPlay(L""));
    EXPECT_EQ(L"45102,30211", SavedNumbers());

    DWORD type = REG_NONE;
    DWORD sizeBytes = 0;
    EXPECT_EQ(ERROR_SUCCESS, ::RegGetValueW(HKEY_LOCAL_MACHINE, kSettingsKey, kSequenceNumbers, RRF_RT_ANY, &type,
                                            nullptr, &sizeBytes));
    EXPECT_EQ(static_cast<DWORD>(REG_SZ), type);
    EXPECT_EQ(12 * sizeof(wchar_t), sizeBytes) << "with its terminator";
}

TEST_F(RtspPlay, WithoutSequenceNumbersLeavesTheRegistryAlone)
{
    Prepare();
    EXPECT_TRUE(m_client->StartPlay(L""));
    m_camera.Enqueue(Reply(200, "RTP-Info: url=rtsp://c/v;rtptime=1\r\n"));
    EXPECT_TRUE(m_client->StartPlay(L"")) << "PLAY again is sent again";
    m_camera.Enqueue(Reply(454, "RTP-Info: url=rtsp://c/v;seq=1\r\n"));
    EXPECT_FALSE(m_client->StartPlay(L""));
    EXPECT_EQ(L"left over", SavedNumbers());
    EXPECT_EQ("SETUP PLAY PLAY PLAY", m_camera.Methods());
}

TEST_F(RtspPlay, SavesABoundedText)
{
    Prepare();
    std::string info = "RTP-Info: ";
    for (int i = 10'000; i < 12'000; ++i)
        info += "seq=" + std::to_string(i) + ",";
    m_camera.Enqueue(Reply(200, info + "\r\n"));
    EXPECT_TRUE(m_client->StartPlay(L""));
    wchar_t saved[4096] = {};
    DWORD sizeBytes = sizeof(saved);
    ASSERT_EQ(ERROR_SUCCESS, ::RegGetValueW(HKEY_LOCAL_MACHINE, kSettingsKey, kSequenceNumbers, RRF_RT_REG_SZ, nullptr,
                                            saved, &sizeBytes));
    EXPECT_LE(sizeBytes, (RtspHeaders::kMaximumSequenceListChars + 1) * sizeof(wchar_t));
    EXPECT_TRUE(std::wstring(saved).starts_with(L"10000,10001,"));
}

DWORD s_registryResult = ERROR_SUCCESS;
LONG WINAPI FailToSetValue(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD)
{
    return static_cast<LONG>(s_registryResult);
}
REGSAM s_askedAccess = 0;
LONG WINAPI FailToOpenKey(HKEY, LPCWSTR, DWORD, REGSAM access, HKEY*)
{
    s_askedAccess = access;
    return ERROR_FILE_NOT_FOUND;
}

TEST_F(RtspPlay, ReportsAValueThatCannotBeSetAndSucceeds)
{
    Prepare();
    m_camera.Enqueue(Reply(200, "RTP-Info: seq=1\r\n"));
    s_registryResult = ERROR_ACCESS_DENIED;
    {
        const CImportPatch patch(&g_setValueSlot, &FailToSetValue);
        EXPECT_TRUE(m_client->StartPlay(L""));
    }
    EXPECT_EQ(L"1 CRtspClient::StartPlay, failed to save sequence numbers to registry", ClientLines().back());
}

TEST_F(RtspPlay, WithoutTheKeyNothingIsWrittenOrLogged)
{
    Prepare();
    m_camera.Enqueue(Reply(200, "RTP-Info: seq=1\r\n"));
    {
        const CImportPatch patch(&g_openKeySlot, &FailToOpenKey);
        EXPECT_TRUE(m_client->StartPlay(L""));
    }
    EXPECT_EQ(static_cast<REGSAM>(KEY_WRITE), s_askedAccess);
    EXPECT_EQ(1u, ClientLines().size()) << "the reply, nothing else";
    EXPECT_EQ(L"left over", SavedNumbers());
}

TEST_F(RtspPlay, IsRefusedBeforeSetup)
{
    Open();
    EXPECT_FALSE(m_client->StartPlay(kTrackUrl));
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::StartPlay, can't PLAY in Init state"));
    EXPECT_THAT(m_camera.Requests(), IsEmpty());
}

TEST_F(RtspPlay, FailureIsReported)
{
    Prepare(kShortMs);
    m_camera.Enqueue(Reply(457));
    EXPECT_FALSE(m_client->StartPlay(L""));
    EXPECT_EQ(L"1 CRtspClient::StartPlay, failed, status code: 457", ClientLines().back());
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->StartPlay(L""));
    EXPECT_EQ(L"1 CRtspClient::StartPlay, failed to to send command", ClientLines().back());
}

TEST_F(RtspPlay, PauseSendsNothing)
{
    Prepare();
    EXPECT_TRUE(m_client->PausePlay(L""));
    EXPECT_EQ("SETUP", m_camera.Methods());
    EXPECT_TRUE(m_client->StartPlay(L"")) << "the state is the same";
}

class RtspTeardown : public RtspClientTest
{
};

TEST_F(RtspTeardown, EndsSessionAndKeepAlive)
{
    Open();
    SetUpStream("Session: 12345678;timeout=60\r\n");
    EXPECT_TRUE(m_client->StopPlay(L""));
    const std::vector<std::wstring> lines = ClientLines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(L"1 CRtspClient::StopPingTimer, stopped", lines[1]);
    EXPECT_EQ(L"1 CRtspClient::StopPlay, client state changed to 'Init'", lines[2]);
    EXPECT_TRUE(m_timers.timers[0].settings.back().isCancelled);
    EXPECT_FALSE(m_timers.timers[0].isClosed);

    SetUpStream("Session: 87654321;timeout=60\r\n");
    EXPECT_THAT(m_camera.Requests().back(), Not(HasSubstr("Session"))) << "the old id is forgotten";
    EXPECT_FALSE(m_timers.timers[0].settings.back().isCancelled) << "the same timer, started again";
    EXPECT_EQ(1u, m_timers.timers.size());
}

TEST_F(RtspTeardown, IsNotSentBeforeSetup)
{
    Open();
    EXPECT_TRUE(m_client->StopPlay(kTrackUrl));
    EXPECT_THAT(m_camera.Requests(), IsEmpty());
    EXPECT_THAT(ClientLines(), IsEmpty());
}

TEST_F(RtspTeardown, FailureKeepsStateSessionAndKeepAlive)
{
    Open(kShortMs);
    SetUpStream("Session: 12345678;timeout=60\r\n");
    m_camera.Enqueue(Reply(454));
    EXPECT_FALSE(m_client->StopPlay(L""));
    EXPECT_EQ(L"1 CRtspClient::StopPlay, failed, status code: 454", ClientLines().back());
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->StopPlay(L""));
    EXPECT_EQ(L"1 CRtspClient::StopPlay, failed to to send command", ClientLines().back());
    EXPECT_FALSE(m_timers.timers[0].settings.back().isCancelled);
    EXPECT_TRUE(m_client->StartPlay(L""));
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("\r\nSession: 12345678\r\n"));
}
} // namespace
