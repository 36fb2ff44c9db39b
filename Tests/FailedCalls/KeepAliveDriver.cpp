#include "Tests/FailedCalls/KeepAliveDriver.h"

#include "Tests/FailedCalls/Hook.h"
#include "Win32/Handles.h"

#include <atomic>

namespace
{
struct Driver
{
    std::atomic<PTP_TIMER> timer{nullptr};
    std::atomic<PTP_TIMER_CALLBACK> callback{nullptr};
    HANDLE ended = nullptr;
};
Driver g_driver;
CKernelHandle g_ended;

void CALLBACK OnTimer(PTP_CALLBACK_INSTANCE instance, void* context, PTP_TIMER timer)
{
    g_driver.callback.load()(instance, context, timer);
    ::SetEvent(g_driver.ended);
}

PTP_TIMER WINAPI Create(PTP_TIMER_CALLBACK callback, void* context, PTP_CALLBACK_ENVIRON environment)
{
    g_driver.callback = callback;
    g_driver.timer = ::CreateThreadpoolTimer(&OnTimer, context, environment);
    return g_driver.timer;
}

/// The component's own times do not count: it is the session that knows when.
void WINAPI Set(PTP_TIMER timer, FILETIME* dueTime, DWORD, DWORD)
{
    if (dueTime == nullptr)
        ::SetThreadpoolTimer(timer, nullptr, 0, 0);
}

void WINAPI Close(PTP_TIMER timer)
{
    PTP_TIMER current = timer;
    g_driver.timer.compare_exchange_strong(current, nullptr);
    ::CloseThreadpoolTimer(timer);
}

/// Long pauses are waited for elsewhere; here they would make up most of a run.
void WINAPI Pause(DWORD durationMs)
{
    constexpr DWORD kLongestMs = 5;
    ::SleepEx(durationMs < kLongestMs ? durationMs : kLongestMs, FALSE);
}
} // namespace

void KeepAliveDriver::Install()
{
    g_ended.reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    g_driver.ended = g_ended.get();
    QUORVANE_HOOK(CreateThreadpoolTimer)->original = reinterpret_cast<void*>(&Create);
    QUORVANE_HOOK(SetThreadpoolTimer)->original = reinterpret_cast<void*>(&Set);
    QUORVANE_HOOK(CloseThreadpoolTimer)->original = reinterpret_cast<void*>(&Close);
    QUORVANE_HOOK(Sleep)->original = reinterpret_cast<void*>(&Pause);
}

bool KeepAliveDriver::Beat()
{
    constexpr DWORD kLimitMs = 10'000;
    const PTP_TIMER timer = g_driver.timer;
    if (timer == nullptr)
        return false;
    ::ResetEvent(g_driver.ended);
    FILETIME now = {};
    ::SetThreadpoolTimer(timer, &now, 0, 0);
    return ::WaitForSingleObject(g_driver.ended, kLimitMs) == WAIT_OBJECT_0;
}
