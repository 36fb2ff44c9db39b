// A library that is freed while one of its timer callbacks is running.

#include "Win32/ThreadpoolTimer.h"

namespace
{
constexpr DWORD kLimitMs = 10'000;
HANDLE s_reached = nullptr;
HANDLE s_released = nullptr;

void CALLBACK Wait(PTP_CALLBACK_INSTANCE, void*, PTP_TIMER)
{
    ::SetEvent(s_reached);
    ::WaitForSingleObject(s_released, kLimitMs);
}
} // namespace

/// Returns when the callback is running and its timer is closed. True when all went well.
extern "C" __declspec(dllexport) BOOL RunCallback(HANDLE reached, HANDLE released)
{
    s_reached = reached;
    s_released = released;
    CThreadpoolTimer timer;
    if (!timer.Create(&Wait, nullptr))
        return FALSE;
    timer.Start(0, 0);
    return ::WaitForSingleObject(reached, kLimitMs) == WAIT_OBJECT_0;
}
