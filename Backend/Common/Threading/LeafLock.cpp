#include "Threading/LeafLock.h"

#ifdef _WIN32
#include <windows.h>

#include <type_traits>

static_assert(sizeof(SRWLOCK) == sizeof(void*) && alignof(SRWLOCK) == alignof(void*));
static_assert(std::is_trivially_destructible_v<CLeafLock>);

// SRWLOCK_INIT is the null pointer that m_state starts with.
void CLeafLock::Acquire() noexcept
{
    ::AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK*>(&m_state));
}

void CLeafLock::Release() noexcept
{
    ::ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(&m_state));
}
#else
void CLeafLock::Acquire() noexcept
{
    m_state.lock();
}

void CLeafLock::Release() noexcept
{
    m_state.unlock();
}
#endif
