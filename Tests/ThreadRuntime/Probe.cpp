// A DLL that uses what GCC's run-time libraries need threads for: exceptions and guarded initialisation.

#include "ThreadRuntime/ThreadRuntime.h"

#include <windows.h>

#include <atomic>
#include <stdexcept>
#include <string>

namespace
{
std::atomic<long> constructions{0};

struct SlowToConstruct
{
    SlowToConstruct()
    {
        ++constructions;
        // Gives the other threads the time to arrive at the guard.
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

extern "C" __declspec(dllexport) long WINAPI ProbeConstructions()
{
    static const SlowToConstruct once;
    return constructions.load();
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved)
{
    if (reason == DLL_PROCESS_DETACH && reserved == nullptr)
        ThreadRuntime::ReleaseThreadData();
    return TRUE;
}
