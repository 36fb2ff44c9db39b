#pragma once

#include <windows.h>

#include <winternl.h>

#include <stdexcept>
#include <vector>

/// The number of kernel handles that this process holds, threads included. Counted in the system's handle table,
/// because Wine answers GetProcessHandleCount with 0.
inline unsigned CountOwnHandles()
{
    struct TableEntry
    {
        USHORT processId;
        USHORT creatorBackTraceIndex;
        UCHAR objectType;
        UCHAR attributes;
        USHORT value;
        void* object;
        ULONG grantedAccess;
    };
    struct Table
    {
        ULONG count;
        TableEntry entries[1];
    };
    constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    constexpr NTSTATUS kLengthMismatch = static_cast<NTSTATUS>(0xC0000004);
    using QueryFunction = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<QueryFunction>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));

    std::vector<char> buffer(64 * 1024);
    for (int attempt = 0; attempt < 10; ++attempt)
    {
        const NTSTATUS status =
            query(kSystemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr);
        if (status == kLengthMismatch)
        {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (status < 0)
            break;
        const Table& table = *reinterpret_cast<const Table*>(buffer.data());
        unsigned own = 0;
        for (ULONG i = 0; i < table.count; ++i)
            own += table.entries[i].processId == static_cast<USHORT>(::GetCurrentProcessId()) ? 1 : 0;
        return own;
    }
    throw std::runtime_error("the handle table cannot be read");
}
