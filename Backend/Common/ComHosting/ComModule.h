#pragma once

#include "ComHosting/ComObjectMap.h"
#include "Lifetime/Lifetime.h"

#include <windows.h>

#include <atomic>
#include <span>
#include <string>

/// The COM side of this library: which classes it has, how many reasons there are to keep it loaded, how it gets into
/// the registry and out again.
/// One per library, constant-initialised. Lock, Unlock, LockCount and GetClassObject may be called on any thread; Init
/// and Term belong to the application object.
class CComModule
{
public:
    static CComModule& Get() noexcept
    {
        return s_module;
    }

    /// Borrows `objectMap` and `libid`, the identity of the type library in the resources, until Term. Called from
    /// DllMain: stores, nothing else.
    void Init(std::span<const ComObjectMapEntry> objectMap, HINSTANCE instance, const GUID* libid) noexcept;
    void Term() noexcept;

    void Lock() noexcept
    {
        m_lockCount.fetch_add(1, std::memory_order_relaxed);
    }
    void Unlock() noexcept
    {
        const long count = m_lockCount.fetch_sub(1, std::memory_order_release);
        Lifetime::Require(count > 0, "the module is locked less often than never");
    }
    /// Objects that live, plus references to class objects, plus locks of clients.
    long LockCount() const noexcept
    {
        return m_lockCount.load(std::memory_order_acquire);
    }

    /// CLASS_E_CLASSNOTAVAILABLE for a class that the map does not hold.
    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) noexcept;

    /// Enters every class, then the type library. When a step fails, every class is taken out, also what an earlier
    /// registration entered, so that none is left half entered; likewise the type library when its own step failed. The
    /// first failure is returned.
    HRESULT RegisterServer() noexcept;

    /// Takes every class out, then the type library; stops at the first failure.
    HRESULT UnregisterServer() noexcept;

private:
    constexpr CComModule() noexcept = default;
    CComModule(const CComModule&) = delete;
    CComModule& operator=(const CComModule&) = delete;

    HRESULT RegisterClasses(const std::wstring& modulePath) const;
    HRESULT UnregisterClasses(const std::wstring& modulePath) const;
    void RemoveClasses(const std::wstring& modulePath) const;

    static CComModule s_module;

    std::span<const ComObjectMapEntry> m_objectMap;
    HINSTANCE m_instance = nullptr;
    const GUID* m_libid = nullptr;
    std::atomic<long> m_lockCount{0};
};
