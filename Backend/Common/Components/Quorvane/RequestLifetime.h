#pragma once

#include "ComHosting/ModuleLock.h"
#include "Win32/CriticalSection.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <wininet.h>

#include <atomic>
#include <memory>
#include <string>

class CAsyncHttpRequest;

/// The record that WinInet hands back with every notification of a request; its address is the context value.
struct RequestContext
{
    CAsyncHttpRequest* owner; ///< who is told; null once the request was given up
    HINTERNET request;        ///< the request handle, where the owner or a completion has noted it here
    DWORD result;             ///< value of the last completed operation (bytes available, for an availability query)
    DWORD error;              ///< Win32 error of the last completed operation, 0 for success
};

/// Counts the requests of one WinInet session whose handle-closing notification has not arrived yet.
/// Shared by the session's owner and by every such request. Any thread may call anything.
class CSessionRequests
{
public:
    void Add() noexcept;
    void Remove() noexcept;

    /// True when no request is left; waits up to `limitMs` for that.
    [[nodiscard]] bool WaitUntilNone(DWORD limitMs) noexcept;

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_removed = CONDITION_VARIABLE_INIT;
    unsigned m_count = 0;
};

/// Everything of one request that WinInet may touch until its very last notification: the context record and the
/// buffer that a pending read is filling. Lives on the heap, held by the request's owner and by WinInet; the latter's
/// share ends with INTERNET_STATUS_HANDLE_CLOSING, which WinInet documents as the last notification of a handle.
/// Hazard that explains the shape: a request that was given up after a time-out is still notified about, from
/// another thread, at any later moment. It then finds no owner, and memory that is still there.
class CRequestBlock : public RequestContext
{
public:
    static constexpr DWORD kReadBufferBytes = 4096;

    /// WinInet's status callback; runs on WinInet's threads and inside calls of our own.
    static void CALLBACK StatusCallback(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information,
                                        DWORD lengthBytes) noexcept;

    CRequestBlock(CAsyncHttpRequest& requestOwner, std::shared_ptr<CSessionRequests> session);
    CRequestBlock(const CRequestBlock&) = delete;
    CRequestBlock& operator=(const CRequestBlock&) = delete;

    /// WinInet holds the block from now on. Called before the request handle is created.
    void LendToWinInet() noexcept;
    /// HttpOpenRequest failed. A handle that was announced before it failed still gets its closing notification.
    void OpenFailed() noexcept;
    /// The owner is told nothing any more. Returns only when no notification is inside the owner.
    void Abandon() noexcept;
    void Release() noexcept;

    char readBuffer[kReadBufferBytes] = {};
    DWORD bytesRead = 0;

private:
    ~CRequestBlock() = default;
    void Notify(DWORD status, void* information) noexcept;
    /// Ends WinInet's share, once.
    void ReturnFromWinInet() noexcept;

    CCriticalSection m_lock; // held while a notification is inside the owner; recursive, see StatusCallback
    std::atomic<long> m_references{1};
    std::atomic<bool> m_lentToWinInet{false};
    std::atomic<bool> m_handleAnnounced{false};
    std::shared_ptr<CSessionRequests> m_session;
    CBackgroundWork m_backgroundWork; // the callback's code must stay loaded as long as WinInet may call it
};

/// One open request of a CAsyncHttpRequest: owns the WinInet handle and the owner's share of the block.
/// Used by one thread. Destroying or closing it gives the request up; nothing waits.
class COpenRequest
{
public:
    COpenRequest() noexcept = default;
    COpenRequest(const COpenRequest&) = delete;
    COpenRequest& operator=(const COpenRequest&) = delete;
    ~COpenRequest();

    /// HttpOpenRequestW with the block as context. False when WinInet refuses; the last error is WinInet's.
    /// Throws std::bad_alloc, or an HRESULT when the block cannot be made.
    [[nodiscard]] bool Open(CAsyncHttpRequest& owner, const std::shared_ptr<CSessionRequests>& session,
                            HINTERNET connection, const std::wstring& verb, const std::wstring& url);
    void Close() noexcept;

    HINTERNET get() const noexcept;
    /// Only while open.
    CRequestBlock& Block() const noexcept;

private:
    CInternetHandle m_handle;
    CRequestBlock* m_block = nullptr;
};
