#include "Tests/Soak/ComponentHoldings.h"

#include "Tests/FailedCalls/FunctionTable.h"
#include "Tests/Support/ImportTable.h"

#include <algorithm>
#include <map>
#include <sstream>

void ComponentHoldings::Watch(HMODULE module)
{
    FaultPlan::SetModule(module);
    std::map<std::string, CHookedFunction*> hooks;
    for (const FunctionRow& row : FunctionTable())
        if (row.hook != nullptr && row.hook->ownership.effect != Ownership::Effect::None &&
            row.hook->ownership.kind != Resource::Text && row.hook->ownership.kind != Resource::TaskMemory)
            hooks.emplace(row.name, row.hook);
    for (const ImportedFunction& import : ImportTable::Read(module))
        if (const auto found = hooks.find(import.name); found != hooks.end())
        {
            found->second->original = *import.slot;
            ImportTable::Redirect(import, found->second->replacement);
        }
}

std::uint32_t ComponentHoldings::Count() noexcept
{
    const Owned::Counts counts = Owned::Count();
    long sum = 0;
    for (const long count : counts)
        sum += count;
    return static_cast<std::uint32_t>(sum);
}

void ComponentHoldings::StartTracing() noexcept
{
    Owned::StartTracing();
}

std::vector<std::string> ComponentHoldings::StopTracing()
{
    std::map<std::vector<std::uintptr_t>, unsigned> counts;
    for (const std::vector<std::uintptr_t>& places : Owned::StopTracing())
        ++counts[places];
    std::vector<std::pair<unsigned, std::string>> lines;
    for (const auto& [places, count] : counts)
    {
        std::ostringstream line;
        line << count << " opened at" << std::hex;
        for (const std::uintptr_t place : places)
            line << " 0x" << place;
        lines.emplace_back(count, line.str());
    }
    std::ranges::sort(lines, std::greater{});
    std::vector<std::string> texts;
    std::ranges::transform(lines, std::back_inserter(texts), [](const auto& line) { return line.second; });
    return texts;
}
