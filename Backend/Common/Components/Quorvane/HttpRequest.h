#pragma once

#include "Authentication.h"
#include "Protocol/Log.h"
#include "RequestLifetime.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <wininet.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

/// The result of every operation that ran out of its time limit (facility 0x00C, Win32 code ERROR_TIMEOUT).
inline constexpr HRESULT kRequestTimeout = static_cast<HRESULT>(0x800C05B4);

/// Blocking, time-limited HTTP requests to one camera over asynchronous WinInet. Answers a 401 once with Basic or
/// Digest credentials. Owns session, connection and event handles; stays usable after any failed request.
/// One caller at a time; WinInet's threads enter only through OnInternetStatus, which touches the request's context
/// record and the completion event.
/// Has no virtual destructor: it is held by value, and never deleted through a base pointer.
/// Failures are logged, then returned; send failures and time-outs at most once an hour per camera.
/// Hazard: WinInet goes on notifying about a request after it was given up and closed; COpenRequest keeps such
/// notifications away from this object and from the next request.
class CAsyncHttpRequest
{
public:
    using TickSource = DWORD(WINAPI*)();

    explicit CAsyncHttpRequest(TickSource tickCount = &::GetTickCount) noexcept;
    ~CAsyncHttpRequest();
    CAsyncHttpRequest(const CAsyncHttpRequest&) = delete;
    CAsyncHttpRequest& operator=(const CAsyncHttpRequest&) = delete;

    // The four notifications, dispatched by OnInternetStatus. `context` belongs to the request; never blocks.
    virtual void OnRequestComplete(RequestContext* context, const INTERNET_ASYNC_RESULT* result) noexcept;
    virtual void OnConnectionClosed(RequestContext* context) noexcept;
    virtual void OnRequestSent(RequestContext* context) noexcept;
    virtual void OnResponseReceived(RequestContext* context) noexcept;

    /// Closes what was open, then opens session and connection; sends nothing yet. Null texts count as empty.
    /// E_INVALIDARG for an empty server name or port 0 (what was open stays open), E_FAIL when WinInet refuses.
    [[nodiscard]] HRESULT OpenConnection(const wchar_t* server, WORD port, const wchar_t* userName,
                                         const wchar_t* password) noexcept;

    /// Sends one request and reads the whole answer. An empty url means "/", an empty verb "GET".
    /// `statusCode` receives the HTTP status, or the failure of the exchange when there was none; `response` the body,
    /// decoded from the system's ANSI code page, empty on failure. What it held before is released first.
    /// `timeoutMs` limits each wait: for the response headers (twice when credentials are asked for) and for every
    /// 4095 bytes of body; the body as a whole may take kBodyTimeLimits of them, and one more for every
    /// kBytesOfATimeLimit that have come. The registry value CameraCGICommandTimeout replaces it.
    /// S_OK (also for status 500, whose body the caller wants); kRequestTimeout when no answer came in time;
    /// E_FAIL for every other failure, a failing HTTP status and a body of more than kMaximumResponseChars included;
    /// E_UNEXPECTED when not connected.
    [[nodiscard]] HRESULT SendRequest(const std::wstring& url, DWORD& statusCode, std::wstring& response,
                                      const std::wstring& verb, DWORD timeoutMs) noexcept;

    /// True between a successful OpenConnection and Close, unless a stream has lost the connection in between.
    [[nodiscard]] bool IsOpen() const noexcept;

    /// Forgets credentials and challenge and closes all handles, a stream's request first. Waits up to `waitMs` for
    /// requests that were given up and that WinInet still has to let go of.
    void Close(DWORD waitMs = kCloseWaitMs) noexcept;

    static constexpr DWORD kCloseWaitMs = 2000;
    /// What the text of an answer may take, as UTF-16, its null and its room to grow included: what a camera sends must
    /// not exhaust the host's address space. A longer body is given up, and so is one of more bytes than this, whatever
    /// they come to. While the text grows, its old copy of at most half stands beside it.
    static constexpr std::size_t kMaximumHeldBytes = 16u * 1024 * 1024;
    static constexpr std::size_t kMaximumResponseChars = kMaximumHeldBytes / sizeof(wchar_t) - 1;
    /// Nor may it, with a few bytes now and then, keep a caller for hours. Of no importance up to 64 KB of body,
    /// however slow, nor for a large one that comes at some speed.
    static constexpr DWORD kBodyTimeLimits = 16;
    static constexpr std::size_t kBytesOfATimeLimit = 256 * 1024;
    /// A longer header is given up: the challenge among them stays as long as the connection.
    static constexpr DWORD kMaximumHeaderBytes = 64 * 1024;
    /// Connections that the camera has redirected, and that still have requests which WinInet does not let go of. With
    /// so many of them SendRequest fails with E_FAIL, until they are gone.
    static constexpr std::size_t kMaximumLeft = 8;

    /// Earlier sessions of this object, at most CLeftSessions::kMaximum, of which WinInet still has requests.
    [[nodiscard]] std::size_t CountLeftSessions() noexcept
    {
        return m_leftSessions.Count();
    }

protected:
    /// One header of the answer as 8-bit text, empty on failure and when it is longer than kMaximumHeaderBytes.
    /// `infoLevel` is an HTTP_QUERY_... value.
    [[nodiscard]] static std::string HttpQueryInfoStringA(HINTERNET request, DWORD infoLevel);
    /// The same, decoded from ISO-8859-1.
    [[nodiscard]] static std::wstring HttpQueryInfoString(HINTERNET request, DWORD infoLevel);

    /// Logs a send failure or time-out of this camera unless one was logged within the last hour.
    template <class... Arguments>
    void LogThrottled(LogFormatAt message, const Arguments&... arguments) noexcept
    {
        if (ShouldReportFailure())
            Log(LogLevel::Error, message, arguments...);
    }
    /// This camera's next failure is logged again.
    void ClearFailure() noexcept;

    // What the streams need of the connection.
    /// HttpOpenRequest for this connection; the last error is WinInet's when it fails.
    [[nodiscard]] bool OpenRequest(COpenRequest& request, const std::wstring& verb, const std::wstring& url);
    /// Limits WinInet's own waits for connecting and sending, and with `receiveLimitMs` for each piece received.
    static void LimitWinInetsWaits(HINTERNET request, DWORD connectLimitMs, DWORD receiveLimitMs) noexcept;
    void ResetCompleted() noexcept;
    void SignalCompleted() noexcept;
    /// WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED, as the system has it.
    [[nodiscard]] DWORD WaitForCompleted(DWORD timeoutMs) noexcept;
    /// From a notification: the object counts as closed from now on. Its handles are closed by the owner's next Close
    /// or OpenConnection, since the owner may be waiting on one of them at this moment.
    void LoseConnection() noexcept;

    /// The request that lives longer than one call; the streams' only. Closed by Close.
    COpenRequest m_stream;

    // The checked build looks whether there is one caller at a time.
    using CStay = Lifetime::CStay<Lifetime::CUser>;
    static constexpr char kOneCaller[] = "two threads use one HTTP request";
    [[no_unique_address]] Lifetime::CUser m_user;
    [[no_unique_address]] Lifetime::CMark m_mark;

    [[nodiscard]] bool OpenSession(const wchar_t* agent, DWORD accessType, const wchar_t* proxy,
                                   const wchar_t* proxyBypass, DWORD flags);
    void CloseSession() noexcept;

private:
    friend class CRequestBlock;
    [[nodiscard]] bool ShouldReportFailure() noexcept;
    /// Waits, within limits, for WinInet's last notifications about requests that were closed.
    void LetGoOfRequests(DWORD waitMs) noexcept;
    /// A connection to the server; one that there was before is kept for the requests that it still has.
    [[nodiscard]] bool Connect();
    /// Before a request: the camera may have sent an earlier one elsewhere, which is no reason to send this one there.
    /// False when no other connection can be opened, or when kMaximumLeft of them still have requests kCloseWaitMs
    /// later.
    [[nodiscard]] bool LeaveRedirection();
    void OnInternetStatus(RequestContext* context, DWORD status, void* information) noexcept;

    [[nodiscard]] HRESULT Exchange(const std::wstring& url, DWORD& statusCode, std::wstring& response,
                                   const std::wstring& verb, DWORD timeoutMs);
    [[nodiscard]] HRESULT SendWithCredentials(const COpenRequest& request, const std::wstring& url,
                                              const std::wstring& verb, DWORD timeoutMs, DWORD& statusCode);
    /// The HTTP status, or E_FAIL, or kRequestTimeout.
    [[nodiscard]] DWORD DoSendRequest(const COpenRequest& request, const std::string& headers,
                                      DWORD timeoutMs) noexcept;
    [[nodiscard]] HRESULT ReadBody(const COpenRequest& request, const std::wstring& url, DWORD timeoutMs,
                                   std::wstring& response);
    [[nodiscard]] HRESULT ReadChunk(const COpenRequest& request, const std::wstring& url, DWORD timeoutMs) noexcept;

    // Destroyed in reverse order: the event outlives connection and session, whose closing may still set it.
    TickSource m_tickCount;
    CKernelHandle m_completed; // auto-reset
    std::shared_ptr<CSessionRequests> m_sessionRequests;
    CLeftSessions m_leftSessions;
    CInternetHandle m_session;
    CInternetHandle m_connection;
    std::vector<CInternetHandle> m_leftConnections; ///< closed as soon as no request is left
    std::wstring m_server;
    WORD m_port = 0;
    AuthorizationRequest m_authorization;
    int m_serverIndex = -1;
    std::atomic<bool> m_connectionLost{false};
};
