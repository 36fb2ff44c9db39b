#include "Fuzz/FuzzTarget.h"
#include "Protocol/H264PictureSize.h"
#include "Protocol/MediaFormats.h"
#include "Protocol/SdpParser.h"

#include <algorithm>

using Fuzz::Require;

namespace
{
std::string Join(std::initializer_list<std::string_view> parts)
{
    std::string joined;
    for (const std::string_view part : parts)
        joined += part;
    return joined;
}

std::string Write(const ConnectionData& connection)
{
    const auto& [networkType, addressType, address, ttl, number] = connection;
    return Join({"c=", networkType, " ", addressType, " "}) +
           (address.empty() ? "\n" : Join({"/", address, "/", ttl, "/", number, "\n"}));
}

std::string Write(const MediaFormat& format)
{
    std::string text;
    if (!format.rtpmapPayloadType.empty())
        text += Join({"a=rtpmap:", format.rtpmapPayloadType, " /", format.encodingName, "/", format.clockRate, "/",
                      format.encodingParameters, "\n"});
    if (!format.fmtpPayloadType.empty())
        text += Join({"a=fmtp:", format.fmtpPayloadType, " ", format.fmtpParameters, "\n"});
    return text;
}

std::string Write(const MediaDescription& media)
{
    std::string text = Join({"m=", media.mediaType, " ", media.port, "/", media.numberOfPorts, " ", media.protocol});
    for (const auto& [payloadType, format] : media.formats)
        text += Join({" ", format.format});
    text += Join({"\ni=", media.information, "\nb=", media.bandwidth, "\na=control:", media.control, "\na=framerate:",
                  media.frameRate, "\na=quality:", media.quality, "\na=transform:", media.transform, "\n"});
    for (const ConnectionData& connection : media.connections)
        text += Write(connection);
    for (const auto& [payloadType, format] : media.formats)
        text += Write(format);
    return text;
}

/// All that the description says, as SDP.
std::string Write(const CSessionDescription& description)
{
    const auto& [userName, sessionId, sessionVersion, networkType, addressType, address] = description.Origin();
    std::string text = Join({"v=",
                             description.Version(),
                             "\no=",
                             userName,
                             " ",
                             sessionId,
                             " ",
                             sessionVersion,
                             " ",
                             networkType,
                             " ",
                             addressType,
                             " ",
                             address,
                             "\ns=",
                             description.SessionName(),
                             "\ni=",
                             description.SessionInformation(),
                             "\nb=",
                             description.SessionBandwidth(),
                             "\na=tool:",
                             description.Tool(),
                             "\na=charset:",
                             description.Charset(),
                             "\na=type:",
                             description.Type(),
                             "\na=control:",
                             description.SessionControl(),
                             "\n"});
    text += Write(description.SessionConnection());
    for (const MediaDescription& media : description.Media())
        text += Write(media);
    return text;
}

void CheckTexts(const CSessionDescription& description, std::string_view answer)
{
    const auto check = [answer](std::string_view text) {
        Require(answer.find(text) != std::string_view::npos, "every text is one of the answer");
    };
    check(description.SessionName());
    check(description.SessionControl());
    for (const MediaDescription& media : description.Media())
    {
        check(media.control);
        for (const auto& [payloadType, format] : media.formats)
            check(format.fmtpParameters);
    }
}

void CheckFormats(const CSessionDescription& description)
{
    H264FormatParameters parameters;
    const bool hasVideo = MediaFormats::FindH264Video(description, parameters);
    Require(hasVideo || MediaFormats::MediaControl(description, "video").empty(), "only H.264 video is controlled");
    Require(parameters.packetizationMode != 2, "interleaved video is not chosen");
    MediaFormats::IsAbsoluteUrl(MediaFormats::MediaControl(description, "audio"));
    PictureSize size;
    H264PictureSize::GetH264ImageSizeFromSPS(parameters, size);
}

/// The answer to DESCRIBE.
void FeedDescription(std::string_view input)
{
    CSessionDescription description("m=video 0 RTP/AVP 96", "of an earlier answer");
    description.Initialize(input, "rtsp://camera/");
    Require(description.Source() == "rtsp://camera/", "the source is the one that was given");
    const std::string written = Write(description);
    CheckFormats(description);

    std::string unixText(input);
    std::ranges::replace(unixText, '\r', '\n');
    CheckTexts(description, unixText);
    Require(Write(CSessionDescription(unixText, {})) == written, "it does not count how lines end");
    if (description.IsValid())
        Require(Write(CSessionDescription(written, {})) == written, "a valid description reads the same written down");
}

const CFuzzTarget kSessionDescription("SessionDescription", FeedDescription);
} // namespace
