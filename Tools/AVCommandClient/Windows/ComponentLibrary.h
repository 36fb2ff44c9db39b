#pragma once

#include "Core/CallTrace.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <objbase.h>

#include <string>

/// The component's DLL, loaded by its path and used without a registration.
/// Stays loaded as long as the DLL itself says that it is in use, also when this object has gone.
class CComponentLibrary
{
public:
    explicit CComponentLibrary(const CCallTrace& trace) noexcept;
    ~CComponentLibrary();
    CComponentLibrary(const CComponentLibrary&) = delete;
    CComponentLibrary& operator=(const CComponentLibrary&) = delete;

    /// Quorvane.dll in the folder of this program.
    [[nodiscard]] static std::wstring PathBesideProgram();
    /// Loads the file of that full path once; later calls do nothing.
    [[nodiscard]] HRESULT Load(const std::wstring& path);

    /// The functions below need a loaded DLL; one that lacks the entry point yields ERROR_PROC_NOT_FOUND.
    [[nodiscard]] HRESULT CreateInstance(REFCLSID clsid, REFIID iid, void** object) const;
    [[nodiscard]] HRESULT Register() const;
    [[nodiscard]] HRESULT Unregister() const;

private:
    template <class Function>
    Function* EntryPoint(const char* name) const noexcept;
    HRESULT CallRegistration(const char* name) const;

    CCallTrace m_trace;
    CLibraryHandle m_library;
};
