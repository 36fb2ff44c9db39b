// A long-lived request and a camera that answers as the test says.

#include "Tests/Transport/HttpRequestStreamFixture.h"

#include "Tests/Support/ScriptedCamera.h"

#include <optional>

namespace
{
std::string Pattern(std::size_t lengthBytes)
{
    std::string bytes;
    for (std::size_t position = 0; position < lengthBytes; ++position)
        bytes.push_back(static_cast<char>('!' + (position * 7 + position / 4095) % 90));
    return bytes;
}

std::vector<std::string> SortedLines(const std::string& head)
{
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < head.size();)
    {
        const std::size_t end = head.find("\r\n", start);
        lines.push_back(head.substr(start, end - start));
        start = end + 2;
    }
    std::ranges::sort(lines);
    return lines;
}
} // namespace

TEST_F(HttpRequestStream, NothingWorksBeforeAConnectionIsOpen)
{
    std::string data = "left over";
    EXPECT_EQ(E_UNEXPECTED, m_get.OpenStream(kPath, kCookie, L"GET", kShortMs));
    EXPECT_EQ(E_UNEXPECTED, m_get.Read(data, kShortMs));
    EXPECT_EQ("", data);
    EXPECT_EQ(E_UNEXPECTED, m_get.Write("data"));
    EXPECT_FALSE(m_get.IsStreamOpen());
    ExpectClosedPost();
}

TEST_F(HttpRequestStream, ConnectionWithoutAStreamHasNothingToReadOrWrite)
{
    ASSERT_EQ(S_OK, m_get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    std::string data;
    EXPECT_EQ(E_UNEXPECTED, m_get.Read(data, kShortMs));
    EXPECT_EQ(E_UNEXPECTED, m_get.Write("data"));
    EXPECT_FALSE(m_get.IsStreamOpen());
    EXPECT_TRUE(m_get.IsOpen());
}

TEST_F(HttpRequestStream, SendsTheRequestWithItsHeadersAndNoCredentials)
{
    OpenGet();
    EXPECT_TRUE(m_get.IsStreamOpen());
    const std::string host = "Host: 127.0.0.1:" + std::to_string(m_camera.Port());
    EXPECT_EQ((std::vector<std::string>{"", "Connection: Keep-Alive", kGetLine, host, "User-Agent: ORBELL AV Client",
                                        "x-sessioncookie: c1"}),
              SortedLines(m_camera.Heads().at(0)));
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::OpenStream, succeeded, url = "
                                              L"'/axis-media/media.amp', verb = 'GET', context = 0x"));
}

TEST_F(HttpRequestStream, EmptyVerbMeansGetAndHeadersMayBeMissing)
{
    ASSERT_EQ(S_OK, m_get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    ASSERT_EQ(S_OK, m_get.OpenStream(kPath, L"", L"", kAmpleMs));
    EXPECT_EQ(kGetLine, RequestLine(m_camera.Heads().at(0)));
    ASSERT_EQ(S_OK, m_get.OpenStream(kPath, kCookie, L"OPTIONS", kAmpleMs)) << "replaces the one that was open";
    EXPECT_EQ("OPTIONS /axis-media/media.amp HTTP/1.1", RequestLine(m_camera.Heads().at(1)));
}

TEST_F(HttpRequestStream, StatusDecidesWhetherTheStreamOpens)
{
    struct
    {
        const char* reason;
        const char* status;
        HRESULT hr;
        const wchar_t* logged; // null: nothing about the status
    } const rows[] = {
        {"success", "200 OK", S_OK, nullptr},
        {"success without content", "204 No Content", S_OK, nullptr},
        {"accepted counts as success and is noted", "202 Accepted", S_OK, L"202, 'Accepted'"},
        {"an inner error counts as success, as for every request", "500 Oops", S_OK, nullptr},
        {"a stream never answers a challenge", "401 Unauthorized", E_FAIL, L"401, 'Unauthorized'"},
        {"not found", "404 Not Found", E_FAIL, L"404, 'Not Found'"},
        {"unavailable", "503 Busy", E_FAIL, L"503, 'Busy'"},
        {"no HTTP status", "999 Odd", E_FAIL, L"999, 'Odd'"},
    };
    std::size_t countHeads = 0;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        m_camera.SetGetAnswer("HTTP/1.1 " + std::string(row.status) +
                              "\r\nWWW-Authenticate: Basic realm=\"cam\"\r\n\r\n");
        EXPECT_EQ(row.hr, Open(m_get));
        EXPECT_EQ(row.hr == S_OK, m_get.IsStreamOpen());
        EXPECT_TRUE(m_get.IsOpen()) << "the connection stays for another try";
        EXPECT_EQ(++countHeads, m_camera.Heads().size()) << "one request, no second try";
        EXPECT_EQ(row.logged != nullptr ? 1u : 0u, m_log.Count(L"WaitForResponse, status code = "));
        if (row.logged != nullptr)
        {
            EXPECT_EQ(
                1u, CountLines(LogLevel::Debug,
                               std::wstring(L"CAsyncHttpRequestStream::WaitForResponse, status code = ") + row.logged));
        }
        EXPECT_EQ(row.hr == S_OK ? 0u : 1u,
                  CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::OpenStream, WaitForResponse failed, hr = "
                                              L"0x80004005, url = '/axis-media/media.amp'"));
    }
}

TEST_F(HttpRequestStream, SilentServerTimesOutAndIsLoggedOnceAnHour)
{
    const std::wstring message = L"CAsyncHttpRequestStream::WaitForResponse, timeout";
    m_camera.SetGetAnswer("");
    EXPECT_EQ(kRequestTimeout, Open(m_get, kShortMs));
    m_camera.Close(TunnelSide::Get);
    EXPECT_FALSE(m_get.IsStreamOpen());
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message));
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::OpenStream, WaitForResponse failed, hr = "
                                              L"0x800c05b4, url = '/axis-media/media.amp'"));
    EXPECT_EQ(kRequestTimeout, m_get.OpenStream(kPath, kCookie, L"GET", kShortMs));
    m_camera.Close(TunnelSide::Get);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message)) << "within the hour";
    m_camera.SetGetAnswer("HTTP/1.0 200 OK\r\n\r\n");
    EXPECT_EQ(S_OK, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    m_camera.SetGetAnswer("");
    EXPECT_EQ(kRequestTimeout, m_get.OpenStream(kPath, kCookie, L"GET", kShortMs));
    EXPECT_EQ(2u, CountLines(LogLevel::Error, message)) << "the camera was back in between";
}

TEST_F(HttpRequestStream, UnreachableServerFails)
{
    WORD port = 0;
    {
        CTunnelCamera gone;
        port = gone.Port();
    }
    ASSERT_EQ(S_OK, m_get.OpenConnection(L"127.0.0.1", port, L"", L""));
    EXPECT_EQ(E_FAIL, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    EXPECT_EQ(E_FAIL, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::WaitForResponse, failed, dwError = 12029"));
}

TEST_F(HttpRequestStream, WaitForResponseReportsStatusHeadersAndAnnouncedContent)
{
    struct
    {
        const char* reason;
        std::string answer;
        HRESULT hr;
        DWORD statusCode;
        const char* content;
    } const rows[] = {
        {"content of an announced length", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nX: \xE9\r\n\r\nhello", S_OK, 200,
         "hello"},
        {"content shorter than announced, taken as it is", "HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\nhello", S_OK,
         200, "hello"},
        {"no length: the body is the stream's", "HTTP/1.1 200 OK\r\n\r\nhello", S_OK, 200, ""},
        {"no content has no content", "HTTP/1.1 204 No Content\r\n\r\n", S_OK, 204, ""},
        {"length 0", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", S_OK, 200, ""},
        {"failing status", "HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nhello", E_FAIL, 404, ""},
        {"announced content that never comes", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", S_OK, 200, ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_camera.SetGetAnswer(row.answer);
        ASSERT_EQ(S_OK, Open(m_get, 0));
        DWORD statusCode = 4711;
        std::wstring headers = L"left over";
        std::string content = "left over";
        EXPECT_EQ(row.hr, m_get.WaitForResponse(statusCode, headers, content, 1000));
        EXPECT_EQ(row.statusCode, statusCode);
        EXPECT_EQ(row.content, content);
        if (row.answer.find("X: ") != std::string::npos)
        {
            EXPECT_EQ(L"HTTP/1.1 200 OK\r\nContent-Length: 5\r\nX: \x00E9\r\n\r\n", headers);
        }
        EXPECT_EQ(row.hr != S_OK, headers.empty());
        m_camera.Close(TunnelSide::Get);
    }
}

TEST_F(HttpRequestStream, WaitForResponseWithoutARequestFails)
{
    ASSERT_EQ(S_OK, m_get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    DWORD statusCode = 4711;
    std::wstring headers = L"left over";
    std::string content = "left over";
    EXPECT_EQ(kRequestTimeout, m_get.WaitForResponse(statusCode, headers, content, 10));
    EXPECT_EQ(0u, statusCode);
    EXPECT_EQ(L"", headers);
    EXPECT_EQ("", content);
}

TEST_F(HttpRequestStream, OpeningDoesNotWaitForAnnouncedContentAndReadDeliversIt)
{
    m_camera.SetGetAnswer("HTTP/1.1 200 OK\r\nContent-Length: 32767\r\n\r\n");
    const DWORD startTick = ::GetTickCount();
    OpenGet();
    EXPECT_LT(::GetTickCount() - startTick, kAmpleMs / 2);
    m_camera.Send("RTSP/1.0 200 OK\r\n\r\n");
    EXPECT_EQ("RTSP/1.0 200 OK\r\n\r\n", ReadAll(19));
}

TEST_F(HttpRequestStream, ReadReturnsWhatHasArrived)
{
    OpenGet();
    m_camera.Send("first");
    EXPECT_EQ("first", ReadAll(5));
    m_camera.Send("second");
    EXPECT_EQ("second", ReadAll(6));
    EXPECT_EQ(1u, CountLines(LogLevel::Trace, L"CAsyncHttpRequestStream::Read, first"));
    EXPECT_EQ(1u, CountLines(LogLevel::Trace, L"CAsyncHttpRequestStream::Read, second"));
}

TEST_F(HttpRequestStream, DataLargerThanTheBufferArrivesWhole)
{
    OpenGet();
    for (const std::size_t lengthBytes :
         {std::size_t{4095}, std::size_t{4096}, std::size_t{4097}, std::size_t{200'000}})
    {
        SCOPED_TRACE(lengthBytes);
        const std::string data = Pattern(lengthBytes);
        m_camera.Send(data);
        EXPECT_TRUE(ReadAll(lengthBytes) == data);
    }
}

TEST_F(HttpRequestStream, ChunkedResponseIsReadWithoutItsChunkLines)
{
    m_camera.SetGetAnswer("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    OpenGet();
    m_camera.Send("5\r\nfirst\r\n");
    EXPECT_EQ("first", ReadAll(5));
    m_camera.Send("6\r\nsecond\r\n");
    EXPECT_EQ("second", ReadAll(6));
}

TEST_F(HttpRequestStream, OneReadReturnsAllThatIsAvailable)
{
    OpenGet();
    m_camera.Send(Pattern(6000)); // more than the block's buffer, less than WinInet's
    std::string data;
    EXPECT_EQ(S_OK, m_get.Read(data, kAmpleMs));
    EXPECT_TRUE(data == Pattern(6000)) << data.size();
}

TEST_F(HttpRequestStream, ReadTimesOutEveryTimeWithoutDataAndIsLoggedEveryTime)
{
    OpenGet();
    for (std::size_t round = 1; round <= 3; ++round)
    {
        std::string data = "left over";
        EXPECT_EQ(kRequestTimeout, m_get.Read(data, kShortMs));
        EXPECT_EQ("", data);
        EXPECT_EQ(round, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable "
                                                     L"timeout, context = 0x"));
        EXPECT_EQ(round,
                  CountLines(LogLevel::Trace, L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable io pending"));
    }
    EXPECT_TRUE(m_get.IsStreamOpen());
    m_camera.Send("late");
    EXPECT_EQ("late", ReadAll(4)) << "the query that was given up delivers to the next read";
    m_camera.Send("next");
    EXPECT_EQ("next", ReadAll(4));
}

TEST_F(HttpRequestStream, DataThatComesBetweenTwoReadsIsNotLost)
{
    OpenGet();
    std::string data;
    ASSERT_EQ(kRequestTimeout, m_get.Read(data, 20));
    m_camera.Send(Pattern(10'000));
    EXPECT_TRUE(m_log.Sink().WaitFor(L"success, data bytes", 1, std::chrono::seconds(5)));
    EXPECT_TRUE(ReadAll(10'000) == Pattern(10'000));
}

TEST_F(HttpRequestStream, ClosedResponseReadsAsSuccessWithoutData)
{
    OpenGet();
    m_camera.Send("last");
    m_camera.Close(TunnelSide::Get);
    ASSERT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
    EXPECT_EQ("last", ReadAll(4));
    for (std::size_t round = 1; round <= 2; ++round)
    {
        std::string data = "left over";
        EXPECT_EQ(S_OK, m_get.Read(data, kAmpleMs));
        EXPECT_EQ("", data);
        EXPECT_EQ(round, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable, no "
                                                     L"data available, context = 0x"));
    }
    EXPECT_TRUE(m_get.IsStreamOpen()) << "only its owner closes a GET";
    EXPECT_EQ(0u, m_log.Count(L"OnConnectionClosed"));
}

TEST_F(HttpRequestStream, ResponseThatIsBrokenOffWhileWaitingFails)
{
    OpenGet();
    std::string data;
    ASSERT_EQ(kRequestTimeout, m_get.Read(data, 20));
    m_camera.Close(TunnelSide::Get, true);
    EXPECT_EQ(E_FAIL, m_get.Read(data, kAmpleMs));
    EXPECT_EQ("", data);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable failed, "
                                              L"error code = "));
    EXPECT_TRUE(m_get.IsStreamOpen());
}

TEST_F(HttpRequestStream, CloseStreamKeepsTheConnection)
{
    OpenGet();
    m_get.CloseStream();
    EXPECT_FALSE(m_get.IsStreamOpen());
    EXPECT_TRUE(m_get.IsOpen());
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
    EXPECT_EQ(S_OK, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    m_get.Close();
    EXPECT_FALSE(m_get.IsOpen());
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
}

TEST_F(HttpRequestStream, StreamMayDieWhileItsQueryIsUnderWay)
{
    for (int round = 0; round < 10; ++round)
    {
        CAsyncHttpRequestStream stream;
        ASSERT_EQ(S_OK, Open(stream));
        std::string data;
        ASSERT_EQ(kRequestTimeout, stream.Read(data, 10));
        m_camera.Send("late"); // completes the query before, while or after the stream is destroyed
    }
    EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
}

TEST_F(HttpRequestStream, PostOpensBeforeAnythingIsAnswered)
{
    OpenPost();
    EXPECT_TRUE(m_post.IsStreamOpen());
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::OnRequestSent, request sent, "
                                              L"dwContext = 0x"));
    const std::string host = "Host: 127.0.0.1:" + std::to_string(m_camera.Port());
    EXPECT_EQ((std::vector<std::string>{"", "Connection: Keep-Alive", "Content-Length: 32767", host,
                                        "POST /axis-media/media.amp HTTP/1.1", "User-Agent: ORBELL AV Client",
                                        "x-sessioncookie: c1"}),
              SortedLines(m_camera.Heads().at(0)));
    const DWORD startTick = ::GetTickCount();
    EXPECT_FALSE(m_post.IsRequestSent()) << "told once";
    EXPECT_GE(::GetTickCount() - startTick, 900u);
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::IsRequestSent, wait result: 258"));
}

TEST_F(HttpRequestStream, WritingIsNoSecondRequestSent)
{
    OpenPost();
    EXPECT_EQ(S_OK, m_post.Write("T1BUSU9OUw=="));
    EXPECT_EQ(S_OK, m_post.Write("T1BUSU9OUw=="));
    EXPECT_EQ(1u, m_log.Count(L"CAsyncHttpRequestStreamPost::OnRequestSent, request sent"));
}

TEST_F(HttpRequestStream, PostCarriesMoreBytesThanItAnnounced)
{
    OpenPost();
    const std::string bytes = Pattern(100);
    for (int round = 0; round < 1000; ++round)
        ASSERT_EQ(S_OK, m_post.Write(bytes));
    for (int round = 0; round < 500 && m_camera.PostBody().size() < 100'000; ++round)
        (void)m_camera.WaitForHeads(1000, 10);
    EXPECT_EQ(100'000u, m_camera.PostBody().size());
    EXPECT_TRUE(m_post.IsStreamOpen());
}

TEST_F(HttpRequestStream, PostThatTheServerBreaksOffIsClosedAltogether)
{
    OpenPost();
    m_camera.Close(TunnelSide::Post, true);
    ASSERT_TRUE(m_log.Sink().WaitFor(L"CAsyncHttpRequestStreamPost::OnConnectionClosed, connection closed, "
                                     L"dwContext = 0x",
                                     1, std::chrono::seconds(5)));
    WaitUntilLost();
    ExpectClosedPost();
    OpenPost();
    EXPECT_TRUE(m_post.IsStreamOpen());
    EXPECT_EQ(S_OK, m_post.Write("T1BUSU9OUw=="));
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::OnConnectionClosed, connection closed"));
}

TEST_F(HttpRequestStream, PostThatTheServerAnswersAndClosesIsClosedAltogether)
{
    m_camera.SetPostAnswer("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
    ASSERT_EQ(S_OK, m_post.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    ASSERT_EQ(S_OK, m_post.OpenStream(kPath, kCookie));
    ASSERT_TRUE(m_log.Sink().WaitFor(L"CAsyncHttpRequestStreamPost::OnConnectionClosed, connection closed", 1,
                                     std::chrono::seconds(5)));
    WaitUntilLost();
    ExpectClosedPost();
}

TEST_F(HttpRequestStream, PostThatTheServerEndsInGoodOrderIsClosedOnceSomebodyAsks)
{
    OpenPost();
    m_camera.Close(TunnelSide::Post);
    ASSERT_TRUE(m_log.Sink().WaitFor(L"Request Completed", 1, std::chrono::seconds(5)));
    for (int round = 0; round < 500 && m_post.IsStreamOpen(); ++round)
        (void)m_camera.WaitForHeads(1000, 10);
    EXPECT_FALSE(m_post.IsStreamOpen());
    EXPECT_EQ(E_UNEXPECTED, m_post.Write("T1BUSU9OUw=="));
}

TEST_F(HttpRequestStream, PostThatCannotConnectIsClosedOnceSomebodyAsks)
{
    WORD port = 0;
    {
        CTunnelCamera gone;
        port = gone.Port();
    }
    ASSERT_EQ(S_OK, m_post.OpenConnection(L"127.0.0.1", port, L"", L""));
    ASSERT_EQ(S_OK, m_post.OpenStream(kPath, kCookie)) << "nothing is known yet";
    ASSERT_TRUE(m_log.Sink().WaitFor(L"error code = 12029", 1, std::chrono::seconds(5)));
    for (int round = 0; round < 500 && m_post.IsStreamOpen(); ++round)
        (void)m_camera.WaitForHeads(1000, 10);
    EXPECT_FALSE(m_post.IsStreamOpen());
}

TEST_F(HttpRequestStream, PostThatWasAnsweredAndGoesOnStaysOpen)
{
    m_camera.SetPostAnswer("HTTP/1.1 200 OK\r\n\r\n");
    OpenPost();
    ASSERT_TRUE(m_log.Sink().WaitFor(L"Request Completed", 1, std::chrono::seconds(5)));
    EXPECT_TRUE(m_post.IsStreamOpen());
    EXPECT_EQ(S_OK, m_post.Write("T1BUSU9OUw=="));
}
