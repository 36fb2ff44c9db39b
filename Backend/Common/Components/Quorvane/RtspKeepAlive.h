#pragma once

#include "Win32/ThreadpoolTimer.h"

#include <cstdint>
#include <memory>

class CRtspClient;

/// Calls its client's KeepAlive from a thread of the system's pool, again and again.
/// Held by value by the client; used by its callers only. Nothing here waits for a callback.
///
/// Hazard that explains the shape: a callback may begin when the timer is closed already and the client is gone. The
/// pool therefore knows no pointer but a number, which it may look up at any time: as long as the timer is open, the
/// number leads to the client, and a running callback then keeps the client in memory until it ends.
class CRtspKeepAlive
{
public:
    CRtspKeepAlive() noexcept = default;
    ~CRtspKeepAlive();
    CRtspKeepAlive(const CRtspKeepAlive&) = delete;
    CRtspKeepAlive& operator=(const CRtspKeepAlive&) = delete;

    /// Closes what was open. False when the system has no timer; GetLastError tells why.
    [[nodiscard]] bool Create(std::weak_ptr<CRtspClient> client) noexcept;
    bool IsOpen() const noexcept;

    // Only while it is open.
    void Start(DWORD periodMs) noexcept;
    void Stop() noexcept;

    /// After this no callback finds the client any more; one that has found it may still be running.
    void Close() noexcept;

    static constexpr DWORD kFirstMs = 1000;

private:
    static void CALLBACK OnTimer(PTP_CALLBACK_INSTANCE instance, void* context, PTP_TIMER timer) noexcept;
    static std::shared_ptr<CRtspClient> Find(std::uintptr_t id) noexcept;
    void Enter(std::weak_ptr<CRtspClient> client) noexcept;
    void Remove() noexcept;

    CThreadpoolTimer m_timer;
    std::uintptr_t m_id = 0; ///< 0: not in the table
    std::weak_ptr<CRtspClient> m_client;
    CRtspKeepAlive* m_next = nullptr;
};
