#include "ComHosting/TypeLibRegistration.h"

#include "Win32/ComPointer.h"

#include <oleauto.h>

namespace
{
HRESULT Load(const std::wstring& modulePath, REFGUID libid, CComPointer<ITypeLib>& library, TLIBATTR& attributes)
{
    HRESULT result = ::LoadTypeLibEx(modulePath.c_str(), REGKIND_NONE, library.put());
    if (FAILED(result))
        return result;
    TLIBATTR* lent = nullptr;
    result = library->GetLibAttr(&lent);
    if (FAILED(result))
        return result;
    attributes = *lent;
    library->ReleaseTLibAttr(lent);
    return attributes.guid == libid ? S_OK : TYPE_E_INVALIDID;
}
} // namespace

HRESULT TypeLibRegistration::Register(const std::wstring& modulePath, REFGUID libid)
{
    CComPointer<ITypeLib> library;
    TLIBATTR attributes{};
    const HRESULT result = Load(modulePath, libid, library, attributes);
    if (FAILED(result))
        return result;
    // The functions take pointers to non-const for texts that they only read.
    std::wstring path = modulePath;
    std::wstring helpFolder = modulePath.substr(0, modulePath.find_last_of(L'\\'));
    return ::RegisterTypeLib(library.get(), path.data(), helpFolder.data());
}

HRESULT TypeLibRegistration::Unregister(const std::wstring& modulePath, REFGUID libid)
{
    CComPointer<ITypeLib> library;
    TLIBATTR attributes{};
    const HRESULT result = Load(modulePath, libid, library, attributes);
    if (FAILED(result))
        return result;
    return ::UnRegisterTypeLib(attributes.guid, attributes.wMajorVerNum, attributes.wMinorVerNum, attributes.lcid,
                               attributes.syskind);
}
