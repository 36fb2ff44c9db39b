#pragma once

#include "ComHosting/ModuleLock.h"
#include "Lifetime/ReferenceCount.h"
#include "Win32/CriticalSection.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <wininet.h>

#include <array>
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

/// Counts the requests of one WinInet session that WinInet may still call back about, or is inside a callback of.
/// Shared by the session's owner and by every such request. Any thread may call anything.
class CSessionRequests
{
public:
    void Add() noexcept;
    void Remove() noexcept;

    /// True when no request is left; waits up to `limitMs` for that.
    [[nodiscard]] bool WaitUntilNone(DWORD limitMs) noexcept;

    /// The requests from now on go through another connection, which nobody has sent elsewhere yet.
    void BeginConnection() noexcept;
    unsigned Connection() const noexcept;
    /// The camera has sent a request of that connection elsewhere. Of no interest once another one has begun.
    void NoteRedirect(unsigned connection) noexcept;
    [[nodiscard]] bool IsRedirected() const noexcept;

private:
    std::atomic<unsigned> m_connection{0};
    std::atomic<bool> m_isRedirected{false};
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_removed = CONDITION_VARIABLE_INIT;
    unsigned m_count = 0;
};

/// The sessions that one object has left to WinInet, because they still had requests. One caller at a time.
class CLeftSessions
{
public:
    /// More are not kept in mind: whoever asks has had enough of them by then.
    static constexpr std::size_t kMaximum = 8;

    void Add(std::shared_ptr<CSessionRequests> session) noexcept;
    /// Forgets those whose requests have ended, and returns how many are left.
    [[nodiscard]] std::size_t Count() noexcept;

private:
    std::array<std::shared_ptr<CSessionRequests>, kMaximum> m_sessions;
};

/// Everything of one request that WinInet may touch until its very last notification: the context record, the
/// buffers of pending operations, and the handle. Lives on the heap, held by the request's owner and by WinInet; the
/// latter's share ends with INTERNET_STATUS_HANDLE_CLOSING, which WinInet documents as the last notification of a
/// handle. The handle may be closed by any thread; the buffers and the "pending" marks are the owner's.
/// Hazard that explains the shape: a request that was given up after a time-out is still notified about, from
/// another thread, at any later moment. It then finds no owner, and memory that is still there.
class CRequestBlock : public RequestContext, public Lifetime::CKeptMemory
{
public:
    static constexpr DWORD kReadBufferBytes = 4096;
    static constexpr DWORD kClosedReceiveMs = 500;

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

    /// Takes the request handle over; once, by the owner.
    void Adopt(HINTERNET handle) noexcept;
    /// For the owner, who knows that nobody else closes it. Null before Adopt.
    HINTERNET Handle() const noexcept;
    /// False once the handle is closed or about to be.
    bool IsHandleOpen() const noexcept;
    /// Any thread, any number of times: the handle is closed once, here or by the last CHandleUse that is under way.
    /// Takes no lock of ours, but may deliver notifications from inside the close.
    void EndHandle() noexcept;
    /// The request's send, or a later operation, has been reported as finished.
    bool HasCompleted() const noexcept;
    /// ERROR_IO_PENDING until the request's headers are on their way, ERROR_SUCCESS from then on, and the error once
    /// the send has ended with one. Known before the owner is woken up.
    DWORD SendResult() const noexcept;
    /// The send returned successfully instead of going on behind the call.
    void NoteRequestSent() noexcept;
    /// WinInet waits for this request's answer without a limit of its own. Closing the handle then sets one.
    void NoteUnlimitedReceive() noexcept;

    char readBuffer[kReadBufferBytes] = {};
    DWORD bytesRead = 0;
    DWORD availableBytes = 0;       ///< filled by a data-availability query
    INTERNET_BUFFERSW buffers = {}; ///< describes readBuffer to InternetReadFileEx
    std::string written;            ///< what InternetWriteFile was given
    DWORD bytesWritten = 0;
    bool queryPending = false; ///< a data-availability query is under way
    bool readPending = false;  ///< a read into readBuffer is under way

private:
    friend class CHandleUse;
    ~CRequestBlock();
    void Notify(DWORD status, void* information) noexcept;
    void LimitReceive() const noexcept;
    void NoteSendResult(const INTERNET_ASYNC_RESULT* completion) noexcept;
    /// Ends WinInet's share, once.
    void ReturnFromWinInet() noexcept;
    [[nodiscard]] bool BeginUse() noexcept;
    void EndUse() noexcept;

    /// Set in m_uses once the handle is to be closed; the other bits count who still uses it.
    static constexpr unsigned kClosing = 0x80000000u;

    CBackgroundWork m_backgroundWork; // first, so that it ends last: until then the library must stay loaded
    CCriticalSection m_lock{Lifetime::LockRank::Request}; // held while a notification is inside the owner; recursive
    std::atomic<unsigned> m_uses{kClosing};
    std::atomic<HINTERNET> m_handle{nullptr};
    std::atomic<bool> m_completed{false};
    std::atomic<DWORD> m_sendResult{ERROR_IO_PENDING};
    CReferenceCount m_references;
    std::atomic<bool> m_isReceiveUnlimited{false};
    std::atomic<bool> m_lentToWinInet{false};
    std::atomic<bool> m_handleAnnounced{false};
    std::shared_ptr<CSessionRequests> m_session;
    const unsigned m_connection; ///< of the session's, the one that the request goes through
    [[no_unique_address]] Lifetime::CMark m_mark;
};

/// Holds a request's handle for the length of one call, so that another thread cannot close it, and the system give
/// its value to somebody else, between looking and calling. Empty when the handle is closed or about to be.
class CHandleUse
{
public:
    explicit CHandleUse(CRequestBlock& block) noexcept;
    ~CHandleUse();
    CHandleUse(const CHandleUse&) = delete;
    CHandleUse& operator=(const CHandleUse&) = delete;

    explicit operator bool() const noexcept
    {
        return m_handle != nullptr;
    }
    HINTERNET get() const noexcept
    {
        return m_handle;
    }

private:
    CRequestBlock& m_block;
    HINTERNET m_handle;
};

/// One open request of a CAsyncHttpRequest: the owner's share of the block, and with it the WinInet handle.
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

    /// False when there is no request, or when somebody has closed its handle.
    bool IsOpen() const noexcept;
    /// True until Close: the block is there, whatever became of the handle.
    bool HasBlock() const noexcept;
    HINTERNET get() const noexcept;
    /// Only while there is one.
    CRequestBlock& Block() const noexcept;

private:
    CRequestBlock* m_block = nullptr;
};
