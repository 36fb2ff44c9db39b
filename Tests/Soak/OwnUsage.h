#pragma once

#include "Tests/Soak/ComponentHoldings.h"
#include "Tests/Soak/SoakSamples.h"
#include "Tests/Support/HandleCount.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <vector>

/// What this process holds at this moment.
namespace OwnUsage
{
inline std::uint32_t CountThreads()
{
    const CKernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    std::uint32_t count = 0;
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry))
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
    return count;
}

struct HeapUse
{
    std::uint32_t blocks = 0;
    std::uint32_t lostConnections = 0;
    std::uint64_t bytes = 0;
};

/// Wine 8's record of a connection whose socket is closed; such a one in use is a lost one (Tests/Wine shows how).
inline bool IsLostConnection(const PROCESS_HEAP_ENTRY& block)
{
    constexpr DWORD kRecordBytes = 96;
    return block.cbData == kRecordBytes && *static_cast<const DWORD*>(block.lpData) == 0xFFFFFFFF;
}

/// Nothing is allocated between locking a heap and unlocking it.
inline HeapUse CountHeaps()
{
    std::vector<HANDLE> heaps(64);
    heaps.resize(
        std::min<std::size_t>(heaps.size(), ::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data())));
    HeapUse use;
    for (const HANDLE heap : heaps)
    {
        if (!::HeapLock(heap))
            continue;
        PROCESS_HEAP_ENTRY entry = {};
        while (::HeapWalk(heap, &entry))
        {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0)
                continue;
            if (IsLostConnection(entry))
            {
                ++use.lostConnections;
                continue;
            }
            ++use.blocks;
            use.bytes += entry.cbData;
        }
        ::HeapUnlock(heap);
    }
    return use;
}

/// Committed and shared with nobody. Counted in the address space, because Wine 8 reports no figure of its own.
inline std::uint32_t PrivateKilobytes()
{
    std::uint64_t bytes = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (const char* address = nullptr; ::VirtualQuery(address, &region, sizeof(region)) == sizeof(region);
         address = static_cast<const char*>(region.BaseAddress) + region.RegionSize)
    {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            bytes += region.RegionSize;
        if (region.RegionSize > UINTPTR_MAX - reinterpret_cast<std::uintptr_t>(region.BaseAddress))
            break;
    }
    return static_cast<std::uint32_t>(bytes / 1024);
}

inline SoakSample Take()
{
    const HeapUse heap = CountHeaps();
    SoakSample sample;
    sample.handles = CountOwnHandles();
    sample.threads = CountThreads();
    sample.held = ComponentHoldings::Count();
    sample.heapBlocks = heap.blocks;
    sample.lostConnections = heap.lostConnections;
    sample.heapKilobytes = static_cast<std::uint32_t>(heap.bytes / 1024);
    sample.privateKilobytes = PrivateKilobytes();
    return sample;
}
} // namespace OwnUsage
