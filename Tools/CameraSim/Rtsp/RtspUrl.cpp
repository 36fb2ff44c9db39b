#include "CameraSim/Rtsp/RtspUrl.h"

#include "CameraSim/Text/Ascii.h"

namespace
{

constexpr std::string_view kScheme = "rtsp://";
constexpr std::string_view kTrack = "trackID=";

/// Takes "/trackID=N" from the end of the text; 0 when it does not end so.
unsigned TakeTrack(std::string_view& text)
{
    const auto slash = text.rfind('/');
    if (slash == text.npos || !text.substr(slash + 1).starts_with(kTrack))
        return 0;
    const auto number = Ascii::Number<unsigned>(text.substr(slash + 1 + kTrack.size()));
    if (!number)
        return 0;
    text = text.substr(0, slash);
    return *number;
}

std::string_view WithoutSlashes(std::string_view text)
{
    while (text.starts_with('/'))
        text.remove_prefix(1);
    while (text.ends_with('/'))
        text.remove_suffix(1);
    return text;
}

std::string QueryText(const std::string& query)
{
    return query.empty() ? "" : "?" + query;
}

} // namespace

std::optional<RtspUrl> RtspUrl::Parse(std::string_view text)
{
    if (!Ascii::EqualNoCase(text.substr(0, kScheme.size()), kScheme))
        return std::nullopt;
    text.remove_prefix(kScheme.size());
    const std::string_view authority = text.substr(0, text.find_first_of("/?"));
    text.remove_prefix(authority.size());
    RtspUrl url;
    url.host = authority.substr(authority.rfind('@') + 1);
    const auto mark = text.find('?');
    std::string_view path = text.substr(0, mark);
    std::string_view query = mark == text.npos ? std::string_view() : text.substr(mark + 1);
    url.track = TakeTrack(path);
    if (url.track == 0)
        url.track = TakeTrack(query);
    url.path = WithoutSlashes(path);
    url.query = query.ends_with('/') ? query.substr(0, query.size() - 1) : query;
    if (url.host.empty())
        return std::nullopt;
    return url;
}

std::string RtspUrl::Presentation() const
{
    return std::string(kScheme) + host + "/" + path + QueryText(query);
}

std::string RtspUrl::Track(unsigned number) const
{
    return Base() + std::string(kTrack) + std::to_string(number) + QueryText(query);
}

std::string RtspUrl::Base() const
{
    return std::string(kScheme) + host + "/" + path + "/";
}
