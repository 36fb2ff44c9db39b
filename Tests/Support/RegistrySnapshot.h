#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <string>
#include <vector>

/// Everything below a registry key, as lines that a test can compare: "subkey" for a key, "subkey|value|type|data"
/// for a value, sorted as the registry lists them. The key's own name is not part of a line.
/// Text values keep their terminator out; a value that is not REG_SZ shows its type's number and no data.
class CRegistrySnapshot
{
public:
    /// Empty when there is no such key.
    static std::vector<std::wstring> Take(HKEY root, const std::wstring& path)
    {
        std::vector<std::wstring> lines;
        AddKey(root, path, L"", lines);
        return lines;
    }
    static bool KeyExists(HKEY root, const std::wstring& path)
    {
        CKey key;
        return ::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
    }

private:
    using CKey = CUniqueHandle<HKEY, &::RegCloseKey>;
    static constexpr DWORD kNameChars = 256;
    static constexpr DWORD kMostEntries = 1000;

    static void AddKey(HKEY root, const std::wstring& path, const std::wstring& shown, std::vector<std::wstring>& lines)
    {
        CKey key;
        if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS)
            return;
        lines.push_back(shown);
        for (DWORD i = 0; i < kMostEntries && AddValue(key.get(), i, shown, lines); ++i)
            continue;
        for (DWORD i = 0; i < kMostEntries; ++i)
        {
            wchar_t name[kNameChars] = {};
            if (::RegEnumKeyW(key.get(), i, name, kNameChars) != ERROR_SUCCESS)
                return;
            AddKey(root, path + L"\\" + name, shown.empty() ? name : shown + L"\\" + name, lines);
        }
    }

    static bool AddValue(HKEY key, DWORD index, const std::wstring& shown, std::vector<std::wstring>& lines)
    {
        wchar_t name[kNameChars] = {};
        wchar_t data[1024] = {};
        DWORD nameChars = kNameChars;
        DWORD sizeBytes = sizeof(data) - sizeof(wchar_t);
        DWORD type = 0;
        if (::RegEnumValueW(key, index, name, &nameChars, nullptr, &type, reinterpret_cast<BYTE*>(data), &sizeBytes) !=
            ERROR_SUCCESS)
            return false;
        if (type != REG_SZ)
            data[0] = L'\0';
        lines.push_back(shown + L"|" + name + L"|" + std::to_wstring(type) + L"|" + data);
        return true;
    }
};
