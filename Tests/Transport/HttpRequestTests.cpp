#include "Tests/Support/HandleCount.h"
#include "Tests/Support/WinInetSpy.h"
#include "Tests/Transport/HttpRequestFixture.h"

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{
class HttpRequest : public HttpRequestTest
{
protected:
    /// Until so many requests have been sent elsewhere, going by WinInet's notifications.
    bool WaitForRedirected(std::size_t count) const
    {
        const std::wstring redirected = L"dwInternetStatus = " + std::to_wstring(INTERNET_STATUS_REDIRECT) + L",";
        const DWORD startTick = ::GetTickCount();
        std::set<std::wstring> requests; // each line ends with the address of its request's block
        while (requests.size() < count && ::GetTickCount() - startTick < kAmpleMs)
            for (const std::wstring& line : m_log.Lines())
                if (line.find(redirected) != std::wstring::npos)
                    requests.insert(line);
        return requests.size() >= count;
    }
};

std::string Body(std::size_t lengthBytes)
{
    std::string body;
    body.reserve(lengthBytes);
    for (std::size_t position = 0; position < lengthBytes; ++position)
        body.push_back(static_cast<char>('!' + (position * 7 + position / 4095) % 90));
    return body;
}

std::wstring Widened(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

/// Where nobody listens.
std::string ClosedPort()
{
    return std::to_string(CScriptedCamera({}).Port());
}
} // namespace

TEST_F(HttpRequest, OpenConnectionRefusesAnAddressThatIsNoneAndKeepsTheOldOne)
{
    Open({HttpAnswer(200, "here")});
    EXPECT_EQ(E_INVALIDARG, m_http.OpenConnection(nullptr, 80, L"", L""));
    EXPECT_EQ(E_INVALIDARG, m_http.OpenConnection(L"", 80, L"", L""));
    EXPECT_EQ(E_INVALIDARG, m_http.OpenConnection(L"127.0.0.1", 0, L"", L""));
    EXPECT_TRUE(m_http.IsOpen());
    EXPECT_EQ(L"here", Get().body);
}

TEST_F(HttpRequest, NotConnectedIsUnexpectedWithStatusZero)
{
    const Answer answer = Get();
    EXPECT_EQ(E_UNEXPECTED, answer.hr);
    EXPECT_EQ(0u, answer.statusCode);
    EXPECT_EQ(L"", answer.body);
}

TEST_F(HttpRequest, CloseEndsTheConnection)
{
    Open({HttpAnswer(200, "here")});
    m_http.Close();
    EXPECT_FALSE(m_http.IsOpen());
    EXPECT_EQ(E_UNEXPECTED, Get().hr);
}

TEST_F(HttpRequest, SendsTheRequestStringBehindOneSlashAndTheUserAgent)
{
    Open({HttpAnswer(200, "ok")});
    ASSERT_EQ(S_OK, Get(L"command/camera.cgi?ImageSize1=640%2C480&FrameRate1=30").hr);
    ASSERT_EQ(S_OK, Get(L"/axis-cgi/com/ptz.cgi?whoami=yes").hr);
    const auto requests = m_camera->Requests();
    ASSERT_EQ(2u, requests.size());
    EXPECT_EQ("GET /command/camera.cgi?ImageSize1=640%2C480&FrameRate1=30 HTTP/1.1", RequestLine(requests[0]));
    EXPECT_EQ("GET /axis-cgi/com/ptz.cgi?whoami=yes HTTP/1.1", RequestLine(requests[1]));
    EXPECT_EQ("ORBELL AV Client", HeaderValue(requests[0], "User-Agent"));
    EXPECT_EQ("127.0.0.1:" + std::to_string(m_camera->Port()), HeaderValue(requests[0], "Host"));
    EXPECT_EQ("", HeaderValue(requests[0], "Authorization"));
    EXPECT_EQ(1u, m_camera->ConnectionCount()) << "the connection is kept for the next request";
}

TEST_F(HttpRequest, EmptyUrlAndVerbMeanGetOfTheRoot)
{
    Open({HttpAnswer(200, "ok")});
    DWORD statusCode = 0;
    std::wstring body;
    ASSERT_EQ(S_OK, m_http.SendRequest(L"", statusCode, body, L"", kAmpleMs));
    EXPECT_EQ("GET / HTTP/1.1", RequestLine(m_camera->Requests().at(0)));
}

TEST_F(HttpRequest, VerbIsSentAndHashedIntoTheDigestAnswer)
{
    // Without qop the answer holds nothing random: MD5(MD5("user:cam:pass"):n1:MD5("VERB:command/x.cgi")), RFC 2617
    // section 3.2.2.1.
    const struct
    {
        const wchar_t* verb;
        const char* requestLine;
        const char* response;
    } rows[] = {
        {L"GET", "GET /command/x.cgi HTTP/1.1", "df717aa1ed87511a5116f32053439a76"},
        {L"POST", "POST /command/x.cgi HTTP/1.1", "f35f579787b0495c90346e730fbf551f"},
        {L"PUT", "PUT /command/x.cgi HTTP/1.1", "8b9eb3d41fce66b4bae7d3f24a9a27dc"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.requestLine);
        Open({HttpAnswer(401, "", "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n1\"\r\n"), HttpAnswer(200, "ok")},
             L"user", L"pass");
        EXPECT_EQ(L"ok", Send(row.verb, L"command/x.cgi").body);
        const auto requests = m_camera->Requests();
        ASSERT_EQ(2u, requests.size());
        EXPECT_EQ(row.requestLine, RequestLine(requests[0]));
        EXPECT_EQ(row.requestLine, RequestLine(requests[1]));
        EXPECT_NE(std::string::npos,
                  HeaderValue(requests[1], "Authorization").find("response=\"" + std::string(row.response) + "\""))
            << HeaderValue(requests[1], "Authorization");
    }
}

TEST_F(HttpRequest, StatusDecidesResultBodyAndLogLevel)
{
    struct
    {
        const char* reason;
        int statusCode;
        HRESULT hr;
        const wchar_t* body;
        LogLevel level; // of the failure message; Trace: there is none
    } const rows[] = {
        {"success", 200, S_OK, L"body", LogLevel::Trace},
        {"created counts as success, body read, result of the exchange", 201, S_OK, L"body", LogLevel::Trace},
        {"accepted likewise", 202, S_OK, L"body", LogLevel::Trace},
        {"an inner error of the camera comes with a body that the caller wants", 500, S_OK, L"body", LogLevel::Trace},
        {"bad request is what a stream start is retried on", 400, E_FAIL, L"", LogLevel::Error},
        {"a camera of another family does not know the page: expected while probing", 404, E_FAIL, L"",
         LogLevel::Debug},
        {"forbidden", 403, E_FAIL, L"", LogLevel::Error},
        {"a redirect without a target cannot be followed", 304, E_FAIL, L"", LogLevel::Error},
        {"unavailable", 503, E_FAIL, L"", LogLevel::Error},
        {"the highest known code", 505, E_FAIL, L"", LogLevel::Error},
        {"beyond all known codes", 600, E_FAIL, L"", LogLevel::Error},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        Open({HttpAnswer(row.statusCode, row.statusCode == 304 ? "" : "body")});
        const Answer answer = Get(L"x");
        EXPECT_EQ(row.hr, answer.hr);
        EXPECT_EQ(static_cast<DWORD>(row.statusCode), answer.statusCode);
        EXPECT_EQ(row.body, answer.body);
        const std::wstring message = L"CHttpRequest::SendRequest, failed for url: 'x', status code: " +
                                     std::to_wstring(row.statusCode) + L", 'Scripted'";
        EXPECT_EQ(row.level == LogLevel::Error ? 1u : 0u, CountLines(LogLevel::Error, message));
        EXPECT_EQ(row.level == LogLevel::Debug ? 1u : 0u, CountLines(LogLevel::Debug, message));
    }
}

TEST_F(HttpRequest, NoContentSucceedsWithoutReading)
{
    Open({ScriptedReply{"HTTP/1.1 204 No Content\r\n\r\n"}, HttpAnswer(200, "next")});
    const Answer answer = Get();
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_EQ(204u, answer.statusCode);
    EXPECT_EQ(L"", answer.body);
    EXPECT_EQ(L"next", Get().body);
}

TEST_F(HttpRequest, ChallengeIsAnsweredOnceAndRememberedForLaterRequests)
{
    Open({HttpAnswer(401, "who?", "WWW-Authenticate: Basic realm=\"cam\"\r\n"), HttpAnswer(200, "first"),
          HttpAnswer(200, "second")},
         L"user", L"pass");
    EXPECT_EQ(L"first", Get().body);
    EXPECT_EQ(L"second", Get().body);
    const auto requests = m_camera->Requests();
    ASSERT_EQ(3u, requests.size());
    EXPECT_EQ("", HeaderValue(requests[0], "Authorization"));
    EXPECT_EQ("Basic dXNlcjpwYXNz", HeaderValue(requests[1], "Authorization"));
    EXPECT_EQ("Basic dXNlcjpwYXNz", HeaderValue(requests[2], "Authorization"));
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CHttpRequest::SendRequest, unauthorized, authenticate header: "
                                              L"'Basic realm=\"cam\"', url: 'command/inquiry.cgi?inq=system'"));
}

TEST_F(HttpRequest, SecondRefusalFailsAfterExactlyTwoSends)
{
    Open({HttpAnswer(401, "", "WWW-Authenticate: Basic realm=\"cam\"\r\n")}, L"user", L"wrong");
    const Answer answer = Get();
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(401u, answer.statusCode);
    EXPECT_EQ(2u, m_camera->Requests().size());
}

TEST_F(HttpRequest, RefusalWithoutAChallengeIsNotSentAgain)
{
    Open({HttpAnswer(401, "")}, L"user", L"pass");
    const Answer answer = Get(L"x");
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(401u, answer.statusCode);
    EXPECT_EQ(1u, m_camera->Requests().size());
    EXPECT_EQ(1u, CountLines(LogLevel::Debug,
                             L"CAsyncHttpRequest::SendRequest, failed to get authenticate header, url: 'x'"));
    // ERROR_HTTP_HEADER_NOT_FOUND, asking for HTTP_QUERY_WWW_AUTHENTICATE
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::HttpQueryInfoStringA, HttpQueryInfo failed, "
                                              L"dwLastError = 12150, dwInfoLevel = 40"));
}

TEST_F(HttpRequest, CloseForgetsTheChallenge)
{
    Open({HttpAnswer(401, "", "WWW-Authenticate: Basic realm=\"cam\"\r\n"), HttpAnswer(200, "ok")}, L"user", L"pass");
    ASSERT_EQ(S_OK, Get().hr);
    ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", m_camera->Port(), L"user", L"pass"));
    ASSERT_EQ(S_OK, Get().hr);
    EXPECT_EQ("", HeaderValue(m_camera->Requests().at(2), "Authorization"));
}

TEST_F(HttpRequest, StaleNonceIsReplacedAndTheOldCredentialsAreNotSentAlong)
{
    Open({HttpAnswer(401, "", "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n1\", qop=\"auth\"\r\n"),
          HttpAnswer(200, "first"),
          HttpAnswer(401, "", "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n2\", stale=TRUE\r\n"),
          HttpAnswer(200, "second")},
         L"user", L"pass");
    ASSERT_EQ(L"first", Get().body);
    ASSERT_EQ(L"second", Get().body);
    const auto requests = m_camera->Requests();
    ASSERT_EQ(4u, requests.size());
    EXPECT_NE(std::string::npos, HeaderValue(requests[2], "Authorization").find("nonce=\"n1\""));
    EXPECT_NE(std::string::npos, HeaderValue(requests[2], "Authorization").find("nc=00000002"));
    const std::string& last = requests[3];
    EXPECT_NE(std::string::npos, HeaderValue(last, "Authorization").find("nonce=\"n2\""));
    EXPECT_NE(std::string::npos, HeaderValue(last, "Authorization").find("nc=00000001"));
    EXPECT_EQ(last.find("Authorization:"), last.rfind("Authorization:")) << "one header, not two";
}

TEST_F(HttpRequest, DigestUriIsTheRequestStringAsItWasGiven)
{
    Open({HttpAnswer(401, "", "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n1\"\r\n"), HttpAnswer(200, "ok")},
         L"user", L"pass");
    ASSERT_EQ(S_OK, Get(L"command/camera.cgi?AudioIn=on").hr);
    EXPECT_NE(std::string::npos,
              HeaderValue(m_camera->Requests().at(1), "Authorization").find("uri=\"command/camera.cgi?AudioIn=on\""));
}

TEST_F(HttpRequest, Utf8UserNameReachesTheWireByteForByte)
{
    // U+00E9, U+20AC, U+65E5 and U+1D11E: two, three, three and four bytes, some of them unassigned in code page 1252.
    Open({HttpAnswer(401, "", "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n1\"\r\n"), HttpAnswer(200, "ok")},
         L"\x00E9\x20AC\x65E5\xD834\xDD1E", L"pass");
    ASSERT_EQ(S_OK, Get().hr);
    EXPECT_NE(std::string::npos, HeaderValue(m_camera->Requests().at(1), "Authorization")
                                     .find("username=\"\xC3\xA9\xE2\x82\xAC\xE6\x97\xA5\xF0\x9D\x84\x9E\""));
}

TEST_F(HttpRequest, ChallengeLongerThanTheFirstBufferIsReadWhole)
{
    const std::string opaque(2000, 'o');
    Open({HttpAnswer(401, "", "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n1\", opaque=\"" + opaque + "\"\r\n"),
          HttpAnswer(200, "ok")},
         L"user", L"pass");
    ASSERT_EQ(S_OK, Get().hr);
    EXPECT_NE(std::string::npos,
              HeaderValue(m_camera->Requests().at(1), "Authorization").find(", opaque=\"" + opaque + "\""));
    // As WinInet reports it: the characters of the value and the one that ends them.
    const std::size_t sizeBytes = std::string("Digest realm=\"cam\", nonce=\"n1\", opaque=\"\"").size() + 2000 + 1;
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequest::HttpQueryInfoStringA, insufficient buffer, try "
                                              L"again with new buffer size = " +
                                                  std::to_wstring(sizeBytes) + L", dwInfoLevel = 40"));
}

TEST_F(HttpRequest, BodiesOfAnyLengthArriveWhole)
{
    for (const std::size_t lengthBytes :
         {std::size_t{0}, std::size_t{1}, std::size_t{4094}, std::size_t{4095}, std::size_t{4096}, std::size_t{8190},
          std::size_t{100'000}, std::size_t{8'000'000}})
    {
        SCOPED_TRACE(lengthBytes);
        const std::string body = Body(lengthBytes);
        Open({HttpAnswer(200, body)});
        const Answer answer = Get();
        EXPECT_EQ(S_OK, answer.hr);
        EXPECT_TRUE(answer.body == Widened(body)) << "length " << answer.body.size();
    }
}

TEST_F(HttpRequest, BodyInPiecesOrChunksOrUntilCloseArrivesWhole)
{
    const std::string body = Body(300);
    ScriptedReply pieces = HttpAnswer(200, body);
    pieces.pieceBytes = 1;
    Open({pieces});
    EXPECT_EQ(Widened(body), Get().body);
    Open({ScriptedReply{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n3\r\nfgh\r\n0\r\n\r\n"}});
    EXPECT_EQ(L"abcdefgh", Get().body);
    Open({Raw("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nuntil the end")});
    EXPECT_EQ(L"until the end", Get().body);
}

TEST_F(HttpRequest, BodyBeyondTheLimitIsGivenUp)
{
    Open({HttpAnswer(200, std::string(CAsyncHttpRequest::kMaximumResponseChars + 1, 'x')), HttpAnswer(200, "fine")});
    const Answer answer = Get(L"big");
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(L"", answer.body);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response of more than 8388607 bytes "
                                              L"given up, url = 'big'"));
    EXPECT_EQ(L"fine", Get().body);
}

// The limit is one of memory: two bytes for each character, a null, and no more room than that.
TEST_F(HttpRequest, BodyJustWithinTheLimitArrivesWholeInNoMoreRoom)
{
    ScriptedReply odd = HttpAnswer(200, Body(CAsyncHttpRequest::kMaximumResponseChars));
    odd.pieceBytes = 999'983;
    Open({odd});
    const Answer answer = Get(L"big");
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_TRUE(Widened(Body(CAsyncHttpRequest::kMaximumResponseChars)) == answer.body);
    EXPECT_LE((answer.body.capacity() + 1) * sizeof(wchar_t), CAsyncHttpRequest::kMaximumHeldBytes);
}

// They lengthen no text, but would hold the caller.
TEST_F(HttpRequest, BodyOfNullsWithoutEndIsGivenUp)
{
    Open({HttpAnswer(200, std::string(CAsyncHttpRequest::kMaximumHeldBytes + 1, '\0')), HttpAnswer(200, "fine")});
    EXPECT_EQ(E_FAIL, Get(L"nulls").hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response of more than 8388607 bytes "
                                              L"given up, url = 'nulls'"));
    EXPECT_EQ(L"fine", Get().body);
}

// Each chunk within its limit: without a limit for all of them a camera could keep a caller for hours.
TEST_F(HttpRequest, BodyThatTricklesIsGivenUp)
{
    constexpr DWORD kLimitMs = 250;
    constexpr DWORD kWholeMs = CAsyncHttpRequest::kBodyTimeLimits * kLimitMs;
    ScriptedReply trickle = HttpAnswer(200, std::string(1'000'000, 'x'));
    trickle.pieceBytes = 5000;
    trickle.pauseMs = 100;
    Open({trickle, HttpAnswer(200, "fine")});
    const DWORD startTick = ::GetTickCount();
    const Answer answer = Get(L"x", kLimitMs);
    const DWORD elapsedMs = ::GetTickCount() - startTick;
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(200u, answer.statusCode);
    EXPECT_EQ(L"", answer.body);
    EXPECT_GE(elapsedMs, kWholeMs);
    EXPECT_LT(elapsedMs, kWholeMs + 2000) << "of the twenty seconds that the camera takes";
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response not complete after 4000 ms, "
                                              L"given up, url = 'x'"));
    EXPECT_EQ(L"fine", Get().body);
}

TEST_F(HttpRequest, BodyThatStallsFails)
{
    Open({StalledBody(), HttpAnswer(200, "fine")});
    const Answer answer = Get(L"x", kAnswerMs);
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(200u, answer.statusCode);
    EXPECT_EQ(1u,
              CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, receiving response timeout, url = 'x'"));
    EXPECT_EQ(L"fine", Get().body);
}

TEST_F(HttpRequest, SilentCameraTimesOutWithTheTimeoutResultInBothPlaces)
{
    Open({Silent()});
    const Answer answer = Get(L"x", kShortMs);
    EXPECT_EQ(kRequestTimeout, answer.hr);
    EXPECT_EQ(static_cast<DWORD>(kRequestTimeout), answer.statusCode);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, timeout"));
    EXPECT_EQ(0u, m_log.Count(L"HResultFromHttpStatusCode")) << "a time-out is no HTTP status";
    EXPECT_EQ(0u, m_log.Count(L"failed for url"));
}

TEST_F(HttpRequest, TimeoutIsLoggedOnceAnHourUntilARequestSucceeds)
{
    const std::wstring message = L"CAsyncHttpRequest::DoSendRequest, timeout";
    Open({Silent(), Silent(), Silent(), Silent(), HttpAnswer(200, "back"), Silent()});
    g_fakeTick = 0xFFFFFFF0u; // the tick count wraps around within the hour
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message));
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message)) << "within the hour";
    g_fakeTick += kHourMs;
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message)) << "exactly an hour is not more than an hour";
    g_fakeTick += 1;
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(2u, CountLines(LogLevel::Error, message)) << "an hour has passed";
    EXPECT_EQ(S_OK, Get().hr);
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(3u, CountLines(LogLevel::Error, message)) << "the camera was back in between";
}

TEST_F(HttpRequest, FailedRequestOfAnyKindDoesNotEndTheHour)
{
    const struct
    {
        const char* reason;
        ScriptedReply reply;
        DWORD timeoutMs;
        HRESULT hr;
        std::size_t lines; // about the two time-outs around the reply
    } rows[] = {
        {"body that stalls", StalledBody(), kAnswerMs, E_FAIL, 1},
        {"failing status", HttpAnswer(404, "none"), kAmpleMs, E_FAIL, 1},
        {"refusal without a challenge", HttpAnswer(401, ""), kAmpleMs, E_FAIL, 1},
        {"connection closed without an answer", Raw(""), kAmpleMs, E_FAIL, 1},
        {"success", HttpAnswer(200, "ok"), kAmpleMs, S_OK, 2},
        {"inner error of the camera, whose body is wanted", HttpAnswer(500, "ok"), kAmpleMs, S_OK, 2},
        {"no content", ScriptedReply{"HTTP/1.1 204 No Content\r\n\r\n"}, kAmpleMs, S_OK, 2},
    };
    constexpr DWORD kHopelessMs = 200;
    std::vector<ScriptedReply> script;
    for (const auto& row : rows)
        script.insert(script.end(), {Silent(), row.reply, Silent()});
    Open(script);
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        g_fakeTick += kHourMs + 1;
        EXPECT_EQ(kRequestTimeout, Get(L"x", kHopelessMs).hr);
        EXPECT_EQ(row.hr, Get(L"x", row.timeoutMs).hr);
        EXPECT_EQ(kRequestTimeout, Get(L"x", kHopelessMs).hr);
        EXPECT_EQ(row.lines, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, timeout"));
    }
}

TEST_F(HttpRequest, UnreachableCameraFailsAndIsLoggedOnce)
{
    Open({Silent()});
    const WORD port = m_camera->Port();
    m_camera.reset();
    ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", port, L"", L""));
    const Answer answer = Get();
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(static_cast<DWORD>(E_FAIL), answer.statusCode);
    (void)Get();
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, failed, dwError = 12029"));
    EXPECT_EQ(0u, m_log.Count(L"HResultFromHttpStatusCode"));
}

TEST_F(HttpRequest, MisbehavingCameraFailsAndTheObjectWorksAgain)
{
    struct
    {
        const char* reason;
        ScriptedReply reply;
    } const rows[] = {
        {"closed without an answer", Raw("")},
        {"closed inside the status line", Raw("HTTP/1.")},
        {"closed inside the headers", Raw("HTTP/1.1 200 OK\r\nContent-Le")},
        {"no HTTP at all", Raw("SSH-2.0-dropbear\r\n")},
        {"binary garbage", Raw(std::string("\x00\xFF\x7F\x80\r\n\r\n\x00", 9))},
        {"a status that is no number", Raw("HTTP/1.1 abc Strange\r\n\r\n")},
        {"reset inside the body",
         [] {
             ScriptedReply reply = Raw("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nshort");
             reply.reset = true;
             return reply;
         }()},
        {"body cut short", Raw("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nshort")},
        {"length that is no number", Raw("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nbody")},
        {"negative length", Raw("HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nbody")},
        {"chunk size that is no number", Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nbody")},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Open({row.reply});
        const DWORD startTick = ::GetTickCount();
        const Answer answer = Get(L"x", 2000);
        EXPECT_LT(::GetTickCount() - startTick, 6000u);
        EXPECT_TRUE(answer.hr == S_OK || answer.hr == E_FAIL || answer.hr == kRequestTimeout) << answer.hr;
        m_camera->Enqueue(HttpAnswer(200, "recovered"));
        EXPECT_EQ(L"recovered", Get().body);
    }
}

TEST_F(HttpRequest, LateAnswerToAGivenUpRequestDoesNotDisturbTheNextOne)
{
    ScriptedReply late = HttpAnswer(200, "late");
    late.held = true;
    ScriptedReply next = HttpAnswer(200, "next");
    next.held = true;
    Open({late, next});
    ASSERT_EQ(kRequestTimeout, Get(L"first", kShortMs).hr);
    // Both answers become due together: the notifications of the first must not complete the second.
    std::thread release([this] {
        (void)m_camera->WaitForRequests(2);
        m_camera->ReleaseHeld();
    });
    const Answer answer = Get(L"second");
    release.join();
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_EQ(L"next", answer.body);
}

TEST_F(HttpRequest, ObjectMayDieWhileWinInetStillOwesNotifications)
{
    for (int round = 0; round < 20; ++round)
    {
        ScriptedReply late = HttpAnswer(200, "late");
        late.held = true;
        CScriptedCamera camera({late});
        {
            CAsyncHttpRequest http;
            ASSERT_EQ(S_OK, http.OpenConnection(L"127.0.0.1", camera.Port(), L"", L""));
            DWORD statusCode = 0;
            std::wstring body;
            ASSERT_EQ(kRequestTimeout, http.SendRequest(L"x", statusCode, body, L"GET", 20));
            camera.ReleaseHeld();
        }
    }
    EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
}

TEST_F(HttpRequest, CloseWaitsForGivenUpRequestsWithinItsLimit)
{
    struct
    {
        const char* reason;
        std::vector<ScriptedReply> script;
        int answered;
    } const rows[] = {
        {"given up on a new connection", {Silent()}, 0},
        {"given up on a connection that was used before", {HttpAnswer(200, "ok"), Silent()}, 1},
        {"two given up", {Silent(), Silent()}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Open(row.script);
        for (int request = 0; request < row.answered; ++request)
            ASSERT_EQ(S_OK, Get().hr);
        for (std::size_t request = static_cast<std::size_t>(row.answered); request < row.script.size(); ++request)
            ASSERT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
        const DWORD startTick = ::GetTickCount();
        m_http.Close();
        EXPECT_LT(::GetTickCount() - startTick, CAsyncHttpRequest::kCloseWaitMs);
        EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
    }
}

TEST_F(HttpRequest, RegistryTimeLimitReplacesTheCallers)
{
    CRegistryValueGuard guard(HKEY_LOCAL_MACHINE, kSettingsKey, kTimeoutValue);
    guard.SetText(L"100");
    Open({Silent()});
    const DWORD startTick = ::GetTickCount();
    EXPECT_EQ(kRequestTimeout, Get(L"x", kAmpleMs).hr);
    EXPECT_LT(::GetTickCount() - startTick, kAmpleMs / 2);

    // Read anew for every request: now an answer that comes after the caller's limit is waited for.
    guard.SetText(L"15000", REG_EXPAND_SZ);
    ScriptedReply late = HttpAnswer(200, "late");
    late.held = true;
    m_camera->Enqueue(late);
    std::thread release([this] {
        (void)m_camera->WaitForRequests(2);
        (void)m_camera->WaitForRequests(3, 3 * kShortMs);
        m_camera->ReleaseHeld();
    });
    const Answer answer = Get(L"x", kShortMs);
    release.join();
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_EQ(L"late", answer.body);
}

TEST_F(HttpRequest, UnusableRegistryTimeLimitLeavesTheCallersInForce)
{
    const auto text = [](const wchar_t* value) {
        return [value](CRegistryValueGuard& guard) { guard.SetText(value); };
    };
    struct
    {
        const char* reason;
        std::function<void(CRegistryValueGuard&)> set;
    } const rows[] = {
        {"zero is no limit", text(L"0")},
        {"negative", text(L"-5000")},
        {"not a number", text(L"soon")},
        {"empty", text(L"")},
        {"a number, but not as text", [](CRegistryValueGuard& guard) { guard.SetDword(8000); }},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CRegistryValueGuard guard(HKEY_LOCAL_MACHINE, kSettingsKey, kTimeoutValue);
        row.set(guard);
        Open({Silent()});
        const DWORD startTick = ::GetTickCount();
        EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
        EXPECT_LT(::GetTickCount() - startTick, 4000u);
    }
}

TEST_F(HttpRequest, HandlesAndThreadsStayFlatOverManyConnections)
{
    // One camera for all cycles: its threads, and the connections that WinInet keeps for later, are this process's too.
    CScriptedCamera camera({HttpAnswer(200, "ok")});
    const auto cycle = [this, &camera] {
        ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", camera.Port(), L"", L""));
        ASSERT_EQ(S_OK, Get().hr);
        m_http.Close();
    };
    for (int round = 0; round < 20; ++round)
        cycle();
    const unsigned before = CountOwnHandles();
    for (int round = 0; round < 200; ++round)
        cycle();
    EXPECT_GT(before, 0u);
    EXPECT_LE(CountOwnHandles(), before + 4); // WinInet's idle worker threads come and go
}

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
    EXPECT_EQ(L"second", Get().body) << "also when it comes to a request that was given up";
    EXPECT_EQ(L"second", Get().body);
    EXPECT_EQ(5u, m_camera->Requests().size());
}

TEST_F(HttpRequest, RedirectsLeaveNoConnectionsOpen)
{
    Open({HttpAnswer(302, "", "Location: http://127.0.0.1:" + ClosedPort() + "/\r\n")});
    const CWinInetSpy spy;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(E_FAIL, Get().hr);
    EXPECT_LE(10u + 8u, spy.Closed().size()) << "ten requests, and the connections of all but the last";
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
        ASSERT_TRUE(WaitForRedirected(i + 1));
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
