// A camera that sends a request elsewhere.

#include "Tests/Support/WinInetSpy.h"
#include "Tests/Transport/HttpRequestFixture.h"

#include <set>
#include <string>
#include <vector>

namespace
{
/// Where nobody listens.
std::string ClosedPort()
{
    return std::to_string(CScriptedCamera({}).Port());
}

/// A line for each time that WinInet has sent a request elsewhere. It ends with the address of the request's block,
/// which a later request may have when this one has ended.
std::vector<std::wstring> Redirections(const CLogCapture& log)
{
    const std::wstring redirected = L"dwInternetStatus = " + std::to_wstring(INTERNET_STATUS_REDIRECT) + L",";
    std::vector<std::wstring> lines = log.Lines();
    std::erase_if(lines, [&](const std::wstring& line) { return line.find(redirected) == std::wstring::npos; });
    return lines;
}
} // namespace

TEST_F(HttpRequest, RedirectConcernsOneRequestOnly)
{
    const std::string elsewhere = "Location: http://127.0.0.1:" + ClosedPort() + "/\r\n";
    ScriptedReply late = HttpAnswer(302, "", elsewhere);
    late.held = true;
    Open({HttpAnswer(302, "", elsewhere), HttpAnswer(200, "first"), late, HttpAnswer(200, "second")});
    EXPECT_EQ(E_FAIL, Get().hr);
    EXPECT_EQ(L"first", Get().body);
    EXPECT_EQ(kRequestTimeout, Get(L"late", kShortMs).hr);
    m_camera->ReleaseHeld();
    ASSERT_TRUE(WaitUntil([this] { return Redirections(m_log).size() == 2; }));
    EXPECT_EQ(L"second", Get().body) << "also when it comes to a request that was given up";
    EXPECT_EQ(L"second", Get().body);
    EXPECT_EQ(5u, m_camera->Requests().size());
}

TEST_F(HttpRequest, RedirectsLeaveNoConnectionsOpen)
{
    Open({HttpAnswer(302, "", "Location: http://127.0.0.1:" + ClosedPort() + "/\r\n")});
    const CWinInetSpy spy;
    constexpr std::size_t kRequests = 10;
    for (std::size_t i = 0; i < kRequests; ++i)
        EXPECT_EQ(E_FAIL, Get().hr);
    // A connection that WinInet is still on its way out of goes with a later request.
    std::size_t requests = kRequests;
    const auto isTidy = [&] { return spy.Closed().size() >= requests + requests - 2; };
    for (; !isTidy() && requests < 5 * kRequests; ++requests)
        EXPECT_EQ(E_FAIL, Get().hr);
    EXPECT_TRUE(isTidy()) << "closes " << spy.Closed().size() << " for " << requests
                          << " requests, and the connections of all but the last";
}

// Wine 8 goes on following redirects after a request was given up, so each of them keeps its connection.
TEST_F(HttpRequest, RedirectsWithoutEndKeepABoundedNumberOfConnections)
{
    ScriptedReply again = HttpAnswer(302, "", "Location: /again\r\n");
    again.pieceBytes = 20;
    again.pauseMs = 10;
    Open({again});
    const std::wstring line = L"CAsyncHttpRequest::SendRequest, 8 connections were redirected and still have requests, "
                              L"no other opened";
    for (std::size_t i = 0; i <= CAsyncHttpRequest::kMaximumLeft; ++i)
    {
        ASSERT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr) << i;
        ASSERT_TRUE(WaitUntil([&] {
            const std::vector<std::wstring> lines = Redirections(m_log);
            return std::set(lines.begin(), lines.end()).size() > i;
        }));
    }
    EXPECT_EQ(0u, CountLines(LogLevel::Error, line));
    EXPECT_EQ(E_FAIL, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, line));
    m_camera->Enqueue(HttpAnswer(200, "fine"));
    const Answer answer = Get(L"x");
    EXPECT_EQ(S_OK, answer.hr) << "as soon as the camera stops";
    EXPECT_EQ(L"fine", answer.body);
}

TEST_F(HttpRequest, RedirectWithoutEndConcernsNoLaterConnection)
{
    ScriptedReply again = HttpAnswer(302, "", "Location: /again\r\n");
    again.pieceBytes = 20;
    again.pauseMs = 10;
    CScriptedCamera elsewhere({again});
    Open({HttpAnswer(302, "", "Location: http://127.0.0.1:" + std::to_string(elsewhere.Port()) + "/\r\n"),
          HttpAnswer(200, "fine")});
    ASSERT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    for (std::size_t i = 0; i < 2 * CAsyncHttpRequest::kMaximumLeft; ++i)
    {
        ASSERT_TRUE(elsewhere.WaitForRequests(elsewhere.Requests().size() + 1)) << "it still goes on";
        ASSERT_EQ(L"fine", Get().body) << i;
    }
    elsewhere.Enqueue(HttpAnswer(200, "the end"));
}
