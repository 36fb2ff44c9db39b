#include "ComHosting/WinApp.h"

#include "Lifetime/Lifetime.h"

#include <atomic>

namespace
{
constinit std::atomic<long> s_backgroundWork{0};
} // namespace

bool CWinApp::InitInstance() noexcept
{
    return true;
}

void CWinApp::ExitInstance() noexcept {}

bool CWinApp::CanUnload() noexcept
{
    return s_backgroundWork.load(std::memory_order_acquire) == 0;
}

void CWinApp::PinLibrary() noexcept
{
    HMODULE module = nullptr;
    // The flag says: whatever happens later, this library stays. It cannot fail for a library that is running.
    (void)::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                               reinterpret_cast<const wchar_t*>(&s_backgroundWork), &module);
}

void CWinApp::BeginBackgroundWork() noexcept
{
    s_backgroundWork.fetch_add(1, std::memory_order_relaxed);
}

void CWinApp::EndBackgroundWork() noexcept
{
    const long count = s_backgroundWork.fetch_sub(1, std::memory_order_release);
    Lifetime::Require(count > 0, "less background work ends than began");
}

BOOL CWinAppEntry::OnDllMain(CWinApp& app, HINSTANCE instance, DWORD reason, const void* reserved) noexcept
{
    switch (reason)
    {
    case DLL_PROCESS_ATTACH:
        app.m_instance = instance;
        return app.InitInstance() ? TRUE : FALSE;
    case DLL_PROCESS_DETACH:
        // Not null: the process is ending and its other threads are gone, perhaps in the middle of our code.
        if (reserved == nullptr)
            app.ExitInstance();
        return TRUE;
    default:
        return TRUE;
    }
}
