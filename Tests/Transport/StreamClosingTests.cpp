#include "RequestLifetime.h"

#include "HttpRequestStream.h"
#include "RtspConnection.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/Gate.h"
#include "Tests/Support/TunnelCamera.h"
#include "Tests/Support/WinInetSpy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

QUORVANE_IMPORT_SLOT(g_internetWriteFileSlot, InternetWriteFile, 16);
QUORVANE_IMPORT_SLOT(g_internetReadFileExSlot, InternetReadFileExW, 16);

namespace
{
constexpr std::chrono::seconds kAmple{5};

/// Holds the thread that logs a certain message, which is inside a notification then.
class CHoldingSink final : public ILogSink
{
public:
    explicit CHoldingSink(std::wstring part) : m_part(std::move(part)) {}

    void Write(const LogMessage& message) noexcept override
    {
        if (std::wstring_view(message.text).find(m_part) == std::wstring_view::npos)
            return;
        reached.Open();
        released.Wait();
    }

    CGate reached;
    CGate released;

private:
    std::wstring m_part;
};

std::function<void()> s_insideWrite;
BOOL WINAPI WriteAtABadMoment(HINTERNET request, LPCVOID data, DWORD lengthBytes, LPDWORD writtenBytes)
{
    s_insideWrite();
    return OriginalOfWinInet<decltype(::InternetWriteFile)>("InternetWriteFile")(request, data, lengthBytes,
                                                                                 writtenBytes);
}

std::atomic<INTERNET_BUFFERSW*> s_pendingRead = nullptr;
BOOL WINAPI ReadThatPends(HINTERNET, LPINTERNET_BUFFERSW buffers, DWORD, DWORD_PTR)
{
    s_pendingRead = buffers;
    ::SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

class StreamClosing : public ::testing::Test
{
protected:
    ~StreamClosing() override
    {
        m_camera.Close(TunnelSide::Both);
    }

    void OpenPost()
    {
        const std::size_t countHeads = m_camera.Heads().size();
        ASSERT_EQ(S_OK, m_post->OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
        ASSERT_EQ(S_OK, m_post->OpenStream(kMediaPath, L"x-sessioncookie:c1\r\nContent-Length: 32767"));
        ASSERT_TRUE(m_post->IsRequestSent());
        ASSERT_TRUE(m_camera.WaitForHeads(countHeads + 1));
    }
    /// The camera breaks the POST off; returns once the object counts as closed.
    bool LosePost()
    {
        m_camera.Close(TunnelSide::Post, true);
        return WaitUntil([this] { return !m_post->IsOpen(); });
    }
    bool WaitUntil(const std::function<bool()>& condition)
    {
        for (int round = 0; round < 500 && !condition(); ++round)
            (void)m_camera.WaitForHeads(1000, 10);
        return condition();
    }
    HINTERNET PostHandle() const
    {
        return m_spy.Requests().at(0).handle;
    }

    CTunnelCamera m_camera;
    CWinInetSpy m_spy;
    std::unique_ptr<CAsyncHttpRequestStreamPost> m_post = std::make_unique<CAsyncHttpRequestStreamPost>();
};
} // namespace

TEST_F(StreamClosing, RequestLostInsideAWriteIsClosedOnceBehindTheWrite)
{
    OpenPost();
    bool lost = false;
    std::size_t closesInside = 99;
    s_insideWrite = [&] {
        lost = LosePost();
        (void)WaitUntil([this] { return m_camera.WaitForEnd(TunnelSide::Post, 10); });
        closesInside = m_spy.CountCloses(PostHandle());
    };
    const CImportPatch patch(&g_internetWriteFileSlot, &WriteAtABadMoment);
    (void)m_post->Write("T1BUSU9OUw==");
    EXPECT_TRUE(lost);
    EXPECT_EQ(0u, closesInside) << "the handle is valid for as long as a call uses it";
    EXPECT_EQ(1u, m_spy.CountCloses(PostHandle())) << "the write was the last to use it";
    EXPECT_EQ(E_UNEXPECTED, m_post->Write("T1BUSU9OUw=="));
    m_post->Close();
    EXPECT_EQ(1u, m_spy.CountCloses(PostHandle()));
}

TEST_F(StreamClosing, OwnerThatDiesWaitsForTheNotificationThatIsInsideIt)
{
    OpenPost();
    const auto sink = std::make_shared<CHoldingSink>(L"OnConnectionClosed, connection closed");
    COBLogManager::SetSink(sink, COBLogManager::kAllLevels);
    m_camera.Close(TunnelSide::Post, true);
    ASSERT_TRUE(sink->reached.Wait());
    std::future<void> death = std::async(std::launch::async, [this] { m_post.reset(); });
    EXPECT_EQ(std::future_status::timeout, death.wait_for(std::chrono::milliseconds(100)));
    sink->released.Open();
    EXPECT_EQ(std::future_status::ready, death.wait_for(kAmple));
    COBLogManager::SetSink(nullptr, 0);
    EXPECT_EQ(1u, m_spy.CountCloses(PostHandle()));
}

TEST_F(StreamClosing, ConnectionIsClosedBehindARequestThatANotificationIsClosing)
{
    OpenPost();
    CGate closing;
    CGate released;
    m_spy.beforeClose = [&](const CWinInetSpy::Request&) {
        closing.Open();
        released.Wait();
    };
    m_camera.Close(TunnelSide::Post, true);
    ASSERT_TRUE(closing.Wait());
    std::future<void> death = std::async(std::launch::async, [this] { m_post.reset(); });
    EXPECT_EQ(std::future_status::timeout, death.wait_for(std::chrono::milliseconds(100)));
    EXPECT_TRUE(m_spy.Closed().empty()) << "the connection would take the request along";
    released.Open();
    EXPECT_EQ(std::future_status::ready, death.wait_for(kAmple));
    const std::vector<HINTERNET> closed = m_spy.Closed();
    ASSERT_EQ(3u, closed.size()) << "request, connection, session";
    EXPECT_EQ(PostHandle(), closed.front());
}

TEST_F(StreamClosing, OtherNotificationsDoNotWaitForTheClose)
{
    OpenPost();
    std::atomic<bool> wentThrough = false;
    std::future<void> other; // outlives the close, which must not wait for it should the test fail
    m_spy.beforeClose = [&](const CWinInetSpy::Request& request) {
        // From another thread, as WinInet may: a lock held around the close would stop it.
        other = std::async(std::launch::async, [request] {
            CRequestBlock::StatusCallback(request.handle, request.context, INTERNET_STATUS_RESPONSE_RECEIVED, nullptr,
                                          0);
        });
        wentThrough = other.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
    };
    ASSERT_TRUE(LosePost());
    EXPECT_TRUE(WaitUntil([this] { return m_spy.CountCloses(PostHandle()) == 1; }));
    EXPECT_TRUE(wentThrough);
}

TEST_F(StreamClosing, ClosingMayReportTheConnectionClosedOnceMore)
{
    m_spy.beforeClose = [](const CWinInetSpy::Request& request) {
        CRequestBlock::StatusCallback(request.handle, request.context, INTERNET_STATUS_CONNECTION_CLOSED, nullptr, 0);
    };
    CLogCapture log;
    OpenPost();
    m_post->CloseStream();
    EXPECT_EQ(0u, log.Count(L"OnConnectionClosed")) << "a request that its owner has given up tells nobody";
    EXPECT_TRUE(m_post->IsOpen());
    m_camera.Close(TunnelSide::Post);
    OpenPost();
    ASSERT_TRUE(LosePost());
    // The first request, connection and session, and the second request; values may come back, so all are counted.
    EXPECT_TRUE(WaitUntil([this] { return m_spy.Closed().size() == 4; }));
    m_post->Close();
    EXPECT_EQ(6u, m_spy.Closed().size());
}

TEST_F(StreamClosing, PostThatIsSentAgainAfterItsEndIsNotWaitedFor)
{
    // Wine 8 does that when a kept-alive connection ends under a request; this camera never answers the second one.
    m_camera.SetGetAnswer("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    CAsyncHttpRequest earlier;
    ASSERT_EQ(S_OK, earlier.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    DWORD statusCode = 0;
    std::wstring response;
    ASSERT_EQ(S_OK, earlier.SendRequest(kMediaPath, statusCode, response, L"GET", 4000));
    OpenPost();
    m_post->CloseStream();
    CLogCapture log;
    m_camera.Close(TunnelSide::Post);
    m_post->Close(4000);
    EXPECT_EQ(0u, log.Count(L"left to WinInet"));
}

TEST_F(StreamClosing, ClosedTunnelKeepsNoHandle)
{
    CRtspConnection tunnel;
    ASSERT_TRUE(tunnel.ConnectToServer(L"127.0.0.1", m_camera.Port(), kMediaPath, L"", L""));
    EXPECT_EQ(0u, m_spy.Closed().size());
    tunnel.Close();
    EXPECT_EQ(6u, m_spy.Closed().size()) << "two requests, two connections, two sessions";
}

TEST_F(StreamClosing, OwnerAndCameraMayCloseAtTheSameMoment)
{
    constexpr int kRounds = 40;
    for (int round = 0; round < kRounds; ++round)
    {
        OpenPost();
        // Every third time the owner comes before, with or after the notification.
        std::thread camera([this] { m_camera.Close(TunnelSide::Post, true); });
        if (round % 3 != 0)
            (void)WaitUntil([this, round] { return round % 3 == 1 || !m_post->IsOpen(); });
        m_post->Close();
        camera.join();
        EXPECT_FALSE(m_post->IsStreamOpen());
    }
    EXPECT_TRUE(WaitUntil([this] { return m_spy.Closed().size() == 3u * kRounds; }));
    std::vector<HINTERNET> closed = m_spy.Closed();
    EXPECT_EQ(3u * kRounds, closed.size()) << "a request, a connection and a session a round, each once";
}

TEST_F(StreamClosing, ReadThatIsGivenUpKeepsItsBufferAndDeliversToTheNextRead)
{
    CAsyncHttpRequestStream get;
    ASSERT_EQ(S_OK, get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    ASSERT_EQ(S_OK, get.OpenStream(kMediaPath, L"x-sessioncookie:c1\r\n", L"GET", 5000));
    CLogCapture log;
    std::string data;
    {
        const CImportPatch patch(&g_internetReadFileExSlot, &ReadThatPends);
        m_camera.Send("reply");
        EXPECT_EQ(S_OK, get.Read(data, 200));
    }
    EXPECT_EQ("", data) << "counts as nothing read, once its time is over";
    EXPECT_EQ(1u, log.Count(L"CAsyncHttpRequestStream::ReadContent, failed to InternetReadFile, dwLastError = 997"));
    EXPECT_EQ(kRequestTimeout, get.Read(data, 50)) << "still under way";
    ASSERT_NE(nullptr, s_pendingRead.load());
    std::copy_n("late!", 5, static_cast<char*>(s_pendingRead.load()->lpvBuffer));
    s_pendingRead.load()->dwBufferLength = 5;
    INTERNET_ASYNC_RESULT result = {TRUE, 5};
    CRequestBlock::StatusCallback(nullptr, m_spy.Requests().back().context, INTERNET_STATUS_REQUEST_COMPLETE, &result,
                                  sizeof(result));
    EXPECT_EQ(S_OK, get.Read(data, 200));
    EXPECT_EQ("late!", data);
    EXPECT_EQ(S_OK, get.Read(data, 200));
    EXPECT_EQ("reply", data) << "the stream goes on as usual";
}

TEST_F(StreamClosing, LateReadDeliversNoMoreThanItsBufferHolds)
{
    CAsyncHttpRequestStream get;
    ASSERT_EQ(S_OK, get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    ASSERT_EQ(S_OK, get.OpenStream(kMediaPath, L"x-sessioncookie:c1\r\n", L"GET", 5000));
    std::string data;
    {
        const CImportPatch patch(&g_internetReadFileExSlot, &ReadThatPends);
        m_camera.Send("reply");
        EXPECT_EQ(S_OK, get.Read(data, 50));
    }
    ASSERT_NE(nullptr, s_pendingRead.load());
    s_pendingRead.load()->dwBufferLength = CRequestBlock::kReadBufferBytes + 100;
    INTERNET_ASYNC_RESULT result = {TRUE, 0};
    CRequestBlock::StatusCallback(nullptr, m_spy.Requests().back().context, INTERNET_STATUS_REQUEST_COMPLETE, &result,
                                  sizeof(result));
    EXPECT_EQ(S_OK, get.Read(data, 200));
    EXPECT_EQ(CRequestBlock::kReadBufferBytes, data.size());
}

TEST_F(StreamClosing, ReadThatIsPendingIsWaitedFor)
{
    CAsyncHttpRequestStream get;
    ASSERT_EQ(S_OK, get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    ASSERT_EQ(S_OK, get.OpenStream(kMediaPath, L"x-sessioncookie:c1\r\n", L"GET", 5000));
    s_pendingRead = nullptr;
    std::string data;
    {
        const CImportPatch patch(&g_internetReadFileExSlot, &ReadThatPends);
        m_camera.Send("reply");
        std::thread completion([this] {
            if (!WaitUntil([] { return s_pendingRead != nullptr; }))
                return;
            std::copy_n("reply", 5, static_cast<char*>(s_pendingRead.load()->lpvBuffer));
            INTERNET_ASYNC_RESULT result = {TRUE, 5};
            CRequestBlock::StatusCallback(nullptr, m_spy.Requests().back().context, INTERNET_STATUS_REQUEST_COMPLETE,
                                          &result, sizeof(result));
        });
        EXPECT_EQ(S_OK, get.Read(data, 5000));
        completion.join();
    }
    EXPECT_EQ("reply", data);
}
