// A long-lived request where WinInet or the system refuses.

#include "Tests/Support/ImportPatch.h"
#include "Tests/Transport/HttpRequestStreamFixture.h"

#include <algorithm>

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

DWORD s_openedReceiveLimitMs = 4711;
BOOL WINAPI NoteReceiveLimitOfStream(HINTERNET, DWORD option, LPVOID buffer, DWORD lengthBytes)
{
    if (option == INTERNET_OPTION_RECEIVE_TIMEOUT && lengthBytes == 4)
        s_openedReceiveLimitMs = *static_cast<DWORD*>(buffer);
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
} // namespace

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
    const CImportPatch patch(&g_internetSetOptionSlot, &NoteReceiveLimitOfStream);
    OpenGet();
    EXPECT_EQ(30'500u, s_openedReceiveLimitMs);
}

TEST_F(HttpRequestStream, PostWaitsForItsResponseWithoutALimit)
{
    {
        const CImportPatch patch(&g_internetSetOptionSlot, &NoteReceiveLimitOfStream);
        OpenPost();
        EXPECT_EQ(0u, s_openedReceiveLimitMs);
    }
    m_post.CloseStream();
    m_camera.Close(TunnelSide::Post);
    const CImportPatch patch(&g_internetSetOptionSlot, &RefuseOption);
    EXPECT_EQ(S_OK, m_post.OpenStream(kPath, kCookie)) << "ignored";
    EXPECT_TRUE(m_camera.WaitForHeads(2));
    EXPECT_EQ(1u, CountLines(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::OpenStream, InternetSetOption failed, "
                                              L"ignored, dwLastError = 1005"));
}
