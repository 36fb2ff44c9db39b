#pragma once

#include <windows.h>

#include <comcat.h>

#include <span>

/// The categories that a class implements, in the registry. The thread must have initialised COM when there are any.
/// The object map has room for them so that a class which needs one names it there; AVCommand has none.
/// Removing may throw std::bad_alloc; other failures are returned.
namespace ComponentCategories
{
[[nodiscard]] HRESULT Register(REFCLSID clsid, std::span<const CATID> categories) noexcept;
[[nodiscard]] HRESULT Unregister(REFCLSID clsid, std::span<const CATID> categories);
} // namespace ComponentCategories
