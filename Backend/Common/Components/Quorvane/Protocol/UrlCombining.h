#pragma once

#include <cstddef>
#include <string_view>

/// Whether InternetCombineUrl may be called with what a camera has sent. The function works in fixed room of its own,
/// and does not say in every system what becomes of longer URLs; Wine 8 writes past the end (Tests/Wine/WineFaults.cpp,
/// combined-url).
namespace UrlCombining
{
/// INTERNET_MAX_URL_LENGTH, the terminating null included.
inline constexpr std::size_t kRoomChars = 2084;

/// How long a URL may become when all of it is escaped that a function might escape, one byte as three characters.
std::size_t LongestEscapedLength(std::string_view url) noexcept;

/// True when the two are within that room in any case.
bool IsWithinRoom(std::string_view base, std::string_view relative) noexcept;
} // namespace UrlCombining
