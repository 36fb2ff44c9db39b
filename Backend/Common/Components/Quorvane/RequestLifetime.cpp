#include "RequestLifetime.h"

#include "HttpRequest.h"
#include "Protocol/Log.h"

#include <utility>

static_assert(sizeof(RequestContext) == 16, "four 32-bit fields");

namespace
{
class CExclusiveHolder
{
public:
    explicit CExclusiveHolder(SRWLOCK& lock) noexcept : m_lock(lock)
    {
        ::AcquireSRWLockExclusive(&m_lock);
    }
    ~CExclusiveHolder()
    {
        ::ReleaseSRWLockExclusive(&m_lock);
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

void CALLBACK CRequestBlock::StatusCallback(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information,
                                            DWORD) noexcept
{
    // Connection and session handles carry no context.
    if (context == 0)
        return;
    CRequestBlock* block = static_cast<CRequestBlock*>(reinterpret_cast<RequestContext*>(context));
    // The owner may close its request from inside the notification; the close then delivers the last notification
    // of the handle right here, one level deeper, and that must not take the block away from under this call.
    block->m_references.fetch_add(1, std::memory_order_relaxed);
    LogStatus(status, block);
    if (status == INTERNET_STATUS_HANDLE_CREATED)
        block->m_handleAnnounced = true;
    block->Notify(status, information);
    if (status == INTERNET_STATUS_HANDLE_CLOSING)
        block->ReturnFromWinInet();
    block->Release();
}

CRequestBlock::CRequestBlock(CAsyncHttpRequest& requestOwner, std::shared_ptr<CSessionRequests> session)
    : RequestContext{&requestOwner, nullptr, 0, 0}, m_session(std::move(session))
{
}

void CRequestBlock::LendToWinInet() noexcept
{
    m_references.fetch_add(1, std::memory_order_relaxed);
    m_lentToWinInet = true;
    m_session->Add();
}

void CRequestBlock::OpenFailed() noexcept
{
    if (!m_handleAnnounced)
        ReturnFromWinInet();
}

void CRequestBlock::ReturnFromWinInet() noexcept
{
    if (!m_lentToWinInet.exchange(false))
        return;
    m_session->Remove();
    Release();
}

void CRequestBlock::Abandon() noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    owner = nullptr;
}

void CRequestBlock::Release() noexcept
{
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

void CRequestBlock::Notify(DWORD status, void* information) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    if (owner != nullptr)
        owner->OnInternetStatus(this, status, information);
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
    m_handle.reset(::HttpOpenRequestW(connection, verb.c_str(), url.c_str(), L"HTTP/1.1", nullptr, nullptr,
                                      INTERNET_FLAG_RELOAD | INTERNET_FLAG_KEEP_CONNECTION,
                                      reinterpret_cast<DWORD_PTR>(static_cast<RequestContext*>(m_block))));
    if (m_handle)
        return true;
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
    m_handle.reset();
    block->Release();
}

HINTERNET COpenRequest::get() const noexcept
{
    return m_handle.get();
}

CRequestBlock& COpenRequest::Block() const noexcept
{
    return *m_block;
}
