#pragma once

#include "HttpRequest.h"

#include <windows.h>

#include <wininet.h>

#include <string>
#include <string_view>

/// Long-lived HTTP request whose response body is read piece by piece as it arrives.
/// Held by value by CRtspConnection; owns its request (and its base the connection), borrows nothing.
/// One caller at a time; WinInet's threads enter only through the On... notifications.
/// Failures are logged, then returned; out parameters are cleared first. A time-out leaves the stream usable.
/// Hazard: a data-availability query that ran out of its time limit stays under way. The next read waits for that
/// query instead of starting another one; its buffers live in the request's block, see RequestLifetime.h.
class CAsyncHttpRequestStream : public CAsyncHttpRequest
{
public:
    using CAsyncHttpRequest::CAsyncHttpRequest;
    virtual ~CAsyncHttpRequestStream();

    /// Sends the request on the connection that OpenConnection made, and keeps it. Closes the one that was open.
    /// `headers` are the extra header lines, CRLF between them; an empty verb means "GET". Waits up to `timeoutMs` for
    /// the response headers; 0 means not at all. Never answers a 401.
    /// S_OK; kRequestTimeout; E_UNEXPECTED without a connection; E_FAIL for the rest, a failing HTTP status included.
    [[nodiscard]] HRESULT OpenStream(const std::wstring& url, const std::wstring& headers, const std::wstring& verb,
                                     DWORD timeoutMs) noexcept;

    /// Waits for the response headers of a request that was sent. `headers` receives all of them, decoded from
    /// ISO-8859-1; `content` what has come, within the same limit, of a body whose length was announced.
    [[nodiscard]] HRESULT WaitForResponse(DWORD& statusCode, std::wstring& headers, std::string& content,
                                          DWORD timeoutMs) noexcept;

    /// Waits up to `timeoutMs` for data and returns what is there, at most kMaximumReadBytes at a time. S_OK with no
    /// data: the server has ended the response. kRequestTimeout; E_UNEXPECTED when the stream is not open; E_FAIL for
    /// the rest.
    [[nodiscard]] HRESULT Read(std::string& data, DWORD timeoutMs) noexcept;

    /// Appends to the request's body. S_OK once WinInet has taken the bytes; E_UNEXPECTED when the stream is not open;
    /// E_FAIL for the rest. Waits up to kSendLimitMs for the headers of a request that is still being connected: before
    /// that there may be no connection to write to, and WinInet does not check.
    [[nodiscard]] HRESULT Write(std::string_view data) noexcept;

    /// True while connection and request are there.
    [[nodiscard]] bool IsStreamOpen() const noexcept;
    /// Gives the request up and keeps the connection. Waits for nothing.
    void CloseStream() noexcept;

    /// How long WinInet may wait for data that was asked for and given up. A camera's late answer comes within this
    /// time; afterwards WinInet closes the connection, and a request that was closed meanwhile lets go of its memory.
    static constexpr DWORD kReceiveLimitMs = 30'000;
    /// Limits connecting and each Write of a stream that does not wait for its response.
    static constexpr DWORD kSendLimitMs = 4000;
    /// What a server announces or sends does not decide how much memory one Read takes; the rest is the next one's.
    static constexpr DWORD kMaximumReadBytes = 1024 * 1024;

protected:
    /// Reads up to `sizeBytes` that are known to be there. Returns how many have come within `timeoutMs`, 0 on failure.
    [[nodiscard]] DWORD ReadContent(const COpenRequest& request, char* buffer, DWORD sizeBytes,
                                    DWORD timeoutMs) noexcept;
    /// The same, into a text that is as long as what has come; at most kMaximumReadBytes.
    DWORD ReadContentText(const COpenRequest& request, std::string& text, DWORD sizeBytes, DWORD timeoutMs);
    /// The request has ended, or been answered with nothing to come: its connection is not its own any more.
    [[nodiscard]] bool IsExchangeOver() const noexcept;

private:
    [[nodiscard]] HRESULT Send(const std::wstring& url, const std::wstring& headers, DWORD timeoutMs);
    [[nodiscard]] HRESULT WaitForHeaders(DWORD timeoutMs) noexcept;
    [[nodiscard]] HRESULT ReadHeaders(DWORD& statusCode, std::wstring& headers, DWORD& contentLengthBytes);
    [[nodiscard]] HRESULT ReceiveResponse(DWORD& statusCode, std::wstring& headers, std::string& content,
                                          DWORD timeoutMs, bool waitForContent);
    /// The announced content, as far as it has come.
    [[nodiscard]] HRESULT ReadAnnounced(std::string& content, DWORD lengthBytes, DWORD timeoutMs, bool waitForContent);
    /// ERROR_SUCCESS with the count, ERROR_IO_PENDING when it has to be waited for, else the error. Logs nothing, nor
    /// does TakeQueryResult, which ends a query that was waited for.
    [[nodiscard]] DWORD QueryDataAvailable(DWORD& availableBytes) noexcept;
    [[nodiscard]] DWORD TakeQueryResult(DWORD& availableBytes) noexcept;
    [[nodiscard]] HRESULT WaitForQuery(DWORD& availableBytes, DWORD timeoutMs) noexcept;
    /// ERROR_SUCCESS once the request's headers are on their way.
    [[nodiscard]] DWORD WaitUntilSent() noexcept;
    [[nodiscard]] bool WaitForPendingRead(DWORD timeoutMs) noexcept;
};

/// Long-lived POST whose body is written piece by piece; nobody waits for its response.
/// Ownership, threads and failures as for its base. Closed by its owner, or by the notification that the server has
/// closed the connection: from then on it has no request and no connection, IsOpen and IsStreamOpen say so, and
/// Write returns E_UNEXPECTED. OpenConnection makes it usable again.
/// Hazard: that notification comes on one of WinInet's threads while the owner may be inside Write. It only marks the
/// object closed; the handle goes with the last call that uses it, connection and session with the owner's next
/// Close or OpenConnection.
class CAsyncHttpRequestStreamPost : public CAsyncHttpRequestStream
{
public:
    using CAsyncHttpRequestStream::CAsyncHttpRequestStream;

    void OnConnectionClosed(RequestContext* context) noexcept override;
    void OnRequestSent(RequestContext* context) noexcept override;

    /// Returns before anything is answered.
    [[nodiscard]] HRESULT OpenStream(const std::wstring& url, const std::wstring& headers) noexcept;
    /// Waits up to kRequestSentWaitMs for the request's headers to be on their way. A request that failed is not sent.
    [[nodiscard]] bool IsRequestSent() noexcept;

    /// As the base says. A request that ended without an answer, or with one that is complete, is closed here as well:
    /// a server that closes the connection in good order is not always reported by a notification.
    [[nodiscard]] bool IsStreamOpen() noexcept;

    static constexpr DWORD kRequestSentWaitMs = 1000;
};
