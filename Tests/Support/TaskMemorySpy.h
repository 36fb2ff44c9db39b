#pragma once

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <limits>
#include <stdexcept>

/// While it lives, counts this process's blocks of task memory (and those BSTRs that are not served from the system's
/// cache of small ones), and refuses every allocation after the first `allowed`.
class CTaskMemorySpy : private IMallocSpy
{
public:
    explicit CTaskMemorySpy(unsigned allowed = std::numeric_limits<unsigned>::max()) : m_allowed(allowed)
    {
        if (FAILED(::CoRegisterMallocSpy(this)))
            throw std::runtime_error("another allocation spy is registered");
    }
    ~CTaskMemorySpy()
    {
        ::CoRevokeMallocSpy();
    }
    CTaskMemorySpy(const CTaskMemorySpy&) = delete;
    CTaskMemorySpy& operator=(const CTaskMemorySpy&) = delete;

    /// From here on the system frees every BSTR at once, for the rest of the process, and spies see them all.
    static void SeeEveryString()
    {
        const HMODULE automation = ::GetModuleHandleW(L"oleaut32.dll");
        const auto setNoCache =
            reinterpret_cast<void(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(automation, "SetOaNoCache")));
        if (setNoCache == nullptr)
            throw std::runtime_error("the system's cache of strings cannot be switched off");
        setNoCache();
    }

    unsigned CountAllocated() const noexcept
    {
        return m_allocated;
    }
    /// Blocks that were allocated since it lives and are not freed.
    int CountLive() const noexcept
    {
        return m_live;
    }

private:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override
    {
        *object = iid == IID_IUnknown || iid == IID_IMallocSpy ? static_cast<IMallocSpy*>(this) : nullptr;
        return *object != nullptr ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override
    {
        return 2;
    }
    STDMETHODIMP_(ULONG) Release() override
    {
        return 1;
    }

    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T sizeBytes) override
    {
        return m_asked++ < m_allowed ? sizeBytes : 0; // the allocator gives up on 0 bytes
    }
    STDMETHODIMP_(void*) PostAlloc(void* memory) override
    {
        if (memory != nullptr)
        {
            ++m_allocated;
            ++m_live;
        }
        return memory;
    }
    STDMETHODIMP_(void*) PreFree(void* memory, BOOL isSpied) override
    {
        if (memory != nullptr && isSpied)
            --m_live;
        return memory;
    }
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* memory, SIZE_T sizeBytes, void** newRequest, BOOL) override
    {
        *newRequest = memory;
        return sizeBytes;
    }
    STDMETHODIMP_(void*) PostRealloc(void* memory, BOOL) override
    {
        return memory;
    }
    STDMETHODIMP_(void*) PreGetSize(void* memory, BOOL) override
    {
        return memory;
    }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T sizeBytes, BOOL) override
    {
        return sizeBytes;
    }
    STDMETHODIMP_(void*) PreDidAlloc(void* memory, BOOL) override
    {
        return memory;
    }
    STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int wasAllocated) override
    {
        return wasAllocated;
    }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}

    const unsigned m_allowed;
    std::atomic<unsigned> m_asked = 0;
    std::atomic<unsigned> m_allocated = 0;
    std::atomic<int> m_live = 0;
};
