// What is said and undone when the system refuses one of the calls that a request is made of.

#include "Tests/Support/ImportPatch.h"
#include "Tests/Transport/HttpRequestFixture.h"

#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

QUORVANE_IMPORT_SLOT(s_createEventSlot, CreateEventW, 16);
QUORVANE_IMPORT_SLOT(s_waitSlot, WaitForSingleObject, 8);
QUORVANE_IMPORT_SLOT(s_internetOpenSlot, InternetOpenW, 20);
QUORVANE_IMPORT_SLOT(s_setCallbackSlot, InternetSetStatusCallbackW, 8);
QUORVANE_IMPORT_SLOT(s_connectSlot, InternetConnectW, 32);
QUORVANE_IMPORT_SLOT(s_closeHandleSlot, InternetCloseHandle, 4);
QUORVANE_IMPORT_SLOT(s_openRequestSlot, HttpOpenRequestW, 32);
QUORVANE_IMPORT_SLOT(s_addHeadersSlot, HttpAddRequestHeadersA, 16);
QUORVANE_IMPORT_SLOT(s_sendRequestSlot, HttpSendRequestW, 20);
QUORVANE_IMPORT_SLOT(s_queryInfoSlot, HttpQueryInfoW, 20);
QUORVANE_IMPORT_SLOT(s_queryInfoASlot, HttpQueryInfoA, 20);
QUORVANE_IMPORT_SLOT(s_readFileSlot, InternetReadFile, 16);

namespace
{
using testing::ElementsAre;

constexpr DWORD kRefusal = 4711;

template <class Function>
Function* Original(void* slot)
{
    return reinterpret_cast<Function*>(slot);
}

// Read before anything is patched.
const auto s_createEvent = Original<decltype(::CreateEventW)>(s_createEventSlot);
const auto s_wait = Original<decltype(::WaitForSingleObject)>(s_waitSlot);
const auto s_internetOpen = Original<decltype(::InternetOpenW)>(s_internetOpenSlot);
const auto s_setCallback = Original<decltype(::InternetSetStatusCallbackW)>(s_setCallbackSlot);
const auto s_closeHandle = Original<decltype(::InternetCloseHandle)>(s_closeHandleSlot);
const auto s_sendRequest = Original<decltype(::HttpSendRequestW)>(s_sendRequestSlot);

/// A function of the same signature that returns null, FALSE or 0 and leaves an error behind.
template <class Function>
struct Refusing;
template <class Result, class... Arguments>
struct Refusing<Result WINAPI(Arguments...)>
{
    static Result WINAPI Call(Arguments...)
    {
        ::SetLastError(kRefusal);
        return Result{};
    }
};
template <class Function>
void* Refuse()
{
    return reinterpret_cast<void*>(&Refusing<Function>::Call);
}

/// What was done to the one session, in order.
std::vector<std::string> s_sessionCalls;
HINTERNET s_session = nullptr;

HINTERNET WINAPI RecordInternetOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass, DWORD flags)
{
    s_session = s_internetOpen(agent, accessType, proxy, bypass, flags);
    s_sessionCalls.emplace_back("open");
    return s_session;
}
INTERNET_STATUS_CALLBACK WINAPI RecordSetCallback(HINTERNET session, INTERNET_STATUS_CALLBACK callback)
{
    EXPECT_EQ(s_session, session);
    s_sessionCalls.emplace_back(callback != nullptr ? "set callback" : "remove callback");
    return s_setCallback(session, callback);
}
INTERNET_STATUS_CALLBACK WINAPI RefuseCallback(HINTERNET session, INTERNET_STATUS_CALLBACK callback)
{
    RecordSetCallback(session, nullptr);
    s_sessionCalls.back() = callback != nullptr ? "refuse callback" : "remove callback";
    ::SetLastError(kRefusal);
    return INTERNET_INVALID_STATUS_CALLBACK;
}
BOOL WINAPI RecordClose(HINTERNET handle)
{
    if (handle == s_session)
        s_sessionCalls.emplace_back("close");
    return s_closeHandle(handle);
}

/// The last event that this thread made: the completion event, when an object is opening its session.
HANDLE s_completed = nullptr;
int s_waitsBeforeFailure = 0;

HANDLE WINAPI RecordEvent(SECURITY_ATTRIBUTES* security, BOOL isManual, BOOL isSet, LPCWSTR name)
{
    const HANDLE event = s_createEvent(security, isManual, isSet, name);
    static const DWORD s_testThread = ::GetCurrentThreadId();
    if (::GetCurrentThreadId() == s_testThread)
        s_completed = event;
    return event;
}
DWORD WINAPI FailWait(HANDLE handle, DWORD timeoutMs)
{
    if (handle != s_completed || s_waitsBeforeFailure-- > 0)
        return s_wait(handle, timeoutMs);
    ::SetLastError(kRefusal);
    return WAIT_FAILED;
}
/// Comes back when the answer is there, as WinInet may do with what it has in its cache.
BOOL WINAPI SendSynchronously(HINTERNET request, LPCWSTR headers, DWORD lengthChars, LPVOID data, DWORD lengthBytes)
{
    EXPECT_FALSE(s_sendRequest(request, headers, lengthChars, data, lengthBytes));
    EXPECT_EQ(static_cast<DWORD>(ERROR_IO_PENDING), ::GetLastError());
    EXPECT_EQ(WAIT_OBJECT_0, s_wait(s_completed, kAmpleMs));
    return TRUE;
}
/// Asks for more room, and then has no answer after all.
BOOL WINAPI QueryInfoInVain(HINTERNET, DWORD, LPVOID, DWORD* sizeBytes, DWORD*)
{
    const bool isFirst = *sizeBytes < 1000;
    *sizeBytes = 1000;
    ::SetLastError(isFirst ? ERROR_INSUFFICIENT_BUFFER : kRefusal);
    return FALSE;
}
/// One byte more than is taken. A second question would be answered.
BOOL WINAPI QueryLongHeader(HINTERNET, DWORD, LPVOID buffer, DWORD* sizeBytes, DWORD*)
{
    constexpr DWORD kTooLong = CAsyncHttpRequest::kMaximumHeaderBytes + 1;
    if (*sizeBytes >= kTooLong)
    {
        std::memset(buffer, 'x', kTooLong);
        *sizeBytes = kTooLong;
        return TRUE;
    }
    *sizeBytes = kTooLong;
    ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
}

class HttpRequestFailure : public HttpRequestTest
{
protected:
    HttpRequestFailure()
    {
        s_sessionCalls.clear();
        s_session = nullptr;
        s_completed = nullptr;
        s_waitsBeforeFailure = 0;
    }
    /// Opens towards a camera that asks for credentials first, with the completion event known to this file.
    void OpenRecorded(std::vector<ScriptedReply> script)
    {
        const CImportPatch events(&s_createEventSlot, &RecordEvent);
        Open(std::move(script), L"user", L"pass");
        m_log.Clear();
    }
    static ScriptedReply Challenge()
    {
        return HttpAnswer(401, "", "WWW-Authenticate: Basic realm=\"cam\"\r\n");
    }
};
} // namespace

TEST_F(HttpRequestFailure, SessionThatCannotBeOpenedIsUndone)
{
    const struct
    {
        void** slot;
        void* refusal;
        std::wstring message;
        std::vector<std::string> calls;
    } rows[] = {
        {&s_internetOpenSlot, Refuse<decltype(::InternetOpenW)>(), L"failed to InternetOpen", {}},
        {&s_setCallbackSlot,
         reinterpret_cast<void*>(&RefuseCallback),
         L"failed to InternetSetStatusCallback",
         {"open", "refuse callback", "remove callback", "close"}},
        {&s_createEventSlot,
         Refuse<decltype(::CreateEventW)>(),
         L"failed to CreateEvent",
         {"open", "set callback", "remove callback", "close"}},
    };
    CScriptedCamera camera({HttpAnswer(200, "ok")});
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.message.c_str());
        m_http.Close();
        m_log.Clear();
        s_sessionCalls.clear();
        {
            const CImportPatch open(&s_internetOpenSlot, &RecordInternetOpen);
            const CImportPatch callback(&s_setCallbackSlot, &RecordSetCallback);
            const CImportPatch close(&s_closeHandleSlot, &RecordClose);
            const CImportPatch refusal(row.slot, row.refusal);
            EXPECT_EQ(E_FAIL, m_http.OpenConnection(L"127.0.0.1", camera.Port(), L"", L""));
        }
        EXPECT_EQ(row.calls, s_sessionCalls);
        EXPECT_THAT(m_log.Lines(),
                    ElementsAre(L"1 CAsyncHttpRequest::OpenConnection, lpszServer = '127.0.0.1', nPort = " +
                                    std::to_wstring(camera.Port()),
                                L"8 CAsyncHttpRequest::OpenSession " + row.message + L", dwLastError = 4711"));
        EXPECT_FALSE(m_http.IsOpen());
        EXPECT_EQ(E_UNEXPECTED, Get().hr);
        ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", camera.Port(), L"", L""));
        EXPECT_EQ(L"ok", Get().body);
    }
}

TEST_F(HttpRequestFailure, ConnectionThatCannotBeOpened)
{
    Open({HttpAnswer(200, "ok")});
    const std::wstring port = std::to_wstring(m_camera->Port());
    m_log.Clear();
    {
        const CImportPatch refusal(&s_connectSlot, Refuse<decltype(::InternetConnectW)>());
        EXPECT_EQ(E_FAIL, m_http.OpenConnection(L"127.0.0.1", m_camera->Port(), L"", L""));
    }
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"1 CAsyncHttpRequest::OpenConnection, lpszServer = '127.0.0.1', nPort = " + port,
                            L"8 CAsyncHttpRequest::OpenConnection, failed to open InternetConnect, dwLastError = 4711, "
                            L"lpszServer = '127.0.0.1', nPort = " +
                                port));
    EXPECT_FALSE(m_http.IsOpen()) << "the old connection is gone as well";
    EXPECT_EQ(E_UNEXPECTED, Get().hr);
    ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", m_camera->Port(), L"", L""));
    EXPECT_EQ(L"ok", Get().body);
}

TEST_F(HttpRequestFailure, RefusedCallEndsTheRequestAndNothingElse)
{
    const std::wstring unauthorized = L"1 CHttpRequest::SendRequest, unauthorized, authenticate header: "
                                      L"'Basic realm=\"cam\"', url: 'x'";
    const struct
    {
        void** slot;
        void* refusal;
        DWORD statusCode;
        std::vector<std::wstring> lines;
    } rows[] = {
        {&s_openRequestSlot,
         Refuse<decltype(::HttpOpenRequestW)>(),
         0,
         {L"8 CAsyncHttpRequest::SendRequest, failed to HttpOpenRequest, dwLastError = 4711, url = 'x'"}},
        {&s_sendRequestSlot,
         Refuse<decltype(::HttpSendRequestW)>(),
         static_cast<DWORD>(E_FAIL),
         {L"8 CAsyncHttpRequest::DoSendRequest failed to HttpSendRequest, dwLastError = 4711"}},
        {&s_waitSlot,
         reinterpret_cast<void*>(&FailWait),
         static_cast<DWORD>(E_FAIL),
         {L"8 CAsyncHttpRequest::DoSendRequest failed to WaitForSingleObject, dwLastError = 4711"}},
        {&s_queryInfoSlot,
         Refuse<decltype(::HttpQueryInfoW)>(),
         static_cast<DWORD>(E_FAIL),
         {L"8 CAsyncHttpRequest::DoSendRequest failed to HttpQueryInfo for status code, dwLastError = 4711"}},
        {&s_queryInfoASlot,
         Refuse<decltype(::HttpQueryInfoA)>(),
         401,
         {L"8 CAsyncHttpRequest::HttpQueryInfoStringA, HttpQueryInfo failed, dwLastError = 4711, dwInfoLevel = 40",
          L"1 CAsyncHttpRequest::SendRequest, failed to get authenticate header, url: 'x'"}},
        {&s_queryInfoASlot,
         reinterpret_cast<void*>(&QueryInfoInVain),
         401,
         {L"1 CAsyncHttpRequest::HttpQueryInfoStringA, insufficient buffer, try again with new buffer size = 1000, "
          L"dwInfoLevel = 40",
          L"8 CAsyncHttpRequest::HttpQueryInfoStringA, HttpQueryInfo failed, dwLastError = 4711, dwInfoLevel = 40",
          L"1 CAsyncHttpRequest::SendRequest, failed to get authenticate header, url: 'x'"}},
        {&s_queryInfoASlot,
         reinterpret_cast<void*>(&QueryLongHeader),
         401,
         {L"8 CAsyncHttpRequest::HttpQueryInfoStringA, header of 65537 bytes given up, dwInfoLevel = 40",
          L"1 CAsyncHttpRequest::SendRequest, failed to get authenticate header, url: 'x'"}},
        {&s_addHeadersSlot,
         Refuse<decltype(::HttpAddRequestHeadersA)>(),
         static_cast<DWORD>(E_FAIL),
         {unauthorized, L"8 CAsyncHttpRequest::DoSendRequest failed to HttpAddRequestHeaders, dwLastError = 4711"}},
        {&s_readFileSlot,
         Refuse<decltype(::InternetReadFile)>(),
         200,
         {unauthorized,
          L"8 CAsyncHttpRequest::SendRequest, failed to InternetReadFile, dwLastError = 4711, url = 'x'"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.lines.back().c_str());
        OpenRecorded({Challenge(), HttpAnswer(200, "ok")});
        Answer answer;
        {
            const CImportPatch refusal(row.slot, row.refusal);
            answer = Get(L"x");
        }
        EXPECT_EQ(E_FAIL, answer.hr);
        EXPECT_EQ(row.statusCode, answer.statusCode);
        EXPECT_EQ(L"", answer.body);
        EXPECT_EQ(row.lines, LinesWithoutTrace());
        EXPECT_EQ(L"ok", Get().body) << "the object stays usable";
    }
}

TEST_F(HttpRequestFailure, WaitForTheBodyThatCannotBeMade)
{
    OpenRecorded({StalledBody(), HttpAnswer(200, "ok")});
    Answer answer;
    {
        s_waitsBeforeFailure = 1; // for the headers
        const CImportPatch failing(&s_waitSlot, &FailWait);
        answer = Get(L"x", kAnswerMs);
    }
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(200u, answer.statusCode);
    EXPECT_THAT(LinesWithoutTrace(), ElementsAre(L"8 CAsyncHttpRequest::SendRequest, failed to InternetReadFile, "
                                                 L"dwLastError = 4711, url = 'x'"));
    EXPECT_EQ(L"ok", Get().body);
}

TEST_F(HttpRequestFailure, BodyThatCannotBeReadDoesNotEndTheHour)
{
    OpenRecorded({Silent(), HttpAnswer(200, "ok"), Silent()});
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    {
        const CImportPatch refusal(&s_readFileSlot, Refuse<decltype(::InternetReadFile)>());
        EXPECT_EQ(E_FAIL, Get(L"x").hr);
    }
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, timeout"));
}

TEST_F(HttpRequestFailure, SendThatCompletesAtOnceIsNotWaitedFor)
{
    OpenRecorded({HttpAnswer(200, "ok")});
    const CImportPatch synchronous(&s_sendRequestSlot, &SendSynchronously);
    const DWORD startTick = ::GetTickCount();
    const Answer answer = Get(L"x");
    EXPECT_LT(::GetTickCount() - startTick, kAmpleMs / 2);
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_EQ(L"ok", answer.body);
    EXPECT_THAT(LinesWithoutTrace(), ElementsAre(L"1 CAsyncHttpRequest::DoSendRequest completed synchronously"));
}
