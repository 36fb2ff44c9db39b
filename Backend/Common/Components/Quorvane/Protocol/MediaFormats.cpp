#include "Protocol/MediaFormats.h"

#include "Protocol/Log.h"
#include "Protocol/TextUtil.h"

#include <utility>

using TextUtil::EqualsIgnoreCase;

namespace
{
constexpr std::string_view kVideo = "video";
constexpr std::string_view kRtp = "RTP/AVP";
constexpr std::string_view kH264ClockRate = "90000";
constexpr std::string_view kPcmuClockRate = "8000";
constexpr std::int32_t kInterleavedMode = 2;

bool Contains(std::string_view text, std::string_view part) noexcept
{
    return text.find(part) != std::string_view::npos;
}

bool IsStreamable(const MediaDescription& media, bool isVideo)
{
    H264FormatParameters ignored;
    return isVideo ? MediaFormats::MediaHasH264Video(media, ignored) : MediaFormats::MediaHasPCMUAudio(media);
}
} // namespace

bool MediaFormats::MediaHasH264Video(const MediaDescription& media, H264FormatParameters& formatParameters)
{
    if (!Contains(media.protocol, kRtp))
        return LogFailure(false, LogLevel::Debug, L"CCgiCommandRtsp::MediaHasH264Video, unexpected protocol: %s",
                          media.protocol);
    for (const auto& [payloadType, format] : media.formats)
    {
        if (!EqualsIgnoreCase(format.encodingName, "H264"))
            continue;
        if (format.clockRate != kH264ClockRate)
        {
            Log(LogLevel::Debug, L"CCgiCommandRtsp::MediaHasH264Video, H264 video clock rate is %s, should be 90000",
                format.clockRate);
            continue;
        }
        if (format.fmtpParameters.empty())
        {
            Log(LogLevel::Debug, L"CCgiCommandRtsp::MediaHasH264Video, no format parameters, ignore this format");
            continue;
        }
        H264FormatParameters parsed = H264FormatParameters::Parse(format.fmtpParameters);
        if (parsed.packetizationMode == kInterleavedMode)
        {
            Log(LogLevel::Debug, L"CCgiCommandRtsp::MediaHasH264Video, packetization mode is 2, ignore this format");
            continue;
        }
        formatParameters = std::move(parsed);
        return true;
    }
    return false;
}

bool MediaFormats::MediaHasPCMUAudio(const MediaDescription& media)
{
    if (!Contains(media.protocol, kRtp))
        return LogFailure(false, LogLevel::Debug, L"CCgiCommandRtsp::MediaHasPCMUAudio, unexpected protocol: %s",
                          media.protocol);
    for (const auto& [payloadType, format] : media.formats)
    {
        if (EqualsIgnoreCase(format.encodingName, "PCMU") && format.clockRate == kPcmuClockRate)
            return true;
        Log(LogLevel::Debug,
            L"CCgiCommandRtsp::MediaHasPCMUAudio, unexpected, audio encoding name: %s, clock rate: %d, "
            L"should be PCMU 8000",
            format.encodingName, TextUtil::ToNumber(format.clockRate));
    }
    return false;
}

bool MediaFormats::FindH264Video(const CSessionDescription& description, H264FormatParameters& formatParameters)
{
    for (const MediaDescription& media : description.Media())
        if (EqualsIgnoreCase(media.mediaType, kVideo) && MediaHasH264Video(media, formatParameters))
            return true;
    return false;
}

std::string_view MediaFormats::MediaControl(const CSessionDescription& description, std::string_view mediaType)
{
    for (const MediaDescription& media : description.Media())
    {
        if (!EqualsIgnoreCase(media.mediaType, mediaType) || !IsStreamable(media, mediaType == kVideo))
            continue;
        if (media.control.empty())
            Log(LogLevel::Debug, L"CCgiCommandRtsp::GetMediaStreamUrl, media url is empty, media type: '%s'",
                mediaType);
        return media.control;
    }
    return {};
}

bool MediaFormats::IsAbsoluteUrl(std::string_view url) noexcept
{
    return Contains(url, "://");
}
