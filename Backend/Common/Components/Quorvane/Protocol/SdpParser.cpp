#include "Protocol/SdpParser.h"

#include "Protocol/Log.h"
#include "Protocol/TextUtil.h"
#include "Protocol/Tokenizer.h"

#include <algorithm>
#include <utility>

using TextUtil::EqualsIgnoreCase;

namespace
{
constexpr std::string_view kBlank = " ";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::int32_t kFirstDynamicPayloadType = 96; // RFC 3551, 6
constexpr std::int32_t kHighestTtl = 255;

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> words) noexcept
{
    return std::ranges::any_of(words, [text](std::string_view word) { return EqualsIgnoreCase(text, word); });
}

/// The text before the first `separator` and the text behind it; all of it and nothing when there is none.
std::pair<std::string_view, std::string_view> SplitAt(std::string_view text, char separator) noexcept
{
    const std::size_t position = text.find(separator);
    if (position == std::string_view::npos)
        return {text, {}};
    return {text.substr(0, position), text.substr(position + 1)};
}

SessionOrigin ParseOrigin(std::string_view value)
{
    CTokenizer tokens(value);
    SessionOrigin origin;
    for (std::string* field : {&origin.userName, &origin.sessionId, &origin.sessionVersion, &origin.networkType,
                               &origin.addressType, &origin.address})
        *field = tokens.Next(kBlank);
    return origin;
}

ConnectionData ParseConnection(std::string_view value)
{
    CTokenizer tokens(value);
    ConnectionData connection;
    connection.networkType = tokens.Next(kBlank);
    connection.addressType = tokens.Next(kBlank);
    connection.address = tokens.Next("/");
    connection.ttl = tokens.Next("/");
    connection.numberOfAddresses = tokens.Next("/");
    return connection;
}

MediaFormat& FindOrCreate(MediaFormatMap& formats, std::string_view payloadType)
{
    const auto found = formats.lower_bound(payloadType);
    if (found != formats.end() && found->first == payloadType)
        return found->second;
    return formats.try_emplace(found, std::string(payloadType))->second;
}

void ParseMedia(std::string_view value, MediaDescription& media)
{
    CTokenizer tokens(value);
    media.mediaType = tokens.Next(kBlank);
    CTokenizer port(tokens.Next(kBlank));
    media.port = port.Next("/");
    media.numberOfPorts = port.Next("/");
    media.protocol = tokens.Next(kBlank);
    for (std::string_view format = tokens.Next(kBlank); !format.empty(); format = tokens.Next(kBlank))
        FindOrCreate(media.formats, format).format = format;
}

/// Formats are only complained about.
void LogSuspectFormats(const MediaDescription& media)
{
    for (const auto& [payloadType, info] : media.formats)
    {
        if (info.format.empty() || !EqualsIgnoreCase(info.format, payloadType))
            Log(LogLevel::Debug,
                L"MediaDescription::IsValid, invalid entry in format info map (%s : %s), media type: %s", payloadType,
                info.format, media.mediaType);
        else if (media.protocol == "RTP/AVP" &&
                 TextUtil::ToNumber(std::string_view(payloadType)) >= kFirstDynamicPayloadType &&
                 (info.rtpmapPayloadType.empty() || info.encodingName.empty() || info.clockRate.empty()))
            Log(LogLevel::Debug,
                L"MediaDescription::IsValid, invalid media, dynamic rtp payload type (%s) has no valid rtpmap, "
                L"media type: %s",
                payloadType, media.mediaType);
    }
}
} // namespace

bool SessionOrigin::IsValid() const
{
    if (userName.empty() || sessionId.empty() || sessionVersion.empty())
        return false;
    if (!EqualsIgnoreCase(networkType, "IN") || !IsOneOf(addressType, {"IP4", "IP6"}))
        return LogFailure(false, LogLevel::Debug, L"SessionOrigin::IsValid, invalid value");
    return true;
}

bool ConnectionData::IsValid() const
{
    if (networkType != "IN" || !IsOneOf(addressType, {"IP4", "IP6"}) || address.empty())
        return LogFailure(false, LogLevel::Debug, L"ConnectionData::IsValid, invalid value");
    if (ttl.empty())
        return true;
    const std::int32_t number = TextUtil::ToNumber(std::string_view(ttl));
    if (number < 0 || number > kHighestTtl)
        return LogFailure(false, LogLevel::Debug, L"ConnectionData::IsValid, invalid ttl: %s", ttl);
    return true;
}

bool MediaDescription::IsValid() const
{
    if (mediaType.empty() || port.empty() || protocol.empty())
        return false;
    if (formats.empty())
        return LogFailure(false, LogLevel::Debug,
                          L"MediaDescription::IsValid, invalid media, has no format, mediaType: %s", mediaType);
    if (!IsOneOf(mediaType, {"audio", "video", "text", "application", "message"}))
        return LogFailure(false, LogLevel::Debug, L"MediaDescription::IsValid, invalid mediaType: %s", mediaType);
    if (!IsOneOf(protocol, {"RTP/AVP", "RTP/SAVP", "udp"}))
        return LogFailure(false, LogLevel::Debug, L"MediaDescription::IsValid, invalid protocol: %s, media type: %s",
                          protocol, mediaType);
    LogSuspectFormats(*this);
    for (std::size_t index = 0; index < connections.size(); ++index)
        if (!connections[index].IsValid())
            Log(LogLevel::Debug, L"MediaDescription::IsValid, invalid connection data at index: %d for media: %s",
                static_cast<std::int32_t>(index), mediaType);
    return true;
}

void CSessionDescription::Initialize(std::string_view sdpText, std::string_view source)
{
    Clear();
    m_source = source;
    if (sdpText.empty())
        return;
    CTokenizer lines(sdpText);
    for (std::string_view line = lines.Next(kLineEnd); !line.empty(); line = lines.Next(kLineEnd))
        ParseLine(line);
    if (!IsValid())
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, invalid session description string: %s", sdpText);
}

void CSessionDescription::Clear()
{
    *this = CSessionDescription();
}

bool CSessionDescription::IsValid() const
{
    if (m_version != "0" || m_sessionName.empty() || !m_origin.IsValid() || m_media.empty())
        return false;
    for (std::size_t index = 0; index < m_media.size(); ++index)
        if (!m_media[index].IsValid())
            return LogFailure(false, LogLevel::Debug, L"CSessionDescription::IsValid, invalid media at index: %d",
                              static_cast<std::int32_t>(index));
    if (!m_charset.empty() && !IsOneOf(m_charset, {"ISO-10646", "utf-8"}))
        Log(LogLevel::Debug, L"CSessionDescription::IsValid, charset=%s", m_charset);
    if (!m_type.empty() && !EqualsIgnoreCase(m_type, "broadcast"))
        Log(LogLevel::Debug, L"CSessionDescription::IsValid, type=%s", m_type);
    return true;
}

void CSessionDescription::ParseLine(std::string_view line)
{
    // Every type that counts is one letter.
    if (line.size() < 2 || line[1] != '=')
        return;
    const std::string_view value = line.substr(2);
    MediaDescription* const media = CurrentMedia();
    switch (line[0])
    {
    case 'v':
        m_version = value;
        break;
    case 'o':
        m_origin = ParseOrigin(value);
        break;
    case 's':
        m_sessionName = value;
        break;
    case 'i':
        (media != nullptr ? media->information : m_sessionInformation) = value;
        break;
    case 'c':
        if (media != nullptr)
            media->connections.push_back(ParseConnection(value));
        else
            m_sessionConnection = ParseConnection(value);
        break;
    case 'b':
        (media != nullptr ? media->bandwidth : m_sessionBandwidth) = value;
        break;
    case 'a':
        ParseAttribute(value);
        break;
    case 'm':
        ParseMedia(value, m_media.emplace_back());
        break;
    default:
        break;
    }
}

void CSessionDescription::ParseAttribute(std::string_view attribute)
{
    const auto [name, value] = SplitAt(attribute, ':');
    MediaDescription* const media = CurrentMedia();
    if (name == "tool")
        m_tool = value;
    else if (name == "charset")
        m_charset = value;
    else if (name == "type")
        m_type = value;
    else if (EqualsIgnoreCase(name, "control"))
        (media != nullptr ? media->control : m_sessionControl) = value;
    else if (EqualsIgnoreCase(name, "rtpmap"))
        ParseRtpmap(value);
    else if (EqualsIgnoreCase(name, "fmtp"))
        ParseFmtp(value);
    else if (media == nullptr)
        return;
    else if (name == "transform")
        media->transform = value;
    else if (EqualsIgnoreCase(name, "framerate"))
        media->frameRate = value;
    else if (EqualsIgnoreCase(name, "quality"))
        media->quality = value;
}

void CSessionDescription::ParseRtpmap(std::string_view value)
{
    MediaDescription* const media = CurrentMedia();
    if (media == nullptr)
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, pMedia is NULL when parsing rtpmap: %s, ignored",
            value);
        return;
    }
    CTokenizer tokens(value);
    const std::string_view payloadType = tokens.Next(kBlank);
    const std::string_view encodingName = tokens.Next("/");
    const std::string_view clockRate = tokens.Next(" /");
    const std::string_view encodingParameters = tokens.Next("/");
    if (payloadType.empty() || encodingName.empty() || clockRate.empty())
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, invalid rtpmap: %s, ignored", value);
        return;
    }
    MediaFormat& format = FindOrCreate(media->formats, payloadType);
    format.rtpmapPayloadType = payloadType;
    format.encodingName = encodingName;
    format.clockRate = clockRate;
    format.encodingParameters = encodingParameters;
}

void CSessionDescription::ParseFmtp(std::string_view value)
{
    MediaDescription* const media = CurrentMedia();
    if (media == nullptr)
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, pMedia is NULL when parsing fmtp: %s, ignored", value);
        return;
    }
    CTokenizer tokens(value);
    const std::string_view payloadType = tokens.Next(kBlank);
    const std::string_view parameters = tokens.Rest();
    if (payloadType.empty() || parameters.empty())
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, invalid fmtp: %s, ignored", value);
        return;
    }
    MediaFormat& format = FindOrCreate(media->formats, payloadType);
    format.fmtpPayloadType = payloadType;
    format.fmtpParameters = parameters;
}

MediaDescription* CSessionDescription::CurrentMedia() noexcept
{
    return m_media.empty() ? nullptr : &m_media.back();
}
