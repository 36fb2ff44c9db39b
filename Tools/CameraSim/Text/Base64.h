#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Not "Base64", which the component has: test programs link both.
namespace Base64Text
{

/// RFC 4648, standard alphabet, padding required; nothing for anything else.
std::optional<std::string> Decode(std::string_view text);

std::string Encode(std::string_view bytes);

} // namespace Base64Text
