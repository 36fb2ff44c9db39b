#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <stdexcept>

/// A key below HKEY_CLASSES_ROOT that takes no lasting subkeys: whoever tries to add one fails.
/// Gone, with all that is below it, when it dies. `path` must live as long.
class CRegistryObstacle
{
public:
    explicit CRegistryObstacle(const wchar_t* path) : m_path(path)
    {
        if (::RegCreateKeyExW(HKEY_CLASSES_ROOT, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                              m_key.put(), nullptr) != ERROR_SUCCESS)
            throw std::runtime_error("the obstacle cannot be created");
    }
    ~CRegistryObstacle()
    {
        ::RegDeleteTreeW(HKEY_CLASSES_ROOT, m_path);
    }
    CRegistryObstacle(const CRegistryObstacle&) = delete;
    CRegistryObstacle& operator=(const CRegistryObstacle&) = delete;

private:
    const wchar_t* m_path;
    CUniqueHandle<HKEY, &::RegCloseKey> m_key;
};
