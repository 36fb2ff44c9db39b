#include "ComHosting/ComponentCategories.h"

#include "Win32/ComPointer.h"

#include <comcat.h>
#include <objbase.h>

namespace
{
/// The interface wants a pointer to non-const for categories that it only reads.
using ChangeCategories = HRESULT (STDMETHODCALLTYPE ICatRegister::*)(REFCLSID, ULONG, CATID*);

HRESULT Change(REFCLSID clsid, std::span<const CATID> categories, ChangeCategories change) noexcept
{
    if (categories.empty())
        return S_OK;
    CComPointer<ICatRegister> manager;
    const HRESULT result = ::CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                              IID_ICatRegister, manager.putVoid());
    if (FAILED(result))
        return result;
    return (manager.get()->*change)(clsid, static_cast<ULONG>(categories.size()),
                                    const_cast<CATID*>(categories.data()));
}
} // namespace

HRESULT ComponentCategories::Register(REFCLSID clsid, std::span<const CATID> categories) noexcept
{
    return Change(clsid, categories, &ICatRegister::RegisterClassImplCategories);
}

HRESULT ComponentCategories::Unregister(REFCLSID clsid, std::span<const CATID> categories) noexcept
{
    return Change(clsid, categories, &ICatRegister::UnRegisterClassImplCategories);
}
