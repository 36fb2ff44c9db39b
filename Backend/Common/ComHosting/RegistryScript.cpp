#include "ComHosting/RegistryScript.h"

#include "Win32/ComPointer.h"
#include "Win32/Handles.h"

#include <unknwn.h>

/// The registrar's interface; methods and order as Microsoft's ATL reference describes them.
/// https://learn.microsoft.com/en-us/cpp/atl/reference/iregistrar-class
/// Not in an unnamed namespace: there the compiler, seeing no class that implements it, takes every call for
/// impossible.
MIDL_INTERFACE("44EC053B-400F-11D0-9DCD-00A0C90391D3")
IRegistrar : public IUnknown
{
public:
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR moduleFile, LPCOLESTR name, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR moduleFile, LPCOLESTR name, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR scriptFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR scriptFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR moduleFile, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR moduleFile, UINT id, LPCOLESTR type) = 0;

protected:
    ~IRegistrar() = default;
};

namespace
{
constexpr CLSID kRegistrarClass = {0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
constexpr IID kRegistrarInterface = {0x44EC053B, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
constexpr wchar_t kResourceType[] = L"REGISTRY";

/// The system's copy, not one that lies beside the client's program.
HRESULT LoadSystemAtl(CLibraryHandle& library)
{
    wchar_t folder[MAX_PATH] = {};
    const UINT countChars = ::GetSystemDirectoryW(folder, MAX_PATH);
    if (countChars == 0)
        return static_cast<HRESULT>(HRESULT_FROM_WIN32(::GetLastError()));
    if (countChars >= MAX_PATH)
        return static_cast<HRESULT>(HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE));
    library.reset(
        ::LoadLibraryExW((std::wstring(folder) + L"\\atl.dll").c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    return library ? S_OK : static_cast<HRESULT>(HRESULT_FROM_WIN32(::GetLastError()));
}

/// Made straight from the library: registration must also work on a thread without COM.
HRESULT CreateRegistrar(const CLibraryHandle& library, CComPointer<IRegistrar>& registrar)
{
    using GetClassObjectFunction = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
    const auto getClassObject = reinterpret_cast<GetClassObjectFunction>(
        reinterpret_cast<void*>(::GetProcAddress(library.get(), "DllGetClassObject")));
    if (getClassObject == nullptr)
        return static_cast<HRESULT>(HRESULT_FROM_WIN32(::GetLastError()));
    CComPointer<IClassFactory> factory;
    const HRESULT result = getClassObject(kRegistrarClass, IID_IClassFactory, factory.putVoid());
    if (FAILED(result))
        return result;
    return factory->CreateInstance(nullptr, kRegistrarInterface, registrar.putVoid());
}

/// A script's text stands between single quotes; one inside is written twice.
std::wstring QuoteForScript(const std::wstring& text)
{
    std::wstring quoted;
    quoted.reserve(text.size());
    for (const wchar_t c : text)
        quoted.append(c == L'\'' ? 2 : 1, c);
    return quoted;
}

using RunScript = HRESULT (STDMETHODCALLTYPE IRegistrar::*)(LPCOLESTR, UINT, LPCOLESTR);

HRESULT Run(const std::wstring& modulePath, UINT resourceId, RunScript run)
{
    CLibraryHandle library; // before the registrar, which must be gone when the library goes
    CComPointer<IRegistrar> registrar;
    HRESULT result = LoadSystemAtl(library);
    if (SUCCEEDED(result))
        result = CreateRegistrar(library, registrar);
    if (SUCCEEDED(result))
        result = registrar->AddReplacement(L"MODULE", QuoteForScript(modulePath).c_str());
    if (SUCCEEDED(result))
        result = (registrar.get()->*run)(modulePath.c_str(), resourceId, kResourceType);
    return result;
}
} // namespace

HRESULT RegistryScript::Register(const std::wstring& modulePath, UINT resourceId)
{
    return Run(modulePath, resourceId, &IRegistrar::ResourceRegister);
}

HRESULT RegistryScript::Unregister(const std::wstring& modulePath, UINT resourceId)
{
    return Run(modulePath, resourceId, &IRegistrar::ResourceUnregister);
}
