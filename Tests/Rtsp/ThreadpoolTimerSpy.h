#pragma once

#include "Tests/Support/ImportPatch.h"

#include <windows.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

QUORVANE_IMPORT_SLOT(g_createTimerSlot, CreateThreadpoolTimer, 12);
QUORVANE_IMPORT_SLOT(g_setTimerSlot, SetThreadpoolTimer, 16);
QUORVANE_IMPORT_SLOT(g_closeTimerSlot, CloseThreadpoolTimer, 4);

/// Stands in for the thread pool's timers for as long as it lives: keeps what they were told, and lets the test fire
/// them when it wants, closed ones too. One at a time.
class CThreadpoolTimerSpy
{
public:
    struct Setting
    {
        bool isCancelled = false;
        std::int64_t dueTime = 0; ///< 100 ns; negative: from now
        DWORD periodMs = 0;
        DWORD windowMs = 0;

        bool operator==(const Setting&) const = default;
    };
    struct Timer
    {
        PTP_TIMER_CALLBACK callback = nullptr;
        void* context = nullptr;
        std::vector<Setting> settings;
        bool isClosed = false;
    };

    CThreadpoolTimerSpy()
    {
        s_spy = this;
    }
    ~CThreadpoolTimerSpy()
    {
        s_spy = nullptr;
    }
    CThreadpoolTimerSpy(const CThreadpoolTimerSpy&) = delete;
    CThreadpoolTimerSpy& operator=(const CThreadpoolTimerSpy&) = delete;

    /// All timers that were ever created, in order; valid until the spy dies.
    std::deque<Timer> timers;
    /// What CreateThreadpoolTimer fails with; 0: it does not.
    DWORD createError = 0;

    /// One beat of the newest timer, on this thread.
    void Fire()
    {
        timers.back().callback(nullptr, timers.back().context, nullptr);
    }

private:
    static PTP_TIMER WINAPI Create(PTP_TIMER_CALLBACK callback, void* context, PTP_CALLBACK_ENVIRON)
    {
        ::SetLastError(s_spy->createError);
        if (s_spy->createError != 0)
            return nullptr;
        s_spy->timers.push_back({callback, context, {}, false});
        return reinterpret_cast<PTP_TIMER>(&s_spy->timers.back());
    }
    static void WINAPI Set(PTP_TIMER timer, FILETIME* dueTime, DWORD periodMs, DWORD windowMs)
    {
        Setting setting = {dueTime == nullptr, 0, periodMs, windowMs};
        if (dueTime != nullptr)
            setting.dueTime = static_cast<std::int64_t>(static_cast<std::uint64_t>(dueTime->dwHighDateTime) << 32 |
                                                        dueTime->dwLowDateTime);
        reinterpret_cast<Timer*>(timer)->settings.push_back(setting);
    }
    static void WINAPI Close(PTP_TIMER timer)
    {
        reinterpret_cast<Timer*>(timer)->isClosed = true;
    }

    static inline CThreadpoolTimerSpy* s_spy = nullptr;
    CImportPatch m_createPatch{&g_createTimerSlot, &Create};
    CImportPatch m_setPatch{&g_setTimerSlot, &Set};
    CImportPatch m_closePatch{&g_closeTimerSlot, &Close};
};
