// Opening and closing, what is sent, and what becomes of the status and the challenge.

#include "Tests/Support/HandleCount.h"
#include "Tests/Transport/HttpRequestFixture.h"

#include <string>
#include <vector>

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
