#include "HttpRequest.h"

#include "ComHosting/WinApp.h"
#include "Protocol/HttpStatus.h"
#include "Protocol/IpelaReply.h"
#include "Protocol/ServerTable.h"
#include "Protocol/TextUtil.h"
#include "TextEncoding/Encoding.h"
#include "Win32/RegistryKey.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <utility>

namespace
{
constexpr wchar_t kUserAgent[] = L"ORBELL AV Client";
constexpr wchar_t kSettingsKey[] = L"Software\\Orbell\\Video";
constexpr DWORD kChunkBytes = CRequestBlock::kReadBufferBytes - 1;
static_assert(std::has_single_bit(CAsyncHttpRequest::kMaximumHeldBytes), "as TextUtil::GrowFor needs it");

/// By how much WinInet's own limits exceed ours: ours decides, WinInet's only ends what we gave up.
constexpr DWORD kWinInetGraceMs = 500;

/// The cameras of this process and when a failure towards each was last logged.
constinit CServerTable g_servers;

/// The caller's limit, unless the machine's settings hold another one. Read anew for each request, so that a change
/// helps a running recording at once.
DWORD RequestTimeLimitMs(DWORD callersLimitMs)
{
    const auto text = CRegistryKey::OpenMachine(kSettingsKey).ReadText(L"CameraCGICommandTimeout");
    const int limitMs = text ? IpelaReply::ToNumber(*text) : 0;
    return limitMs > 0 ? static_cast<DWORD>(limitMs) : callersLimitMs;
}

/// Short of the value that means "for ever".
constexpr DWORD kLongestMs = std::numeric_limits<DWORD>::max() - 1;

DWORD LongerBy(DWORD limitMs, DWORD extraMs)
{
    return limitMs < kLongestMs - extraMs ? limitMs + extraMs : kLongestMs;
}

DWORD Times(DWORD limitMs, DWORD factor)
{
    return limitMs < kLongestMs / factor ? limitMs * factor : kLongestMs;
}

/// Decodes from the system's ANSI code page; a NUL ends the text, as it ends any text. False, with the last error, when
/// the system cannot decode it.
bool DecodeAnsiText(const char* bytes, std::wstring& text)
{
    const int lengthBytes = static_cast<int>(std::strlen(bytes));
    text.clear();
    if (lengthBytes == 0)
        return true;
    const int countChars = ::MultiByteToWideChar(CP_ACP, 0, bytes, lengthBytes, nullptr, 0);
    if (countChars == 0)
        return false;
    text.resize(static_cast<std::size_t>(countChars));
    return ::MultiByteToWideChar(CP_ACP, 0, bytes, lengthBytes, text.data(), countChars) != 0;
}

bool IsHttpStatus(DWORD sendResult) noexcept
{
    return sendResult != static_cast<DWORD>(E_FAIL) && sendResult != static_cast<DWORD>(kRequestTimeout);
}
} // namespace

CAsyncHttpRequest::CAsyncHttpRequest(TickSource tickCount) noexcept : m_tickCount(tickCount) {}

CAsyncHttpRequest::~CAsyncHttpRequest()
{
    Close();
}

bool CAsyncHttpRequest::ShouldReportFailure() noexcept
{
    return g_servers.ShouldReport(m_serverIndex, m_tickCount());
}

void CAsyncHttpRequest::ClearFailure() noexcept
{
    g_servers.ClearFailure(m_serverIndex);
}

bool CAsyncHttpRequest::OpenRequest(COpenRequest& request, const std::wstring& verb, const std::wstring& url)
{
    return request.Open(*this, m_sessionRequests, m_connection.get(), verb, url);
}

void CAsyncHttpRequest::LimitWinInetsWaits(HINTERNET request, DWORD connectLimitMs, DWORD receiveLimitMs) noexcept
{
    // Without these a request to a silent camera would live on inside WinInet for as long as the camera keeps the
    // connection, though we gave it up long ago. Failing to set them is harmless here.
    const struct
    {
        DWORD option;
        DWORD limitMs;
    } limits[] = {
        {INTERNET_OPTION_CONNECT_TIMEOUT, connectLimitMs},
        {INTERNET_OPTION_SEND_TIMEOUT, connectLimitMs},
        {INTERNET_OPTION_RECEIVE_TIMEOUT, receiveLimitMs},
    };
    for (const auto& limit : limits)
    {
        DWORD limitMs = LongerBy(limit.limitMs, kWinInetGraceMs);
        ::InternetSetOptionW(request, limit.option, &limitMs, sizeof(limitMs));
    }
}

void CAsyncHttpRequest::ResetCompleted() noexcept
{
    ::ResetEvent(m_completed.get());
}

void CAsyncHttpRequest::SignalCompleted() noexcept
{
    ::SetEvent(m_completed.get());
}

DWORD CAsyncHttpRequest::WaitForCompleted(DWORD timeoutMs) noexcept
{
    return ::WaitForSingleObject(m_completed.get(), timeoutMs);
}

void CAsyncHttpRequest::LoseConnection() noexcept
{
    m_connectionLost = true;
    SignalCompleted(); // whoever waits for this connection waits in vain
}

void CAsyncHttpRequest::OnInternetStatus(RequestContext* context, DWORD status, void* information) noexcept
{
    m_mark.Check("WinInet notifies an owner that is destroyed");
    switch (status)
    {
    case INTERNET_STATUS_REQUEST_SENT:
        OnRequestSent(context);
        break;
    case INTERNET_STATUS_RESPONSE_RECEIVED:
        OnResponseReceived(context);
        break;
    case INTERNET_STATUS_CONNECTION_CLOSED:
        OnConnectionClosed(context);
        break;
    case INTERNET_STATUS_REQUEST_COMPLETE:
        OnRequestComplete(context, static_cast<const INTERNET_ASYNC_RESULT*>(information));
        break;
    default:
        break;
    }
}

void CAsyncHttpRequest::OnRequestComplete(RequestContext* context, const INTERNET_ASYNC_RESULT* result) noexcept
{
    if (result == nullptr || !m_completed || context == nullptr)
        return;
    switch (result->dwResult)
    {
    case FALSE:
        Log(LogLevel::Debug, L"CAsyncHttpRequest::OnRequestComplete, error, error code = %d, dwContext = 0x%x",
            result->dwError, context);
        context->error = result->dwError;
        context->result = 0;
        if (result->dwError == ERROR_INTERNET_TIMEOUT)
            Log(LogLevel::Debug, L"CAsyncHttpRequest::OnRequestComplete, time out, dwContext = 0x%x", context);
        break;
    case TRUE:
        // For an availability query WinInet reports the byte count where the error would stand.
        Log(LogLevel::Trace, L"CAsyncHttpRequest::OnRequestComplete, success, data bytes = %d, dwContext = 0x%x",
            result->dwError, context);
        context->error = 0;
        context->result = result->dwError;
        break;
    default:
        Log(LogLevel::Debug,
            L"CAsyncHttpRequest::OnRequestComplete, should be file handle, dwResult = %d, dwError = %d, "
            L"dwContext = 0x%x",
            result->dwResult, result->dwError, context);
        context->error = result->dwError;
        context->result = static_cast<DWORD>(result->dwResult);
        if (result->dwError == 0 && context->request == nullptr)
        {
            context->request = reinterpret_cast<HINTERNET>(result->dwResult);
            Log(LogLevel::Debug, L"CAsyncHttpRequest::OnRequestComplete, set file handle");
        }
        break;
    }
    ::SetEvent(m_completed.get());
}

void CAsyncHttpRequest::OnConnectionClosed(RequestContext*) noexcept {}

void CAsyncHttpRequest::OnRequestSent(RequestContext*) noexcept {}

void CAsyncHttpRequest::OnResponseReceived(RequestContext*) noexcept {}

HRESULT CAsyncHttpRequest::OpenConnection(const wchar_t* server, WORD port, const wchar_t* userName,
                                          const wchar_t* password) noexcept
try
{
    const CStay stay(m_user, kOneCaller);
    if (server == nullptr || *server == L'\0' || port == 0)
        return E_INVALIDARG;
    Log(LogLevel::Debug, L"CAsyncHttpRequest::OpenConnection, lpszServer = '%s', nPort = %d", server, port);
    Close();
    if (!m_authorization.SetCredentials(userName, password))
        return E_OUTOFMEMORY;
    if (!OpenSession(kUserAgent, INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr,
                     INTERNET_FLAG_ASYNC | INTERNET_FLAG_NO_CACHE_WRITE))
        return E_FAIL;
    m_server = server;
    m_port = port;
    if (!Connect())
        return E_FAIL;
    m_serverIndex = g_servers.FindOrAppend(server, port);
    return S_OK;
}
catch (const std::bad_alloc&)
{
    Close();
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAsyncHttpRequest::OpenConnection, out of memory");
}

bool CAsyncHttpRequest::Connect()
{
    CInternetHandle connection(
        ::InternetConnectW(m_session.get(), m_server.c_str(), m_port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    if (!connection)
        return LogFailure(false, LogLevel::Error,
                          L"CAsyncHttpRequest::OpenConnection, failed to open InternetConnect, dwLastError = %d, "
                          L"lpszServer = '%s', nPort = %d",
                          ::GetLastError(), m_server, m_port);
    if (m_connection)
        m_leftConnections.push_back(std::move(m_connection));
    m_connection = std::move(connection);
    m_sessionRequests->BeginConnection();
    return true;
}

bool CAsyncHttpRequest::LeaveRedirection()
{
    const bool isRedirected = m_sessionRequests->IsRedirected();
    const bool isFull = m_leftConnections.size() >= kMaximumLeft;
    if (!m_leftConnections.empty() && m_sessionRequests->WaitUntilNone(isRedirected && isFull ? kCloseWaitMs : 0))
        m_leftConnections.clear();
    // Under Wine 8 all later requests of a connection go where one of them was redirected to.
    if (!isRedirected)
        return true;
    if (m_leftConnections.size() >= kMaximumLeft)
        return LogFailure(false, LogLevel::Error,
                          L"CAsyncHttpRequest::SendRequest, %d connections were redirected and still have requests, no "
                          L"other opened",
                          m_leftConnections.size());
    return Connect();
}

bool CAsyncHttpRequest::OpenSession(const wchar_t* agent, DWORD accessType, const wchar_t* proxy,
                                    const wchar_t* proxyBypass, DWORD flags)
{
    CloseSession();
    auto sessionRequests = std::make_shared<CSessionRequests>();
    m_session.reset(::InternetOpenW(agent, accessType, proxy, proxyBypass, flags));
    if (!m_session)
    {
        Log(LogLevel::Error, L"CAsyncHttpRequest::OpenSession failed to InternetOpen, dwLastError = %d",
            ::GetLastError());
        return false;
    }
    if (::InternetSetStatusCallbackW(m_session.get(), &CRequestBlock::StatusCallback) ==
        INTERNET_INVALID_STATUS_CALLBACK)
    {
        Log(LogLevel::Error, L"CAsyncHttpRequest::OpenSession failed to InternetSetStatusCallback, dwLastError = %d",
            ::GetLastError());
        CloseSession();
        return false;
    }
    m_completed.reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!m_completed)
    {
        Log(LogLevel::Error, L"CAsyncHttpRequest::OpenSession failed to CreateEvent, dwLastError = %d",
            ::GetLastError());
        CloseSession();
        return false;
    }
    m_sessionRequests = std::move(sessionRequests);
    return true;
}

bool CAsyncHttpRequest::IsOpen() const noexcept
{
    return m_connection && !m_connectionLost;
}

void CAsyncHttpRequest::Close(DWORD waitMs) noexcept
{
    const CStay stay(m_user, kOneCaller);
    m_authorization.Reset(true);
    m_stream.Close();
    // A request that is still being closed, by a notification, is not to be closed by its connection as well.
    LetGoOfRequests(waitMs);
    m_connection.reset();
    m_leftConnections.clear();
    CloseSession();
}

void CAsyncHttpRequest::LetGoOfRequests(DWORD waitMs) noexcept
{
    if (!m_sessionRequests || m_sessionRequests->WaitUntilNone(0))
        return;
    // One of WinInet's threads is inside our callback or will be. Even when it is done with our memory it still has to
    // return through our code, which therefore stays.
    CWinApp::PinLibrary();
    if (m_sessionRequests->WaitUntilNone(waitMs))
        return;
    // Their contexts stay too.
    Log(LogLevel::Error, L"CAsyncHttpRequest::CloseSession, requests still pending after %d ms, left to WinInet",
        waitMs);
    m_leftSessions.Add(std::exchange(m_sessionRequests, nullptr));
}

void CAsyncHttpRequest::CloseSession() noexcept
{
    LetGoOfRequests(kCloseWaitMs);
    m_sessionRequests.reset();
    if (m_session)
        ::InternetSetStatusCallbackW(m_session.get(), nullptr);
    m_session.reset();
    m_completed.reset();
    m_connectionLost = false;
}

HRESULT CAsyncHttpRequest::SendRequest(const std::wstring& url, DWORD& statusCode, std::wstring& response,
                                       const std::wstring& verb, DWORD timeoutMs) noexcept
try
{
    const CStay stay(m_user, kOneCaller);
    statusCode = 0;
    std::wstring().swap(response);
    if (!IsOpen())
        return E_UNEXPECTED;
    if (!LeaveRedirection())
        return E_FAIL;
    const HRESULT hr = Exchange(url.empty() ? L"/" : url, statusCode, response, verb.empty() ? L"GET" : verb,
                                RequestTimeLimitMs(timeoutMs));
    if (FAILED(hr))
        response.clear();
    return hr;
}
catch (const std::bad_alloc&)
{
    response.clear();
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAsyncHttpRequest::SendRequest, out of memory");
}
catch (HRESULT hr)
{
    response.clear();
    return LogFailure(hr, LogLevel::Error, L"CAsyncHttpRequest::SendRequest, no request could be made, hr = 0x%x", hr);
}

HRESULT CAsyncHttpRequest::Exchange(const std::wstring& url, DWORD& statusCode, std::wstring& response,
                                    const std::wstring& verb, DWORD timeoutMs)
{
    COpenRequest request;
    if (!OpenRequest(request, verb, url))
    {
        Log(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, failed to HttpOpenRequest, dwLastError = %d, url = '%s'",
            ::GetLastError(), url);
        return E_FAIL;
    }
    LimitWinInetsWaits(request.get(), timeoutMs, timeoutMs);

    HRESULT hr = SendWithCredentials(request, url, verb, timeoutMs, statusCode);
    if (FAILED(hr))
        return hr;
    hr = HResultFromHttpStatusCode(statusCode);
    if (FAILED(hr))
    {
        // A camera of the other family answers the probe with 404: expected, hence not an error.
        Log(statusCode == HTTP_STATUS_NOT_FOUND ? LogLevel::Debug : LogLevel::Error,
            L"CHttpRequest::SendRequest, failed for url: '%s', status code: %d, '%s'", url, statusCode,
            HttpQueryInfoString(request.get(), HTTP_QUERY_STATUS_TEXT));
        return E_FAIL;
    }
    if (statusCode != HTTP_STATUS_NO_CONTENT)
        hr = ReadBody(request, url, timeoutMs, response);
    else
        hr = S_OK;
    if (SUCCEEDED(hr))
        ClearFailure();
    return hr;
}

HRESULT CAsyncHttpRequest::SendWithCredentials(const COpenRequest& request, const std::wstring& url,
                                               const std::wstring& verb, DWORD timeoutMs, DWORD& statusCode)
{
    statusCode = DoSendRequest(request, m_authorization.CreateAuthorizationCredentials(url, verb), timeoutMs);
    if (statusCode == HTTP_STATUS_DENIED)
    {
        const std::string challenge = HttpQueryInfoStringA(request.get(), HTTP_QUERY_WWW_AUTHENTICATE);
        if (challenge.empty())
        {
            Log(LogLevel::Debug, L"CAsyncHttpRequest::SendRequest, failed to get authenticate header, url: '%s'", url);
            return E_FAIL;
        }
        Log(LogLevel::Debug, L"CHttpRequest::SendRequest, unauthorized, authenticate header: '%s', url: '%s'",
            challenge, url);
        m_authorization.SetAuthenticateResponse(challenge);
        statusCode = DoSendRequest(request, m_authorization.CreateAuthorizationCredentials(url, verb), timeoutMs);
    }
    return IsHttpStatus(statusCode) ? S_OK : static_cast<HRESULT>(statusCode);
}

DWORD CAsyncHttpRequest::DoSendRequest(const COpenRequest& request, const std::string& credentials,
                                       DWORD timeoutMs) noexcept
try
{
    if (request.get() == nullptr)
        return static_cast<DWORD>(E_FAIL);
    ::ResetEvent(m_completed.get());
    // As 8-bit text, so that a UTF-8 user name reaches the wire byte for byte whatever the system's code page; and
    // replacing, so that the second send of a request does not carry the refused credentials along.
    const std::string header = credentials.empty() ? std::string() : "Authorization: " + credentials + "\r\n";
    if (!header.empty() && !::HttpAddRequestHeadersA(request.get(), header.data(), static_cast<DWORD>(header.size()),
                                                     HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE))
    {
        Log(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest failed to HttpAddRequestHeaders, dwLastError = %d",
            ::GetLastError());
        return static_cast<DWORD>(E_FAIL);
    }
    if (::HttpSendRequestW(request.get(), nullptr, 0, nullptr, 0))
    {
        Log(LogLevel::Debug, L"CAsyncHttpRequest::DoSendRequest completed synchronously");
        ::SetEvent(m_completed.get());
    }
    else if (const DWORD lastError = ::GetLastError(); lastError != ERROR_IO_PENDING)
    {
        Log(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest failed to HttpSendRequest, dwLastError = %d",
            lastError);
        return static_cast<DWORD>(E_FAIL);
    }

    switch (::WaitForSingleObject(m_completed.get(), timeoutMs))
    {
    case WAIT_OBJECT_0:
        break;
    case WAIT_TIMEOUT:
        LogThrottled(L"CAsyncHttpRequest::DoSendRequest, timeout");
        return static_cast<DWORD>(kRequestTimeout);
    default:
        Log(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest failed to WaitForSingleObject, dwLastError = %d",
            ::GetLastError());
        return static_cast<DWORD>(E_FAIL);
    }
    if (const DWORD error = request.Block().error; error != 0)
    {
        LogThrottled(L"CAsyncHttpRequest::DoSendRequest, failed, dwError = %d", error);
        return static_cast<DWORD>(E_FAIL);
    }
    DWORD statusCode = 0;
    DWORD sizeBytes = sizeof(statusCode);
    if (!::HttpQueryInfoW(request.get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &statusCode, &sizeBytes,
                          nullptr))
    {
        Log(LogLevel::Error,
            L"CAsyncHttpRequest::DoSendRequest failed to HttpQueryInfo for status code, dwLastError = %d",
            ::GetLastError());
        return static_cast<DWORD>(E_FAIL);
    }
    return statusCode;
}
catch (const std::bad_alloc&)
{
    Log(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, out of memory");
    return static_cast<DWORD>(E_FAIL);
}

HRESULT CAsyncHttpRequest::ReadBody(const COpenRequest& request, const std::wstring& url, DWORD timeoutMs,
                                    std::wstring& response)
{
    CRequestBlock& block = request.Block();
    const DWORD startTick = ::GetTickCount();
    std::size_t totalBytes = 0;
    std::wstring piece;
    for (;;)
    {
        const HRESULT hr = ReadChunk(request, url, timeoutMs);
        if (FAILED(hr) || block.bytesRead == 0)
            return hr;
        // More bytes than the buffer holds means that memory is already overwritten: going on would make it worse.
        if (block.bytesRead > kChunkBytes)
            std::terminate();
        totalBytes += block.bytesRead;
        const DWORD wholeLimitMs =
            Times(timeoutMs, kBodyTimeLimits + static_cast<DWORD>(totalBytes / kBytesOfATimeLimit));
        if (::GetTickCount() - startTick >= wholeLimitMs)
        {
            Log(LogLevel::Error,
                L"CAsyncHttpRequest::SendRequest, response not complete after %d ms, given up, url = '%s'",
                wholeLimitMs, url);
            return E_FAIL;
        }
        block.readBuffer[block.bytesRead] = '\0';
        // A part that is missing would be taken for a setting that the camera does not have.
        if (!DecodeAnsiText(block.readBuffer, piece))
        {
            Log(LogLevel::Error,
                L"CAsyncHttpRequest::SendRequest, failed to MultiByteToWideChar, dwLastError = %d, url = '%s'",
                ::GetLastError(), url);
            return E_FAIL;
        }
        // No character comes of less than a byte. Of bytes that come to nothing, as behind a NUL, there may be more.
        if (response.size() + piece.size() > kMaximumResponseChars || totalBytes > kMaximumHeldBytes)
        {
            Log(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response of more than %d bytes given up, url = '%s'",
                kMaximumResponseChars, url);
            return E_FAIL;
        }
        TextUtil::GrowFor(response, response.size() + piece.size());
        response += piece;
    }
}

HRESULT CAsyncHttpRequest::ReadChunk(const COpenRequest& request, const std::wstring& url, DWORD timeoutMs) noexcept
{
    CRequestBlock& block = request.Block();
    block.bytesRead = 0;
    ::ResetEvent(m_completed.get());
    if (::InternetReadFile(request.get(), block.readBuffer, kChunkBytes, &block.bytesRead))
        return S_OK;
    DWORD error = ::GetLastError();
    if (error == ERROR_IO_PENDING)
    {
        switch (::WaitForSingleObject(m_completed.get(), timeoutMs))
        {
        case WAIT_OBJECT_0:
            error = block.error;
            break;
        case WAIT_TIMEOUT:
            Log(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, receiving response timeout, url = '%s'", url);
            return E_FAIL;
        default:
            error = ::GetLastError();
            break;
        }
    }
    if (error == ERROR_SUCCESS)
        return S_OK;
    Log(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, failed to InternetReadFile, dwLastError = %d, url = '%s'",
        error, url);
    return E_FAIL;
}

std::string CAsyncHttpRequest::HttpQueryInfoStringA(HINTERNET request, DWORD infoLevel)
{
    if (request == nullptr)
        return {};
    std::string text(512, '\0');
    DWORD sizeBytes = static_cast<DWORD>(text.size());
    bool found = ::HttpQueryInfoA(request, infoLevel, text.data(), &sizeBytes, nullptr) != FALSE;
    if (!found && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER)
    {
        if (sizeBytes > kMaximumHeaderBytes)
            return LogFailure(std::string(), LogLevel::Error,
                              L"CAsyncHttpRequest::HttpQueryInfoStringA, header of %d bytes given up, dwInfoLevel = %d",
                              sizeBytes, infoLevel);
        Log(LogLevel::Debug,
            L"CAsyncHttpRequest::HttpQueryInfoStringA, insufficient buffer, try again with new buffer size = %d, "
            L"dwInfoLevel = %d",
            sizeBytes, infoLevel);
        text.resize(sizeBytes);
        found = ::HttpQueryInfoA(request, infoLevel, text.data(), &sizeBytes, nullptr) != FALSE;
    }
    if (!found)
    {
        Log(LogLevel::Error,
            L"CAsyncHttpRequest::HttpQueryInfoStringA, HttpQueryInfo failed, dwLastError = %d, dwInfoLevel = %d",
            ::GetLastError(), infoLevel);
        return {};
    }
    text.resize(sizeBytes);
    return text;
}

std::wstring CAsyncHttpRequest::HttpQueryInfoString(HINTERNET request, DWORD infoLevel)
{
    return CIso88591Encoding().DecodeString(HttpQueryInfoStringA(request, infoLevel));
}
