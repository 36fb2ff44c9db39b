#pragma once

#include <windows.h>

/// The library's application object: start-up, exit, and the question whether the library may be unloaded.
/// A library defines one instance of a derived class at namespace scope; the instance is constant-initialised and
/// never destroyed, so nothing runs before InitInstance or after ExitInstance.
/// Hazard: both run inside DllMain, under the loader's lock. They must not wait, load libraries or call WinInet.
class CWinApp
{
public:
    /// False makes the load fail.
    virtual bool InitInstance() noexcept;
    /// Called when the library is unloaded, not when the process ends: then the system cleans up.
    virtual void ExitInstance() noexcept;

    HINSTANCE Instance() const noexcept
    {
        return m_instance;
    }

    /// False while a CBackgroundWork exists. Any thread.
    static bool CanUnload() noexcept;

    /// Keeps the library in memory until the process ends: the last resort when a thread that is not ours may still
    /// call into it at any time.
    static void PinLibrary() noexcept;

protected:
    constexpr CWinApp() noexcept = default;
    ~CWinApp() = default;
    CWinApp(const CWinApp&) = delete;
    CWinApp& operator=(const CWinApp&) = delete;

private:
    friend class CBackgroundWork;
    friend class CWinAppEntry;
    static void BeginBackgroundWork() noexcept;
    static void EndBackgroundWork() noexcept;

    HINSTANCE m_instance = nullptr;
};

/// What DllMain of a library does with its application object.
class CWinAppEntry
{
public:
    static BOOL OnDllMain(CWinApp& app, HINSTANCE instance, DWORD reason, const void* reserved) noexcept;
};
