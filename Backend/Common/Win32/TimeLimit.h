#pragma once

#include <windows.h>

/// What is left of a time limit that covers several waits.
class CTimeLimit
{
public:
    explicit CTimeLimit(DWORD limitMs) noexcept : m_limitMs(limitMs), m_startTick(::GetTickCount()) {}

    DWORD RemainingMs() const noexcept
    {
        const DWORD elapsedMs = ::GetTickCount() - m_startTick;
        return elapsedMs < m_limitMs ? m_limitMs - elapsedMs : 0;
    }

private:
    DWORD m_limitMs;
    DWORD m_startTick;
};
