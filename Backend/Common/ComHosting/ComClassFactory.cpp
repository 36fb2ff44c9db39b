#include "ComHosting/ComClassFactory.h"

#include "ComHosting/ComModule.h"

#include <new>

HRESULT CComClassFactory::QueryInterface(REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    if (iid != IID_IUnknown && iid != IID_IClassFactory)
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
}

ULONG CComClassFactory::AddRef() noexcept
{
    CComModule::Get().Lock();
    return m_references.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG CComClassFactory::Release() noexcept
{
    const ULONG references = m_references.fetch_sub(1, std::memory_order_relaxed);
    Lifetime::Require(references != 0, "a class object is released more often than it was held");
    CComModule::Get().Unlock();
    return references - 1;
}

HRESULT CComClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    // Only the IUnknown of its own lets the outer object keep an aggregated one; any other interface would already
    // delegate to the outer object.
    if (outer != nullptr && iid != IID_IUnknown)
        return CLASS_E_NOAGGREGATION;
    try
    {
        return m_create(outer, iid, object);
    }
    catch (HRESULT failure)
    {
        return FAILED(failure) ? failure : E_FAIL;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
    catch (...)
    {
        return E_UNEXPECTED;
    }
}

HRESULT CComClassFactory::LockServer(BOOL lock) noexcept
{
    if (lock != FALSE)
        CComModule::Get().Lock();
    else
        CComModule::Get().Unlock();
    return S_OK;
}
