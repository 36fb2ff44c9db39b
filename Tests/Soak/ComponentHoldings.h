#pragma once

#include <windows.h>

#include <cstdint>

/// What the component itself has opened and not closed, seen in its import table: memory, handles of every kind, locks,
/// timers, libraries. Texts and task memory are not counted, since clients give those back. Any thread.
namespace ComponentHoldings
{
/// Before the first object is made. The module stays loaded from then on.
void Watch(HMODULE module);
std::uint32_t Count() noexcept;
} // namespace ComponentHoldings
