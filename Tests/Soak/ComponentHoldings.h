#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

/// What the component itself has opened and not closed, seen in its import table: memory, handles of every kind, locks,
/// timers, libraries. Texts and task memory are not counted, since clients give those back. Any thread.
namespace ComponentHoldings
{
/// Before the first object is made. The module stays loaded from then on.
void Watch(HMODULE module);
std::uint32_t Count() noexcept;
/// From here on it is kept where each thing was opened.
void StartTracing() noexcept;
/// What was opened since then and is still there: "N opened at PLACE ...", the places as offsets into the module,
/// innermost first; the most frequent first.
std::vector<std::string> StopTracing();
} // namespace ComponentHoldings
