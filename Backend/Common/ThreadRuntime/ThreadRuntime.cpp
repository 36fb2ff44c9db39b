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

void WINAPI DestroyValue(void* parameter)
{
    auto* const slot = static_cast<ThreadValue*>(parameter);
    if (slot == nullptr)
        return;
    if (slot->value != nullptr && slot->destructor != nullptr)
        slot->destructor(slot->value);
    std::free(slot);
}

/// A slot that each thread has once: a fiber-local one, because only those tell when a thread ends. Windows before
/// 10 1903 has 128 of them for the whole process; where a host used them up, a thread-local one serves, and some
/// hundred bytes stay behind for each thread that threw. Without any slot GCC's library would end the process.
class CSlot
{
public:
    constexpr CSlot() noexcept = default;

    [[nodiscard]] bool Allocate() noexcept
    {
        DWORD index = ::FlsAlloc(&DestroyValue);
        if (index == FLS_OUT_OF_INDEXES)
        {
            m_isFiberLocal = false;
            index = ::TlsAlloc();
        }
        m_index.store(index, std::memory_order_release);
        return index != kNoIndex;
    }
    /// Runs DestroyValue for every thread that has a value, where the system keeps account of them.
    void Free() noexcept
    {
        const DWORD index = m_index.exchange(kNoIndex);
        if (index == kNoIndex)
            return;
        if (m_isFiberLocal)
            ::FlsFree(index);
        else
            ::TlsFree(index);
    }
    bool IsAllocated() const noexcept
    {
        return m_index.load(std::memory_order_acquire) != kNoIndex;
    }
    /// This thread's value, null when it has none. Keeps the last error, which the system's functions clear and which
    /// a throw expression is often about to read.
    ThreadValue* Get() const noexcept
    {
        const DWORD index = m_index.load(std::memory_order_acquire);
        if (index == kNoIndex)
            return nullptr;
        const DWORD lastError = ::GetLastError();
        void* const value = m_isFiberLocal ? ::FlsGetValue(index) : ::TlsGetValue(index);
        ::SetLastError(lastError);
        return static_cast<ThreadValue*>(value);
    }
    [[nodiscard]] bool Set(ThreadValue* value) noexcept
    {
        const DWORD index = m_index.load(std::memory_order_acquire);
        return (m_isFiberLocal ? ::FlsSetValue(index, value) : ::TlsSetValue(index, value)) != FALSE;
    }

private:
    static constexpr DWORD kNoIndex = FLS_OUT_OF_INDEXES;
    static_assert(FLS_OUT_OF_INDEXES == TLS_OUT_OF_INDEXES);

    std::atomic<DWORD> m_index{kNoIndex};
    bool m_isFiberLocal = true; // written before the index is published
};

struct Key
{
    CSlot slot;
    void (*destructor)(void*) = nullptr;
};

// GCC's libraries create one to three keys.
constexpr unsigned kMostKeys = 16;
constinit Key s_keys[kMostKeys];
constinit std::atomic<unsigned> s_keyCount{0};

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
    for (Key& key : s_keys)
        key.slot.Free();
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

    int pthread_key_create(pthread_key_t* key, void (*destructor)(void*))
    {
        const unsigned number = s_keyCount.fetch_add(1);
        if (number >= kMostKeys)
            return EAGAIN;
        s_keys[number].destructor = destructor;
        if (!s_keys[number].slot.Allocate())
            return EAGAIN;
        *key = number;
        return 0;
    }

    void* pthread_getspecific(pthread_key_t key)
    {
        const ThreadValue* const value = key < kMostKeys ? s_keys[key].slot.Get() : nullptr;
        return value != nullptr ? value->value : nullptr;
    }

    int pthread_setspecific(pthread_key_t key, const void* value)
    {
        if (key >= kMostKeys || !s_keys[key].slot.IsAllocated())
            return EINVAL;
        ThreadValue* threadValue = s_keys[key].slot.Get();
        if (threadValue == nullptr)
        {
            threadValue = static_cast<ThreadValue*>(std::malloc(sizeof(ThreadValue)));
            if (threadValue == nullptr)
                return ENOMEM;
            threadValue->destructor = s_keys[key].destructor;
            if (!s_keys[key].slot.Set(threadValue))
            {
                std::free(threadValue);
                return EINVAL;
            }
        }
        threadValue->value = const_cast<void*>(value);
        return 0;
    }
} // extern "C"
