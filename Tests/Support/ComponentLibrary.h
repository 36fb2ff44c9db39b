#pragma once

#include "Win32/ComPointer.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <unknwn.h>

#include <stdexcept>
#include <string>

/// The built component, which lies beside the test programs.
inline std::wstring ComponentPath()
{
    wchar_t path[MAX_PATH] = {};
    const DWORD countChars = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (countChars == 0 || countChars == MAX_PATH)
        throw std::runtime_error("the test's own path cannot be read");
    const std::wstring own(path, countChars);
    return own.substr(0, own.find_last_of(L'\\') + 1) + L"Quorvane.dll";
}

/// Quorvane.dll as a client loads it that does not use the registry. Freed when it dies, which must be after the last
/// object that came from it.
class CComponentLibrary
{
public:
    explicit CComponentLibrary(const std::wstring& path = ComponentPath()) : m_library(::LoadLibraryW(path.c_str()))
    {
        if (!m_library)
            throw std::runtime_error("Quorvane.dll cannot be loaded, error " + std::to_string(::GetLastError()));
    }

    HMODULE Module() const noexcept
    {
        return m_library.get();
    }
    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) const
    {
        using Function = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
        return Export<Function>("DllGetClassObject")(clsid, iid, object);
    }
    HRESULT CanUnloadNow() const
    {
        return Call("DllCanUnloadNow");
    }
    HRESULT RegisterServer() const
    {
        return Call("DllRegisterServer");
    }
    HRESULT UnregisterServer() const
    {
        return Call("DllUnregisterServer");
    }
    /// The class object; throws when there is none.
    CComPointer<IClassFactory> Factory(REFCLSID clsid) const
    {
        CComPointer<IClassFactory> factory;
        if (FAILED(GetClassObject(clsid, IID_IClassFactory, factory.putVoid())))
            throw std::runtime_error("the library has no such class");
        return factory;
    }

private:
    template <class Function>
    Function Export(const char* name) const
    {
        void* const address = reinterpret_cast<void*>(::GetProcAddress(m_library.get(), name));
        if (address == nullptr)
            throw std::runtime_error(std::string(name) + " is not exported");
        return reinterpret_cast<Function>(address);
    }
    HRESULT Call(const char* name) const
    {
        return Export<HRESULT(STDMETHODCALLTYPE*)()>(name)();
    }

    CLibraryHandle m_library;
};
