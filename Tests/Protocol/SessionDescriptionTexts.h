#pragma once

#include "Protocol/SdpParser.h"

#include <stdexcept>
#include <string>
#include <string_view>

/// A camera's description, and how a test changes it.
namespace SessionDescriptionTexts
{
inline constexpr std::string_view kTypical = "v=0\r\n"
                                             "o=- 1001 1 IN IP4 192.168.0.90\r\n"
                                             "s=Media Presentation\r\n"
                                             "m=video 0 RTP/AVP 96\r\n"
                                             "a=rtpmap:96 H264/90000\r\n"
                                             "a=fmtp:96 packetization-mode=1\r\n"
                                             "a=control:trackID=1\r\n";

inline CSessionDescription Parse(std::string_view text)
{
    return {text, "rtsp://camera/base/"};
}

/// The typical answer with one line replaced; by nothing at all when `to` is empty.
inline std::string With(std::string_view from, std::string_view to)
{
    std::string text(kTypical);
    const std::size_t position = text.find(from);
    if (position == std::string::npos)
        throw std::logic_error("no such line");
    return text.replace(position, text.find("\r\n", position) + 2 - position,
                        to.empty() ? std::string() : std::string(to) + "\r\n");
}

/// A description of these lines behind the session's; its only media is what the test is about.
inline CSessionDescription ParseMedia(const std::string& lines)
{
    return Parse("v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\n" + lines);
}

inline std::wstring Wide(std::string_view text)
{
    return {text.begin(), text.end()};
}
} // namespace SessionDescriptionTexts
