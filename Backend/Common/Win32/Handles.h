#pragma once

#include "Win32/UniqueHandle.h"

#include <windows.h>

#include <wincrypt.h>
#include <wininet.h>

/// The handle types that we own, one line each.
/// INVALID_HANDLE_VALUE is not null: whoever calls CreateFile turns it into null before storing it.
namespace Win32
{
inline void ReleaseCryptoProvider(HCRYPTPROV provider) noexcept
{
    ::CryptReleaseContext(provider, 0);
}
} // namespace Win32

using CInternetHandle = CUniqueHandle<HINTERNET, &::InternetCloseHandle>;
using CKernelHandle = CUniqueHandle<HANDLE, &::CloseHandle>;
using CLibraryHandle = CUniqueHandle<HMODULE, &::FreeLibrary>;
using CCryptoProvider = CUniqueHandle<HCRYPTPROV, &Win32::ReleaseCryptoProvider>;
using CCryptoHash = CUniqueHandle<HCRYPTHASH, &::CryptDestroyHash>;
