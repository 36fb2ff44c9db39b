// Sessions that several users share: who is sent to the camera when, who waits for whom, and that nothing is left.

#include "RtspSessionManager.h"

#include "Tests/Rtsp/RtspFixture.h"
#include "Tests/Support/HandleCount.h"
#include "Win32/Handles.h"

#include <tlhelp32.h>

#include <thread>

namespace
{
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr DWORD kAmpleMs = 10'000;
constexpr RtspParticipantState kNone = RtspParticipantState::None;
constexpr RtspParticipantState kInit = RtspParticipantState::Init;

class RtspSession : public ::testing::Test
{
protected:
    CRtspSession* Join(std::uint32_t& cookie, RtspParticipantState state = kInit, const wchar_t* server = kServer)
    {
        return m_manager.JoinRtspSession(server, m_camera.Port(), kPath, L"user", L"pass", cookie, state);
    }
    /// `count` participants, of which the last is kept.
    void JoinMany(std::uint32_t count)
    {
        for (std::uint32_t i = 1; i <= count; ++i)
        {
            std::uint32_t cookie = 0;
            m_session = Join(cookie);
            ASSERT_NE(nullptr, m_session);
            ASSERT_EQ(i, cookie);
        }
        m_log.Clear();
    }
    bool Setup(std::uint32_t cookie)
    {
        RtspTransport transport;
        transport.protocol = "RTP/AVP";
        transport.clientPort = 5000;
        return m_session->SetupTransport(cookie, kTrackUrl, transport);
    }
    void Leave(std::uint32_t cookie)
    {
        m_manager.ReleaseRtspSession(m_session, cookie);
    }
    std::vector<std::wstring> SessionLines() const
    {
        return LinesOf(m_log, L"CRtspSession");
    }
    static std::wstring Address(const CRtspSession* session)
    {
        return COBLogManager::FormatStr(L"0x%x", static_cast<const void*>(session));
    }

    CLogCapture m_log;
    CAnsweringCamera m_camera;
    CRtspSessionManager m_manager;
    CRtspSession* m_session = nullptr;
};

TEST_F(RtspSession, IsOpenedByTheFirstAndSharedByAllUsersOfAServer)
{
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    CRtspSession* const session = Join(first);
    ASSERT_NE(nullptr, session);
    EXPECT_EQ(session, m_manager.JoinRtspSession(kServer, 1, L"/other", L"other", L"other", second, kInit))
        << "port, path, user and password are those of the first";
    EXPECT_EQ(1u, first);
    EXPECT_EQ(2u, second);
    EXPECT_EQ(1u, m_camera.Tunnel().TunnelCount());
    m_manager.ReleaseRtspSession(session, first);
    EXPECT_TRUE(session->GetOptions()) << "one is left";
    m_manager.ReleaseRtspSession(session, second);
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    const std::wstring address = Address(session);
    EXPECT_THAT(
        SessionLines(),
        ElementsAre(L"1 CRtspSessionManager::JoinRtspSession, create new rtsp session, serverName = '127.0.0.1'",
                    L"1 CRtspSessionManager::JoinRtspSession, succeeded, cookie = 1, serverName = '127.0.0.1', "
                    L"pSession = " +
                        address,
                    L"1 CRtspSessionManager::JoinRtspSession, found existing session, serverName = '127.0.0.1'",
                    L"1 CRtspSessionManager::JoinRtspSession, succeeded, cookie = 2, serverName = '127.0.0.1', "
                    L"pSession = " +
                        address,
                    L"1 CRtspSessionManager::ReleaseRtspSession, remove participant (1) from rtsp session: " + address,
                    L"1 CRtspSessionManager::ReleaseRtspSession, remove participant (2) from rtsp session: " + address,
                    L"1 CRtspSessionManager::ReleaseRtspSession, remove rtsp session (" + address +
                        L") from map, serverName = '127.0.0.1'"));
}

TEST_F(RtspSession, IsOneForEachServerNameCaseIncluded)
{
    std::uint32_t cookie = 0;
    CRtspSession* const lower = Join(cookie, kInit, L"localhost");
    CRtspSession* const upper = Join(cookie, kInit, L"LOCALHOST");
    ASSERT_NE(nullptr, lower);
    ASSERT_NE(nullptr, upper);
    EXPECT_NE(lower, upper);
    EXPECT_EQ(1u, cookie) << "each counts for itself";
    m_manager.ReleaseRtspSession(lower, 1);
    m_manager.ReleaseRtspSession(upper, 1);
    EXPECT_EQ(2u, m_log.Count(L"remove rtsp session ("));
}

TEST_F(RtspSession, ThatCannotBeOpenedLeavesNoEntry)
{
    m_camera.Tunnel().SetGetAnswer("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n");
    std::uint32_t cookie = 4711;
    EXPECT_EQ(nullptr, Join(cookie));
    EXPECT_EQ(nullptr, Join(cookie));
    EXPECT_EQ(nullptr, m_manager.JoinRtspSession(nullptr, 80, nullptr, nullptr, nullptr, cookie, kInit));
    EXPECT_EQ(4711u, cookie);
    EXPECT_THAT(SessionLines(),
                ElementsAre(L"1 CRtspSessionManager::JoinRtspSession, create new rtsp session, serverName = "
                            L"'127.0.0.1'",
                            L"1 CRtspSessionManager::JoinRtspSession, failed to open session, serverName = "
                            L"'127.0.0.1'",
                            L"1 CRtspSessionManager::JoinRtspSession, create new rtsp session, serverName = "
                            L"'127.0.0.1'",
                            L"1 CRtspSessionManager::JoinRtspSession, failed to open session, serverName = "
                            L"'127.0.0.1'",
                            L"1 CRtspSessionManager::JoinRtspSession, create new rtsp session, serverName = ''",
                            L"1 CRtspSessionManager::JoinRtspSession, failed to open session, serverName = ''"));
}

TEST_F(RtspSession, CookiesBelowTheLargestAreNotUsedAgain)
{
    JoinMany(3);
    Leave(1);
    Leave(2);
    std::uint32_t cookie = 0;
    EXPECT_EQ(m_session, Join(cookie));
    EXPECT_EQ(4u, cookie);
    Leave(4);
    EXPECT_EQ(m_session, Join(cookie));
    EXPECT_EQ(4u, cookie) << "the largest was given back";
    Leave(4);
    Leave(3);
}

TEST_F(RtspSession, UnknownCookieDoesNotLeave)
{
    JoinMany(1);
    Leave(7);
    EXPECT_THAT(SessionLines(),
                ElementsAre(L"1 CRtspSessionManager::ReleaseRtspSession, remove participant (7) from rtsp session: " +
                                Address(m_session),
                            L"1 CRtspSession::RemoveParticipant, can't find participant: 7"));
    EXPECT_TRUE(m_session->GetOptions());
    Leave(1);
}

TEST_F(RtspSession, ReleaseOfNothingDoesNothing)
{
    m_manager.ReleaseRtspSession(nullptr, 1);
    EXPECT_THAT(SessionLines(), IsEmpty());
    const auto stranger = std::make_shared<CRtspSession>();
    EXPECT_EQ(1u, stranger->AddParticipant(kInit));
    m_manager.ReleaseRtspSession(stranger.get(), 1);
    EXPECT_TRUE(stranger->PausePlay(1, L"")) << "not this manager's";
}

// RFC 2326 would have a TEARDOWN. The camera ends the session itself, when the tunnel is closed or nobody keeps it
// alive.
TEST_F(RtspSession, LastToLeaveSendsNoTeardown)
{
    JoinMany(1);
    EXPECT_TRUE(Setup(1));
    EXPECT_TRUE(m_session->StartPlay(1, L""));
    Leave(1);
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    EXPECT_EQ("SETUP PLAY", m_camera.Methods());
}

TEST_F(RtspSession, PlaysWhenNobodyIsLeftWhoHasToSetUp)
{
    JoinMany(2);
    EXPECT_TRUE(Setup(1));
    m_log.Clear();
    EXPECT_TRUE(m_session->StartPlay(1, L"")) << "waits";
    EXPECT_THAT(SessionLines(),
                ElementsAre(L"1 CRtspSession::StartPlay, can't play now because participant(2) is NOT 'Ready'"));
    EXPECT_EQ("SETUP", m_camera.Methods());
    EXPECT_TRUE(Setup(2));
    m_log.Clear();
    EXPECT_TRUE(m_session->StartPlay(1, L"rtsp://127.0.0.1/all"));
    EXPECT_THAT(SessionLines(), ElementsAre(L"1 CRtspSession::StartPlay, participant(1) state changed to 'Playing'",
                                            L"1 CRtspSession::StartPlay, participant(2) state changed to 'Playing'"));
    EXPECT_EQ("SETUP SETUP PLAY", m_camera.Methods());
    EXPECT_TRUE(m_camera.Requests().back().starts_with("PLAY rtsp://127.0.0.1/all RTSP/1.0\r\n"));
    Leave(1);
    Leave(2);
}

TEST_F(RtspSession, NobodyWaitsForAParticipantThatTakesNoPart)
{
    std::uint32_t idle = 0;
    std::uint32_t active = 0;
    m_session = Join(idle, kNone);
    ASSERT_EQ(m_session, Join(active));
    EXPECT_TRUE(Setup(active));
    m_log.Clear();
    EXPECT_TRUE(m_session->StartPlay(idle, L"")) << "whoever asks";
    EXPECT_TRUE(m_session->StartPlay(4711, L"")) << "even nobody";
    EXPECT_EQ(2u, m_log.Count(L"CRtspSession::StartPlay, participant(2) state changed to 'Playing'"));
    EXPECT_EQ(0u, m_log.Count(L"participant(1)"));
    Leave(idle);
    Leave(active);
}

TEST_F(RtspSession, FailedPlayChangesNobody)
{
    JoinMany(1);
    EXPECT_TRUE(Setup(1));
    m_log.Clear();
    m_camera.Enqueue(Reply(457));
    EXPECT_FALSE(m_session->StartPlay(1, L""));
    EXPECT_THAT(SessionLines(), IsEmpty());
    Leave(1);
}

TEST_F(RtspSession, StopEndsItForAllButChangesOnlyTheOneWhoAsks)
{
    JoinMany(2);
    EXPECT_TRUE(Setup(1));
    EXPECT_TRUE(Setup(2));
    EXPECT_TRUE(m_session->StartPlay(1, L""));
    m_log.Clear();
    EXPECT_TRUE(m_session->StopPlay(1, L""));
    EXPECT_THAT(SessionLines(), ElementsAre(L"1 CRtspSession::StopPlay, participant(1) state changed to 'Init'"));
    EXPECT_EQ("SETUP SETUP PLAY TEARDOWN", m_camera.Methods());
    m_log.Clear();
    EXPECT_TRUE(m_session->StartPlay(2, L""));
    EXPECT_THAT(SessionLines(),
                ElementsAre(L"1 CRtspSession::StartPlay, can't play now because participant(1) is NOT 'Ready'"))
        << "the second is still playing";
    Leave(1);
    Leave(2);
}

TEST_F(RtspSession, FailedStopChangesNobody)
{
    JoinMany(1);
    EXPECT_TRUE(Setup(1));
    m_log.Clear();
    m_camera.Enqueue(Reply(500));
    EXPECT_FALSE(m_session->StopPlay(1, L""));
    EXPECT_THAT(SessionLines(), IsEmpty());
    EXPECT_TRUE(m_session->StartPlay(1, L"")) << "still set up";
    EXPECT_EQ("SETUP TEARDOWN PLAY", m_camera.Methods());
    Leave(1);
}

TEST_F(RtspSession, FailedSetupChangesNobody)
{
    JoinMany(1);
    m_camera.Enqueue(Reply(461));
    EXPECT_FALSE(Setup(1));
    EXPECT_THAT(SessionLines(), IsEmpty());
    EXPECT_TRUE(m_session->StartPlay(1, L""));
    EXPECT_EQ(1u, m_log.Count(L"can't play now because participant(1) is NOT 'Ready'"));
    Leave(1);
}

// The text names the state that a participant usually comes from.
TEST_F(RtspSession, SetupAlwaysReportsTheChangeFromInit)
{
    std::uint32_t cookie = 0;
    m_session = Join(cookie, kNone);
    const std::wstring line = L"1 CRtspSession::SetupTransport, participant(1) state changed from 'Init' to 'Ready'";
    m_log.Clear();
    EXPECT_TRUE(Setup(cookie));
    EXPECT_TRUE(Setup(cookie));
    EXPECT_THAT(SessionLines(), ElementsAre(line, line));
    Leave(cookie);
}

TEST_F(RtspSession, PauseSendsNothingAndMakesReady)
{
    JoinMany(1);
    EXPECT_TRUE(m_session->PausePlay(1, L""));
    EXPECT_THAT(SessionLines(), ElementsAre(L"1 CRtspSession::PausePlay, participant(1) state changed to 'Ready'"));
    EXPECT_EQ("", m_camera.Methods());
    Leave(1);
}

TEST_F(RtspSession, StrangersAreRefused)
{
    JoinMany(1);
    EXPECT_FALSE(Setup(2));
    EXPECT_FALSE(m_session->PausePlay(2, L""));
    EXPECT_FALSE(m_session->StopPlay(2, L""));
    EXPECT_THAT(SessionLines(), ElementsAre(L"1 CRtspSession::SetupTransport, can't find participant: 2",
                                            L"1 CRtspSession::PausePlay, can't find participant: 2",
                                            L"1 CRtspSession::StopPlayTransport, can't find participant: 2"));
    EXPECT_EQ("", m_camera.Methods());
    Leave(1);
}

TEST_F(RtspSession, RequestsOfSeveralUsersFollowOneAnother)
{
    JoinMany(4);
    m_camera.SetLastAnswer([](const std::string& request) {
        return TunnelReply{RtspReply(request, 200, "Session: 12345678;timeout=60\r\n")};
    });
    std::vector<std::thread> users;
    for (std::uint32_t cookie = 1; cookie <= 4; ++cookie)
        users.emplace_back([this, cookie] {
            for (int i = 0; i < 5; ++i)
            {
                EXPECT_TRUE(Setup(cookie));
                EXPECT_TRUE(m_session->StartPlay(cookie, L""));
                EXPECT_TRUE(m_session->StopPlay(cookie, L""));
            }
        });
    for (std::thread& user : users)
        user.join();
    // Not before: with the one who stopped last away, the others would play what is no longer set up.
    for (std::uint32_t cookie = 1; cookie <= 4; ++cookie)
        Leave(cookie);
    const std::vector<std::string> requests = m_camera.Requests();
    for (std::size_t i = 0; i < requests.size(); ++i)
        EXPECT_THAT(requests[i], HasSubstr("\r\nCSeq: " + std::to_string(i + 1) + "\r\n"));
    EXPECT_EQ(0u, m_log.Count(L"failed"));
    EXPECT_EQ(1u, m_log.Count(L"remove rtsp session ("));
}

TEST_F(RtspSession, LockKeepsOtherUsersOut)
{
    JoinMany(1);
    const CKernelHandle started(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread user;
    {
        const CCriticalSection::Holder holder(m_session->Lock());
        user = std::thread([&] {
            ::SetEvent(started.get());
            EXPECT_TRUE(Setup(1));
        });
        ::WaitForSingleObject(started.get(), kAmpleMs);
        m_camera.Enqueue(Reply(404));
        EXPECT_FALSE(m_session->GetSessionDescription(true, holder).IsValid());
        EXPECT_EQ("DESCRIBE", m_camera.Methods());
    }
    user.join();
    EXPECT_EQ("DESCRIBE SETUP", m_camera.Methods());
    Leave(1);
}

TEST(RtspSessionKeepAlive, DoesNotTakeTheSessionsLock)
{
    CThreadpoolTimerSpy timers;
    CAnsweringCamera camera;
    CRtspSessionManager manager;
    std::uint32_t cookie = 0;
    CRtspSession* const session =
        manager.JoinRtspSession(kServer, camera.Port(), kPath, L"user", L"pass", cookie, kInit);
    ASSERT_NE(nullptr, session);
    {
        const CCriticalSection::Holder holder(session->Lock());
        std::thread beat([&timers] { timers.Fire(); });
        beat.join();
    }
    EXPECT_EQ("OPTIONS", camera.Methods());
    manager.ReleaseRtspSession(session, cookie);
    timers.Fire();
    EXPECT_EQ("OPTIONS", camera.Methods());
}

// Users come and go on several threads, towards one camera and towards several: whoever is inside has a session that
// works, and the last one closes it.
TEST(RtspSessionManager, StandsUsersOnManyThreads)
{
    CAnsweringCamera camera;
    CAnsweringCamera other;
    for (CAnsweringCamera* each : {&camera, &other})
        each->SetLastAnswer([](const std::string& request) {
            return TunnelReply{RtspReply(request, 200, "Session: 12345678;timeout=60\r\n")};
        });
    CRtspSessionManager& manager = CRtspSessionManager::Get();
    const auto use = [&](const wchar_t* server, WORD port) {
        for (int i = 0; i < 10; ++i)
        {
            std::uint32_t cookie = 0;
            CRtspSession* const session =
                manager.JoinRtspSession(server, port, kPath, L"", L"", cookie, RtspParticipantState::Init);
            ASSERT_NE(nullptr, session);
            RtspTransport transport;
            EXPECT_TRUE(session->SetupTransport(cookie, kTrackUrl, transport));
            EXPECT_TRUE(session->StartPlay(cookie, L""));
            manager.ReleaseRtspSession(session, cookie);
        }
    };
    std::vector<std::thread> users;
    for (int i = 0; i < 3; ++i)
        users.emplace_back(use, kServer, camera.Port());
    for (int i = 0; i < 2; ++i)
        users.emplace_back(use, L"localhost", other.Port());
    for (std::thread& user : users)
        user.join();
    for (const auto& [each, url] : {std::pair(&camera, " rtsp://127.0.0.1/media.amp RTSP/1.0\r\n"),
                                    std::pair(&other, " rtsp://localhost/media.amp RTSP/1.0\r\n")})
    {
        EXPECT_THAT(each->Methods(), HasSubstr("PLAY"));
        for (const std::string& request : each->Requests())
            EXPECT_TRUE(request.starts_with("SETUP ") || request.find(url) != std::string::npos) << request;
    }
    std::uint32_t cookie = 0;
    CRtspSession* const session = manager.JoinRtspSession(kServer, camera.Port(), kPath, L"", L"", cookie, kInit);
    ASSERT_NE(nullptr, session);
    EXPECT_EQ(1u, cookie) << "nobody is left";
    manager.ReleaseRtspSession(session, cookie);
}

unsigned CountOwnThreads()
{
    const CKernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    unsigned count = 0;
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry))
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
    return count;
}

/// True when the counts have come down to the limits: the system's worker threads end in their own time.
bool Settles(unsigned handles, unsigned threads)
{
    const DWORD startTick = ::GetTickCount();
    while (::GetTickCount() - startTick < 60'000)
    {
        if (CountOwnHandles() <= handles && CountOwnThreads() <= threads)
            return true;
        ::SwitchToThread();
    }
    ADD_FAILURE() << CountOwnHandles() << " handles, " << CountOwnThreads() << " threads";
    return false;
}

// Leaks.FiveHundredStreamsOfOneObject has more of them, through the whole component.
TEST(RtspSessionLeaks, HundredSessionsLeaveNothing)
{
    CAnsweringCamera camera;
    camera.SetLastAnswer([](const std::string& request) {
        return TunnelReply{RtspReply(request, 200, "Session: 12345678;timeout=60\r\n")};
    });
    CRtspSessionManager& manager = CRtspSessionManager::Get();
    const auto cycle = [&] {
        std::uint32_t cookie = 0;
        CRtspSession* const session = manager.JoinRtspSession(kServer, camera.Port(), kPath, L"", L"", cookie, kInit);
        ASSERT_NE(nullptr, session);
        RtspTransport transport;
        EXPECT_TRUE(session->SetupTransport(cookie, kTrackUrl, transport));
        EXPECT_TRUE(session->StartPlay(cookie, L""));
        manager.ReleaseRtspSession(session, cookie);
    };
    for (int i = 0; i < 20; ++i)
        cycle();
    const unsigned handles = CountOwnHandles();
    const unsigned threads = CountOwnThreads();
    for (int i = 0; i < 100 && !::testing::Test::HasFailure(); ++i)
        cycle();
    EXPECT_TRUE(Settles(handles, threads)) << "before: " << handles << " handles, " << threads << " threads";
}
} // namespace
