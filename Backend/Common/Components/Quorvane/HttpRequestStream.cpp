#include "HttpRequestStream.h"

#include "Protocol/HttpStatus.h"
#include "Win32/TimeLimit.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace
{
/// The result field while a POST waits for the notification that its headers are on their way.
constexpr DWORD kAwaitsRequestSent = 1;

bool QueryNumber(HINTERNET request, DWORD infoLevel, DWORD& number) noexcept
{
    DWORD sizeBytes = sizeof(number);
    return ::HttpQueryInfoW(request, infoLevel | HTTP_QUERY_FLAG_NUMBER, &number, &sizeBytes, nullptr) != FALSE;
}
/// WinInet waits for this request's response until its connection ends.
bool LiftReceiveLimit(HINTERNET request) noexcept
{
    DWORD noLimit = 0;
    return ::InternetSetOptionW(request, INTERNET_OPTION_RECEIVE_TIMEOUT, &noLimit, sizeof(noLimit)) != FALSE;
}
} // namespace

CAsyncHttpRequestStream::~CAsyncHttpRequestStream()
{
    CloseStream();
}

bool CAsyncHttpRequestStream::IsStreamOpen() const noexcept
{
    return IsOpen() && m_stream.IsOpen();
}

void CAsyncHttpRequestStream::CloseStream() noexcept
{
    const CStay stay(m_user, kOneCaller);
    m_stream.Close();
}

HRESULT CAsyncHttpRequestStream::OpenStream(const std::wstring& url, const std::wstring& headers,
                                            const std::wstring& verb, DWORD timeoutMs) noexcept
try
{
    const CStay stay(m_user, kOneCaller);
    if (!IsOpen())
        return E_UNEXPECTED;
    const std::wstring method = verb.empty() ? L"GET" : verb;
    if (!OpenRequest(m_stream, method, url))
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::OpenStream, failed to HttpOpenRequest, dwLastError = %d, "
                          L"url = '%s'",
                          ::GetLastError(), url);
    const HRESULT hr = Send(url, headers, timeoutMs);
    if (FAILED(hr))
    {
        CloseStream();
        return hr;
    }
    Log(LogLevel::Debug, L"CAsyncHttpRequestStream::OpenStream, succeeded, url = '%s', verb = '%s', context = 0x%x",
        url, method, &m_stream.Block());
    return S_OK;
}
catch (const std::exception&)
{
    CloseStream();
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAsyncHttpRequestStream::OpenStream, out of memory");
}
catch (HRESULT hr)
{
    CloseStream();
    return LogFailure(hr, LogLevel::Error, L"CAsyncHttpRequestStream::OpenStream, no request could be made, hr = 0x%x",
                      hr);
}

HRESULT CAsyncHttpRequestStream::Send(const std::wstring& url, const std::wstring& headers, DWORD timeoutMs)
{
    CRequestBlock& block = m_stream.Block();
    block.request = m_stream.get();
    LimitWinInetsWaits(m_stream.get(), timeoutMs != 0 ? timeoutMs : kSendLimitMs, kReceiveLimitMs);
    ResetCompleted();
    if (timeoutMs == 0)
    {
        // Before the send too: a wait that WinInet has begun keeps the limit that it began with.
        (void)LiftReceiveLimit(m_stream.get());
        block.NoteUnlimitedReceive();
        block.result = kAwaitsRequestSent;
    }
    if (::HttpSendRequestW(m_stream.get(), headers.empty() ? nullptr : headers.c_str(),
                           static_cast<DWORD>(headers.size()), nullptr, 0))
    {
        Log(LogLevel::Debug, L"CAsyncHttpRequestStream::OpenStream, completed synchronously, url = '%s'", url);
        block.NoteRequestSent();
        SignalCompleted();
    }
    else if (const DWORD lastError = ::GetLastError(); lastError != ERROR_IO_PENDING)
    {
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::OpenStream, failed to HttpSendRequest, dwLastError = %d, "
                          L"url = '%s'",
                          lastError, url);
    }
    if (timeoutMs == 0)
        return S_OK;

    DWORD statusCode = 0;
    std::wstring responseHeaders;
    std::string content;
    const HRESULT hr = ReceiveResponse(statusCode, responseHeaders, content, timeoutMs, false);
    if (FAILED(hr))
        return LogFailure(hr, LogLevel::Debug,
                          L"CAsyncHttpRequestStream::OpenStream, WaitForResponse failed, hr = 0x%x, url = '%s'", hr,
                          url);
    ClearFailure();
    return S_OK;
}

HRESULT CAsyncHttpRequestStream::WaitForResponse(DWORD& statusCode, std::wstring& headers, std::string& content,
                                                 DWORD timeoutMs) noexcept
try
{
    const CStay stay(m_user, kOneCaller);
    return ReceiveResponse(statusCode, headers, content, timeoutMs, true);
}
catch (const std::exception&)
{
    headers.clear();
    content.clear();
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAsyncHttpRequestStream::WaitForResponse, out of memory");
}

HRESULT CAsyncHttpRequestStream::ReceiveResponse(DWORD& statusCode, std::wstring& headers, std::string& content,
                                                 DWORD timeoutMs, bool waitForContent)
{
    statusCode = 0;
    headers.clear();
    content.clear();
    const CTimeLimit limit(timeoutMs);
    HRESULT hr = WaitForHeaders(timeoutMs);
    if (FAILED(hr))
        return hr;
    DWORD lengthBytes = 0;
    hr = ReadHeaders(statusCode, headers, lengthBytes);
    if (FAILED(hr) || statusCode == HTTP_STATUS_NO_CONTENT || lengthBytes == 0)
        return hr;
    hr = ReadAnnounced(content, lengthBytes, limit.RemainingMs(), waitForContent);
    if (FAILED(hr))
        Log(LogLevel::Debug, L"CAsyncHttpRequestStream::WaitForResponse, ReadContentText failed, hr = 0x%x", hr);
    return S_OK;
}

HRESULT CAsyncHttpRequestStream::ReadAnnounced(std::string& content, DWORD lengthBytes, DWORD timeoutMs,
                                               bool waitForContent)
{
    // Only what is there is read: a read that had to wait would take the bytes that the next Read is to return.
    const CTimeLimit limit(timeoutMs);
    DWORD availableBytes = 0;
    DWORD error = QueryDataAvailable(availableBytes);
    if (error == ERROR_IO_PENDING)
    {
        if (!waitForContent)
            return S_OK;
        if (const DWORD waited = WaitForCompleted(timeoutMs); waited != WAIT_OBJECT_0)
            return waited == WAIT_TIMEOUT ? kRequestTimeout : E_FAIL;
        error = TakeQueryResult(availableBytes);
    }
    if (error != ERROR_SUCCESS)
        return E_FAIL;
    if (availableBytes != 0)
        ReadContentText(m_stream, content, std::min(lengthBytes, availableBytes), limit.RemainingMs());
    return S_OK;
}

HRESULT CAsyncHttpRequestStream::WaitForHeaders(DWORD timeoutMs) noexcept
{
    switch (WaitForCompleted(timeoutMs))
    {
    case WAIT_OBJECT_0:
        break;
    case WAIT_TIMEOUT:
        LogThrottled(L"CAsyncHttpRequestStream::WaitForResponse, timeout");
        return kRequestTimeout;
    default:
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::WaitForResponse failed to WaitForSingleObject, dwLastError = %d",
                          ::GetLastError());
    }
    if (m_stream.HasBlock() && m_stream.Block().error != 0)
    {
        LogThrottled(L"CAsyncHttpRequestStream::WaitForResponse, failed, dwError = %d", m_stream.Block().error);
        return E_FAIL;
    }
    if (!m_stream.IsOpen())
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream:WaitForResponse, NULL file handle, unexpected.");
    return S_OK;
}

HRESULT CAsyncHttpRequestStream::ReadHeaders(DWORD& statusCode, std::wstring& headers, DWORD& contentLengthBytes)
{
    const CHandleUse request(m_stream.Block());
    if (!QueryNumber(request.get(), HTTP_QUERY_STATUS_CODE, statusCode))
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::WaitForResponse, failed to HttpQueryInfo for status code, "
                          L"dwLastError = %d",
                          ::GetLastError());
    const HRESULT hr = HResultFromHttpStatusCode(statusCode);
    if (hr != S_OK)
        Log(LogLevel::Debug, L"CAsyncHttpRequestStream::WaitForResponse, status code = %d, '%s'", statusCode,
            HttpQueryInfoString(request.get(), HTTP_QUERY_STATUS_TEXT));
    if (FAILED(hr))
        return E_FAIL;
    headers = HttpQueryInfoString(request.get(), HTTP_QUERY_RAW_HEADERS_CRLF);
    contentLengthBytes = 0;
    if (!QueryNumber(request.get(), HTTP_QUERY_CONTENT_LENGTH, contentLengthBytes))
    {
        contentLengthBytes = 0;
        if (const DWORD lastError = ::GetLastError(); lastError != ERROR_HTTP_HEADER_NOT_FOUND)
            return LogFailure(E_FAIL, LogLevel::Error,
                              L"CAsyncHttpRequest::WaitForResponse, failed to HttpQueryInfo for content length, "
                              L"dwLastError = %d",
                              lastError);
    }
    return S_OK;
}

HRESULT CAsyncHttpRequestStream::Read(std::string& data, DWORD timeoutMs) noexcept
try
{
    const CStay stay(m_user, kOneCaller);
    data.clear();
    if (!IsStreamOpen())
        return E_UNEXPECTED;
    const CTimeLimit limit(timeoutMs);
    CRequestBlock& block = m_stream.Block();
    if (block.readPending)
    {
        if (!WaitForPendingRead(timeoutMs))
            return kRequestTimeout;
        data.assign(block.readBuffer, std::min(block.buffers.dwBufferLength, CRequestBlock::kReadBufferBytes));
        return S_OK;
    }
    DWORD availableBytes = 0;
    const DWORD error = QueryDataAvailable(availableBytes);
    if (error == ERROR_IO_PENDING)
    {
        const HRESULT hr = WaitForQuery(availableBytes, timeoutMs);
        if (FAILED(hr))
            return hr;
    }
    else if (error != ERROR_SUCCESS)
    {
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::Read, failed to InternetQueryDataAvailable, dwLastError = %d",
                          error);
    }
    if (availableBytes == 0)
    {
        Log(LogLevel::Debug,
            L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable, no data available, context = 0x%x", &block);
        return S_OK;
    }
    ReadContentText(m_stream, data, availableBytes, limit.RemainingMs());
    Log(LogLevel::Trace, L"CAsyncHttpRequestStream::Read, %s", data);
    return S_OK;
}
catch (const std::exception&)
{
    data.clear();
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAsyncHttpRequestStream::Read, out of memory");
}

DWORD CAsyncHttpRequestStream::QueryDataAvailable(DWORD& availableBytes) noexcept
{
    CRequestBlock& block = m_stream.Block();
    availableBytes = 0;
    if (block.queryPending)
        return ERROR_IO_PENDING;
    ResetCompleted();
    const CHandleUse request(block);
    if (!request)
        return ERROR_INVALID_HANDLE;
    if (::InternetQueryDataAvailable(request.get(), &block.availableBytes, 0, 0))
    {
        availableBytes = block.availableBytes;
        return ERROR_SUCCESS;
    }
    const DWORD lastError = ::GetLastError();
    block.queryPending = lastError == ERROR_IO_PENDING;
    return lastError;
}

DWORD CAsyncHttpRequestStream::TakeQueryResult(DWORD& availableBytes) noexcept
{
    CRequestBlock& block = m_stream.Block();
    block.queryPending = false;
    availableBytes = block.result;
    return block.error;
}

HRESULT CAsyncHttpRequestStream::WaitForQuery(DWORD& availableBytes, DWORD timeoutMs) noexcept
{
    CRequestBlock& block = m_stream.Block();
    Log(LogLevel::Trace, L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable io pending");
    switch (WaitForCompleted(timeoutMs))
    {
    case WAIT_OBJECT_0:
        break;
    case WAIT_TIMEOUT:
        return LogFailure(kRequestTimeout, LogLevel::Error,
                          L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable timeout, context = 0x%x", &block);
    default:
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::Read, failed to WaitForSingleObject, dwLastError = %d",
                          ::GetLastError());
    }
    if (!IsStreamOpen())
        return E_UNEXPECTED;
    if (const DWORD error = TakeQueryResult(availableBytes); error != ERROR_SUCCESS)
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CAsyncHttpRequestStream::Read, InternetQueryDataAvailable failed, error code = %d, "
                          L"context = 0x%x",
                          error, &block);
    return S_OK;
}

DWORD CAsyncHttpRequestStream::ReadContentText(const COpenRequest& request, std::string& text, DWORD sizeBytes,
                                               DWORD timeoutMs)
{
    const DWORD takenBytes = std::min(sizeBytes, kMaximumReadBytes);
    text.assign(takenBytes, '\0');
    const DWORD countBytes = ReadContent(request, text.data(), takenBytes, timeoutMs);
    text.resize(countBytes);
    return countBytes;
}

DWORD CAsyncHttpRequestStream::ReadContent(const COpenRequest& request, char* buffer, DWORD sizeBytes,
                                           DWORD timeoutMs) noexcept
{
    if (!request.HasBlock() || buffer == nullptr || sizeBytes == 0)
        return 0;
    CRequestBlock& block = request.Block();
    const CTimeLimit limit(timeoutMs);
    DWORD totalBytes = 0;
    // In pieces of the block's buffer: a read that is given up may fill its buffer at any later moment.
    while (totalBytes < sizeBytes)
    {
        const CHandleUse handle(block);
        if (!handle)
            break;
        const DWORD pieceBytes = std::min(sizeBytes - totalBytes, CRequestBlock::kReadBufferBytes);
        std::memset(block.readBuffer, 0, pieceBytes);
        block.buffers = {};
        block.buffers.dwStructSize = sizeof(block.buffers);
        block.buffers.lpvBuffer = block.readBuffer;
        block.buffers.dwBufferLength = pieceBytes;
        ResetCompleted();
        if (!::InternetReadFileExW(handle.get(), &block.buffers, 0, 0))
        {
            const DWORD lastError = ::GetLastError();
            block.readPending = lastError == ERROR_IO_PENDING;
            if (!block.readPending || !WaitForPendingRead(limit.RemainingMs()))
            {
                Log(LogLevel::Error,
                    L"CAsyncHttpRequestStream::ReadContent, failed to InternetReadFile, "
                    L"dwLastError = %d",
                    lastError);
                break;
            }
        }
        const DWORD readBytes = std::min(block.buffers.dwBufferLength, pieceBytes);
        std::memcpy(buffer + totalBytes, block.readBuffer, readBytes);
        totalBytes += readBytes;
        if (readBytes < pieceBytes)
            break;
    }
    return totalBytes;
}

bool CAsyncHttpRequestStream::WaitForPendingRead(DWORD timeoutMs) noexcept
{
    CRequestBlock& block = m_stream.Block();
    if (WaitForCompleted(timeoutMs) != WAIT_OBJECT_0)
        return false;
    block.readPending = false;
    if (block.error != 0)
        block.buffers.dwBufferLength = 0;
    return true;
}

bool CAsyncHttpRequestStream::IsExchangeOver() const noexcept
{
    CRequestBlock& block = m_stream.Block();
    if (const DWORD sent = block.SendResult(); sent != ERROR_SUCCESS && sent != ERROR_IO_PENDING)
        return true;
    if (!block.HasCompleted())
        return false;
    const CHandleUse request(block);
    DWORD statusCode = 0;
    if (!request || block.error != 0 || !QueryNumber(request.get(), HTTP_QUERY_STATUS_CODE, statusCode) ||
        statusCode == 0)
        return true;
    // Answered. Whether the server reads on is its own affair, unless WinInet has parted with the connection: writing
    // to it then ends in an access violation under Wine 8.
    DWORD lengthBytes = 1;
    return statusCode == HTTP_STATUS_NO_CONTENT ||
           (QueryNumber(request.get(), HTTP_QUERY_CONTENT_LENGTH, lengthBytes) && lengthBytes == 0);
}

DWORD CAsyncHttpRequestStream::WaitUntilSent() noexcept
{
    const CRequestBlock& block = m_stream.Block();
    const CTimeLimit limit(kSendLimitMs);
    // The event may also stand for something else that happened to the request: what counts is what the block knows.
    while (block.SendResult() == ERROR_IO_PENDING && IsStreamOpen())
    {
        switch (WaitForCompleted(limit.RemainingMs()))
        {
        case WAIT_OBJECT_0:
            break;
        case WAIT_TIMEOUT:
            return block.SendResult() == ERROR_IO_PENDING ? ERROR_INTERNET_TIMEOUT : block.SendResult();
        default:
            return ::GetLastError();
        }
    }
    return block.SendResult();
}

HRESULT CAsyncHttpRequestStream::Write(std::string_view data) noexcept
try
{
    const CStay stay(m_user, kOneCaller);
    if (!IsStreamOpen())
        return E_UNEXPECTED;
    CRequestBlock& block = m_stream.Block();
    block.written.assign(data);
    DWORD lastError = WaitUntilSent();
    if (!IsStreamOpen())
        return E_UNEXPECTED;
    if (lastError == ERROR_SUCCESS)
    {
        if (IsExchangeOver())
        {
            CloseStream();
            return E_UNEXPECTED;
        }
        const CHandleUse request(block);
        if (!request)
            return E_UNEXPECTED;
        if (::InternetWriteFile(request.get(), block.written.data(), static_cast<DWORD>(block.written.size()),
                                &block.bytesWritten))
            return S_OK;
        lastError = ::GetLastError();
    }
    Log(LogLevel::Error, L"CAsyncHttpRequestStream::Write, failed to call InternetWriteFile, dwLastError = %d",
        lastError);
    // WinInet may go on reading what it was given: that text is the request's last.
    if (lastError == ERROR_IO_PENDING)
        CloseStream();
    return E_FAIL;
}
catch (const std::exception&)
{
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAsyncHttpRequestStream::Write, out of memory");
}

HRESULT CAsyncHttpRequestStreamPost::OpenStream(const std::wstring& url, const std::wstring& headers) noexcept
{
    const HRESULT hr = CAsyncHttpRequestStream::OpenStream(url, headers, L"POST", 0);
    if (FAILED(hr))
        return hr;
    // Nobody ever answers this request: without this WinInet would give it up in the middle of the session.
    const CHandleUse request(m_stream.Block());
    if (request && !LiftReceiveLimit(request.get()))
        Log(LogLevel::Debug,
            L"CAsyncHttpRequestStreamPost::OpenStream, InternetSetOption failed, ignored, dwLastError = %d",
            ::GetLastError());
    return S_OK;
}

void CAsyncHttpRequestStreamPost::OnRequestSent(RequestContext* context) noexcept
{
    if (context == nullptr || context->result != kAwaitsRequestSent)
        return;
    Log(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::OnRequestSent, request sent, dwContext = 0x%x", context);
    context->result = 0; // before the owner wakes up
    SignalCompleted();
}

void CAsyncHttpRequestStreamPost::OnConnectionClosed(RequestContext* context) noexcept
{
    Log(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::OnConnectionClosed, connection closed, dwContext = 0x%x",
        context);
    static_cast<CRequestBlock*>(context)->EndHandle();
    LoseConnection();
}

bool CAsyncHttpRequestStreamPost::IsRequestSent() noexcept
{
    const CStay stay(m_user, kOneCaller);
    if (!IsOpen())
        return false;
    const DWORD result = WaitForCompleted(kRequestSentWaitMs);
    if (result == WAIT_OBJECT_0)
        return IsOpen() && m_stream.HasBlock() && m_stream.Block().SendResult() == ERROR_SUCCESS;
    Log(LogLevel::Debug, L"CAsyncHttpRequestStreamPost::IsRequestSent, wait result: %d", result);
    return false;
}

bool CAsyncHttpRequestStreamPost::IsStreamOpen() noexcept
{
    const CStay stay(m_user, kOneCaller);
    if (!CAsyncHttpRequestStream::IsStreamOpen())
        return false;
    if (!IsExchangeOver())
        return true;
    CloseStream();
    return false;
}
