#pragma once

#include "ComHosting/ModuleLock.h"
#include "Lifetime/ReferenceCount.h"

#include <windows.h>

#include <unknwn.h>

/// The interfaces of a class whose interfaces derive from one another, newest first. All share one vtable, so any of
/// them is the same pointer.
template <class Newest, class... Older>
struct ComInterfaceChain
{
    using Primary = Newest;

    static bool Contains(REFIID iid) noexcept
    {
        return iid == __uuidof(Newest) || ((iid == __uuidof(Older)) || ...);
    }
};

/// A class T that can be hosted derives from its newest interface and leaves IUnknown to the templates below; it knows
/// nothing else of them. Interfaces is its ComInterfaceChain. Its constructor may throw an HRESULT or std::bad_alloc.

/// T as an object of its own. Deleted by its last Release; keeps the module locked while it lives.
/// The count is safe from any thread; everything else is T's affair.
template <class T, class Interfaces>
class CComObject final : private CObjectLock, public T, public Lifetime::CKeptMemory
{
public:
    CComObject() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (iid != IID_IUnknown && !Interfaces::Contains(iid))
            return E_NOINTERFACE;
        *object = static_cast<typename Interfaces::Primary*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override
    {
        return m_references.Add();
    }
    ULONG STDMETHODCALLTYPE Release() noexcept override
    {
        const ULONG remaining = m_references.Remove();
        if (remaining == 0)
            delete this;
        return remaining;
    }

private:
    CReferenceCount m_references;
};

/// T as a part of another object. The outer object holds the IUnknown of this class, which counts and answers for
/// itself; every other interface belongs to the outer object and delegates to it.
/// The outer object is borrowed, never counted: it owns this one.
template <class T, class Interfaces>
class CComAggObject final : private CObjectLock, public IUnknown, public Lifetime::CKeptMemory
{
public:
    explicit CComAggObject(IUnknown* outer) : m_contained(outer) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (iid == IID_IUnknown)
        {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        if (!Interfaces::Contains(iid))
            return E_NOINTERFACE;
        *object = static_cast<typename Interfaces::Primary*>(&m_contained);
        m_contained.AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override
    {
        return m_references.Add();
    }
    ULONG STDMETHODCALLTYPE Release() noexcept override
    {
        const ULONG remaining = m_references.Remove();
        if (remaining == 0)
            delete this;
        return remaining;
    }

private:
    class CContained final : public T
    {
    public:
        explicit CContained(IUnknown* outer) : m_outer(outer) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
        {
            return m_outer->QueryInterface(iid, object);
        }
        ULONG STDMETHODCALLTYPE AddRef() noexcept override
        {
            return m_outer->AddRef();
        }
        ULONG STDMETHODCALLTYPE Release() noexcept override
        {
            return m_outer->Release();
        }

    private:
        IUnknown* const m_outer;
    };

    CContained m_contained;
    CReferenceCount m_references;
};

/// The creator of T for its class factory.
template <class T, class Interfaces>
HRESULT CreateComObject(IUnknown* outer, REFIID iid, void** object)
{
    IUnknown* created = outer != nullptr ? static_cast<IUnknown*>(new CComAggObject<T, Interfaces>(outer))
                                         : static_cast<IUnknown*>(new CComObject<T, Interfaces>);
    const HRESULT result = created->QueryInterface(iid, object);
    created->Release(); // the client's reference, if it got one, keeps the object
    return result;
}
