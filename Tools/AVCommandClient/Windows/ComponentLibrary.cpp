#include "Windows/ComponentLibrary.h"

#include "Win32/ComPointer.h"

#include <filesystem>

namespace
{
using GetClassObjectFunction = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
using PlainFunction = HRESULT STDAPICALLTYPE();

HRESULT LastError() noexcept
{
    return HRESULT_FROM_WIN32(::GetLastError());
}

constexpr HRESULT kEntryPointMissing = HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
} // namespace

CComponentLibrary::CComponentLibrary(const CCallTrace& trace) noexcept : m_trace(trace) {}

CComponentLibrary::~CComponentLibrary()
{
    if (!m_library)
        return;
    // A request that the component has given up may still be ending on a thread of the system's.
    const auto canUnload = EntryPoint<PlainFunction>("DllCanUnloadNow");
    if (!canUnload || canUnload() != S_OK)
        (void)m_library.release();
}

std::wstring CComponentLibrary::PathBesideProgram()
{
    std::wstring path(32768, L'\0'); // the longest path that the system has
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).replace_filename(L"Quorvane.dll").wstring();
}

HRESULT CComponentLibrary::Load(const std::wstring& path)
{
    if (m_library)
        return S_OK;
    return m_trace.Run("LoadLibraryExW", [&]() -> HRESULT {
        m_library.reset(::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
        return m_library ? S_OK : LastError();
    });
}

HRESULT CComponentLibrary::CreateInstance(REFCLSID clsid, REFIID iid, void** object) const
{
    const auto getClassObject = EntryPoint<GetClassObjectFunction>("DllGetClassObject");
    if (!getClassObject)
        return kEntryPointMissing;
    CComPointer<IClassFactory> factory;
    const HRESULT hr =
        m_trace.Run("DllGetClassObject", [&] { return getClassObject(clsid, IID_IClassFactory, factory.putVoid()); });
    if (FAILED(hr))
        return hr;
    return m_trace.Run("IClassFactory::CreateInstance", [&] { return factory->CreateInstance(nullptr, iid, object); });
}

HRESULT CComponentLibrary::Register() const
{
    return CallRegistration("DllRegisterServer");
}

HRESULT CComponentLibrary::Unregister() const
{
    return CallRegistration("DllUnregisterServer");
}

template <class Function>
Function* CComponentLibrary::EntryPoint(const char* name) const noexcept
{
    // By way of void*: the compiler rightly doubts a direct cast between function types.
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(m_library.get(), name)));
}

HRESULT CComponentLibrary::CallRegistration(const char* name) const
{
    const auto function = EntryPoint<PlainFunction>(name);
    return function ? m_trace.Run(name, function) : kEntryPointMissing;
}
