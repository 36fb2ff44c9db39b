#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <stdexcept>
#include <string>

/// The machine's settings as this process alone sees them: several processes can have time limits of their own at once.
/// The settings of the processes that died are removed by whoever started them.
class CPrivateSettings
{
public:
    CPrivateSettings()
    {
        const std::wstring path = std::wstring(kRoot) + L"\\" + std::to_wstring(::GetCurrentProcessId());
        CKey machine;
        if (::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, machine.put(),
                              nullptr) != ERROR_SUCCESS ||
            ::RegCreateKeyExW(machine.get(), L"Software\\Orbell\\Video", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              m_settings.put(), nullptr) != ERROR_SUCCESS ||
            ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.get()) != ERROR_SUCCESS)
            throw std::runtime_error("the process cannot have settings of its own");
        const DWORD off = 0;
        ::RegSetValueExW(m_settings.get(), L"IPELAUseCachedCameraSettings", 0, REG_DWORD,
                         reinterpret_cast<const BYTE*>(&off), sizeof(off));
    }
    ~CPrivateSettings()
    {
        ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    }
    CPrivateSettings(const CPrivateSettings&) = delete;
    CPrivateSettings& operator=(const CPrivateSettings&) = delete;

    void LimitRequests(DWORD limitMs)
    {
        const std::wstring text = std::to_wstring(limitMs);
        if (::RegSetValueExW(m_settings.get(), L"CameraCGICommandTimeout", 0, REG_SZ,
                             reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
            throw std::runtime_error("the time limit cannot be set");
    }

    static void RemoveAll()
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kRoot);
    }

private:
    using CKey = CUniqueHandle<HKEY, &::RegCloseKey>;
    static constexpr const wchar_t* kRoot = L"Software\\QuorvaneFaults";
    CKey m_settings;
};
