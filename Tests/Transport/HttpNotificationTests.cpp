// What an HTTP request object makes of WinInet's notifications. Most tests bring them themselves.

#include "Tests/Support/ImportPatch.h"
#include "Tests/Transport/HttpRequestFixture.h"

#include <gmock/gmock.h>

#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

QUORVANE_IMPORT_SLOT(s_createEventSlot, CreateEventW, 16);

namespace
{
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

const auto s_makeEvent = reinterpret_cast<decltype(&::CreateEventW)>(s_createEventSlot);
HANDLE s_lastEvent = nullptr;

HANDLE WINAPI RecordLastEvent(SECURITY_ATTRIBUTES* security, BOOL isManual, BOOL isSet, LPCWSTR name)
{
    s_lastEvent = s_makeEvent(security, isManual, isSet, name);
    return s_lastEvent;
}

std::wstring Hexadecimal(const void* address)
{
    std::wostringstream text;
    text << L"0x" << std::hex << reinterpret_cast<DWORD_PTR>(address);
    return text.str();
}

/// Notes which operation was called, and for what. WinInet's threads write, the test reads.
class CRecordingRequest : public CAsyncHttpRequest
{
public:
    void OnRequestComplete(RequestContext* context, const INTERNET_ASYNC_RESULT* result) noexcept override
    {
        Note("complete", context);
        CAsyncHttpRequest::OnRequestComplete(context, result);
    }
    void OnConnectionClosed(RequestContext* context) noexcept override
    {
        Note("closed", context);
    }
    void OnRequestSent(RequestContext* context) noexcept override
    {
        Note("sent", context);
    }
    void OnResponseReceived(RequestContext* context) noexcept override
    {
        Note("received", context);
    }

    std::vector<std::string> Calls() const
    {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    void Clear()
    {
        const std::lock_guard lock(m_mutex);
        m_calls.clear();
    }
    /// The record that a call must come with, when the test knows it.
    const RequestContext* m_expected = nullptr;

private:
    void Note(const char* operation, const RequestContext* context)
    {
        const std::lock_guard lock(m_mutex);
        m_calls.emplace_back(m_expected == nullptr || context == m_expected ? operation : "for another request");
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
};

/// A request that WinInet has been lent, without a WinInet that knows of it.
class HttpNotification : public testing::Test
{
protected:
    HttpNotification()
    {
        m_http.m_expected = m_block;
        m_block->LendToWinInet();
    }
    ~HttpNotification() override
    {
        Notify(INTERNET_STATUS_HANDLE_CLOSING);
        m_block->Release();
    }
    void Notify(DWORD status, void* information = nullptr)
    {
        const auto context = reinterpret_cast<DWORD_PTR>(static_cast<RequestContext*>(m_block));
        CRequestBlock::StatusCallback(nullptr, context, status, information, 0);
    }

    CLogCapture m_log;
    CRecordingRequest m_http;
    CRequestBlock* m_block = new CRequestBlock(m_http, std::make_shared<CSessionRequests>());
};

/// What a completed operation leaves behind. The object is open; nothing is sent.
class RequestCompletion : public HttpRequestTest
{
protected:
    RequestCompletion()
    {
        const CImportPatch events(&s_createEventSlot, &RecordLastEvent);
        EXPECT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", 1, L"", L""));
        m_log.Clear();
    }
    /// True once for each time the event was set.
    static bool TakeEvent()
    {
        return ::WaitForSingleObject(s_lastEvent, 0) == WAIT_OBJECT_0;
    }
    std::wstring Context() const
    {
        return L"dwContext = " + Hexadecimal(&m_context);
    }

    RequestContext m_context{&m_http, nullptr, 33, 44};
};

HINTERNET Handle(DWORD value)
{
    return reinterpret_cast<HINTERNET>(static_cast<DWORD_PTR>(value));
}
} // namespace

TEST_F(HttpNotification, EachIsTracedAndReachesItsOperation)
{
    const struct
    {
        DWORD status;
        std::wstring text;
        std::vector<std::string> calls;
    } rows[] = {
        {31, L", request sent, ", {"sent"}},
        {41, L", response received, ", {"received"}},
        {51, L", connection closed, ", {"closed"}},
        {100, L"() - Request Completed, ", {"complete"}},
        {INTERNET_STATUS_HANDLE_CREATED, L", dwInternetStatus = 60, ", {}},
        {INTERNET_STATUS_INTERMEDIATE_RESPONSE, L", dwInternetStatus = 120, ", {}},
        {99, L", dwInternetStatus = 99, ", {}},
    };
    INTERNET_ASYNC_RESULT result = {1, 0};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.status);
        m_log.Clear();
        m_http.Clear();
        Notify(row.status, &result);
        EXPECT_EQ(row.calls, m_http.Calls());
        EXPECT_THAT(m_log.Lines(), ElementsAre(L"32 CAsyncHttpRequest::InternetStatusCallback" + row.text +
                                               L"dwContext = " + Hexadecimal(m_block)));
    }
}

TEST_F(HttpNotification, WithoutAContextIsIgnored)
{
    INTERNET_ASYNC_RESULT result = {1, 0};
    CRequestBlock::StatusCallback(nullptr, 0, INTERNET_STATUS_REQUEST_COMPLETE, &result, sizeof(result));
    EXPECT_THAT(m_http.Calls(), IsEmpty());
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(HttpNotification, OfAGivenUpRequestIsTracedAndReachesNobody)
{
    m_block->Abandon();
    INTERNET_ASYNC_RESULT result = {1, 0};
    Notify(INTERNET_STATUS_REQUEST_COMPLETE, &result);
    Notify(INTERNET_STATUS_CONNECTION_CLOSED);
    EXPECT_THAT(m_http.Calls(), IsEmpty());
    EXPECT_EQ(2u, m_log.Lines().size());
}

TEST(HttpNotificationOfARealRequest, IsSentReceivedAndComplete)
{
    CScriptedCamera camera({HttpAnswer(200, "ok")});
    CRecordingRequest http;
    ASSERT_EQ(S_OK, http.OpenConnection(L"127.0.0.1", camera.Port(), L"", L""));
    DWORD statusCode = 0;
    std::wstring body;
    EXPECT_EQ(S_OK, http.SendRequest(L"x", statusCode, body, L"GET", kAmpleMs));
    EXPECT_EQ(L"ok", body);
    EXPECT_THAT(http.Calls(), AllOf(Contains("sent"), Contains("received"), Contains("complete")));
}

TEST_F(RequestCompletion, LeavesItsResultInTheContextAndSetsTheEvent)
{
    const std::wstring error = L"1 CAsyncHttpRequest::OnRequestComplete, error, error code = ";
    const std::wstring success = L"32 CAsyncHttpRequest::OnRequestComplete, success, data bytes = ";
    const std::wstring handle = L"1 CAsyncHttpRequest::OnRequestComplete, should be file handle, dwResult = ";
    const std::wstring setHandle = L"1 CAsyncHttpRequest::OnRequestComplete, set file handle";
    const struct
    {
        const char* reason;
        INTERNET_ASYNC_RESULT result;
        HINTERNET requestBefore;
        RequestContext after;
        std::vector<std::wstring> lines;
    } rows[] = {
        {"failed", {0, 12029}, Handle(7), {&m_http, Handle(7), 0, 12029}, {error + L"12029, " + Context()}},
        {"failed for want of time",
         {0, ERROR_INTERNET_TIMEOUT},
         nullptr,
         {&m_http, nullptr, 0, 12002},
         {error + L"12002, " + Context(), L"1 CAsyncHttpRequest::OnRequestComplete, time out, " + Context()}},
        {"failed without an error", {0, 0}, nullptr, {&m_http, nullptr, 0, 0}, {error + L"0, " + Context()}},
        {"succeeded", {1, 0}, nullptr, {&m_http, nullptr, 0, 0}, {success + L"0, " + Context()}},
        {"succeeded, with a number of bytes where the error would stand",
         {1, 1460},
         Handle(7),
         {&m_http, Handle(7), 1460, 0},
         {success + L"1460, " + Context()}},
        {"a handle, the first one",
         {0x00CC0004, 0},
         nullptr,
         {&m_http, Handle(0x00CC0004), 0x00CC0004, 0},
         {handle + L"13369348, dwError = 0, " + Context(), setHandle}},
        {"a handle, but one is known already",
         {0x00CC0004, 0},
         Handle(7),
         {&m_http, Handle(7), 0x00CC0004, 0},
         {handle + L"13369348, dwError = 0, " + Context()}},
        {"a handle, but with an error",
         {0x00CC0004, 12031},
         nullptr,
         {&m_http, nullptr, 0x00CC0004, 12031},
         {handle + L"13369348, dwError = 12031, " + Context()}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        m_context = {&m_http, row.requestBefore, 33, 44};
        ASSERT_FALSE(TakeEvent());
        m_http.OnRequestComplete(&m_context, &row.result);
        EXPECT_TRUE(TakeEvent());
        EXPECT_FALSE(TakeEvent()) << "resets itself";
        EXPECT_EQ(row.after.owner, m_context.owner);
        EXPECT_EQ(row.after.request, m_context.request);
        EXPECT_EQ(row.after.result, m_context.result);
        EXPECT_EQ(row.after.error, m_context.error);
        EXPECT_EQ(row.lines, m_log.Lines());
    }
}

TEST_F(RequestCompletion, WithSomethingMissingIsIgnored)
{
    const INTERNET_ASYNC_RESULT result = {0, 12029};
    m_http.OnRequestComplete(&m_context, nullptr);
    m_http.OnRequestComplete(nullptr, &result);
    EXPECT_FALSE(TakeEvent());
    m_http.Close();
    m_log.Clear();
    m_http.OnRequestComplete(&m_context, &result);
    EXPECT_EQ(33u, m_context.result);
    EXPECT_EQ(44u, m_context.error);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(RequestCompletion, OtherNotificationsDoNothingHere)
{
    m_http.OnConnectionClosed(&m_context);
    m_http.OnRequestSent(&m_context);
    m_http.OnResponseReceived(&m_context);
    EXPECT_FALSE(TakeEvent());
    EXPECT_EQ(33u, m_context.result);
    EXPECT_EQ(44u, m_context.error);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
    EXPECT_TRUE(m_http.IsOpen());
}
