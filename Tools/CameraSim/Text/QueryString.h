#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The part of a request target behind "?", and the percent encoding of RFC 3986.
namespace QueryString
{

struct Parameter
{
    std::string name;
    std::string value;
};

/// Nothing when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> Decode(std::string_view text);

/// "a=1&b=2" in the order of the text; a parameter without "=" has an empty value, empty parameters are skipped.
/// Nothing when one of them is not decodable.
std::optional<std::vector<Parameter>> Parse(std::string_view query);

} // namespace QueryString
