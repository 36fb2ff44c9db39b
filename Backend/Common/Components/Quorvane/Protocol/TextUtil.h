#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
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

template <class Char>
constexpr Char ToLower(Char character) noexcept
{
    return character >= Char('A') && character <= Char('Z') ? static_cast<Char>(character - Char('A') + Char('a'))
                                                            : character;
}

inline std::wstring ToUpper(std::wstring_view text)
{
    std::wstring result(text);
    std::ranges::transform(result, result.begin(), [](wchar_t character) { return ToUpper(character); });
    return result;
}

template <class Char>
constexpr std::basic_string_view<Char> TrimLeft(std::basic_string_view<Char> text) noexcept
{
    while (!text.empty() && IsSpace(text.front()))
        text.remove_prefix(1);
    return text;
}

template <class Char>
constexpr std::basic_string_view<Char> Trim(std::basic_string_view<Char> text) noexcept
{
    text = TrimLeft(text);
    while (!text.empty() && IsSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Two views of characters, of one width.
template <class Text>
constexpr bool EqualRangesIgnoreCase(Text left, Text right) noexcept
{
    // Nearly always the case is the expected one, too.
    if (left.size() != right.size())
        return false;
    return left == right || std::ranges::equal(left, right, [](auto a, auto b) { return ToUpper(a) == ToUpper(b); });
}

constexpr bool EqualsIgnoreCase(std::wstring_view left, std::wstring_view right) noexcept
{
    return EqualRangesIgnoreCase(left, right);
}

constexpr bool EqualsIgnoreCase(std::string_view left, std::string_view right) noexcept
{
    return EqualRangesIgnoreCase(left, right);
}

/// Room for `countChars`, and to grow on: with its null the text takes the next power of two, so that a limit that is
/// one is kept by what is allocated, too, and growth copies each character a fixed number of times. (A string grown by
/// itself goes to twice what it had, whatever the limit.) The old copy beside the new one is at most half as long, if
/// all of the room came from here. Throws std::bad_alloc; the text stays.
template <class Char>
void GrowFor(std::basic_string<Char>& text, std::size_t countChars)
{
    if (countChars <= text.capacity())
        return;
    std::basic_string<Char> larger;
    larger.reserve(std::bit_ceil(countChars + 1) - 1);
    larger.append(text);
    text.swap(larger);
}

/// Leading decimal number with optional white space and sign in front; 0 when there is none.
/// A number out of range becomes the nearest one in range.
template <class Char>
constexpr std::int32_t ToNumber(std::basic_string_view<Char> text) noexcept
{
    using Limits = std::numeric_limits<std::int32_t>;
    text = TrimLeft(text);
    const bool isNegative = text.starts_with(Char('-'));
    if (isNegative || text.starts_with(Char('+')))
        text.remove_prefix(1);

    std::int64_t number = 0;
    for (const Char character : text)
    {
        if (!IsDigit(character) || number > Limits::max())
            break;
        number = number * 10 + (character - Char('0'));
    }
    if (isNegative)
        number = -number;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
}
} // namespace TextUtil
