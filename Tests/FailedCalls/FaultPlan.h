#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What the component may own; what is opened under one kind is closed under the same.
enum class Resource
{
    None,
    Heap,
    TaskMemory,
    Text,
    Kernel,
    RegistryKey,
    Internet,
    CryptoProvider,
    CryptoHash,
    Timer,
    Library,
    CriticalSection,
};
inline constexpr std::size_t kResourceKinds = 12;
const char* NameOf(Resource kind) noexcept;

/// How a function changes what the component owns.
struct Ownership
{
    enum class Effect
    {
        None,
        Opens, ///< where it succeeds
        Closes,
    };
    static constexpr int kResult = -1;

    Effect effect = Effect::None;
    Resource kind = Resource::None;
    int argument = kResult;        ///< which one is the handle
    bool isThroughPointer = false; ///< the argument points to it
    bool isZeroSuccess = false;    ///< of the function's result
};

/// What a call that fails returns.
struct Failure
{
    std::uintptr_t result = 0;
    DWORD lastError = 0;
};

/// One function of the component's import table whose calls are counted. Lives as long as the process.
/// Any thread calls; the members are set before the import table is changed.
class CHookedFunction
{
public:
    CHookedFunction(const char* functionName, void* function) noexcept : name(functionName), replacement(function) {}
    CHookedFunction(const CHookedFunction&) = delete;
    CHookedFunction& operator=(const CHookedFunction&) = delete;

    void BeforeCall(const std::uintptr_t* arguments) noexcept;
    void AfterCall(const std::uintptr_t* arguments, std::uintptr_t result) noexcept;

    const char* const name;
    void* const replacement;
    void* original = nullptr;
    Failure failure;
    Ownership ownership;
    std::atomic<unsigned> calls{0}; ///< since the session began
};

/// What the component owns at the moment. Any thread.
namespace Owned
{
using Counts = std::array<long, kResourceKinds>;
Counts Count() noexcept;
/// From here on it is kept where each thing was opened; costs time.
void StartTracing() noexcept;
/// Where what was opened since then and is still there was opened, each as offsets from the module's beginning.
std::vector<std::vector<std::uintptr_t>> StopTracing();
/// The client has freed what it was given.
void GaveBack(Resource kind, const void* handle) noexcept;
} // namespace Owned

/// The one call that fails in this session.
namespace FaultPlan
{
/// From here on the `number`-th call of the function (from 1) fails, once; and so does the first one of `companion`.
void Arm(const CHookedFunction& function, unsigned number, const CHookedFunction* companion = nullptr) noexcept;
void Disarm() noexcept;

/// What the session does now; kept with the fault.
void SetStep(const char* name) noexcept;

/// The fault that has come about, if any.
struct Hit
{
    bool isHit = false;
    const char* step = "";
    /// Where in the component, innermost first: offsets from its beginning.
    std::vector<std::uintptr_t> places;
};
Hit LastHit();

/// For the hooks: counts the call and says whether it is to fail.
bool Takes(CHookedFunction& function, const void* site) noexcept;

/// The module whose addresses count as places.
void SetModule(HMODULE module) noexcept;
} // namespace FaultPlan
