#include "ComHosting/ComponentCategories.h"

#include "Win32/ComPointer.h"

#include <comcat.h>
#include <objbase.h>

#include <string>

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

/// The manager leaves the key above the categories, and a class key with a subkey is not removed by a script.
/// RegDeleteKey spares a key that still has categories of somebody else.
void RemoveEmptyCategoriesKey(REFCLSID clsid)
{
    constexpr int kGuidChars = 39;
    wchar_t guid[kGuidChars] = {};
    if (::StringFromGUID2(clsid, guid, kGuidChars) == 0)
        return;
    const std::wstring path = std::wstring(L"CLSID\\") + guid + L"\\Implemented Categories";
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, path.c_str());
}
} // namespace

HRESULT ComponentCategories::Register(REFCLSID clsid, std::span<const CATID> categories) noexcept
{
    return Change(clsid, categories, &ICatRegister::RegisterClassImplCategories);
}

HRESULT ComponentCategories::Unregister(REFCLSID clsid, std::span<const CATID> categories)
{
    const HRESULT result = Change(clsid, categories, &ICatRegister::UnRegisterClassImplCategories);
    if (SUCCEEDED(result) && !categories.empty())
        RemoveEmptyCategoriesKey(clsid);
    return result;
}
