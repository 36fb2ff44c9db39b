#include "Tests/FailedCalls/FaultPlan.h"

#include <map>
#include <mutex>
#include <utility>

namespace
{
// Bookkeeping must not change what GetLastError tells the component.
class CLastErrorGuard
{
public:
    CLastErrorGuard() noexcept : m_lastError(::GetLastError()) {}
    ~CLastErrorGuard()
    {
        ::SetLastError(m_lastError);
    }
    CLastErrorGuard(const CLastErrorGuard&) = delete;
    CLastErrorGuard& operator=(const CLastErrorGuard&) = delete;

private:
    const DWORD m_lastError;
};

std::atomic<const CHookedFunction*> g_armed{nullptr};
std::atomic<unsigned> g_number{0};
std::atomic<const CHookedFunction*> g_companion{nullptr};
std::atomic<const char*> g_step{""};
std::mutex g_hitLock;
FaultPlan::Hit g_hit;
std::uintptr_t g_moduleStart = 0;
std::uintptr_t g_moduleEnd = 0;

bool IsInModule(std::uintptr_t address) noexcept
{
    return address >= g_moduleStart && address < g_moduleEnd;
}

/// The instruction before a return address is a call.
bool IsReturnAddress(std::uintptr_t address) noexcept
{
    if (!IsInModule(address) || address < g_moduleStart + 0x1000 + 7)
        return false;
    const auto* const end = reinterpret_cast<const BYTE*>(address);
    if (end[-5] == 0xE8)
        return true;
    for (int length = 2; length <= 7; ++length)
        if (end[-length] == 0xFF && (end[-length + 1] & 0x38) == 0x10)
            return true;
    return false;
}

/// Without frame pointers the stack is searched for what looks like return addresses: good enough to find a place.
std::vector<std::uintptr_t> FindPlaces(const void* site)
{
    constexpr std::size_t kMostPlaces = 16;
    constexpr std::size_t kMostWords = 1024;
    std::vector<std::uintptr_t> places;
    if (site != nullptr)
        places.push_back(reinterpret_cast<std::uintptr_t>(site) - g_moduleStart);
    const auto* word = static_cast<const std::uintptr_t*>(__builtin_frame_address(0));
    const auto* const base =
        static_cast<const std::uintptr_t*>(reinterpret_cast<const NT_TIB*>(::NtCurrentTeb())->StackBase);
    bool isPastSite = site == nullptr;
    for (std::size_t i = 0; i < kMostWords && word < base && places.size() < kMostPlaces; ++i, ++word)
    {
        if (isPastSite && IsReturnAddress(*word) && (places.empty() || places.back() != *word - g_moduleStart))
            places.push_back(*word - g_moduleStart);
        isPastSite = isPastSite || *word == reinterpret_cast<std::uintptr_t>(site);
    }
    return places;
}

std::mutex g_ownedLock;
using Key = std::pair<Resource, std::uintptr_t>;
std::map<Key, unsigned> g_owned; // a library may be loaded more than once
std::map<Key, std::vector<std::uintptr_t>> g_traces;
std::atomic<bool> g_isTracing{false};
Owned::Counts g_counts = {};

void Opened(Resource kind, std::uintptr_t handle) noexcept
{
    std::vector<std::uintptr_t> places;
    if (g_isTracing)
        places = FindPlaces(nullptr);
    const std::lock_guard lock(g_ownedLock);
    if (g_isTracing)
        g_traces[{kind, handle}] = std::move(places);
    ++g_owned[{kind, handle}];
    ++g_counts[static_cast<std::size_t>(kind)];
}

/// What was opened before the import table was changed is not known, and not counted.
void Closed(Resource kind, std::uintptr_t handle) noexcept
{
    const std::lock_guard lock(g_ownedLock);
    const auto found = g_owned.find({kind, handle});
    if (found == g_owned.end())
        return;
    if (--found->second == 0)
        g_owned.erase(found);
    g_traces.erase({kind, handle});
    --g_counts[static_cast<std::size_t>(kind)];
}
} // namespace

const char* NameOf(Resource kind) noexcept
{
    constexpr std::array<const char*, kResourceKinds> kNames = {
        "nothing",       "heap block",        "task memory", "BSTR",
        "kernel handle", "registry key",      "HINTERNET",   "crypto provider",
        "crypto hash",   "thread-pool timer", "library",     "critical section"};
    return kNames[static_cast<std::size_t>(kind)];
}

void CHookedFunction::BeforeCall(const std::uintptr_t* arguments) noexcept
{
    // Before the call, because afterwards another thread may have got the same value.
    if (ownership.effect == Ownership::Effect::Closes)
    {
        const CLastErrorGuard keeper;
        Closed(ownership.kind, arguments[ownership.argument < 0 ? 0 : ownership.argument]);
    }
}

void CHookedFunction::AfterCall(const std::uintptr_t* arguments, std::uintptr_t result) noexcept
{
    const bool failed = ownership.isZeroSuccess ? result != 0 : result == 0 || result == ~std::uintptr_t{0};
    if (ownership.effect != Ownership::Effect::Opens || failed)
        return;
    const CLastErrorGuard keeper;
    std::uintptr_t handle = ownership.argument == Ownership::kResult ? result : arguments[ownership.argument];
    if (ownership.isThroughPointer)
        handle = *reinterpret_cast<const std::uintptr_t*>(handle);
    Opened(ownership.kind, handle);
}

Owned::Counts Owned::Count() noexcept
{
    const std::lock_guard lock(g_ownedLock);
    return g_counts;
}

void Owned::StartTracing() noexcept
{
    g_isTracing = true;
}

std::vector<std::vector<std::uintptr_t>> Owned::StopTracing()
{
    g_isTracing = false;
    const std::lock_guard lock(g_ownedLock);
    std::vector<std::vector<std::uintptr_t>> places;
    for (auto& [key, trace] : g_traces)
        places.push_back(std::move(trace));
    g_traces.clear();
    return places;
}

void Owned::GaveBack(Resource kind, const void* handle) noexcept
{
    Closed(kind, reinterpret_cast<std::uintptr_t>(handle));
}

void FaultPlan::Arm(const CHookedFunction& function, unsigned number, const CHookedFunction* companion) noexcept
{
    {
        const std::lock_guard lock(g_hitLock);
        g_hit = {};
    }
    g_number = number;
    g_companion = companion;
    g_armed = &function;
}

void FaultPlan::Disarm() noexcept
{
    g_armed = nullptr;
    g_companion = nullptr;
}

void FaultPlan::SetStep(const char* name) noexcept
{
    g_step = name;
}

FaultPlan::Hit FaultPlan::LastHit()
{
    const std::lock_guard lock(g_hitLock);
    return g_hit;
}

bool FaultPlan::Takes(CHookedFunction& function, const void* site) noexcept
{
    const unsigned number = ++function.calls;
    const CHookedFunction* armed = &function;
    if (g_companion == armed && number == 1)
        return true;
    if (g_armed != armed || number != g_number || !g_armed.compare_exchange_strong(armed, nullptr))
        return false;
    const std::lock_guard lock(g_hitLock);
    g_hit = {true, g_step, FindPlaces(site)};
    return true;
}

void FaultPlan::SetModule(HMODULE module) noexcept
{
    const auto* const base = reinterpret_cast<const BYTE*>(module);
    const auto& headers =
        *reinterpret_cast<const IMAGE_NT_HEADERS32*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    g_moduleStart = reinterpret_cast<std::uintptr_t>(module);
    g_moduleEnd = g_moduleStart + headers.OptionalHeader.SizeOfImage;
}
