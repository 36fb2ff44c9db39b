#pragma once

#include <windows.h>

#include <objbase.h>

#include <stdexcept>

/// While it lives, every allocation of task memory in this process fails (and so does that of every BSTR that is not
/// served from the system's cache of small ones). Task memory from before can be freed.
class CFailingTaskMemory final : private IMallocSpy
{
public:
    CFailingTaskMemory()
    {
        if (FAILED(::CoRegisterMallocSpy(this)))
            throw std::runtime_error("another allocation spy is registered");
    }
    ~CFailingTaskMemory()
    {
        ::CoRevokeMallocSpy();
    }
    CFailingTaskMemory(const CFailingTaskMemory&) = delete;
    CFailingTaskMemory& operator=(const CFailingTaskMemory&) = delete;

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

    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T) override
    {
        return 0; // the allocator then gives up
    }
    STDMETHODIMP_(void*) PostAlloc(void* memory) override
    {
        return memory;
    }
    STDMETHODIMP_(void*) PreFree(void* memory, BOOL) override
    {
        return memory;
    }
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void*, SIZE_T, void** newRequest, BOOL) override
    {
        *newRequest = nullptr;
        return 0;
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
};
