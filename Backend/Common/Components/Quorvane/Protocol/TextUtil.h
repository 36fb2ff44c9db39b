#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// Small text helpers for protocol words. All of them know ASCII only, so that no locale changes what a camera said.
namespace TextUtil
{
template <class Char>
constexpr bool IsSpace(Char character) noexcept
{
    return character == Char(' ') || (character >= Char('\t') && character <= Char('\r'));
}

template <class Char>
constexpr bool IsDigit(Char character) noexcept
{
    return character >= Char('0') && character <= Char('9');
}

template <class Char>
constexpr Char ToUpper(Char character) noexcept
{
    return character >= Char('a') && character <= Char('z') ? static_cast<Char>(character - Char('a') + Char('A'))
                                                            : character;
}

inline std::wstring ToUpper(std::wstring_view text)
{
    std::wstring result(text);
    std::ranges::transform(result, result.begin(), [](wchar_t character) { return ToUpper(character); });
    return result;
}

constexpr std::wstring_view TrimLeft(std::wstring_view text) noexcept
{
    while (!text.empty() && IsSpace(text.front()))
        text.remove_prefix(1);
    return text;
}

constexpr bool EqualsIgnoreCase(std::wstring_view left, std::wstring_view right) noexcept
{
    return std::ranges::equal(left, right, [](wchar_t a, wchar_t b) { return ToUpper(a) == ToUpper(b); });
}
} // namespace TextUtil
