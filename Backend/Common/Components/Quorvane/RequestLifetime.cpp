#include "RequestLifetime.h"

#include "HttpRequest.h"
#include "Protocol/Log.h"

#include <algorithm>
#include <utility>

static_assert(sizeof(RequestContext) == 16, "four 32-bit fields");

namespace
{
class CExclusiveHolder
{
public:
    explicit CExclusiveHolder(SRWLOCK& lock) noexcept : m_lock(lock)
    {
        Lifetime::EnterLock(Lifetime::LockRank::Leaf);
        ::AcquireSRWLockExclusive(&m_lock);
    }
    ~CExclusiveHolder()
    {
        ::ReleaseSRWLockExclusive(&m_lock);
        Lifetime::LeaveLock(Lifetime::LockRank::Leaf);
    }
    CExclusiveHolder(const CExclusiveHolder&) = delete;
    CExclusiveHolder& operator=(const CExclusiveHolder&) = delete;

private:
    SRWLOCK& m_lock;
};

void LogStatus(DWORD status, const RequestContext* context) noexcept
{
    switch (status)
    {
    case INTERNET_STATUS_REQUEST_SENT:
        Log(LogLevel::Trace, L"CAsyncHttpRequest::InternetStatusCallback, request sent, dwContext = 0x%x", context);
        break;
    case INTERNET_STATUS_RESPONSE_RECEIVED:
        Log(LogLevel::Trace, L"CAsyncHttpRequest::InternetStatusCallback, response received, dwContext = 0x%x",
            context);
        break;
    case INTERNET_STATUS_CONNECTION_CLOSED:
        Log(LogLevel::Trace, L"CAsyncHttpRequest::InternetStatusCallback, connection closed, dwContext = 0x%x",
            context);
        break;
    case INTERNET_STATUS_REQUEST_COMPLETE:
        Log(LogLevel::Trace, L"CAsyncHttpRequest::InternetStatusCallback() - Request Completed, dwContext = 0x%x",
            context);
        break;
    default:
        Log(LogLevel::Trace, L"CAsyncHttpRequest::InternetStatusCallback, dwInternetStatus = %d, dwContext = 0x%x",
            status, context);
        break;
    }
}
} // namespace

void CSessionRequests::Add() noexcept
{
    const CExclusiveHolder holder(m_lock);
    ++m_count;
}

void CSessionRequests::Remove() noexcept
{
    const CExclusiveHolder holder(m_lock);
    Lifetime::Require(m_count != 0, "a session has fewer requests than none");
    if (--m_count == 0)
        ::WakeAllConditionVariable(&m_removed);
}

bool CSessionRequests::WaitUntilNone(DWORD limitMs) noexcept
{
    const CExclusiveHolder holder(m_lock);
    const DWORD startTick = ::GetTickCount();
    while (m_count != 0)
    {
        const DWORD elapsedMs = ::GetTickCount() - startTick;
        if (elapsedMs >= limitMs || !::SleepConditionVariableSRW(&m_removed, &m_lock, limitMs - elapsedMs, 0))
            return m_count == 0;
    }
    return true;
}

void CSessionRequests::BeginConnection() noexcept
{
    ++m_connection;
    m_isRedirected = false;
}

unsigned CSessionRequests::Connection() const noexcept
{
    return m_connection;
}

void CSessionRequests::NoteRedirect(unsigned connection) noexcept
{
    // When one begins in between, the worst that comes of it is a further connection.
    if (connection == m_connection)
        m_isRedirected = true;
}

bool CSessionRequests::IsRedirected() const noexcept
{
    return m_isRedirected;
}

void CLeftSessions::Add(std::shared_ptr<CSessionRequests> session) noexcept
{
    if (Count() < kMaximum)
        std::ranges::find(m_sessions, nullptr)->swap(session);
}

std::size_t CLeftSessions::Count() noexcept
{
    for (std::shared_ptr<CSessionRequests>& session : m_sessions)
        if (session && session->WaitUntilNone(0))
            session.reset();
    return kMaximum - static_cast<std::size_t>(std::ranges::count(m_sessions, nullptr));
}

void CALLBACK CRequestBlock::StatusCallback(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information,
                                            DWORD) noexcept
{
    // Connection and session handles carry no context.
    if (context == 0)
        return;
    CRequestBlock* block = static_cast<CRequestBlock*>(reinterpret_cast<RequestContext*>(context));
    block->m_mark.Check("WinInet notifies about a request that is destroyed");
    Lifetime::Require(block->m_lentToWinInet, "WinInet notifies about a request after its last word on it");
    // The owner may close its request from inside the notification; the close then delivers the last notification
    // of the handle right here, one level deeper, and that must not take the block away from under this call.
    block->m_references.Add();
    // Before anybody is told, so that whoever is woken up finds it noted.
    if (status == INTERNET_STATUS_REQUEST_SENT)
        block->NoteRequestSent();
    if (status == INTERNET_STATUS_REQUEST_COMPLETE && !block->m_completed)
    {
        block->NoteSendResult(static_cast<const INTERNET_ASYNC_RESULT*>(information));
        block->m_completed = true;
    }
    // Also of a request that was given up.
    if (status == INTERNET_STATUS_REDIRECT)
        block->m_session->NoteRedirect(block->m_connection);
    LogStatus(status, block);
    if (status == INTERNET_STATUS_HANDLE_CREATED)
        block->m_handleAnnounced = true;
    {
        // An owner that hears of a closed connection may close the request. This use puts the close off until the
        // block's lock is released: WinInet is never called with it held.
        const bool mayClose = status == INTERNET_STATUS_CONNECTION_CLOSED && block->BeginUse();
        block->Notify(status, information);
        if (mayClose)
            block->EndUse();
    }
    if (status == INTERNET_STATUS_HANDLE_CLOSING)
        block->ReturnFromWinInet();
    block->Release();
}

CRequestBlock::CRequestBlock(CAsyncHttpRequest& requestOwner, std::shared_ptr<CSessionRequests> session)
    : RequestContext{&requestOwner, nullptr, 0, 0}, m_session(std::move(session)), m_connection(m_session->Connection())
{
    m_session->Add();
}

CRequestBlock::~CRequestBlock()
{
    // Here and not with the handle-closing notification: whoever waits for the session must also wait for the thread
    // that is still on its way out of a notification.
    m_session->Remove();
}

void CRequestBlock::LendToWinInet() noexcept
{
    m_references.Add();
    m_lentToWinInet = true;
}

void CRequestBlock::OpenFailed() noexcept
{
    if (!m_handleAnnounced)
        ReturnFromWinInet();
}

void CRequestBlock::ReturnFromWinInet() noexcept
{
    if (m_lentToWinInet.exchange(false))
        Release();
}

void CRequestBlock::Abandon() noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    owner = nullptr;
}

void CRequestBlock::Adopt(HINTERNET handle) noexcept
{
    m_handle = handle;
    m_uses = 1; // the owner's, ended by EndHandle
}

HINTERNET CRequestBlock::Handle() const noexcept
{
    return m_handle;
}

bool CRequestBlock::IsHandleOpen() const noexcept
{
    return (m_uses & kClosing) == 0;
}

bool CRequestBlock::HasCompleted() const noexcept
{
    return m_completed;
}

DWORD CRequestBlock::SendResult() const noexcept
{
    return m_sendResult;
}

void CRequestBlock::NoteRequestSent() noexcept
{
    DWORD pending = ERROR_IO_PENDING;
    m_sendResult.compare_exchange_strong(pending, ERROR_SUCCESS);
}

void CRequestBlock::NoteSendResult(const INTERNET_ASYNC_RESULT* completion) noexcept
{
    if (completion == nullptr || completion->dwResult != FALSE)
        NoteRequestSent();
    else
        m_sendResult = completion->dwError;
}

void CRequestBlock::EndHandle() noexcept
{
    if ((m_uses.fetch_or(kClosing) & kClosing) == 0)
        EndUse();
}

bool CRequestBlock::BeginUse() noexcept
{
    unsigned uses = m_uses;
    while ((uses & kClosing) == 0)
    {
        if (m_uses.compare_exchange_weak(uses, uses + 1))
            return true;
    }
    return false;
}

void CRequestBlock::EndUse() noexcept
{
    const unsigned uses = m_uses.fetch_sub(1);
    Lifetime::Require((uses & ~kClosing) != 0, "a request's handle has fewer uses than none");
    if (uses != (kClosing | 1))
        return;
    Lifetime::RequireNoLockFrom(Lifetime::LockRank::Request, "a request is closed with its lock held");
    if (m_isReceiveUnlimited)
        LimitReceive();
    const CInternetHandle closedOnReturn(m_handle);
}

void CRequestBlock::NoteUnlimitedReceive() noexcept
{
    m_isReceiveUnlimited = true;
}

void CRequestBlock::LimitReceive() const noexcept
{
    // Wine 8 goes on with a request whose handle is closed: when the camera ends the kept-alive connection that it went
    // through, Wine sends it once more on another one, and would wait there for an answer that nobody gives.
    DWORD limitMs = kClosedReceiveMs;
    ::InternetSetOptionW(m_handle, INTERNET_OPTION_RECEIVE_TIMEOUT, &limitMs, sizeof(limitMs));
}

void CRequestBlock::Release() noexcept
{
    if (m_references.Remove() == 0)
        delete this;
}

void CRequestBlock::Notify(DWORD status, void* information) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    if (owner != nullptr)
        owner->OnInternetStatus(this, status, information);
}

CHandleUse::CHandleUse(CRequestBlock& block) noexcept
    : m_block(block), m_handle(block.BeginUse() ? block.Handle() : nullptr)
{
}

CHandleUse::~CHandleUse()
{
    if (m_handle != nullptr)
        m_block.EndUse();
}

COpenRequest::~COpenRequest()
{
    Close();
}

bool COpenRequest::Open(CAsyncHttpRequest& owner, const std::shared_ptr<CSessionRequests>& session,
                        HINTERNET connection, const std::wstring& verb, const std::wstring& url)
{
    Close();
    m_block = new CRequestBlock(owner, session);
    m_block->LendToWinInet();
    const HINTERNET handle = ::HttpOpenRequestW(connection, verb.c_str(), url.c_str(), L"HTTP/1.1", nullptr, nullptr,
                                                INTERNET_FLAG_RELOAD | INTERNET_FLAG_KEEP_CONNECTION,
                                                reinterpret_cast<DWORD_PTR>(static_cast<RequestContext*>(m_block)));
    if (handle != nullptr)
    {
        m_block->Adopt(handle);
        return true;
    }
    const DWORD lastError = ::GetLastError();
    m_block->OpenFailed();
    Close();
    ::SetLastError(lastError);
    return false;
}

void COpenRequest::Close() noexcept
{
    CRequestBlock* block = std::exchange(m_block, nullptr);
    if (block == nullptr)
        return;
    block->Abandon();
    block->EndHandle();
    block->Release();
}

bool COpenRequest::IsOpen() const noexcept
{
    return m_block != nullptr && m_block->IsHandleOpen();
}

bool COpenRequest::HasBlock() const noexcept
{
    return m_block != nullptr;
}

HINTERNET COpenRequest::get() const noexcept
{
    return m_block != nullptr ? m_block->Handle() : nullptr;
}

CRequestBlock& COpenRequest::Block() const noexcept
{
    return *m_block;
}
