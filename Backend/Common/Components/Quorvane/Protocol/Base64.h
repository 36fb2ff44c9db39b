#pragma once

#include <string>
#include <string_view>

/// Base64 (RFC 4648, section 4): standard alphabet, "=" padding, no line breaks.
namespace Base64
{
std::string Encode(std::string_view bytes);
} // namespace Base64
