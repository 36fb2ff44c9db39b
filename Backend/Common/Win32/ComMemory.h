#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>

#include <cstddef>
#include <limits>
#include <new>
#include <string_view>

/// Strings and blocks whose ownership crosses the COM boundary.
namespace Win32
{
template <class T>
void FreeTaskMemory(T* block) noexcept
{
    ::CoTaskMemFree(block);
}
} // namespace Win32

/// Owned BSTR. `release()` hands it to the client, who frees it with SysFreeString.
using CBstr = CUniqueHandle<BSTR, &::SysFreeString>;

/// Owned CoTaskMemAlloc block. `release()` hands it to the client, who frees it with CoTaskMemFree.
template <class T>
using CTaskMemory = CUniqueHandle<T*, &Win32::FreeTaskMemory<T>>;

/// Room for `count` records, zero bytes never among them; empty when memory is short.
template <class T>
[[nodiscard]] CTaskMemory<T> AllocateTaskMemory(std::size_t count) noexcept
{
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T))
        return {};
    return CTaskMemory<T>(static_cast<T*>(::CoTaskMemAlloc(count * sizeof(T))));
}

/// A new BSTR with the text; throws std::bad_alloc when memory is short.
[[nodiscard]] inline CBstr MakeBstr(std::wstring_view text)
{
    CBstr result(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
    if (!result)
        throw std::bad_alloc();
    return result;
}
