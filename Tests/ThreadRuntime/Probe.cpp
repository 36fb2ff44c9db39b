// A DLL that uses what GCC's run-time libraries need threads for: exceptions and guarded initialisation.

#include "ThreadRuntime/ThreadRuntime.h"

#include <windows.h>

#include <atomic>
#include <stdexcept>
#include <string>

namespace
{
std::atomic<long> s_arrivals{0};
std::atomic<long> s_constructions{0};

/// Constructed only once `threadCount` threads are at the guard. Should they not come, it counts as many constructions
/// too many.
struct ContendedConstruction
{
    explicit ContendedConstruction(long threadCount)
    {
        constexpr DWORD kLimitMs = 10000;
        const DWORD startTick = ::GetTickCount();
        while (s_arrivals < threadCount && ::GetTickCount() - startTick < kLimitMs)
            ::SwitchToThread();
        s_constructions += s_arrivals == threadCount ? 1 : 1000;
        // An arrival is counted just before the guard; this gives the others the time for the last step.
        for (int i = 0; i < 1000; ++i)
            ::SwitchToThread();
    }
};
} // namespace

extern "C" __declspec(dllexport) BOOL WINAPI ProbeThrowAndCatch(DWORD lastError)
{
    try
    {
        throw std::runtime_error("thrown inside the library");
    }
    catch (const std::exception& error)
    {
        ::SetLastError(lastError);
        try
        {
            throw std::string(error.what());
        }
        catch (const std::string& text)
        {
            return text == "thrown inside the library" && !std::uncaught_exceptions();
        }
    }
}

/// The exception object is made first, then the last error is read: GCC's order for `throw GetLastError()`.
extern "C" __declspec(dllexport) DWORD WINAPI ProbeThrowLastError()
{
    try
    {
        ::SetLastError(4711);
        throw ::GetLastError();
    }
    catch (DWORD error)
    {
        return error;
    }
}

/// The number of times that the one object was constructed; called by `threadCount` threads at once.
extern "C" __declspec(dllexport) long WINAPI ProbeConstructions(long threadCount)
{
    ++s_arrivals;
    static const ContendedConstruction once(threadCount);
    return s_constructions.load();
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved)
{
    if (reason == DLL_THREAD_DETACH)
        ThreadRuntime::EndThread();
    if (reason == DLL_PROCESS_DETACH && reserved == nullptr)
        ThreadRuntime::ReleaseThreadData();
    return TRUE;
}
