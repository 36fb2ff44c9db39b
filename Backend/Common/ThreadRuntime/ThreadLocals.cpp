#include "ThreadRuntime/ThreadRuntime.h"
#include "ThreadRuntime/ThreadSlot.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

// Thread-local variables of GCC's run-time libraries: the exceptions that each thread is handling. The compiler reaches
// them through one function, here in place of that of its own library.
//
// That one ends the process when it gets no memory for a thread's first exception. This exception is as a rule the
// std::bad_alloc of a host that runs out of memory: what could have been a failed call would be the end of a recording.
// Where memory or a slot is missing, the variables of the thread come from a reserve in here instead.

namespace
{
/// What the compiler knows of a thread-local variable; the layout is GCC's (__emutls_object).
struct Variable
{
    std::size_t sizeBytes;
    std::size_t alignBytes;
    void* libraryData;
    const void* initialValue; ///< null: zero
};

// There is one variable, of 8 bytes.
constexpr std::size_t kMostVariables = 4;
constexpr std::size_t kMostBytes = 16;
constexpr std::size_t kReservedThreads = 64;

/// One thread's copies.
struct Locals
{
    alignas(8) std::byte values[kMostVariables][kMostBytes];
    bool isMade[kMostVariables];
};

struct ReservedLocals
{
    std::atomic<DWORD> threadId{0}; ///< 0: free. Kept for good: a later thread of that number finds it as new
    Locals locals{};
};

constinit std::atomic<const Variable*> s_variables[kMostVariables] = {};
constinit CThreadSlot s_slot;
constinit INIT_ONCE s_slotOnce = INIT_ONCE_STATIC_INIT;
constinit ReservedLocals s_reserve[kReservedThreads];
constinit std::atomic<bool> s_isReserveUsed{false};

class CLastErrorGuard
{
public:
    ~CLastErrorGuard()
    {
        ::SetLastError(m_lastError);
    }

private:
    const DWORD m_lastError = ::GetLastError();
};

std::size_t NumberOf(const Variable& variable) noexcept
{
    for (std::size_t i = 0; i < kMostVariables; ++i)
    {
        const Variable* known = nullptr;
        if (s_variables[i].compare_exchange_strong(known, &variable) || known == &variable)
            return i;
    }
    std::abort(); // a new version of the compiler's library, found out by the first test that throws
}

BOOL CALLBACK AllocateSlot(PINIT_ONCE, void*, void**) noexcept
{
    s_slot.Allocate();
    return TRUE;
}

Locals* FindReserved(DWORD threadId) noexcept
{
    if (!s_isReserveUsed)
        return nullptr;
    const auto found =
        std::ranges::find_if(s_reserve, [threadId](const ReservedLocals& each) { return each.threadId == threadId; });
    return found != std::end(s_reserve) ? &found->locals : nullptr;
}

Locals& TakeReserved(DWORD threadId) noexcept
{
    s_isReserveUsed = true;
    for (ReservedLocals& each : s_reserve)
    {
        DWORD nobody = 0;
        if (each.threadId.compare_exchange_strong(nobody, threadId))
            return each.locals;
    }
    std::abort(); // memory was missing for the first exception of that many threads
}

Locals& CurrentLocals() noexcept
{
    // A throw expression is often about to read the last error, which the system's functions clear.
    const CLastErrorGuard keeper;
    const DWORD threadId = ::GetCurrentThreadId();
    if (Locals* const reserved = FindReserved(threadId))
        return *reserved;
    ::InitOnceExecuteOnce(&s_slotOnce, &AllocateSlot, nullptr, nullptr);
    if (void* const locals = s_slot.Get())
        return *static_cast<Locals*>(locals);
    void* const fresh = std::calloc(1, sizeof(Locals));
    if (fresh != nullptr && s_slot.Set(fresh))
        return *static_cast<Locals*>(fresh);
    std::free(fresh);
    return TakeReserved(threadId);
}

void* AddressOf(const Variable& variable) noexcept
{
    const std::size_t number = NumberOf(variable);
    if (variable.sizeBytes > kMostBytes || variable.alignBytes > alignof(Locals))
        std::abort(); // as in NumberOf
    Locals& locals = CurrentLocals();
    std::byte* const value = locals.values[number];
    if (!locals.isMade[number] && variable.initialValue != nullptr)
        std::memcpy(value, variable.initialValue, variable.sizeBytes);
    locals.isMade[number] = true;
    return value;
}
} // namespace

void ThreadRuntime::EndThread() noexcept
{
    s_slot.EndThread();
}

void ThreadRuntime::ReleaseThreadData() noexcept
{
    s_slot.Free();
}

extern "C" void* GetThreadLocal(const Variable* variable) noexcept asm("___emutls_get_address");

extern "C" void* GetThreadLocal(const Variable* variable) noexcept
{
    return AddressOf(*variable);
}
