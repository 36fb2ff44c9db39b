// The keep-alive, and what it must not do: disturb a caller, or touch a client that is gone.

#include "ComHosting/WinApp.h"

#include "Tests/Rtsp/RtspFixture.h"
#include "Win32/Handles.h"

#include <thread>

namespace
{
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr DWORD kAmpleMs = 10'000;

/// Stops a thread at a place until the test lets it go on.
class CBarrier
{
public:
    /// From the thread. Goes on by itself after a while, so that a failed test ends.
    void Stop() const
    {
        ::SetEvent(m_reached.get());
        ::WaitForSingleObject(m_released.get(), kAmpleMs);
    }
    bool WaitUntilReached() const
    {
        return ::WaitForSingleObject(m_reached.get(), kAmpleMs) == WAIT_OBJECT_0;
    }
    void Release() const
    {
        ::SetEvent(m_released.get());
    }

private:
    CKernelHandle m_reached{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CKernelHandle m_released{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

/// Runs `function` in every beat that has found its client, before it does anything else.
class CBeatHook
{
public:
    explicit CBeatHook(std::function<void()> function)
    {
        s_function = std::move(function);
        CRtspClient::s_beatHook = []() noexcept { s_function(); };
    }
    ~CBeatHook()
    {
        CRtspClient::s_beatHook = nullptr;
    }
    CBeatHook(const CBeatHook&) = delete;
    CBeatHook& operator=(const CBeatHook&) = delete;

private:
    static inline std::function<void()> s_function;
};

class RtspKeepAlive : public RtspClientTest
{
protected:
    /// A camera that keeps the reply to the next request back.
    void HoldNextReply(int statusCode = 200)
    {
        m_camera.Enqueue([statusCode](const std::string& request) {
            TunnelReply reply{RtspReply(request, statusCode)};
            reply.held = true;
            return reply;
        });
    }
    /// A beat on a thread of its own, inside its exchange when this returns.
    std::thread BeatInsideItsExchange()
    {
        const std::size_t before = m_camera.Requests().size();
        HoldNextReply();
        std::thread beat([this] { m_timers.Fire(); });
        EXPECT_TRUE(m_camera.Tunnel().WaitForRtspRequests(before + 1));
        return beat;
    }
};

TEST_F(RtspKeepAlive, SendsOptionsAndStaysOutOfTheLog)
{
    Open();
    SetUpStream();
    m_timers.Fire();
    EXPECT_EQ("OPTIONS rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 2\r\nUser-Agent: ORBELL RTSP Client (ORBELL "
              "Capture Filter)\r\nSession: 12345678\r\n\r\n",
              m_camera.Requests().back());
    EXPECT_THAT(ClientLines(), IsEmpty());
}

TEST_F(RtspKeepAlive, FailureIsLoggedAndForgotten)
{
    Open();
    m_camera.Enqueue(Reply(454));
    m_timers.Fire();
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::GetOptions, failed, status code: 454"));
    m_timers.Fire();
    EXPECT_EQ("OPTIONS OPTIONS", m_camera.Methods());
}

TEST_F(RtspKeepAlive, ReopensAClosedTunnel)
{
    Open(kShortMs);
    m_camera.Tunnel().Close(TunnelSide::Both, true);
    const DWORD startTick = ::GetTickCount();
    while (m_camera.Requests().empty() && ::GetTickCount() - startTick < kAmpleMs)
        m_timers.Fire();
    EXPECT_EQ(2u, m_camera.Tunnel().TunnelCount());
}

// With the system's timers.
TEST(RtspKeepAliveTimer, BeatsAfterASecondAndThenInItsPeriod)
{
    CAnsweringCamera camera;
    camera.Enqueue(Reply(200, "Session: 12345678;timeout=1\r\n"));
    const auto client = std::make_shared<CRtspClient>();
    ASSERT_TRUE(client->OpenSession(kServer, camera.Port(), kPath, L"", L""));
    RtspTransport transport;
    const DWORD startTick = ::GetTickCount();
    ASSERT_TRUE(client->SetupTransport(kTrackUrl, transport));
    ASSERT_TRUE(camera.Tunnel().WaitForRtspRequests(2, kAmpleMs));
    EXPECT_GE(::GetTickCount() - startTick, 950u);
    ASSERT_TRUE(camera.Tunnel().WaitForRtspRequests(3, kAmpleMs));
    EXPECT_GE(::GetTickCount() - startTick, 950u + 750u);
    EXPECT_EQ("SETUP OPTIONS OPTIONS", camera.Methods());
}

TEST_F(RtspKeepAlive, BeatThatFindsACallersRequestIsSkipped)
{
    Open();
    SetUpStream();
    HoldNextReply();
    std::thread caller([this] { EXPECT_TRUE(m_client->StartPlay(L"")); });
    ASSERT_TRUE(m_camera.Tunnel().WaitForRtspRequests(2));
    const DWORD startTick = ::GetTickCount();
    m_timers.Fire();
    EXPECT_LT(::GetTickCount() - startTick, 2000u) << "it does not wait";
    EXPECT_EQ("SETUP PLAY", m_camera.Methods());
    m_camera.Tunnel().ReleaseHeld();
    caller.join();
    m_timers.Fire();
    EXPECT_EQ("SETUP PLAY OPTIONS", m_camera.Methods());
}

TEST_F(RtspKeepAlive, BeatThatFindsABeatIsSkipped)
{
    Open();
    std::thread beat = BeatInsideItsExchange();
    m_timers.Fire();
    EXPECT_EQ("OPTIONS", m_camera.Methods());
    m_camera.Tunnel().ReleaseHeld();
    beat.join();
}

TEST_F(RtspKeepAlive, CallerWaitsForABeatAndGetsItsOwnReply)
{
    Open();
    SetUpStream();
    std::thread beat = BeatInsideItsExchange();
    const CKernelHandle started(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::atomic<bool> isDone{false};
    m_camera.Enqueue(Reply(454));
    std::thread caller([&] {
        ::SetEvent(started.get());
        EXPECT_FALSE(m_client->StartPlay(L""));
        isDone = true;
    });
    ::WaitForSingleObject(started.get(), kAmpleMs);
    EXPECT_FALSE(isDone);
    EXPECT_EQ("SETUP OPTIONS", m_camera.Methods());
    m_camera.Tunnel().ReleaseHeld();
    beat.join();
    caller.join();
    EXPECT_EQ("SETUP OPTIONS PLAY", m_camera.Methods());
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::StartPlay, failed, status code: 454"));
    EXPECT_EQ(0u, m_log.Count(L"CRtspClient::GetOptions, failed"));
}

TEST_F(RtspKeepAlive, CallerWaitsNoLongerThanItsLimit)
{
    CRtspExchangeGate gate;
    ASSERT_TRUE(gate.Enter(0));
    std::thread other([&gate] {
        EXPECT_FALSE(gate.Enter(0));
        const DWORD startTick = ::GetTickCount();
        EXPECT_FALSE(gate.Enter(200));
        const DWORD elapsedMs = ::GetTickCount() - startTick;
        EXPECT_GE(elapsedMs, 180u);
        EXPECT_LT(elapsedMs, kAmpleMs);
    });
    other.join();
    const DWORD startTick = ::GetTickCount();
    EXPECT_FALSE(gate.Enter(kAmpleMs));
    EXPECT_LT(::GetTickCount() - startTick, kAmpleMs / 2) << "a thread does not wait for itself";
    gate.Leave();
    EXPECT_TRUE(gate.Enter(0));
    gate.Leave();
}

TEST_F(RtspKeepAlive, CallerWhoDoesNotGetItsTurnFails)
{
    Open({.turnWaitMs = kShortMs});
    SetUpStream();
    std::thread beat = BeatInsideItsExchange();
    const DWORD startTick = ::GetTickCount();
    EXPECT_FALSE(m_client->StartPlay(L""));
    EXPECT_GE(::GetTickCount() - startTick, kShortMs - 50);
    EXPECT_THAT(ClientLines(),
                ::testing::ElementsAre(
                    L"1 CRtspClient::SendRtspRequest, another request is still under way, rtsp command: 'PLAY'",
                    L"1 CRtspClient::StartPlay, failed to to send command"));
    m_camera.Tunnel().ReleaseHeld();
    beat.join();
    EXPECT_TRUE(m_client->StartPlay(L""));
    EXPECT_EQ("SETUP OPTIONS PLAY", m_camera.Methods());
}

TEST_F(RtspKeepAlive, ReplyToABeatThatWasGivenUpIsNotTheCallers)
{
    Open(kShortMs);
    SetUpStream();
    HoldNextReply(454);
    m_timers.Fire();
    m_camera.Tunnel().ReleaseHeld();
    EXPECT_TRUE(m_client->StartPlay(L""));
    EXPECT_EQ(1u, m_log.Count(L"late response to CSeq 2 dropped, rtsp command: 'PLAY'"));
}

TEST_F(RtspKeepAlive, CallersAndBeatsGetTheirOwnReplies)
{
    Open();
    m_camera.SetLastAnswer([](const std::string& request) {
        return TunnelReply{RtspReply(request, request.starts_with("OPTIONS") ? 454 : 200)};
    });
    std::atomic<bool> isOver{false};
    std::vector<std::thread> beats;
    for (int i = 0; i < 2; ++i)
        beats.emplace_back([&] {
            while (!isOver)
                m_timers.Fire();
        });
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(m_client->GetParameter()) << i;
    isOver = true;
    for (std::thread& beat : beats)
        beat.join();
    const std::vector<std::string> requests = m_camera.Requests();
    for (std::size_t i = 0; i < requests.size(); ++i)
        EXPECT_THAT(requests[i], HasSubstr("\r\nCSeq: " + std::to_string(i + 1) + "\r\n"));
    EXPECT_EQ(requests.size() - 100, m_log.Count(L"CRtspClient::GetOptions, failed, status code: 454"));
}

TEST_F(RtspKeepAlive, BeatOfAClosedTimerFindsNobody)
{
    Open();
    SetUpStream();
    m_client->CloseSession();
    m_log.Clear();
    m_timers.Fire();
    EXPECT_EQ("SETUP", m_camera.Methods());
    EXPECT_THAT(ClientLines(), IsEmpty());
    m_client.reset();
    m_timers.Fire();
}

TEST_F(RtspKeepAlive, NullContextIsNobody)
{
    Open();
    m_timers.timers.back().callback(nullptr, nullptr, nullptr);
    EXPECT_THAT(m_camera.Requests(), IsEmpty());
}

TEST_F(RtspKeepAlive, BeatOfAnOldTimerDoesNotReachANewSession)
{
    Open();
    ASSERT_TRUE(m_client->OpenSession(kServer, m_camera.Port(), kPath, L"", L""));
    ASSERT_EQ(2u, m_timers.timers.size());
    m_timers.timers[0].callback(nullptr, m_timers.timers[0].context, nullptr);
    EXPECT_THAT(m_camera.Requests(), IsEmpty());
    m_timers.Fire();
    EXPECT_EQ("OPTIONS", m_camera.Methods());
}

class RtspDestruction : public RtspKeepAlive
{
};

TEST_F(RtspDestruction, BeatThatHasFoundItsClientKeepsItInMemory)
{
    Open();
    SetUpStream();
    const CBarrier barrier;
    const CBeatHook hook([&barrier] { barrier.Stop(); });
    std::thread beat([this] { m_timers.Fire(); });
    ASSERT_TRUE(barrier.WaitUntilReached());
    const std::weak_ptr<CRtspClient> client = m_client;
    m_client->CloseSession();
    m_client.reset();
    EXPECT_FALSE(client.expired());
    ASSERT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    EXPECT_FALSE(CWinApp::CanUnload()) << "nor may the library go";
    barrier.Release();
    beat.join();
    EXPECT_TRUE(client.expired()) << "and not longer";
    EXPECT_TRUE(CWinApp::CanUnload());
    EXPECT_EQ("SETUP", m_camera.Methods()) << "a closed client is not kept alive";
    EXPECT_EQ(0u, m_log.Count(L"re-connect")) << "nor connected";
}

TEST_F(RtspDestruction, ClientThatIsDroppedUnderABeatClosesWhenTheBeatEnds)
{
    Open();
    SetUpStream();
    const CBarrier barrier;
    const CBeatHook hook([&barrier] { barrier.Stop(); });
    std::thread beat([this] { m_timers.Fire(); });
    ASSERT_TRUE(barrier.WaitUntilReached());
    m_client.reset();
    barrier.Release();
    beat.join();
    EXPECT_TRUE(m_timers.timers.back().isClosed);
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
}

TEST_F(RtspDestruction, ClosingWaitsForTheReplyOfABeat)
{
    Open();
    std::thread beat = BeatInsideItsExchange();
    const CKernelHandle started(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread closer([&] {
        ::SetEvent(started.get());
        m_client->CloseSession();
        m_client.reset();
    });
    ::WaitForSingleObject(started.get(), kAmpleMs);
    m_camera.Tunnel().ReleaseHeld();
    closer.join();
    beat.join();
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    EXPECT_EQ("OPTIONS", m_camera.Methods());
}

TEST_F(RtspDestruction, ClosingUnderABeatWithoutAReplyIsBounded)
{
    Open(kShortMs);
    std::thread beat = BeatInsideItsExchange();
    const DWORD startTick = ::GetTickCount();
    m_client->CloseSession();
    m_client.reset();
    EXPECT_LT(::GetTickCount() - startTick, RtspLimits().turnWaitMs + 5000);
    beat.join();
}

TEST_F(RtspDestruction, BeatThatOutlivesTheWaitClosesTheTunnel)
{
    Open(8000);
    std::thread beat = BeatInsideItsExchange();
    const DWORD startTick = ::GetTickCount();
    m_client->CloseSession();
    EXPECT_GE(::GetTickCount() - startTick, RtspLimits().turnWaitMs - 100);
    EXPECT_LT(::GetTickCount() - startTick, RtspLimits().turnWaitMs + 2000);
    m_client.reset();
    m_camera.Tunnel().ReleaseHeld();
    beat.join();
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
}

TEST_F(RtspDestruction, BeatMayDestroyItsOwnClient)
{
    Open();
    SetUpStream();
    const CBeatHook hook([this] {
        m_client->CloseSession();
        m_client.reset();
    });
    std::thread beat([this] { m_timers.Fire(); });
    beat.join();
    EXPECT_EQ("SETUP", m_camera.Methods());
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
}

TEST_F(RtspDestruction, RacesWithBeatsAtAnyMoment)
{
    for (int i = 0; i < 30; ++i)
    {
        Open();
        std::thread beat([this] {
            for (int beats = 0; beats < 20; ++beats)
                m_timers.Fire();
        });
        if (i % 2 != 0)
        {
            EXPECT_TRUE(m_camera.Tunnel().WaitForRtspRequests(m_camera.Requests().size() + 1));
        }
        if (i % 3 != 0)
            m_client->CloseSession();
        m_client.reset();
        beat.join();
    }
    EXPECT_TRUE(CWinApp::CanUnload());
}
} // namespace
