#include "Protocol/UrlCombining.h"
#include "Fuzz/FuzzTarget.h"

#include <algorithm>

using Fuzz::Require;
using UrlCombining::LongestEscapedLength;

namespace
{
/// Escapes more than a function would: each byte but letters, digits and what separates the parts of a URL.
std::string Escape(std::string_view url)
{
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/:?=";
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string escaped;
    for (const char each : url)
    {
        const auto byte = static_cast<unsigned char>(each);
        if (kPlain.find(each) != std::string_view::npos)
            escaped += each;
        else
            escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return escaped;
}

/// The base and the control of a session description, one on the first line of an input, the other behind it.
void FeedUrls(std::string_view input)
{
    const std::string_view base = input.substr(0, input.find('\n'));
    const std::string_view relative = input.substr(std::min(base.size() + 1, input.size()));
    Require(Escape(base).size() <= LongestEscapedLength(base), "nothing becomes longer than was said");
    Require(LongestEscapedLength(input) <= 3 * input.size(), "no byte becomes more than three characters");
    if (!UrlCombining::IsWithinRoom(base, relative))
        return;
    const std::string combined = Escape(base) + Escape(relative);
    Require(combined.size() < UrlCombining::kRoomChars, "what is let through has room, its null included");
    Require(UrlCombining::IsWithinRoom(relative, base), "the order does not count");
}

const CFuzzTarget kUrlCombining("UrlCombining", FeedUrls);
} // namespace
