#pragma once

#include "Lifetime/Lifetime.h"

#ifndef _WIN32
#include <mutex>
#endif

/// Small lock for process-wide state: held briefly, not recursive, and always the last lock that a thread takes.
/// Any thread may use it. Constant-initialised, so that it is ready before any constructor runs.
///
/// On Windows it is a slim reader/writer lock: no handle, nothing to destroy, and nothing left behind on the threads
/// of the host that pass through, as the mutex of the C++ library would (winpthreads keeps a handle per foreign
/// thread). A spinning lock would burn the host's time while the log file is being written.
class CLeafLock
{
public:
    class [[nodiscard]] Holder
    {
    public:
        explicit Holder(CLeafLock& lock) noexcept : m_lock(lock)
        {
            m_lock.Acquire();
        }
        ~Holder()
        {
            m_lock.Release();
        }
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

    private:
        CLeafLock& m_lock;
    };

    constexpr CLeafLock() noexcept = default;
    /// For a lock under which a leaf is taken after all.
    explicit constexpr CLeafLock(Lifetime::LockRank rank) noexcept : m_rank(rank) {}
    CLeafLock(const CLeafLock&) = delete;
    CLeafLock& operator=(const CLeafLock&) = delete;

private:
    void Acquire() noexcept;
    void Release() noexcept;

    const Lifetime::LockRank m_rank = Lifetime::LockRank::Leaf;
#ifdef _WIN32
    void* m_state = nullptr; ///< an SRWLOCK; this header stays free of the Windows headers
#else
    std::mutex m_state; // allowed: not on Windows
#endif
};
