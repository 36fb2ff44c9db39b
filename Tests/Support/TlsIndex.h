#pragma once

#include <windows.h>

/// The lowest TLS index that is free: rises by one for each that somebody keeps.
inline DWORD NextTlsIndex()
{
    const DWORD index = ::TlsAlloc();
    ::TlsFree(index);
    return index;
}
