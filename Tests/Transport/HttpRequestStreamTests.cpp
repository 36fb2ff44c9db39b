#include "HttpRequestStream.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/ImportPatch.h"
#include "Tests/Support/ScriptedCamera.h"
#include "Tests/Support/TunnelCamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

QUORVANE_IMPORT_SLOT(g_httpOpenRequestFailureSlot, HttpOpenRequestW, 32);
QUORVANE_IMPORT_SLOT(g_httpSendRequestSlot, HttpSendRequestW, 20);
QUORVANE_IMPORT_SLOT(g_httpQueryInfoSlot, HttpQueryInfoW, 20);
QUORVANE_IMPORT_SLOT(g_internetSetOptionSlot, InternetSetOptionW, 16);
QUORVANE_IMPORT_SLOT(g_internetQueryDataAvailableSlot, InternetQueryDataAvailable, 16);
QUORVANE_IMPORT_SLOT(g_internetReadFileExFailureSlot, InternetReadFileExW, 16);
QUORVANE_IMPORT_SLOT(g_internetWriteFileFailureSlot, InternetWriteFile, 16);
QUORVANE_IMPORT_SLOT(g_waitForSingleObjectSlot, WaitForSingleObject, 8);

namespace
{
constexpr DWORD kAmpleMs = 10000;
constexpr DWORD kShortMs = 200;
constexpr wchar_t kPath[] = L"/axis-media/media.amp";
constexpr wchar_t kCookie[] = L"x-sessioncookie:c1\r\n";

DWORD s_fakeTick = 1;
DWORD WINAPI FakeTickCount()
{
    return s_fakeTick;
}

std::string Pattern(std::size_t lengthBytes)
{
    std::string bytes;
    for (std::size_t position = 0; position < lengthBytes; ++position)
        bytes.push_back(static_cast<char>('!' + (position * 7 + position / 4095) % 90));
    return bytes;
}

/// Both kinds of stream and a camera that answers as the test says.
class HttpRequestStream : public ::testing::Test
{
protected:
    ~HttpRequestStream() override
    {
        // WinInet may be waiting for the camera inside a request that is still open.
        m_camera.Close(TunnelSide::Both);
    }

    HRESULT Open(CAsyncHttpRequestStream& stream, DWORD timeoutMs = kAmpleMs, const wchar_t* verb = L"GET")
    {
        EXPECT_EQ(S_OK, stream.OpenConnection(L"127.0.0.1", m_camera.Port(), L"user", L"pass"));
        return stream.OpenStream(kPath, kCookie, verb, timeoutMs);
    }
    void OpenGet()
    {
        ASSERT_EQ(S_OK, Open(m_get));
    }
    void OpenPost()
    {
        const std::size_t countHeads = m_camera.Heads().size();
        ASSERT_EQ(S_OK, m_post.OpenConnection(L"127.0.0.1", m_camera.Port(), L"user", L"pass"));
        ASSERT_EQ(S_OK, m_post.OpenStream(kPath, std::wstring(kCookie) + L"Content-Length: 32767"));
        ASSERT_TRUE(m_post.IsRequestSent());
        ASSERT_TRUE(m_camera.WaitForHeads(countHeads + 1));
    }
    /// Reads until `count` bytes have come or nothing more comes.
    std::string ReadAll(std::size_t count)
    {
        std::string all;
        std::string piece;
        while (all.size() < count && m_get.Read(piece, kAmpleMs) == S_OK && !piece.empty())
            all += piece;
        return all;
    }
    /// How often a message that begins so was logged at this level.
    std::size_t CountLines(LogLevel level, const std::wstring& beginning) const
    {
        const std::vector<CapturedMessage> messages = m_log.Messages();
        return static_cast<std::size_t>(std::ranges::count_if(messages, [&](const CapturedMessage& message) {
            return message.level == level && message.text.starts_with(beginning);
        }));
    }
    /// The line is logged first, and the object marked closed then.
    void WaitUntilLost()
    {
        for (int round = 0; round < 500 && m_post.IsOpen(); ++round)
            (void)m_camera.WaitForHeads(1000, 10);
    }
    void ExpectClosedPost()
    {
        EXPECT_FALSE(m_post.IsStreamOpen());
        EXPECT_FALSE(m_post.IsOpen());
        EXPECT_FALSE(m_post.IsRequestSent());
        EXPECT_EQ(E_UNEXPECTED, m_post.Write("T1BUSU9OUw=="));
        EXPECT_EQ(E_UNEXPECTED, m_post.OpenStream(kPath, kCookie));
        DWORD statusCode = 4711;
        std::wstring body;
        EXPECT_EQ(E_UNEXPECTED, m_post.SendRequest(L"x", statusCode, body, L"GET", kShortMs));
    }

    CLogCapture m_log;
    CTunnelCamera m_camera; // outlives the connections to it
    CAsyncHttpRequestStream m_get{&FakeTickCount};
    CAsyncHttpRequestStreamPost m_post{&FakeTickCount};
};

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

// WinInet refusing, with a last error that shows where the log has it from.
HINTERNET WINAPI RefuseOpen(HINTERNET, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD, DWORD_PTR)
{
    ::SetLastError(1001);
    return nullptr;
}
BOOL WINAPI RefuseSend(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD)
{
    ::SetLastError(1002);
    return FALSE;
}
BOOL WINAPI SendAtOnce(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD)
{
    return TRUE;
}
BOOL WINAPI RefuseQueryInfo(HINTERNET, DWORD, LPVOID, LPDWORD, LPDWORD)
{
    ::SetLastError(1003);
    return FALSE;
}
BOOL WINAPI KnowStatusOnly(HINTERNET, DWORD infoLevel, LPVOID buffer, LPDWORD, LPDWORD)
{
    ::SetLastError(1004);
    if (infoLevel != (HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER))
        return FALSE;
    *static_cast<DWORD*>(buffer) = 200;
    return TRUE;
}
BOOL WINAPI RefuseOption(HINTERNET, DWORD, LPVOID, DWORD)
{
    ::SetLastError(1005);
    return FALSE;
}
BOOL WINAPI RefuseQuery(HINTERNET, LPDWORD, DWORD, DWORD_PTR)
{
    ::SetLastError(1006);
    return FALSE;
}
BOOL WINAPI RefuseRead(HINTERNET, LPINTERNET_BUFFERSW, DWORD, DWORD_PTR)
{
    ::SetLastError(1007);
    return FALSE;
}
BOOL WINAPI RefuseWrite(HINTERNET, LPCVOID, DWORD, LPDWORD)
{
    ::SetLastError(1008);
    return FALSE;
}
BOOL WINAPI WritePending(HINTERNET, LPCVOID, DWORD, LPDWORD)
{
    ::SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

DWORD s_receiveLimitMs = 4711;
BOOL WINAPI NoteReceiveLimit(HINTERNET, DWORD option, LPVOID buffer, DWORD lengthBytes)
{
    if (option == INTERNET_OPTION_RECEIVE_TIMEOUT && lengthBytes == 4)
        s_receiveLimitMs = *static_cast<DWORD*>(buffer);
    return TRUE;
}

/// Fails the wait with this limit; others, the test program's own among them, are none of its business.
constexpr DWORD kFailingWaitMs = 4321;
DWORD WINAPI FailTheWait(HANDLE handle, DWORD limitMs)
{
    if (limitMs != kFailingWaitMs)
        return ::WaitForSingleObjectEx(handle, limitMs, FALSE);
    ::SetLastError(1009);
    return WAIT_FAILED;
}

/// As if more had arrived than a 32-bit process can hold, and all of it could be read.
BOOL WINAPI AnnounceTooMuch(HINTERNET, LPDWORD availableBytes, DWORD, DWORD_PTR)
{
    *availableBytes = 0xFFFFFFF0u;
    return TRUE;
}
BOOL WINAPI ReadAsMuchAsFits(HINTERNET, LPINTERNET_BUFFERSW buffers, DWORD, DWORD_PTR)
{
    std::fill_n(static_cast<char*>(buffers->lpvBuffer), buffers->dwBufferLength, 'x');
    return TRUE;
}

constexpr char kGetLine[] = "GET /axis-media/media.amp HTTP/1.1";
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

TEST_F(HttpRequestStream, AnnouncedContentThatFailsIsLoggedUnderTheNameOfItsWait)
{
    m_camera.SetGetAnswer("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
    ASSERT_EQ(S_OK, Open(m_get, 0));
    DWORD statusCode = 0;
    std::wstring headers;
    std::string content;
    EXPECT_EQ(S_OK, m_get.WaitForResponse(statusCode, headers, content, 500));
    EXPECT_EQ(200u, statusCode);
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::WaitForResponse, ReadContentText failed, hr = "
                                              L"0x800c05b4"));
    {
        const CImportPatch patch(&g_internetQueryDataAvailableSlot, &RefuseQuery);
        EXPECT_EQ(S_OK, Open(m_get));
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::WaitForResponse, ReadContentText failed, hr = "
                                              L"0x80004005"));
    EXPECT_EQ(0u, m_log.Count(L"CAsyncHttpRequestStream::Read, ")) << "nobody has called it";
}

TEST_F(HttpRequestStream, WaitThatTheSystemRefusesIsLoggedAndReturned)
{
    OpenGet();
    const CImportPatch patch(&g_waitForSingleObjectSlot, &FailTheWait);
    DWORD statusCode = 4711;
    std::wstring headers = L"left over";
    std::string content = "left over";
    EXPECT_EQ(E_FAIL, m_get.WaitForResponse(statusCode, headers, content, kFailingWaitMs));
    EXPECT_EQ(0u, statusCode);
    EXPECT_EQ(L"", headers);
    EXPECT_EQ("", content);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::WaitForResponse failed to "
                                              L"WaitForSingleObject, dwLastError = 1009"));
    EXPECT_EQ(E_FAIL, m_get.Read(content, kFailingWaitMs));
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::Read, failed to WaitForSingleObject, "
                                              L"dwLastError = 1009"));
}

TEST_F(HttpRequestStream, ResponseOfARequestThatWasClosedIsUnexpected)
{
    ASSERT_EQ(S_OK, m_get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    const CImportPatch patch(&g_httpSendRequestSlot, &SendAtOnce);
    ASSERT_EQ(S_OK, m_get.OpenStream(kPath, kCookie, L"GET", 0));
    m_get.CloseStream(); // the completion stays signalled
    DWORD statusCode = 4711;
    std::wstring headers;
    std::string content;
    EXPECT_EQ(E_FAIL, m_get.WaitForResponse(statusCode, headers, content, kShortMs));
    EXPECT_EQ(0u, statusCode);
    EXPECT_EQ(1u,
              CountLines(LogLevel::Error, L"CAsyncHttpRequestStream:WaitForResponse, NULL file handle, unexpected."));
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

TEST_F(HttpRequestStream, OneReadTakesABoundedAmountWhateverIsSaidToBeThere)
{
    OpenGet();
    const CImportPatch query(&g_internetQueryDataAvailableSlot, &AnnounceTooMuch);
    const CImportPatch read(&g_internetReadFileExFailureSlot, &ReadAsMuchAsFits);
    std::string data;
    EXPECT_EQ(S_OK, m_get.Read(data, kAmpleMs));
    EXPECT_EQ(1024u * 1024u, data.size());
    m_camera.SetGetAnswer("HTTP/1.1 200 OK\r\nContent-Length: 4294967280\r\n\r\n");
    ASSERT_EQ(S_OK, Open(m_get, 0));
    DWORD statusCode = 0;
    std::wstring headers;
    EXPECT_EQ(S_OK, m_get.WaitForResponse(statusCode, headers, data, kAmpleMs));
    EXPECT_EQ(1024u * 1024u, data.size());
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

TEST_F(HttpRequestStream, EveryRefusalOfWinInetIsLoggedAndReturned)
{
    ASSERT_EQ(S_OK, m_get.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    {
        const CImportPatch patch(&g_httpOpenRequestFailureSlot, &RefuseOpen);
        EXPECT_EQ(E_FAIL, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::OpenStream, failed to HttpOpenRequest, "
                                              L"dwLastError = 1001, url = '/axis-media/media.amp'"));
    {
        const CImportPatch patch(&g_httpSendRequestSlot, &RefuseSend);
        EXPECT_EQ(E_FAIL, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::OpenStream, failed to HttpSendRequest, "
                                              L"dwLastError = 1002, url = '/axis-media/media.amp'"));
    {
        const CImportPatch patch(&g_httpQueryInfoSlot, &RefuseQueryInfo);
        EXPECT_EQ(E_FAIL, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::WaitForResponse, failed to HttpQueryInfo for "
                                              L"status code, dwLastError = 1003"));
    {
        const CImportPatch patch(&g_httpQueryInfoSlot, &KnowStatusOnly);
        EXPECT_EQ(E_FAIL, m_get.OpenStream(kPath, kCookie, L"GET", kAmpleMs));
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::WaitForResponse, failed to HttpQueryInfo for "
                                              L"content length, dwLastError = 1004"));
    EXPECT_FALSE(m_get.IsStreamOpen()) << "each failure closes the request";
    EXPECT_TRUE(m_get.IsOpen());
}

TEST_F(HttpRequestStream, FailuresOfReadingAndWritingLeaveTheStreamOpen)
{
    OpenGet();
    std::string data = "left over";
    {
        const CImportPatch patch(&g_internetQueryDataAvailableSlot, &RefuseQuery);
        EXPECT_EQ(E_FAIL, m_get.Read(data, kShortMs));
        EXPECT_EQ("", data);
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequestStream::Read, failed to InternetQueryDataAvailable, "
                                              L"dwLastError = 1006"));
    m_camera.Send("reply");
    {
        const CImportPatch patch(&g_internetReadFileExFailureSlot, &RefuseRead);
        data = "left over";
        EXPECT_EQ(S_OK, m_get.Read(data, kAmpleMs)) << "counts as no bytes read";
        EXPECT_EQ("", data);
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CAsyncHttpRequestStream::ReadContent, failed to InternetReadFile, dwLastError = 1007"));
    EXPECT_EQ("reply", ReadAll(5));
    {
        const CImportPatch patch(&g_internetWriteFileFailureSlot, &RefuseWrite);
        EXPECT_EQ(E_FAIL, m_get.Write("data"));
    }
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CAsyncHttpRequestStream::Write, failed to call InternetWriteFile, dwLastError = 1008"));
    EXPECT_TRUE(m_get.IsStreamOpen());
}

TEST_F(HttpRequestStream, WriteThatIsStillUnderWayIsTheLast)
{
    OpenPost();
    const CImportPatch patch(&g_internetWriteFileFailureSlot, &WritePending);
    EXPECT_EQ(E_FAIL, m_post.Write("T1BUSU9OUw=="));
    EXPECT_EQ(1u, CountLines(LogLevel::Error,
                             L"CAsyncHttpRequestStream::Write, failed to call InternetWriteFile, dwLastError = 997"));
    EXPECT_EQ(E_UNEXPECTED, m_post.Write("T1BUSU9OUw==")) << "its memory is WinInet's until the request is over";
}

TEST_F(HttpRequestStream, RequestThatIsSentAtOnceNeedsNoWait)
{
    ASSERT_EQ(S_OK, m_post.OpenConnection(L"127.0.0.1", m_camera.Port(), L"", L""));
    const CImportPatch patch(&g_httpSendRequestSlot, &SendAtOnce);
    EXPECT_EQ(S_OK, m_post.OpenStream(kPath, kCookie));
    EXPECT_TRUE(m_post.IsRequestSent());
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStream::OpenStream, completed synchronously, url = "
                                              L"'/axis-media/media.amp'"));
}

TEST_F(HttpRequestStream, WinInetGivesUpAForgottenQueryAfterHalfAMinute)
{
    const CImportPatch patch(&g_internetSetOptionSlot, &NoteReceiveLimit);
    OpenGet();
    EXPECT_EQ(30'500u, s_receiveLimitMs);
}

TEST_F(HttpRequestStream, PostWaitsForItsResponseWithoutALimit)
{
    {
        const CImportPatch patch(&g_internetSetOptionSlot, &NoteReceiveLimit);
        OpenPost();
        EXPECT_EQ(0u, s_receiveLimitMs);
    }
    m_post.CloseStream();
    m_camera.Close(TunnelSide::Post);
    const CImportPatch patch(&g_internetSetOptionSlot, &RefuseOption);
    EXPECT_EQ(S_OK, m_post.OpenStream(kPath, kCookie)) << "ignored";
    EXPECT_TRUE(m_camera.WaitForHeads(2));
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::OpenStream, InternetSetOption failed, "
                                              L"ignored, dwLastError = 1005"));
}
