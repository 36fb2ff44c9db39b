#include <windows.h>

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace
{
// The POSIX types are the words of the Win32 primitives that live in them, but for their initial value.
static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));
static_assert(sizeof(pthread_cond_t) == sizeof(CONDITION_VARIABLE));
static_assert(sizeof(pthread_once_t) == sizeof(INIT_ONCE) && PTHREAD_ONCE_INIT == 0);

/// A statically initialised word starts as one of three small negative numbers, the Win32 primitive as 0.
/// The numbers stand for kinds of mutexes. One kind is enough here: the only recursive mutex is that of GCC's guarded
/// initialisation, which does not lock it twice where condition variables exist.
template <class Primitive>
Primitive* AsPrimitive(intptr_t* word) noexcept
{
    std::atomic_ref<intptr_t> atomicWord(*word);
    for (intptr_t unused : {GENERIC_INITIALIZER, GENERIC_ERRORCHECK_INITIALIZER, GENERIC_RECURSIVE_INITIALIZER})
        if (atomicWord.load(std::memory_order_acquire) == unused)
            atomicWord.compare_exchange_strong(unused, 0);
    return reinterpret_cast<Primitive*>(word);
}

BOOL CALLBACK CallOnce(PINIT_ONCE, void* parameter, void**)
{
    reinterpret_cast<void (*)()>(parameter)();
    return TRUE;
}
} // namespace

extern "C"
{
    int pthread_once(pthread_once_t* once, void (*function)(void))
    {
        return ::InitOnceExecuteOnce(reinterpret_cast<INIT_ONCE*>(once), &CallOnce, reinterpret_cast<void*>(function),
                                     nullptr)
                   ? 0
                   : EINVAL;
    }

    int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t*)
    {
        *mutex = 0;
        return 0;
    }

    int pthread_mutex_destroy(pthread_mutex_t*)
    {
        return 0;
    }

    int pthread_mutex_lock(pthread_mutex_t* mutex)
    {
        ::AcquireSRWLockExclusive(AsPrimitive<SRWLOCK>(mutex));
        return 0;
    }

    int pthread_mutex_unlock(pthread_mutex_t* mutex)
    {
        ::ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(mutex));
        return 0;
    }

    int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t*)
    {
        *condition = 0;
        return 0;
    }

    int pthread_cond_destroy(pthread_cond_t*)
    {
        return 0;
    }

    int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
    {
        // A wait that ends early counts as a spurious wake-up, which every caller must expect.
        constexpr DWORD kLimitMs = 1000;
        (void)::SleepConditionVariableSRW(AsPrimitive<CONDITION_VARIABLE>(condition), AsPrimitive<SRWLOCK>(mutex),
                                          kLimitMs, 0);
        return 0;
    }

    int pthread_cond_signal(pthread_cond_t* condition)
    {
        ::WakeConditionVariable(AsPrimitive<CONDITION_VARIABLE>(condition));
        return 0;
    }

    int pthread_cond_broadcast(pthread_cond_t* condition)
    {
        ::WakeAllConditionVariable(AsPrimitive<CONDITION_VARIABLE>(condition));
        return 0;
    }
} // extern "C"
