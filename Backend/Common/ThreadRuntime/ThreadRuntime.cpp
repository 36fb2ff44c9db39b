#include "ThreadRuntime/ThreadRuntime.h"

#include <windows.h>

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace
{
// The POSIX types are the words of the Win32 primitives that live in them, but for their initial value.
static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));
static_assert(sizeof(pthread_cond_t) == sizeof(CONDITION_VARIABLE));
static_assert(sizeof(pthread_once_t) == sizeof(INIT_ONCE) && PTHREAD_ONCE_INIT == 0);

/// A value of one thread for one key. It carries the destructor because the system's callback is told no key.
struct ThreadValue
{
    void* value;
    void (*destructor)(void*);
};

struct Key
{
    std::atomic<DWORD> flsIndex{FLS_OUT_OF_INDEXES};
    void (*destructor)(void*) = nullptr;
};

// GCC's libraries create one to three keys.
constexpr unsigned kMostKeys = 16;
constinit Key keys[kMostKeys];
constinit std::atomic<unsigned> keyCount{0};

/// This thread's value of a key, null when it has none. Keeps the last error, which the system's function clears and
/// which a throw expression is often about to read.
ThreadValue* FindValue(DWORD flsIndex) noexcept
{
    const DWORD lastError = ::GetLastError();
    auto* const value = static_cast<ThreadValue*>(::FlsGetValue(flsIndex));
    ::SetLastError(lastError);
    return value;
}

void WINAPI DestroyValue(void* parameter)
{
    auto* const slot = static_cast<ThreadValue*>(parameter);
    if (slot == nullptr)
        return;
    if (slot->value != nullptr && slot->destructor != nullptr)
        slot->destructor(slot->value);
    std::free(slot);
}

DWORD FlsIndexOf(pthread_key_t key) noexcept
{
    return key < kMostKeys ? keys[key].flsIndex.load(std::memory_order_acquire) : FLS_OUT_OF_INDEXES;
}

void FreeKey(Key& key) noexcept
{
    // Runs DestroyValue for every thread that has a value.
    const DWORD index = key.flsIndex.exchange(FLS_OUT_OF_INDEXES);
    if (index != FLS_OUT_OF_INDEXES)
        ::FlsFree(index);
}

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

void ThreadRuntime::ReleaseThreadData() noexcept
{
    for (Key& key : keys)
        FreeKey(key);
}

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
        ::ReleaseSRWLockExclusive(AsPrimitive<SRWLOCK>(mutex));
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

    int pthread_key_create(pthread_key_t* key, void (*destructor)(void*))
    {
        const unsigned number = keyCount.fetch_add(1);
        if (number >= kMostKeys)
            return EAGAIN;
        const DWORD index = ::FlsAlloc(&DestroyValue);
        if (index == FLS_OUT_OF_INDEXES)
            return EAGAIN;
        keys[number].destructor = destructor;
        keys[number].flsIndex.store(index, std::memory_order_release);
        *key = number;
        return 0;
    }

    int pthread_key_delete(pthread_key_t key)
    {
        if (key >= kMostKeys)
            return EINVAL;
        FreeKey(keys[key]);
        return 0;
    }

    void* pthread_getspecific(pthread_key_t key)
    {
        const DWORD index = FlsIndexOf(key);
        if (index == FLS_OUT_OF_INDEXES)
            return nullptr;
        const ThreadValue* const slot = FindValue(index);
        return slot != nullptr ? slot->value : nullptr;
    }

    int pthread_setspecific(pthread_key_t key, const void* value)
    {
        const DWORD index = FlsIndexOf(key);
        if (index == FLS_OUT_OF_INDEXES)
            return EINVAL;
        ThreadValue* slot = FindValue(index);
        if (slot == nullptr)
        {
            slot = static_cast<ThreadValue*>(std::malloc(sizeof(ThreadValue)));
            if (slot == nullptr)
                return ENOMEM;
            slot->destructor = keys[key].destructor;
            if (!::FlsSetValue(index, slot))
            {
                std::free(slot);
                return EINVAL;
            }
        }
        slot->value = const_cast<void*>(value);
        return 0;
    }
} // extern "C"
