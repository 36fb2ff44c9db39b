#pragma once

#include <cstdint>
#include <set>
#include <string>

/// What a 32-bit Windows program file says about itself, read from its bytes by the public format description
/// (https://learn.microsoft.com/en-us/windows/win32/debug/pe-format). Throws std::runtime_error for anything else.
struct PortableExecutable
{
    std::uint16_t machine = 0;
    std::set<std::string> importedLibraries; ///< in lower case, delayed imports included
    std::set<std::string> exportedNames;
    std::uint32_t exportedFunctionCount = 0; ///< with and without a name
};

PortableExecutable ReadPortableExecutable(const std::string& file);
