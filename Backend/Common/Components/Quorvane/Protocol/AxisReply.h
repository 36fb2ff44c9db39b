#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
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

/// The lines of a reply, in order, split one at a time as they are asked for: a reply may have millions of them, and
/// the host little memory. Lines end in CR LF; LF alone will do, too. Empty lines are left out. A view of the reply.
class CAxisLines
{
public:
    class Iterator
    {
    public:
        using value_type = AxisParameter;
        using difference_type = std::ptrdiff_t;
        using reference = const AxisParameter&;
        using pointer = const AxisParameter*;
        using iterator_category = std::forward_iterator_tag;

        Iterator() noexcept = default; ///< the end
        explicit Iterator(std::wstring_view reply) noexcept : m_rest(reply), m_hasLine(true)
        {
            ++*this;
        }
        const AxisParameter& operator*() const noexcept
        {
            return m_line;
        }
        const AxisParameter* operator->() const noexcept
        {
            return &m_line;
        }
        Iterator& operator++() noexcept;
        Iterator operator++(int) noexcept
        {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator& other) const noexcept
        {
            return m_hasLine == other.m_hasLine && m_rest.size() == other.m_rest.size();
        }

    private:
        std::wstring_view m_rest; ///< behind the line
        AxisParameter m_line;
        bool m_hasLine = false;
    };

    explicit CAxisLines(std::wstring_view reply) noexcept : m_reply(reply) {}
    Iterator begin() const noexcept
    {
        return Iterator(m_reply);
    }
    Iterator end() const noexcept
    {
        return {};
    }

private:
    std::wstring_view m_reply;
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
inline CAxisLines Lines(std::wstring_view reply) noexcept
{
    return CAxisLines(reply);
}

/// The value of the last line whose name has that part in it; empty when there is none.
std::wstring_view ValueOf(std::wstring_view reply, std::wstring_view part) noexcept;

AxisVersion ToVersion(std::wstring_view text) noexcept;

/// The answer to imagesize.cgi; nothing when width or height is missing, or is no positive number.
std::optional<AxisPictureSize> ReadImageSize(std::wstring_view reply);

/// "1920x1080,1280x720"; nothing when one of them is no size, when there is none, or more than kMaximumResolutions.
std::optional<std::vector<AxisPictureSize>> ToResolutions(std::wstring_view text);

inline constexpr std::size_t kMaximumResolutions = 1000;
} // namespace AxisReply
