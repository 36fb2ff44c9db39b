#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A key under HKEY_LOCAL_MACHINE for one test, deleted with everything below it when the test ends.
/// A program that uses it must hold the "registry" lock (LOCKS registry), because the keys are machine-wide.
class CTestRegistryKey
{
public:
    explicit CTestRegistryKey(std::wstring path) : m_path(std::move(path))
    {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_path.c_str());
        if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, m_path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, m_key.put(),
                              nullptr) != ERROR_SUCCESS)
            throw std::runtime_error("The test's registry key cannot be created.");
    }
    ~CTestRegistryKey()
    {
        m_key.reset();
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_path.c_str());
    }
    CTestRegistryKey(const CTestRegistryKey&) = delete;
    CTestRegistryKey& operator=(const CTestRegistryKey&) = delete;

    /// Any bytes under any type, also ones that do not fit each other.
    void SetBytes(const wchar_t* name, DWORD type, const void* bytes, std::size_t sizeBytes)
    {
        // The system takes one more character of a text when it finds a terminator behind the given bytes.
        const auto* first = static_cast<const BYTE*>(bytes);
        std::vector<BYTE> guarded(first, first + sizeBytes);
        guarded.insert(guarded.end(), sizeof(wchar_t), 0xFF);
        if (::RegSetValueExW(m_key.get(), name, 0, type, guarded.data(), static_cast<DWORD>(sizeBytes)) !=
            ERROR_SUCCESS)
            throw std::runtime_error("The test's registry value cannot be written.");
    }
    void SetText(const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ)
    {
        SetBytes(name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }
    void SetDword(const wchar_t* name, DWORD value)
    {
        SetBytes(name, REG_DWORD, &value, sizeof(value));
    }
    void Remove(const wchar_t* name)
    {
        ::RegDeleteValueW(m_key.get(), name);
    }

private:
    std::wstring m_path;
    CUniqueHandle<HKEY, &::RegCloseKey> m_key;
};
