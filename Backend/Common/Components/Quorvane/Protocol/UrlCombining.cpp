#include "Protocol/UrlCombining.h"

#include "Protocol/TextUtil.h"

std::size_t UrlCombining::LongestEscapedLength(std::string_view url) noexcept
{
    constexpr std::string_view kNeverEscaped = "-._~/:?=";
    std::size_t length = 0;
    for (const char each : url)
    {
        const char lower = TextUtil::ToLower(each);
        const bool isPlain = TextUtil::IsDigit(each) || (lower >= 'a' && lower <= 'z') ||
                             kNeverEscaped.find(each) != std::string_view::npos;
        length += isPlain ? 1 : std::string_view("%41").size();
    }
    return length;
}

bool UrlCombining::IsWithinRoom(std::string_view base, std::string_view relative) noexcept
{
    return LongestEscapedLength(base) + LongestEscapedLength(relative) < kRoomChars;
}
