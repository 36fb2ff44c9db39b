#pragma once

#include "InterfaceModel.h"

#include <filesystem>

/// Writes a type library file with the system's own writer (ICreateTypeLib2), in exactly the order of the library
/// block. Windows only. Throws std::runtime_error that names the step that failed.
namespace TypeLibWriter
{
void Write(const InterfaceModel::Description& description, const std::filesystem::path& path);
} // namespace TypeLibWriter
