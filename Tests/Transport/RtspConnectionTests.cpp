#include "RtspConnection.h"

#include "Protocol/Base64.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/HandleCount.h"
#include "Tests/Support/ImportPatch.h"
#include "Tests/Support/ScriptedCamera.h"
#include "Tests/Support/TunnelCamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

QUORVANE_IMPORT_SLOT(g_internetConnectSlot, InternetConnectW, 32);
QUORVANE_IMPORT_SLOT(g_httpSendRequestSlotOfTunnel, HttpSendRequestW, 20);

namespace
{
constexpr DWORD kShortMs = 300;

std::string Options(int sequence)
{
    return "OPTIONS rtsp://127.0.0.1/axis-media/media.amp RTSP/1.0\r\nCSeq: " + std::to_string(sequence) + "\r\n\r\n";
}

/// How many more calls WinInet grants before it refuses one.
int s_granted = 0;

HINTERNET WINAPI ConnectWhileGranted(HINTERNET session, LPCWSTR server, INTERNET_PORT port, LPCWSTR user,
                                     LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR context)
{
    return s_granted-- > 0 ? OriginalOfWinInet<decltype(::InternetConnectW)>("InternetConnectW")(
                                 session, server, port, user, password, service, flags, context)
                           : nullptr;
}
BOOL WINAPI SendWhileGranted(HINTERNET request, LPCWSTR headers, DWORD countChars, LPVOID optional, DWORD sizeBytes)
{
    if (s_granted-- > 0)
        return OriginalOfWinInet<decltype(::HttpSendRequestW)>("HttpSendRequestW")(request, headers, countChars,
                                                                                   optional, sizeBytes);
    ::SetLastError(ERROR_INTERNET_CANNOT_CONNECT);
    return FALSE;
}

/// A camera and a tunnel to it.
class RtspConnection : public ::testing::Test
{
protected:
    ~RtspConnection() override
    {
        m_camera.Close(TunnelSide::Both);
    }

    bool Connect(CRtspConnection& tunnel)
    {
        return tunnel.ConnectToServer(L"127.0.0.1", m_camera.Port(), kMediaPath, L"user", L"pass");
    }
    bool Connect()
    {
        return Connect(m_tunnel);
    }
    /// One request and what comes back in one read.
    std::string Exchange(const std::string& request)
    {
        std::string reply;
        if (!m_tunnel.SendRequest(request))
            return "not sent";
        return m_tunnel.ReadResponse(reply) ? reply : "nothing read";
    }
    /// Waits for what the notification of a closed POST changes.
    bool WaitUntilDisconnected()
    {
        for (int round = 0; round < 500 && m_tunnel.IsConnected(); ++round)
            (void)m_camera.WaitForHeads(1000, 10);
        return !m_tunnel.IsConnected();
    }
    std::size_t CountLines(LogLevel level, const std::wstring& text) const
    {
        const std::vector<CapturedMessage> messages = m_log.Messages();
        return static_cast<std::size_t>(std::ranges::count_if(
            messages, [&](const CapturedMessage& message) { return message.level == level && message.text == text; }));
    }

    CLogCapture m_log;
    CTunnelCamera m_camera; // outlives the tunnel
    CRtspConnection m_tunnel;
};

/// Sorted, because WinInet decides about the order of some.
std::vector<std::string> HeaderLines(const std::string& head)
{
    std::vector<std::string> lines;
    for (std::size_t start = head.find("\r\n") + 2; start < head.size();)
    {
        const std::size_t end = head.find("\r\n", start);
        lines.push_back(head.substr(start, end - start));
        start = end + 2;
    }
    std::ranges::sort(lines);
    return lines;
}
} // namespace

TEST_F(RtspConnection, CarriesRequestsAndRepliesThroughOneTunnel)
{
    EXPECT_FALSE(m_tunnel.IsConnected());
    ASSERT_TRUE(Connect());
    EXPECT_TRUE(m_tunnel.IsConnected());
    for (int sequence = 1; sequence <= 3; ++sequence)
        EXPECT_EQ(RtspReply(Options(sequence), 200), Exchange(Options(sequence)));
    EXPECT_EQ((std::vector<std::string>{Options(1), Options(2), Options(3)}), m_camera.RtspRequests());
    EXPECT_EQ(2u, m_camera.Heads().size());
    m_tunnel.Close();
    EXPECT_FALSE(m_tunnel.IsConnected());
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Both));
    EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
}

TEST_F(RtspConnection, BothRequestsCarryTheCookieTheirHeadersAndNoCredentials)
{
    ASSERT_TRUE(Connect());
    const std::wstring wideCookie = m_tunnel.GetSessionCookie();
    const std::string cookie(wideCookie.begin(), wideCookie.end());
    EXPECT_EQ(32u, cookie.size());
    EXPECT_EQ(std::string::npos, cookie.find_first_not_of("0123456789abcdef"));
    ASSERT_TRUE(m_camera.WaitForHeads(2));
    const std::vector<std::string> heads = m_camera.Heads();
    const std::string host = "Host: 127.0.0.1:" + std::to_string(m_camera.Port());
    EXPECT_EQ("GET /axis-media/media.amp HTTP/1.1", RequestLine(heads.at(0)));
    EXPECT_EQ((std::vector<std::string>{"", "Cache-Control: no-cache", "Connection: Keep-Alive", host,
                                        "User-Agent: ORBELL AV Client", "x-sessioncookie: " + cookie}),
              HeaderLines(heads[0]));
    EXPECT_EQ("POST /axis-media/media.amp HTTP/1.1", RequestLine(heads.at(1)));
    EXPECT_EQ((std::vector<std::string>{"", "Cache-Control: no-cache", "Connection: Keep-Alive",
                                        "Content-Length: 32767", "Content-Type: application/x-rtsp-tunnelled", host,
                                        "User-Agent: ORBELL AV Client", "x-sessioncookie: " + cookie}),
              HeaderLines(heads[1]));
}

TEST_F(RtspConnection, EveryConnectMakesACookieOfItsOwn)
{
    ASSERT_TRUE(Connect());
    const std::wstring first = m_tunnel.GetSessionCookie();
    ASSERT_TRUE(Connect()) << "closes the first tunnel";
    const std::wstring second = m_tunnel.GetSessionCookie();
    EXPECT_NE(first, second);
    ASSERT_TRUE(m_camera.WaitForHeads(4));
    const std::vector<std::string> heads = m_camera.Heads();
    for (std::size_t head = 0; head < heads.size(); ++head)
    {
        const std::wstring& cookie = head < 2 ? first : second;
        EXPECT_EQ(std::string(cookie.begin(), cookie.end()), HeaderValue(heads[head], "x-sessioncookie"));
    }
    m_tunnel.Close();
    EXPECT_NE(second, m_tunnel.GetSessionCookie()) << "a close forgets it";
}

TEST_F(RtspConnection, AddressThatIsNoneFailsAndLeavesTheTunnelOpen)
{
    ASSERT_TRUE(Connect());
    EXPECT_FALSE(m_tunnel.ConnectToServer(L"127.0.0.1", 0, kMediaPath, L"", L""));
    EXPECT_FALSE(m_tunnel.ConnectToServer(L"", m_camera.Port(), kMediaPath, L"", L""));
    EXPECT_FALSE(m_tunnel.ConnectToServer(nullptr, m_camera.Port(), kMediaPath, L"", L""));
    EXPECT_TRUE(m_tunnel.IsConnected());
    EXPECT_EQ(RtspReply(Options(1), 200), Exchange(Options(1)));
}

TEST_F(RtspConnection, RequestsAreEncodedEachForItself)
{
    struct
    {
        const char* reason;
        std::string text;
        std::string encoded;
    } const rows[] = {
        {"three bytes need no padding", "abc", "YWJj"},
        {"four bytes end in two", "abcd", "YWJjZA=="},
        {"five bytes end in one", "abcde", "YWJjZGU="},
        {"62 and 63 have their standard digits", "\xFB\xFF\xBF", "+/+/"},
        {"a long text has no line breaks", std::string(3000, 'A'), Base64::Encode(std::string(3000, 'A'))},
    };
    ASSERT_TRUE(Connect());
    std::string expected;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        ASSERT_TRUE(m_tunnel.SendRequest(row.text));
        expected += row.encoded;
        EXPECT_EQ(std::string::npos, row.encoded.find_first_of("\r\n"));
    }
    for (int round = 0; round < 500 && m_camera.PostBody().size() < expected.size(); ++round)
        (void)m_camera.WaitForHeads(1000, 10);
    EXPECT_EQ(expected, m_camera.PostBody());
}

TEST_F(RtspConnection, EmptyRequestIsRefusedAndClosedTunnelLogged)
{
    ASSERT_TRUE(Connect());
    EXPECT_FALSE(m_tunnel.SendRequest(""));
    m_tunnel.Close();
    EXPECT_FALSE(m_tunnel.SendRequest(Options(1)));
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CRtspConnection::SendRequest, failed to write rtsp request, hr = 0x8000ffff"));
    std::string reply = "left over";
    EXPECT_FALSE(m_tunnel.ReadResponse(reply));
    EXPECT_EQ("", reply);
}

TEST_F(RtspConnection, RepliesArriveAsTheCameraSendsThem)
{
    ASSERT_TRUE(Connect());
    const std::string reply = RtspReply(Options(1), 200, "Public: OPTIONS\r\n");
    for (std::size_t cut = 1; cut < reply.size(); ++cut)
    {
        SCOPED_TRACE(cut);
        std::string piece;
        m_camera.Send(reply.substr(0, cut));
        ASSERT_TRUE(m_tunnel.ReadResponse(piece));
        EXPECT_EQ(reply.substr(0, cut), piece);
        m_camera.Send(reply.substr(cut));
        ASSERT_TRUE(m_tunnel.ReadResponse(piece));
        EXPECT_EQ(reply.substr(cut), piece);
    }
    m_camera.Send(reply + reply);
    std::string both;
    ASSERT_TRUE(m_tunnel.ReadResponse(both));
    EXPECT_EQ(reply + reply, both);
}

TEST_F(RtspConnection, MissingReplyFailsAndTheLateOneComesWithTheNextRead)
{
    CRtspConnection tunnel(kShortMs);
    ASSERT_TRUE(Connect(tunnel));
    std::string reply = "left over";
    const DWORD startTick = ::GetTickCount();
    EXPECT_FALSE(tunnel.ReadResponse(reply));
    EXPECT_LT(::GetTickCount() - startTick, 10 * kShortMs);
    EXPECT_EQ("", reply);
    EXPECT_TRUE(tunnel.IsConnected());
    m_camera.Send("late");
    EXPECT_TRUE(tunnel.ReadResponse(reply));
    EXPECT_EQ("late", reply);
}

TEST_F(RtspConnection, WaitsFourSecondsForTheGetAndForReplies)
{
    EXPECT_EQ(4000u, CRtspConnection::kTimeLimitMs);
    ASSERT_TRUE(Connect());
    std::string reply;
    const DWORD startTick = ::GetTickCount();
    EXPECT_FALSE(m_tunnel.ReadResponse(reply));
    const DWORD elapsedMs = ::GetTickCount() - startTick;
    EXPECT_GE(elapsedMs, 3900u);
    EXPECT_LT(elapsedMs, 6000u);
}

TEST_F(RtspConnection, FailedConnectClosesEverythingAndSaysWhere)
{
    struct
    {
        const char* reason;
        const char* getAnswer;
        const wchar_t* logged;
    } const rows[] = {
        {"the GET is refused", "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"cam\"\r\n\r\n",
         L"CRtspConnection::ConnectToServer, failed to open GET stream, hr = 0x80004005\n"},
        {"the GET is never answered", "",
         L"CRtspConnection::ConnectToServer, failed to open GET stream, hr = 0x800c05b4\n"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_camera.SetGetAnswer(row.getAnswer);
        CRtspConnection tunnel(kShortMs);
        const std::size_t countHeads = m_camera.Heads().size();
        EXPECT_FALSE(Connect(tunnel));
        EXPECT_FALSE(tunnel.IsConnected());
        EXPECT_EQ(1u, CountLines(LogLevel::Error, row.logged));
        EXPECT_EQ(countHeads + 1, m_camera.Heads().size()) << "no second try, no POST";
        m_camera.Close(TunnelSide::Both);
    }
    m_camera.SetGetAnswer("HTTP/1.0 200 OK\r\n\r\n");
    EXPECT_TRUE(Connect());
}

TEST_F(RtspConnection, PostThatCannotBeOpenedClosesTheGetToo)
{
    s_granted = 1;
    {
        const CImportPatch patch(&g_httpSendRequestSlotOfTunnel, &SendWhileGranted);
        EXPECT_FALSE(Connect());
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CRtspConnection::ConnectToServer, failed to open POST stream, hr = 0x80004005\n"));
    EXPECT_FALSE(m_tunnel.IsConnected());
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
    std::string reply;
    EXPECT_FALSE(m_tunnel.ReadResponse(reply));
    EXPECT_EQ(1u, m_camera.Heads().size());
    const std::string cookie = HeaderValue(m_camera.Heads().at(0), "x-sessioncookie");
    EXPECT_NE(std::wstring(cookie.begin(), cookie.end()), m_tunnel.GetSessionCookie()) << "forgotten with the rest";
}

TEST_F(RtspConnection, ConnectionThatCannotBeMadeFails)
{
    const CImportPatch patch(&g_internetConnectSlot, &ConnectWhileGranted);
    s_granted = 0;
    EXPECT_FALSE(Connect());
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CRtspConnection::ConnectToServer, failed to open GET connection, hr = 0x80004005\n"));
    s_granted = 1;
    EXPECT_FALSE(Connect());
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CRtspConnection::ConnectToServer, failed to open POST connection, hr = 0x80004005\n"));
    EXPECT_FALSE(m_tunnel.IsConnected());
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
}

TEST_F(RtspConnection, UnreachableCameraFails)
{
    WORD port = 0;
    {
        CTunnelCamera gone;
        port = gone.Port();
    }
    EXPECT_FALSE(m_tunnel.ConnectToServer(L"127.0.0.1", port, kMediaPath, L"", L""));
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CRtspConnection::ConnectToServer, failed to open GET stream, hr = 0x80004005\n"));
}

TEST_F(RtspConnection, ClosedGetAloneLeavesTheTunnelOpenWithEmptyReplies)
{
    ASSERT_TRUE(Connect());
    m_camera.Close(TunnelSide::Get);
    ASSERT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
    std::string reply = "left over";
    EXPECT_TRUE(m_tunnel.ReadResponse(reply));
    EXPECT_EQ("", reply);
    EXPECT_TRUE(m_tunnel.IsConnected());
    EXPECT_TRUE(m_tunnel.SendRequest(Options(1)));
}

TEST_F(RtspConnection, LostPostClosesTheTunnelAndConnectingAgainWorks)
{
    struct
    {
        const char* reason;
        std::function<void(CTunnelCamera&)> lose;
    } const rows[] = {
        {"the POST is broken off", [](CTunnelCamera& camera) { camera.Close(TunnelSide::Post, true); }},
        {"the POST is closed in good order", [](CTunnelCamera& camera) { camera.Close(TunnelSide::Post); }},
        {"both are broken off", [](CTunnelCamera& camera) { camera.Close(TunnelSide::Both, true); }},
        {"both are closed in good order", [](CTunnelCamera& camera) { camera.Close(TunnelSide::Both); }},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        ASSERT_TRUE(Connect());
        ASSERT_EQ(RtspReply(Options(1), 200), Exchange(Options(1)));
        row.lose(m_camera);
        EXPECT_TRUE(WaitUntilDisconnected());
        EXPECT_FALSE(m_tunnel.SendRequest(Options(2)));
        ASSERT_TRUE(Connect());
        EXPECT_TRUE(m_tunnel.IsConnected());
        EXPECT_EQ(RtspReply(Options(3), 200), Exchange(Options(3)));
    }
}

TEST_F(RtspConnection, PostAnsweredWithCloseIsALostPost)
{
    m_camera.SetPostAnswer("HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
    ASSERT_TRUE(Connect()) << "nobody waits for the answer to a POST";
    EXPECT_TRUE(WaitUntilDisconnected());
    m_camera.SetPostAnswer("");
    ASSERT_TRUE(Connect());
    EXPECT_EQ(RtspReply(Options(1), 200), Exchange(Options(1)));
}

TEST_F(RtspConnection, CloseIsBoundedWhenTheCameraKeepsThePost)
{
    m_camera.KeepPosts();
    ASSERT_TRUE(Connect());
    const DWORD startTick = ::GetTickCount();
    m_tunnel.Close();
    EXPECT_LT(::GetTickCount() - startTick, CRtspConnection::kCloseWaitMs + 500);
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
    ASSERT_TRUE(Connect());
    EXPECT_EQ(RtspReply(Options(1), 200), Exchange(Options(1)));
}

// Wine 8 keeps a thread and a connection for each of them.
TEST_F(RtspConnection, PostsThatTheCameraKeepsAreBounded)
{
    const std::wstring line =
        L"CRtspConnection::ConnectToServer, 8 earlier tunnels still have requests, no other opened";
    m_camera.KeepPosts();
    // One that is closed before WinInet has begun to wait for its answer ends at once.
    std::size_t opened = 0;
    while (opened < 2 * CRtspConnection::kMaximumLeft && Connect())
        ++opened;
    if (m_log.Count(L"requests still pending") == 0)
        GTEST_SKIP() << "this system ends requests with their handles";
    EXPECT_LE(CRtspConnection::kMaximumLeft, opened);
    EXPECT_EQ(opened, m_camera.TunnelCount());
    EXPECT_EQ(1u, m_log.Count(line));
    m_camera.ReleasePosts();
    const DWORD startTick = ::GetTickCount();
    while (!Connect() && ::GetTickCount() - startTick < 5000)
        ::SwitchToThread();
    EXPECT_EQ(RtspReply(Options(1), 200), Exchange(Options(1))) << "as soon as the camera has let go";
}

TEST_F(RtspConnection, TunnelsOnSeveralThreadsDoNotDisturbEachOther)
{
    std::atomic<int> exchanges = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back([this, thread, &exchanges] {
            CRtspConnection tunnel;
            for (int sequence = 1000 * thread; sequence < 1000 * thread + 30; ++sequence)
            {
                // A new tunnel now and then, while the others are in the middle of theirs.
                std::string reply;
                if ((sequence % 10 != 0 || Connect(tunnel)) && tunnel.SendRequest(Options(sequence)) &&
                    tunnel.ReadResponse(reply) && reply == RtspReply(Options(sequence), 200))
                    ++exchanges;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(120, exchanges);
    EXPECT_EQ(12u, m_camera.TunnelCount());
    EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
}

TEST_F(RtspConnection, HandlesAndThreadsStayFlatOverManyTunnels)
{
    int sequence = 0;
    const auto cycle = [&] {
        ++sequence;
        ASSERT_TRUE(Connect());
        ASSERT_EQ(RtspReply(Options(sequence), 200), Exchange(Options(sequence)));
        if (sequence % 5 == 0)
            m_camera.Close(TunnelSide::Both, sequence % 10 == 0); // now and then the camera is the first to close
        m_tunnel.Close();
        ASSERT_TRUE(m_camera.WaitForEnd(TunnelSide::Both));
    };
    for (int round = 0; round < 20; ++round)
        cycle();
    const unsigned before = CountOwnHandles();
    for (int round = 0; round < 100; ++round)
        cycle();
    EXPECT_GT(before, 0u);
    EXPECT_LE(CountOwnHandles(), before + 6); // WinInet's idle worker threads come and go
    EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
}
