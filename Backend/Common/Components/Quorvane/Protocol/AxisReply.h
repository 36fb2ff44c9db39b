#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// A line of a reply, split at its first "=", without white space around either part. Views into the reply.
struct AxisParameter
{
    std::wstring_view name;
    std::wstring_view value; ///< empty when the line has no "="

    bool operator==(const AxisParameter&) const = default;
    /// The whole name, in any case.
    bool IsNamed(std::wstring_view wanted) const noexcept;
    /// Whether `part`, as in ".PCount", stands in the name behind its first character; case matters.
    bool IsNamedWith(std::wstring_view part) const noexcept;
};

/// "5.51.3" is 5 and 51: further numbers do not count, one that is absent is 0.
struct AxisVersion
{
    std::int32_t first = 0;
    std::int32_t second = 0;

    auto operator<=>(const AxisVersion&) const = default;
};

/// Pixels.
struct AxisPictureSize
{
    std::int32_t width = 0;
    std::int32_t height = 0;

    bool operator==(const AxisPictureSize&) const = default;
};

/// What the replies of an Axis camera say: a line of name=value for each parameter.
/// Throws nothing but std::bad_alloc; the time taken grows with the length of the reply, whatever the reply is.
namespace AxisReply
{
/// In order. Lines end in CR LF; LF alone will do, too. Empty lines are left out.
std::vector<AxisParameter> Lines(std::wstring_view reply);

/// The value of the last line whose name has that part in it; empty when there is none.
std::wstring_view ValueOf(std::wstring_view reply, std::wstring_view part);

AxisVersion ToVersion(std::wstring_view text) noexcept;

/// The answer to imagesize.cgi; nothing when width or height is missing, or is no positive number.
std::optional<AxisPictureSize> ReadImageSize(std::wstring_view reply);

/// "1920x1080,1280x720"; nothing when one of them is no size, or when there is none.
std::optional<std::vector<AxisPictureSize>> ToResolutions(std::wstring_view text);
} // namespace AxisReply
