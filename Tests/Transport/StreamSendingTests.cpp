#include "HttpRequestStream.h"

#include "RtspConnection.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/Gate.h"
#include "Tests/Support/ImportPatch.h"
#include "Tests/Support/Loopback.h"
#include "Tests/Support/TunnelCamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

QUORVANE_IMPORT_SLOT(g_setStatusCallbackSlot, InternetSetStatusCallbackW, 8);
QUORVANE_IMPORT_SLOT(g_connectSlotOfSending, InternetConnectW, 32);
QUORVANE_IMPORT_SLOT(g_setOptionSlotOfSending, InternetSetOptionW, 16);
QUORVANE_IMPORT_SLOT(g_sendRequestSlotOfSending, HttpSendRequestW, 20);
QUORVANE_IMPORT_SLOT(g_writeFileSlotOfSending, InternetWriteFile, 16);

namespace
{
constexpr wchar_t kHeaders[] = L"x-sessioncookie:c1\r\nContent-Length: 32767";
constexpr char kText[] = "T1BUSU9OUw==";
constexpr std::chrono::seconds kLongestConnect{10};

/// Holds the thread of WinInet that is about to connect: a camera whose TCP connection takes its time.
CGate* s_connects = nullptr;
INTERNET_STATUS_CALLBACK s_notified = nullptr;
void CALLBACK ConnectWhenTold(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information, DWORD lengthBytes)
{
    if (status == INTERNET_STATUS_CONNECTING_TO_SERVER)
        s_connects->Wait(kLongestConnect);
    s_notified(handle, context, status, information, lengthBytes);
}
INTERNET_STATUS_CALLBACK WINAPI SetSlowCallback(HINTERNET session, INTERNET_STATUS_CALLBACK callback)
{
    if (callback != nullptr)
        s_notified = callback;
    return OriginalOfWinInet<decltype(::InternetSetStatusCallbackW)>("InternetSetStatusCallbackW")(
        session, callback != nullptr ? &ConnectWhenTold : nullptr);
}

/// The first connection of a tunnel, the GET's, is made as asked for; the second leads to a port that refuses it.
WORD s_refusingPort = 0;
int s_countConnects = 0;
HINTERNET WINAPI ConnectPostElsewhere(HINTERNET session, LPCWSTR server, INTERNET_PORT port, LPCWSTR user,
                                      LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR context)
{
    return OriginalOfWinInet<decltype(::InternetConnectW)>("InternetConnectW")(
        session, server, ++s_countConnects % 2 == 1 ? port : s_refusingPort, user, password, service, flags, context);
}

WORD PortThatRefuses()
{
    const CTunnelCamera gone;
    return gone.Port();
}

DWORD s_receiveLimitMs = 4711;
DWORD s_receiveLimitAtSendMs = 4711;
BOOL WINAPI NoteReceiveLimit(HINTERNET request, DWORD option, LPVOID buffer, DWORD lengthBytes)
{
    if (option == INTERNET_OPTION_RECEIVE_TIMEOUT)
        s_receiveLimitMs = *static_cast<DWORD*>(buffer);
    return OriginalOfWinInet<decltype(::InternetSetOptionW)>("InternetSetOptionW")(request, option, buffer,
                                                                                   lengthBytes);
}
BOOL WINAPI SendNotingTheLimit(HINTERNET request, LPCWSTR headers, DWORD countChars, LPVOID optional, DWORD sizeBytes)
{
    s_receiveLimitAtSendMs = s_receiveLimitMs;
    return OriginalOfWinInet<decltype(::HttpSendRequestW)>("HttpSendRequestW")(request, headers, countChars, optional,
                                                                               sizeBytes);
}

std::atomic<int> s_countWrites = 0;
BOOL WINAPI CountWrite(HINTERNET request, LPCVOID data, DWORD lengthBytes, LPDWORD writtenBytes)
{
    ++s_countWrites;
    return OriginalOfWinInet<decltype(::InternetWriteFile)>("InternetWriteFile")(request, data, lengthBytes,
                                                                                 writtenBytes);
}

/// Takes one connection, reads the first bytes of its request, and nothing more.
class CDeafCamera
{
public:
    CDeafCamera()
    {
        Loopback::EnsureWinsock();
        m_listener = Loopback::Listen(m_port);
        m_server = std::thread([this] {
            while (!m_over.load() && !Loopback::IsReadable(m_listener))
                continue;
            if (m_over)
                return;
            m_connection = ::accept(m_listener, nullptr, nullptr);
            char buffer[16];
            (void)::recv(m_connection, buffer, sizeof(buffer), 0);
        });
    }
    ~CDeafCamera()
    {
        m_over = true;
        m_server.join();
        ::closesocket(m_connection);
        ::closesocket(m_listener);
        ::WSACleanup();
    }
    CDeafCamera(const CDeafCamera&) = delete;
    CDeafCamera& operator=(const CDeafCamera&) = delete;

    WORD Port() const noexcept
    {
        return m_port;
    }

private:
    WORD m_port = 0;
    SOCKET m_listener = INVALID_SOCKET;
    SOCKET m_connection = INVALID_SOCKET;
    std::atomic<bool> m_over{false};
    std::thread m_server;
};

/// A POST and a camera whose connection, or answer, is not what one hopes for.
class StreamSending : public ::testing::Test
{
protected:
    StreamSending()
    {
        s_connects = &m_connects;
        s_countWrites = 0;
    }
    ~StreamSending() override
    {
        m_connects.Open();
        m_camera.Close(TunnelSide::Both);
    }

    void OpenPost(WORD port)
    {
        ASSERT_EQ(S_OK, m_post.OpenConnection(L"127.0.0.1", port, L"", L""));
        ASSERT_EQ(S_OK, m_post.OpenStream(kMediaPath, kHeaders));
    }
    std::size_t CountErrors(const std::wstring& text) const
    {
        const std::vector<CapturedMessage> messages = m_log.Messages();
        return static_cast<std::size_t>(std::ranges::count_if(messages, [&](const CapturedMessage& message) {
            return message.level == LogLevel::Error && message.text == text;
        }));
    }
    bool WaitForPostBody(const std::string& body)
    {
        for (int round = 0; round < 500 && m_camera.PostBody() != body; ++round)
            (void)m_camera.WaitForHeads(1000, 10);
        return m_camera.PostBody() == body;
    }

    CLogCapture m_log;
    CTunnelCamera m_camera; // outlives the connections to it
    CGate m_connects;
    CImportPatch m_countWrites{&g_writeFileSlotOfSending, &CountWrite};
    CAsyncHttpRequestStreamPost m_post;
};
} // namespace

TEST_F(StreamSending, WriteWaitsForAConnectionThatTakesItsTime)
{
    const CImportPatch patch(&g_setStatusCallbackSlot, &SetSlowCallback);
    OpenPost(m_camera.Port());
    EXPECT_FALSE(m_post.IsRequestSent());
    EXPECT_TRUE(m_post.IsStreamOpen());
    std::future<HRESULT> write = std::async(std::launch::async, [this] { return m_post.Write(kText); });
    EXPECT_EQ(std::future_status::timeout, write.wait_for(std::chrono::milliseconds(100)));
    EXPECT_EQ(0, s_countWrites) << "WinInet would write to a connection that does not exist";
    m_connects.Open();
    EXPECT_EQ(S_OK, write.get());
    EXPECT_TRUE(WaitForPostBody(kText));
    EXPECT_EQ(S_OK, m_post.Write(kText)) << "needs no wait any more";
}

TEST_F(StreamSending, WriteGivesUpAConnectionThatDoesNotComeInTime)
{
    const CImportPatch patch(&g_setStatusCallbackSlot, &SetSlowCallback);
    OpenPost(m_camera.Port());
    const DWORD startTick = ::GetTickCount();
    EXPECT_EQ(E_FAIL, m_post.Write(kText));
    const DWORD elapsedMs = ::GetTickCount() - startTick;
    EXPECT_GE(elapsedMs, CAsyncHttpRequestStream::kSendLimitMs - 100);
    EXPECT_LT(elapsedMs, CAsyncHttpRequestStream::kSendLimitMs + 2000);
    EXPECT_EQ(0, s_countWrites);
    EXPECT_EQ(1u, CountErrors(L"CAsyncHttpRequestStream::Write, failed to call InternetWriteFile, "
                              L"dwLastError = 12002"));
    m_connects.Open();
    EXPECT_EQ(S_OK, m_post.Write(kText)) << "late, but there";
}

// What it sends fills the room of the connection; then the system waits, within the limit that the request was given.
TEST_F(StreamSending, WriteToACameraThatDoesNotReadIsGivenUp)
{
    const CDeafCamera camera;
    OpenPost(camera.Port());
    ASSERT_TRUE(m_post.IsRequestSent());
    const std::string text(1024 * 1024, 'x');
    HRESULT hr = S_OK;
    DWORD elapsedMs = 0;
    for (int i = 0; i < 100 && hr == S_OK; ++i)
    {
        const DWORD startTick = ::GetTickCount();
        hr = m_post.Write(text);
        elapsedMs = ::GetTickCount() - startTick;
    }
    EXPECT_EQ(E_FAIL, hr);
    EXPECT_LT(elapsedMs, CAsyncHttpRequestStream::kSendLimitMs + 3000);
    m_post.Close(100);
}

TEST_F(StreamSending, RefusedConnectionIsNotSentAndFailsTheWrite)
{
    const WORD refusingPort = PortThatRefuses();
    for (std::size_t round = 1; round <= 2; ++round)
    {
        OpenPost(refusingPort);
        EXPECT_FALSE(m_post.IsRequestSent()) << "an error is no request sent";
        EXPECT_EQ(E_FAIL, m_post.Write(kText));
        EXPECT_EQ(0, s_countWrites);
        EXPECT_EQ(round, CountErrors(L"CAsyncHttpRequestStream::Write, failed to call InternetWriteFile, "
                                     L"dwLastError = 12029"));
    }
}

TEST_F(StreamSending, TunnelWhosePostIsRefusedSendsNothingHoweverOftenItConnects)
{
    s_refusingPort = PortThatRefuses();
    s_countConnects = 0;
    const CImportPatch patch(&g_connectSlotOfSending, &ConnectPostElsewhere);
    CRtspConnection tunnel;
    for (std::size_t round = 1; round <= 2; ++round)
    {
        EXPECT_TRUE(tunnel.ConnectToServer(L"127.0.0.1", m_camera.Port(), kMediaPath, L"", L""));
        EXPECT_FALSE(tunnel.SendRequest("OPTIONS * RTSP/1.0\r\nCSeq: 1\r\n\r\n"));
        EXPECT_EQ(round, CountErrors(L"CRtspConnection::SendRequest, failed to write rtsp request, hr = 0x80004005"));
        EXPECT_FALSE(tunnel.IsConnected());
    }
    EXPECT_EQ(0, s_countWrites);
}

TEST_F(StreamSending, WriteAfterTheEndOfAPostDoesNotReachWinInet)
{
    struct
    {
        const char* reason;
        const char* answer;
        bool writes; // whether a write may still reach WinInet
    } const rows[] = {
        {"answered without a length: it goes on", "HTTP/1.1 200 OK\r\n\r\n", true},
        {"answered with a length: it goes on", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", true},
        {"answered with all of its length", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello", true},
        {"answered in chunks, not all of them", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n",
         true},
        {"answered in chunks, all of them", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", false},
        {"an empty answer ends it", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", false},
        {"an answer without content ends it", "HTTP/1.1 204 No Content\r\n\r\n", false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        s_countWrites = 0;
        m_camera.SetPostAnswer(row.answer);
        OpenPost(m_camera.Port());
        ASSERT_TRUE(m_log.Sink().WaitFor(L"Request Completed", 1, std::chrono::seconds(5)));
        EXPECT_EQ(row.writes, m_post.IsStreamOpen());
        EXPECT_EQ(row.writes ? S_OK : E_UNEXPECTED, m_post.Write(kText));
        EXPECT_EQ(row.writes ? 1 : 0, s_countWrites);
        m_camera.Close(TunnelSide::Post);
    }
}

TEST_F(StreamSending, PostHasNoReceiveLimitFromTheBeginning)
{
    const CImportPatch options(&g_setOptionSlotOfSending, &NoteReceiveLimit);
    const CImportPatch sends(&g_sendRequestSlotOfSending, &SendNotingTheLimit);
    OpenPost(m_camera.Port());
    EXPECT_EQ(0u, s_receiveLimitAtSendMs) << "a wait that is under way keeps the limit that it began with";
    CAsyncHttpRequestStream get;
    ASSERT_EQ(S_OK, get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    ASSERT_EQ(S_OK, get.OpenStream(kMediaPath, L"x-sessioncookie:c1\r\n", L"GET", 5000));
    EXPECT_EQ(30'500u, s_receiveLimitAtSendMs) << "what is waited for has its limit";
}
