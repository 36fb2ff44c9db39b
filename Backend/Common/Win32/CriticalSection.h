#pragma once

#include "Lifetime/Lifetime.h"

#include <windows.h>

/// Recursive lock of one process.
/// A function whose caller must hold the lock takes a `const CCriticalSection::Holder&`: only a holder can make one.
/// The checked build also looks whether it is this lock's and this thread's (CheckIsOf), and at the order of locks.
class CCriticalSection
{
public:
    class [[nodiscard]] Holder
    {
    public:
        explicit Holder(CCriticalSection& section) noexcept : m_section(section)
        {
            m_section.Enter();
        }
        ~Holder()
        {
            m_section.Leave();
        }
        void CheckIsOf(const CCriticalSection& section) const noexcept
        {
            Lifetime::Require(&m_section == &section, "the holder of another lock");
            section.m_user.CheckIsOwn("the holder of another thread");
        }
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

    private:
        CCriticalSection& m_section;
    };

    /// Throws the HRESULT made from the system error when the system cannot create the lock.
    explicit CCriticalSection(Lifetime::LockRank rank) : m_rank(rank)
    {
        if (!::InitializeCriticalSectionAndSpinCount(&m_section, 0))
            throw static_cast<HRESULT>(HRESULT_FROM_WIN32(::GetLastError()));
    }
    ~CCriticalSection()
    {
        ::DeleteCriticalSection(&m_section);
    }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

private:
    void Enter() noexcept
    {
        m_mark.Check("a lock is taken after its end");
        if (!m_user.IsOwn())
            Lifetime::EnterLock(m_rank);
        ::EnterCriticalSection(&m_section);
        m_user.Enter("two threads inside one lock");
    }
    void Leave() noexcept
    {
        m_user.Leave();
        if (!m_user.IsOwn())
            Lifetime::LeaveLock(m_rank);
        ::LeaveCriticalSection(&m_section);
    }

    CRITICAL_SECTION m_section;
    const Lifetime::LockRank m_rank;
    [[no_unique_address]] Lifetime::CUser m_user;
    [[no_unique_address]] Lifetime::CMark m_mark;
};
