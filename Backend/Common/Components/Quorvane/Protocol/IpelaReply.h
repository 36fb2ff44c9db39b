#pragma once

#include <cstdint>
#include <string_view>

/// Lookups in the reply to an inquiry: one line of key=value pairs joined by "&".
/// Values are views into the content. Nothing throws; the time taken grows with the length of the content, whatever
/// the content is.
namespace IpelaReply
{
enum class Lookup
{
    FirstMatch, ///< GetValue
    Exact       ///< GetExactValue
};

/// A key and the way to look it up.
struct Key
{
    std::wstring_view name;
    Lookup lookup = Lookup::FirstMatch;
};

/// The value behind the first place where the key stands, be it inside a longer key: "ImageSize" also finds
/// "M4ImageSize". Leading white space is dropped; empty when there is no such key.
/// A value of no characters reads as the rest of the content from its "&" on, so that it is not empty.
std::wstring_view GetValue(std::wstring_view content, std::wstring_view key) noexcept;

/// As GetValue, for the first place where "=" stands right behind the key: "McAddress1" does not find "McAddress10".
std::wstring_view GetExactValue(std::wstring_view content, std::wstring_view key) noexcept;

std::wstring_view Read(std::wstring_view content, const Key& key) noexcept;

/// Leading decimal number with optional white space and sign in front; 0 when there is none.
/// A number out of range becomes the nearest one in range.
std::int32_t ToNumber(std::wstring_view text) noexcept;

std::int32_t ReadNumber(std::wstring_view content, const Key& key) noexcept;
} // namespace IpelaReply
