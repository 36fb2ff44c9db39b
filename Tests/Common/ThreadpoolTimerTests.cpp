#include "Win32/ThreadpoolTimer.h"

#include "Win32/Handles.h"

#include <gtest/gtest.h>

namespace
{
constexpr DWORD kLimitMs = 10'000;

CKernelHandle MakeEvent()
{
    return CKernelHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

void CALLBACK Signal(PTP_CALLBACK_INSTANCE, void* event, PTP_TIMER)
{
    ::SetEvent(static_cast<HANDLE>(event));
}

TEST(ThreadpoolTimer, CallsBackWhenItIsStarted)
{
    const CKernelHandle event = MakeEvent();
    CThreadpoolTimer timer;
    EXPECT_FALSE(timer);
    ASSERT_TRUE(timer.Create(&Signal, event.get()));
    EXPECT_TRUE(static_cast<bool>(timer));
    timer.Start(1, 0);
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(event.get(), kLimitMs));
    timer.Close();
    EXPECT_FALSE(timer);
}

TEST(ThreadpoolTimer, CancelledOneCanBeStartedAgain)
{
    const CKernelHandle event = MakeEvent();
    CThreadpoolTimer timer;
    ASSERT_TRUE(timer.Create(&Signal, event.get()));
    timer.Start(60'000, 0);
    timer.Cancel();
    EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), ::WaitForSingleObject(event.get(), 0));
    timer.Start(1, 0);
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(event.get(), kLimitMs));
}

TEST(ThreadpoolTimer, KeepsItsLibraryUntilTheLastCallbackHasReturned)
{
    const CKernelHandle reached = MakeEvent();
    const CKernelHandle released = MakeEvent();
    const HMODULE library = ::LoadLibraryW(L"timer_probe.dll");
    ASSERT_NE(nullptr, library);
    using RunFunction = BOOL(HANDLE, HANDLE);
    const auto run = reinterpret_cast<RunFunction*>(reinterpret_cast<void*>(::GetProcAddress(library, "RunCallback")));
    ASSERT_NE(nullptr, run);
    EXPECT_TRUE(run(reached.get(), released.get()));
    ::FreeLibrary(library);
    EXPECT_NE(nullptr, ::GetModuleHandleW(L"timer_probe.dll")) << "a callback is inside";
    ::SetEvent(released.get());
    const DWORD startTick = ::GetTickCount();
    while (::GetModuleHandleW(L"timer_probe.dll") != nullptr && ::GetTickCount() - startTick < kLimitMs)
        ::SwitchToThread();
    EXPECT_EQ(nullptr, ::GetModuleHandleW(L"timer_probe.dll"));
}
} // namespace
