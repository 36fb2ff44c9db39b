#pragma once

#include <windows.h>

#include <string>

/// Registry scripts: resources of type REGISTRY, run by the registrar that the operating system has in atl.dll.
/// %MODULE% in a script stands for the module's path and belongs between single quotes.
/// Needs no COM apartment. Throws std::bad_alloc; other failures are returned.
namespace RegistryScript
{
[[nodiscard]] HRESULT Register(const std::wstring& modulePath, UINT resourceId);
/// Removes what the script adds, but for keys that it marks NoRemove.
[[nodiscard]] HRESULT Unregister(const std::wstring& modulePath, UINT resourceId);
} // namespace RegistryScript
