#include "Protocol/AxisReply.h"

#include "Protocol/TextUtil.h"

#include <algorithm>
#include <utility>

using TextUtil::ToNumber;

namespace
{
constexpr std::size_t kNone = std::wstring_view::npos;

/// Takes the text before the next separator, and the separator, off the front of `rest`.
std::wstring_view TakePart(std::wstring_view& rest, wchar_t separator) noexcept
{
    const std::size_t end = std::min(rest.find(separator), rest.size());
    const std::wstring_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
}

AxisParameter Split(std::wstring_view line) noexcept
{
    const std::wstring_view name = TakePart(line, L'=');
    return {TextUtil::Trim(name), TextUtil::Trim(line)};
}
} // namespace

bool AxisParameter::IsNamed(std::wstring_view wanted) const noexcept
{
    return TextUtil::EqualsIgnoreCase(name, wanted);
}

bool AxisParameter::IsNamedWith(std::wstring_view part) const noexcept
{
    return name.find(part, 1) != kNone;
}

CAxisLines::Iterator& CAxisLines::Iterator::operator++() noexcept
{
    std::wstring_view line;
    while (line.empty() && !m_rest.empty())
        line = TextUtil::Trim(TakePart(m_rest, L'\n'));
    m_hasLine = !line.empty();
    m_line = Split(line);
    return *this;
}

std::wstring_view AxisReply::ValueOf(std::wstring_view reply, std::wstring_view part) noexcept
{
    std::wstring_view value;
    for (const AxisParameter& line : Lines(reply))
    {
        if (line.IsNamedWith(part))
            value = line.value;
    }
    return value;
}

AxisVersion AxisReply::ToVersion(std::wstring_view text) noexcept
{
    const std::wstring_view first = TakePart(text, L'.');
    return {ToNumber(first), ToNumber(text)};
}

std::optional<AxisPictureSize> AxisReply::ReadImageSize(std::wstring_view reply)
{
    AxisPictureSize size;
    for (const AxisParameter& line : Lines(reply))
    {
        if (line.IsNamed(L"image width"))
            size.width = ToNumber(line.value);
        else if (line.IsNamed(L"image height"))
            size.height = ToNumber(line.value);
    }
    return size.width > 0 && size.height > 0 ? std::optional(size) : std::nullopt;
}

std::optional<std::vector<AxisPictureSize>> AxisReply::ToResolutions(std::wstring_view text)
{
    std::vector<AxisPictureSize> sizes;
    while (!text.empty())
    {
        std::wstring_view height = TextUtil::Trim(TakePart(text, L','));
        const std::wstring_view width = TakePart(height, L'x');
        const AxisPictureSize size{ToNumber(width), ToNumber(height)};
        if (size.width == 0 || size.height == 0 || sizes.size() == kMaximumResolutions)
            return std::nullopt;
        sizes.push_back(size);
    }
    return sizes.empty() ? std::nullopt : std::optional(std::move(sizes));
}
