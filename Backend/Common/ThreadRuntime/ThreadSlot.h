#pragma once

#include <windows.h>

#include <atomic>
#include <cstdlib>

/// A slot that each thread has once: a fiber-local one, because only those tell when a thread ends. Windows before
/// 10 1903 has 128 of them for the whole process; where a host used them up, a thread-local one serves: that one has to
/// be told of a thread's end, and leaves behind what the threads that are still there keep when the library goes.
/// What a thread keeps here comes from std::malloc and is freed when the thread ends, or with the slot. Any thread.
class CThreadSlot
{
public:
    constexpr CThreadSlot() noexcept = default;
    CThreadSlot(const CThreadSlot&) = delete;
    CThreadSlot& operator=(const CThreadSlot&) = delete;

    /// Once, before anything else. False when the process has no slot left.
    bool Allocate() noexcept
    {
        DWORD index = ::FlsAlloc(&FreeValue);
        if (index == FLS_OUT_OF_INDEXES)
        {
            m_isFiberLocal = false;
            index = ::TlsAlloc();
        }
        m_index.store(index, std::memory_order_release);
        return index != kNoIndex;
    }
    /// Frees what all threads keep, where the system keeps account of them.
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
    /// This thread ends.
    void EndThread() noexcept
    {
        const DWORD index = m_index.load(std::memory_order_acquire);
        if (m_isFiberLocal || index == kNoIndex)
            return;
        std::free(::TlsGetValue(index));
        ::TlsSetValue(index, nullptr);
    }
    /// This thread's value, null when it has none.
    void* Get() const noexcept
    {
        const DWORD index = m_index.load(std::memory_order_acquire);
        if (index == kNoIndex)
            return nullptr;
        return m_isFiberLocal ? ::FlsGetValue(index) : ::TlsGetValue(index);
    }
    [[nodiscard]] bool Set(void* value) noexcept
    {
        const DWORD index = m_index.load(std::memory_order_acquire);
        return index != kNoIndex && (m_isFiberLocal ? ::FlsSetValue(index, value) : ::TlsSetValue(index, value));
    }

private:
    static constexpr DWORD kNoIndex = FLS_OUT_OF_INDEXES;
    static_assert(FLS_OUT_OF_INDEXES == TLS_OUT_OF_INDEXES);

    static void WINAPI FreeValue(void* value) noexcept
    {
        std::free(value);
    }

    std::atomic<DWORD> m_index{kNoIndex};
    bool m_isFiberLocal = true; // written before the index is published
};
