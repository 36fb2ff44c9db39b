#include "Tests/Soak/ComponentHoldings.h"

#include "Tests/FailedCalls/FunctionTable.h"
#include "Tests/Support/ImportTable.h"

#include <map>

void ComponentHoldings::Watch(HMODULE module)
{
    std::map<std::string, CHookedFunction*> hooks;
    for (const FunctionRow& row : FunctionTable())
        if (row.hook != nullptr && row.hook->ownership.effect != Ownership::Effect::None)
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
    for (std::size_t kind = 0; kind < counts.size(); ++kind)
        if (kind != static_cast<std::size_t>(Resource::Text) && kind != static_cast<std::size_t>(Resource::TaskMemory))
            sum += counts[kind];
    return static_cast<std::uint32_t>(sum);
}
