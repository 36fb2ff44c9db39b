#pragma once

#include <cstdint>
#include <map>
#include <string>

/// Puts right what Wine's type library writer leaves out of the file that it saves: the size of a record's instance
/// (cbSizeInstance), which it leaves at 0. A size that is there already is kept, so the file of a writer that knows it
/// comes out unchanged.
///
/// The file: a header whose first bytes are "MSFT", the offsets of the type descriptions, a directory of segments
/// (the first holds the type descriptions, 100 bytes each, the one at index 7 the names).
/// Throws std::runtime_error when the file is not of that form or lacks one of the records.
namespace TypeLibFile
{
/// `file` are the file's bytes; `recordSizes` maps a record's name to its size in bytes.
void FillInRecordSizes(std::string& file, const std::map<std::string, std::uint32_t>& recordSizes);
} // namespace TypeLibFile
