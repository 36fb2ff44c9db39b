#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <cwchar>
#include <stdexcept>
#include <string>
#include <vector>

/// One registry value under a test's control: remembers what was there and puts it back when it dies.
/// The key is created when it is missing. Tests that use it carry the CTest lock "registry".
class CRegistryValueGuard
{
public:
    CRegistryValueGuard(HKEY root, const wchar_t* key, const wchar_t* name) : m_name(name)
    {
        if (::RegCreateKeyExW(root, key, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, m_key.put(), nullptr) !=
            ERROR_SUCCESS)
            throw std::runtime_error("the registry key cannot be opened");
        DWORD sizeBytes = 0;
        m_existed = ::RegQueryValueExW(m_key.get(), name, nullptr, nullptr, nullptr, &sizeBytes) == ERROR_SUCCESS;
        m_oldData.resize(sizeBytes);
        if (m_existed)
            ::RegQueryValueExW(m_key.get(), name, nullptr, &m_oldType, m_oldData.data(), &sizeBytes);
    }
    ~CRegistryValueGuard()
    {
        if (m_existed)
            Set(m_oldType, m_oldData.data(), m_oldData.size());
        else
            Remove();
    }
    CRegistryValueGuard(const CRegistryValueGuard&) = delete;
    CRegistryValueGuard& operator=(const CRegistryValueGuard&) = delete;

    void Set(DWORD type, const void* data, std::size_t sizeBytes)
    {
        ::RegSetValueExW(m_key.get(), m_name.c_str(), 0, type, static_cast<const BYTE*>(data),
                         static_cast<DWORD>(sizeBytes));
    }
    void SetText(const wchar_t* text, DWORD type = REG_SZ)
    {
        Set(type, text, (std::wcslen(text) + 1) * sizeof(wchar_t));
    }
    void SetDword(DWORD value)
    {
        Set(REG_DWORD, &value, sizeof(value));
    }
    void Remove()
    {
        ::RegDeleteValueW(m_key.get(), m_name.c_str());
    }

private:
    CUniqueHandle<HKEY, &::RegCloseKey> m_key;
    std::wstring m_name;
    bool m_existed = false;
    DWORD m_oldType = REG_NONE;
    std::vector<BYTE> m_oldData;
};
