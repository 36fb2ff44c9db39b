#include "Threading/LeafLock.h"

#ifdef _WIN32
#include <windows.h>

#include <type_traits>

static_assert(sizeof(SRWLOCK) == sizeof(void*) && alignof(SRWLOCK) == alignof(void*));
static_assert(std::is_trivially_destructible_v<CLeafLock>);

// SRWLOCK_INIT is the null pointer that m_state starts with.
void CLeafLock::Acquire() noexcept
{
    Lifetime::EnterLock(m_rank);
    ::AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK*>(&m_state));
}

void CLeafLock::Release() noexcept
{
    ::ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(&m_state));
    Lifetime::LeaveLock(m_rank);
}
#else
void CLeafLock::Acquire() noexcept
{
    Lifetime::EnterLock(m_rank);
    m_state.lock();
}

void CLeafLock::Release() noexcept
{
    m_state.unlock();
    Lifetime::LeaveLock(m_rank);
}
#endif
