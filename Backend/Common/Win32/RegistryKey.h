#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <optional>
#include <string>

/// Open registry key, closed when the object dies. Neither reading nor writing creates a key.
/// A value of another type than the asked-for one, or of a wrong size, reads as absent.
class CRegistryKey
{
public:
    /// The key `path` under HKEY_LOCAL_MACHINE (32-bit view, as for every 32-bit process); empty when it is absent.
    [[nodiscard]] static CRegistryKey OpenMachine(const wchar_t* path, REGSAM access = KEY_READ) noexcept
    {
        CRegistryKey result;
        if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, access, result.m_key.put()) != ERROR_SUCCESS)
            (void)result.m_key.release();
        return result;
    }

    explicit operator bool() const noexcept
    {
        return static_cast<bool>(m_key);
    }

    /// REG_DWORD of exactly four bytes.
    [[nodiscard]] std::optional<DWORD> ReadDword(const wchar_t* name) const noexcept
    {
        DWORD value = 0;
        DWORD type = 0;
        DWORD sizeBytes = sizeof(value);
        if (!m_key || ::RegQueryValueExW(m_key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value),
                                         &sizeBytes) != ERROR_SUCCESS)
            return std::nullopt;
        if (type != REG_DWORD || sizeBytes != sizeof(value))
            return std::nullopt;
        return value;
    }

    /// REG_SZ or REG_EXPAND_SZ (not expanded) of at least one character that fits `kTextBufferBytes`, terminator
    /// included. Text that is not a whole number of UTF-16 units, or not terminated, reads as absent.
    [[nodiscard]] std::optional<std::wstring> ReadText(const wchar_t* name) const
    {
        wchar_t buffer[kTextBufferBytes / sizeof(wchar_t)] = {};
        DWORD type = 0;
        return ReadTextInto(buffer, sizeof(buffer), name, type);
    }

    /// As ReadText, but up to the longest path that the system knows, and with the environment variables of a
    /// REG_EXPAND_SZ expanded.
    [[nodiscard]] std::optional<std::wstring> ReadPath(const wchar_t* name) const
    {
        std::wstring buffer(kPathBufferChars, L'\0');
        DWORD type = 0;
        std::optional<std::wstring> text =
            ReadTextInto(buffer.data(), static_cast<DWORD>(buffer.size() * sizeof(wchar_t)), name, type);
        if (!text || type != REG_EXPAND_SZ)
            return text;
        const DWORD countChars =
            ::ExpandEnvironmentStringsW(text->c_str(), buffer.data(), static_cast<DWORD>(buffer.size()));
        if (countChars == 0 || countChars > buffer.size())
            return std::nullopt;
        return std::wstring(buffer.c_str());
    }

    /// Sets a REG_SZ, its terminator included; the key must be open for writing. False when the system refuses.
    [[nodiscard]] bool WriteText(const wchar_t* name, const std::wstring& text) noexcept
    {
        const auto sizeBytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        return m_key && ::RegSetValueExW(m_key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                         sizeBytes) == ERROR_SUCCESS;
    }

    static constexpr DWORD kTextBufferBytes = 510;
    static constexpr DWORD kPathBufferChars = 32768;

private:
    std::optional<std::wstring> ReadTextInto(wchar_t* buffer, DWORD sizeBytes, const wchar_t* name, DWORD& type) const
    {
        if (!m_key || ::RegQueryValueExW(m_key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(buffer),
                                         &sizeBytes) != ERROR_SUCCESS)
            return std::nullopt;
        const DWORD countChars = sizeBytes / sizeof(wchar_t);
        const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
        if (!isText || sizeBytes % sizeof(wchar_t) != 0 || countChars == 0 || buffer[countChars - 1] != L'\0' ||
            buffer[0] == L'\0')
            return std::nullopt;
        return std::wstring(buffer);
    }

    CUniqueHandle<HKEY, &::RegCloseKey> m_key;
};
