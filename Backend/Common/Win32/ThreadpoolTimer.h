#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <cstdint>

/// A timer of the system's thread pool, closed when the object dies.
/// One caller at a time. Nothing here waits: a callback that has begun, or that the pool has queued already, may still
/// run after Cancel, Close and the destructor. What the context refers to must survive that; the library that holds the
/// callback stays loaded until the last one has returned.
class CThreadpoolTimer
{
public:
    /// Closes the old timer first. False when the system has none; GetLastError tells why.
    [[nodiscard]] bool Create(PTP_TIMER_CALLBACK callback, void* context) noexcept
    {
        Close();
        TP_CALLBACK_ENVIRON environment;
        ::InitializeThreadpoolEnvironment(&environment);
        HMODULE library = nullptr;
        if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                 reinterpret_cast<const wchar_t*>(callback), &library))
            ::SetThreadpoolCallbackLibrary(&environment, library);
        m_timer.reset(::CreateThreadpoolTimer(callback, context, &environment));
        return static_cast<bool>(m_timer);
    }

    explicit operator bool() const noexcept
    {
        return static_cast<bool>(m_timer);
    }

    /// First after `firstMs`, then every `periodMs`. Only with a timer.
    void Start(DWORD firstMs, DWORD periodMs) noexcept
    {
        // Negative: from now, in units of 100 ns.
        const auto due = static_cast<std::uint64_t>(-static_cast<std::int64_t>(firstMs) * 10'000);
        FILETIME dueTime = {static_cast<DWORD>(due), static_cast<DWORD>(due >> 32)};
        ::SetThreadpoolTimer(m_timer.get(), &dueTime, periodMs, 0);
    }

    /// Only with a timer, which can be started again.
    void Cancel() noexcept
    {
        ::SetThreadpoolTimer(m_timer.get(), nullptr, 0, 0);
    }

    void Close() noexcept
    {
        if (m_timer)
            Cancel();
        m_timer.reset();
    }

    CThreadpoolTimer() noexcept = default;
    ~CThreadpoolTimer()
    {
        Close();
    }
    CThreadpoolTimer(const CThreadpoolTimer&) = delete;
    CThreadpoolTimer& operator=(const CThreadpoolTimer&) = delete;

private:
    CUniqueHandle<PTP_TIMER, &::CloseThreadpoolTimer> m_timer;
};
