#pragma once

#include <string>
#include <string_view>

/// Bytes as text.
namespace ByteText
{
/// "67 4D 40 1F"
std::string Hex(std::string_view bytes);
/// RFC 4648, with padding.
std::string Base64(std::string_view bytes);
} // namespace ByteText
