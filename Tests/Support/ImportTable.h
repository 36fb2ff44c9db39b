#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// One function that a module imports by name, and the entry of its import table through which it is called.
struct ImportedFunction
{
    std::string library;
    std::string name;
    void** slot;
};

/// The import table of a module that is loaded into this process, read from the module itself.
namespace ImportTable
{
/// In the order of the table. Throws std::runtime_error when the module imports by number, which has no name, or has
/// imports that are resolved at their first call, which this table does not show.
std::vector<ImportedFunction> Read(HMODULE module);

/// Sends the module's calls elsewhere, for the rest of the process.
void Redirect(const ImportedFunction& function, void* replacement);
} // namespace ImportTable
