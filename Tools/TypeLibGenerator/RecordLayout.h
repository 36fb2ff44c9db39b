#pragma once

#include "InterfaceModel.h"

#include <cstdint>
#include <vector>

/// Where the fields of a record lie in a 32-bit process: each aligned to its own size, the whole to its largest field.
struct RecordLayout
{
    std::vector<std::uint32_t> fieldOffsets;
    std::uint32_t sizeBytes = 0;
    std::uint16_t alignmentBytes = 1;
};

/// Fields of a record are base types, enumerations or pointers; the parser refuses a record inside a record.
RecordLayout LayOutRecord(const InterfaceModel::Record& record);
