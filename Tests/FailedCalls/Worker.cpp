// One process in which calls fail, one after another. Started by the tests, and again where it was when it crashes:
//     FailedCallsWorker RESULTS IPELA-PORT AXIS-PORT RELATIVE-PORT MODE [SCRIPT FUNCTION NUMBER]
// What the mode may be stands with the class. The last three name the fault behind which it goes on. Each line of the
// results file is a record, its fields separated by tabs; what has begun without an end is what the process died of.

#include "Tests/FailedCalls/FaultRun.h"
#include "Tests/FailedCalls/KeepAliveDriver.h"
#include "Tests/Support/ImportTable.h"

#include <objbase.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace
{
/// Called where the table says that nobody calls.
template <std::size_t N>
struct CTrap
{
    static inline const char* s_name = "";
    [[noreturn]] static void Spring()
    {
        std::fprintf(stderr, "%s was called, of which the table says that it is not\n", s_name);
        ::TerminateProcess(::GetCurrentProcess(), 4);
        std::abort();
    }
};

struct Trap
{
    void* function;
    const char** name;
};

template <std::size_t... N>
std::vector<Trap> MakeTraps(std::index_sequence<N...>)
{
    return {{reinterpret_cast<void*>(&CTrap<N>::Spring), &CTrap<N>::s_name}...};
}

void HookEverything(const CComponentLibrary& library)
{
    KeepAliveDriver::Install();
    FaultPlan::SetModule(library.Module());
    std::vector<Trap> traps = MakeTraps(std::make_index_sequence<64>());
    for (const ImportedFunction& import : ImportTable::Read(library.Module()))
    {
        for (const FunctionRow& row : FunctionTable())
        {
            if (row.name != import.name)
                continue;
            if (row.hook != nullptr)
            {
                if (row.hook->original == nullptr)
                    row.hook->original = *import.slot;
                ImportTable::Redirect(import, row.hook->replacement);
            }
            else if (row.kind == FunctionRow::Kind::NotReached && !traps.empty())
            {
                *traps.back().name = row.name.c_str();
                ImportTable::Redirect(import, traps.back().function);
                traps.pop_back();
            }
        }
    }
}

int Run(int count, char** arguments)
{
    if (count != 6 && count != 9)
        return 2;
    const CComponentLibrary library;
    if (FAILED(library.RegisterServer()))
        throw std::runtime_error("the component cannot be registered");
    const auto number = [arguments](int index) {
        return static_cast<unsigned>(std::strtoul(arguments[index], nullptr, 10));
    };
    const Surroundings surroundings = {&library, static_cast<WORD>(number(2)), static_cast<WORD>(number(3)),
                                       static_cast<WORD>(number(4))};
    CFaultRun run(arguments[1], surroundings);
    HookEverything(library);
    const Mode mode(arguments[5]);
    run.MakeReferences(mode);
    if (count == 9)
        run.GoOnBehind({arguments[6], arguments[7], number(8)});
    run.Go(mode);
    return SUCCEEDED(library.UnregisterServer()) ? 0 : 1;
}
} // namespace

int main(int count, char** arguments)
{
    int result = 1;
    try
    {
        // Keeps COM in the process while the sessions come and go.
        if (SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
            result = Run(count, arguments);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
    }
    // Without the component's own end: the traps are still set.
    std::fflush(nullptr);
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(result));
    return result;
}
