#pragma once

#include <windows.h>

#include <stdexcept>

/// Sends this program's calls of one imported function elsewhere for as long as it lives. `slot` is the entry of the
/// import table, which the compiler names __imp__NAME@BYTES; see QUORVANE_IMPORT_SLOT.
class CImportPatch
{
public:
    template <class Function>
    CImportPatch(void** slot, Function* replacement) : m_slot(slot), m_original(*slot)
    {
        Store(reinterpret_cast<void*>(replacement));
    }
    ~CImportPatch()
    {
        Store(m_original);
    }
    CImportPatch(const CImportPatch&) = delete;
    CImportPatch& operator=(const CImportPatch&) = delete;

private:
    void Store(void* function)
    {
        DWORD protection = 0;
        if (!::VirtualProtect(m_slot, sizeof(*m_slot), PAGE_READWRITE, &protection))
            throw std::runtime_error("The import table cannot be changed.");
        *m_slot = function;
        ::VirtualProtect(m_slot, sizeof(*m_slot), protection, &protection);
    }

    void** m_slot;
    void* m_original;
};

/// A function of WinInet's itself, whatever the import table says.
template <class Function>
Function* OriginalOfWinInet(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"wininet.dll"), name)));
}

/// Declares `name` as the import slot of a stdcall function with that many bytes of arguments.
#define QUORVANE_IMPORT_SLOT(name, function, argumentBytes)                                                            \
    extern "C" void* name __asm__("__imp__" #function "@" #argumentBytes)
