#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// ASCII text helpers that do not depend on the locale.
namespace Ascii
{

constexpr char ToLower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char ToUpper(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

inline std::string Lower(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        c = ToLower(c);
    return result;
}

inline std::string Upper(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        c = ToUpper(c);
    return result;
}

constexpr bool EqualNoCase(std::string_view a, std::string_view b) noexcept
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        if (ToLower(a[i]) != ToLower(b[i]))
            return false;
    }
    return true;
}

constexpr std::string_view Trim(std::string_view text) noexcept
{
    constexpr std::string_view kBlank = " \t\r\n";
    const auto first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

/// The whole text as a decimal number (a leading minus only for signed types); nothing when a character is left over.
template <class Integer>
std::optional<Integer> Number(std::string_view text, int base = 10) noexcept
{
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace Ascii
