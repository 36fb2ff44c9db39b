#include "Tests/Support/ImportTable.h"

#include <stdexcept>

std::vector<ImportedFunction> ImportTable::Read(HMODULE module)
{
    auto* const base = reinterpret_cast<BYTE*>(module);
    const auto& headers =
        *reinterpret_cast<const IMAGE_NT_HEADERS32*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0)
        throw std::runtime_error("the module has no import table");

    if (headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].VirtualAddress != 0)
        throw std::runtime_error("the module imports functions when they are first called");

    std::vector<ImportedFunction> functions;
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library)
    {
        const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA32*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot)
        {
            if (IMAGE_SNAP_BY_ORDINAL32(name->u1.Ordinal))
                throw std::runtime_error("the module imports a function by its number");
            const auto& entry = *reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
            functions.push_back({reinterpret_cast<const char*>(base + library->Name),
                                 reinterpret_cast<const char*>(&entry.Name[0]), slot});
        }
    }
    return functions;
}

void ImportTable::Redirect(const ImportedFunction& function, void* replacement)
{
    DWORD protection = 0;
    if (!::VirtualProtect(function.slot, sizeof(*function.slot), PAGE_READWRITE, &protection))
        throw std::runtime_error("the import table cannot be changed");
    *function.slot = replacement;
    ::VirtualProtect(function.slot, sizeof(*function.slot), protection, &protection);
}
