#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Base64 (RFC 4648, section 4): standard alphabet, "=" padding, no line breaks.
namespace Base64
{
std::string Encode(std::string_view bytes);

/// How many bytes `text` decodes to: three quarters of its length, less one for each "=" among its last two
/// characters. They are written to `buffer` unless it is null, so that a first call without one learns the length.
/// "=" counts as zero bits wherever it stands. Padding may be missing: cameras leave it out of parameter sets.
/// A text with any other character decodes to nothing, as RFC 4648, 3.3 wants it: half a parameter set would pass for
/// a whole one.
std::size_t Decode(std::string_view text, char* buffer = nullptr) noexcept;
} // namespace Base64
