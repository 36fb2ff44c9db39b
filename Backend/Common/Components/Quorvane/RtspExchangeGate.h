#pragma once

#include "Lifetime/Lifetime.h"

#include <windows.h>

/// Lets one thread at a time into an exchange of request and reply; two would read each other's replies.
/// Not a lock for data: whoever is inside waits for the camera, so that everybody else waits with a limit or not at
/// all. Any thread may call anything; Leave belongs to the thread that entered. Whoever is inside takes
/// leaf locks only (log, timers, requests): nothing under which somebody else waits for this gate.
class CRtspExchangeGate
{
public:
    CRtspExchangeGate() noexcept = default;
    CRtspExchangeGate(const CRtspExchangeGate&) = delete;
    CRtspExchangeGate& operator=(const CRtspExchangeGate&) = delete;

    /// Waits up to `limitMs` for the thread that is inside. False when it stays, and at once for that thread itself.
    [[nodiscard]] bool Enter(DWORD limitMs) noexcept
    {
        ::AcquireSRWLockExclusive(&m_lock);
        const DWORD startTick = ::GetTickCount();
        while (m_inside != 0 && m_inside != ::GetCurrentThreadId())
        {
            const DWORD elapsedMs = ::GetTickCount() - startTick;
            if (elapsedMs >= limitMs || !::SleepConditionVariableSRW(&m_left, &m_lock, limitMs - elapsedMs, 0))
                break;
        }
        const bool isEntered = m_inside == 0;
        if (isEntered)
            m_inside = ::GetCurrentThreadId();
        ::ReleaseSRWLockExclusive(&m_lock);
        if (isEntered)
            Lifetime::EnterLock(Lifetime::LockRank::ExchangeGate);
        return isEntered;
    }

    void Leave() noexcept
    {
        Lifetime::LeaveLock(Lifetime::LockRank::ExchangeGate);
        ::AcquireSRWLockExclusive(&m_lock);
        m_inside = 0;
        ::ReleaseSRWLockExclusive(&m_lock);
        ::WakeConditionVariable(&m_left);
    }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_left = CONDITION_VARIABLE_INIT;
    DWORD m_inside = 0; ///< the thread; 0 for none
};
