#include "Lifetime/Lifetime.h"

#include <cstdio>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

constinit std::atomic<Lifetime::FailureHandler> Lifetime::s_onFailure{nullptr};

namespace
{
/// The ranks of the locks that the calling thread holds, one bit each.
class CHeldLocks
{
public:
    static std::uintptr_t Get() noexcept;
    static void Set(std::uintptr_t held) noexcept;
};

#ifdef _WIN32
// A slot of the system's and not a thread_local, which in this library costs memory on every thread of the host.
class CSlot
{
public:
    ~CSlot()
    {
        if (const DWORD index = m_index.exchange(TLS_OUT_OF_INDEXES); index != TLS_OUT_OF_INDEXES)
            ::TlsFree(index);
    }
    DWORD Index() noexcept
    {
        DWORD index = m_index;
        if (index != TLS_OUT_OF_INDEXES)
            return index;
        const DWORD made = ::TlsAlloc();
        if (m_index.compare_exchange_strong(index, made))
            return made;
        ::TlsFree(made);
        return index;
    }

private:
    std::atomic<DWORD> m_index{TLS_OUT_OF_INDEXES};
};
constinit CSlot s_slot;

std::uintptr_t CHeldLocks::Get() noexcept
{
    const DWORD lastError = ::GetLastError(); // which reading the slot would clear
    const auto held = reinterpret_cast<std::uintptr_t>(::TlsGetValue(s_slot.Index()));
    ::SetLastError(lastError);
    return held;
}

void CHeldLocks::Set(std::uintptr_t held) noexcept
{
    ::TlsSetValue(s_slot.Index(), reinterpret_cast<void*>(held));
}
#else
constinit std::atomic<std::uint32_t> s_lastThread{0};
thread_local std::uintptr_t t_held = 0;

std::uintptr_t CHeldLocks::Get() noexcept
{
    return t_held;
}

void CHeldLocks::Set(std::uintptr_t held) noexcept
{
    t_held = held;
}
#endif

constexpr std::uintptr_t BitOf(Lifetime::LockRank rank) noexcept
{
    return std::uintptr_t{1} << static_cast<unsigned>(rank);
}
} // namespace

void Lifetime::Fail(const char* text) noexcept
{
    if (const FailureHandler handler = s_onFailure)
        return handler(text);
    std::fprintf(stderr, "lifetime check failed: %s\n", text);
    std::fflush(stderr);
#ifdef _WIN32
    ::TerminateProcess(::GetCurrentProcess(), kExitCode);
#else
    ::_exit(kExitCode);
#endif
}

std::uint32_t Lifetime::CurrentThread() noexcept
{
#ifdef _WIN32
    return ::GetCurrentThreadId();
#else
    thread_local const std::uint32_t own = ++s_lastThread;
    return own;
#endif
}

void Lifetime::Checked::EnterLock(LockRank rank) noexcept
{
    Checked::RequireNoLockFrom(rank, "a lock is taken behind one that comes after it");
    CHeldLocks::Set(CHeldLocks::Get() | BitOf(rank));
}

void Lifetime::Checked::LeaveLock(LockRank rank) noexcept
{
    const std::uintptr_t held = CHeldLocks::Get();
    if ((held & BitOf(rank)) == 0)
        Fail("a lock is released by a thread that does not hold it");
    CHeldLocks::Set(held & ~BitOf(rank));
}

void Lifetime::Checked::RequireNoLockFrom(LockRank rank, const char* text) noexcept
{
    if (CHeldLocks::Get() >= BitOf(rank))
        Fail(text);
}
