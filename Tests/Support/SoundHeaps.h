#pragma once

#include <windows.h>

#include <algorithm>
#include <vector>

/// False when a heap of this process is damaged. What can be seen depends on how the process was started: as
/// ./dev check heap does it, also a byte behind a block, or in a block that was freed.
inline bool AreHeapsSound()
{
    std::vector<HANDLE> heaps(64);
    const DWORD count = ::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    heaps.resize(std::min<std::size_t>(heaps.size(), count));
    return std::ranges::all_of(heaps, [](HANDLE heap) { return ::HeapValidate(heap, 0, nullptr) != FALSE; });
}
