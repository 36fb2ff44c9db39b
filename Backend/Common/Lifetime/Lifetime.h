#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>

/// Assertions about lifetimes, threads and locks, for a build that looks for defects (QUORVANE_LIFETIME_CHECKS). In any
/// other build the types below are empty and the functions do nothing.
/// Portable; any thread. A violated assertion ends the process on the spot, as the host could not go on safely either,
/// with its text on standard error and the exit code kExitCode.
/// The variants with "Checked" in their names are there in every build, so that they have tests in every build.
namespace Lifetime
{
#ifdef QUORVANE_LIFETIME_CHECKS
inline constexpr bool kIsChecked = true;
#else
inline constexpr bool kIsChecked = false;
#endif
inline constexpr int kExitCode = 86;

using FailureHandler = void (*)(const char* text);
/// Test seam: called instead of ending the process.
extern std::atomic<FailureHandler> s_onFailure;
void Fail(const char* text) noexcept;
/// Never 0.
std::uint32_t CurrentThread() noexcept;

inline void Require(bool condition, const char* text) noexcept
{
    if constexpr (kIsChecked)
    {
        if (!condition)
            Fail(text);
    }
}

/// A member that tells whether its object lives. Its memory must not be in use again when it is asked; see CKeptMemory.
class CCheckedMark
{
public:
    CCheckedMark() noexcept = default;
    ~CCheckedMark()
    {
        m_magic = kDead;
    }
    CCheckedMark(const CCheckedMark&) = delete;
    CCheckedMark& operator=(const CCheckedMark&) = delete;
    void Check(const char* text) const noexcept
    {
        if (m_magic != kAlive)
            Fail(text);
    }

private:
    static constexpr std::uint32_t kAlive = 0x0A11FE00;
    static constexpr std::uint32_t kDead = 0xDEAD0B1E;
    volatile std::uint32_t m_magic = kAlive; // volatile: nobody reads the last value within the object's life
};

/// A base of objects on the heap whose memory is never given back, so that marks in it can be read after their end.
struct CheckedKeptMemory
{
    static void operator delete(void*) noexcept {}
};

/// A member of an object that one thread at a time may use: which one does.
class CCheckedUser
{
public:
    void Enter(const char* text) noexcept
    {
        std::uint32_t previous = 0;
        const std::uint32_t own = CurrentThread();
        if (!m_thread.compare_exchange_strong(previous, own) && previous != own)
            Fail(text);
        ++m_depth;
    }
    void Leave() noexcept
    {
        if (--m_depth == 0)
            m_thread = 0;
    }
    /// For the owner of a lock.
    void CheckIsOwn(const char* text) const noexcept
    {
        if (m_thread != CurrentThread())
            Fail(text);
    }
    bool IsOwn() const noexcept
    {
        return m_thread == CurrentThread();
    }

private:
    std::atomic<std::uint32_t> m_thread{0};
    unsigned m_depth = 0; ///< of that thread, which may call itself
};

/// The component's locks in the order in which a thread may take them; one of each kind at a time.
enum class LockRank
{
    Object,
    SessionManager,
    Session,
    ExchangeGate,
    Request,
    LogSettings,
    Leaf,
};

namespace Checked
{
void EnterLock(LockRank rank) noexcept;
void LeaveLock(LockRank rank) noexcept;
/// Fails when the calling thread holds a lock of this rank or one behind it.
void RequireNoLockFrom(LockRank rank, const char* text) noexcept;
} // namespace Checked

inline void EnterLock(LockRank rank) noexcept
{
    if constexpr (kIsChecked)
        Checked::EnterLock(rank);
}
inline void LeaveLock(LockRank rank) noexcept
{
    if constexpr (kIsChecked)
        Checked::LeaveLock(rank);
}
inline void RequireNoLockFrom(LockRank rank, const char* text) noexcept
{
    if constexpr (kIsChecked)
        Checked::RequireNoLockFrom(rank, text);
}

struct NoMark
{
    static constexpr void Check(const char*) noexcept {}
};
struct NoUser
{
    static constexpr void Enter(const char*) noexcept {}
    static constexpr void Leave() noexcept {}
    static constexpr void CheckIsOwn(const char*) noexcept {}
    static constexpr bool IsOwn() noexcept
    {
        return false;
    }
};
struct NoKeptMemory
{
};

/// Members are declared [[no_unique_address]].
using CMark = std::conditional_t<kIsChecked, CCheckedMark, NoMark>;
using CUser = std::conditional_t<kIsChecked, CCheckedUser, NoUser>;
using CKeptMemory = std::conditional_t<kIsChecked, CheckedKeptMemory, NoKeptMemory>;

/// The calling thread uses the object for as long as this lives.
template <class User>
class [[nodiscard]] CStay
{
public:
    CStay(User& user, const char* text) noexcept : m_user(user)
    {
        m_user.Enter(text);
    }
    ~CStay()
    {
        m_user.Leave();
    }
    CStay(const CStay&) = delete;
    CStay& operator=(const CStay&) = delete;

private:
    User& m_user;
};
} // namespace Lifetime
