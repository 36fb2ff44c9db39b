#pragma once

#include <windows.h>

#include <string>

/// The type library that a module carries as resource TYPELIB 1, in the registry.
/// TYPE_E_INVALIDID when the library in the resource is not `libid`. Throws std::bad_alloc; other failures are
/// returned.
namespace TypeLibRegistration
{
[[nodiscard]] HRESULT Register(const std::wstring& modulePath, REFGUID libid);
[[nodiscard]] HRESULT Unregister(const std::wstring& modulePath, REFGUID libid);
} // namespace TypeLibRegistration
