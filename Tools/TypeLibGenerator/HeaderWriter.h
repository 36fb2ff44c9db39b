#pragma once

#include "InterfaceModel.h"

#include <string>

/// Writes what a C++ client compiles: the header with records, enumerations and interfaces, and the source that
/// defines the GUIDs. Portable; throws nothing but std::bad_alloc.
namespace HeaderWriter
{
std::string WriteHeader(const InterfaceModel::Description& description, const std::string& sourceName);
std::string WriteGuidSource(const InterfaceModel::Description& description, const std::string& sourceName,
                            const std::string& headerName);
} // namespace HeaderWriter
