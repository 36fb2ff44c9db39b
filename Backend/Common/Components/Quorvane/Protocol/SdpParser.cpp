#include "Protocol/SdpParser.h"

#include "Protocol/Log.h"
#include "Protocol/TextUtil.h"
#include "Protocol/Tokenizer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

using TextUtil::EqualsIgnoreCase;

namespace
{
constexpr char kBlank = ' ';
constexpr std::int32_t kFirstDynamicPayloadType = 96; // RFC 3551, 6
constexpr std::int32_t kHighestTtl = 255;

template <class... Words>
bool IsOneOf(std::string_view text, const Words&... words) noexcept
{
    return (EqualsIgnoreCase(text, std::string_view(words)) || ...);
}

/// Copies `text` with LF for every CR, so that one search finds the end of a line, whichever the camera writes.
void CopyLines(std::string_view text, char* to) noexcept
{
    // In blocks that the compiler turns into a few instructions each: this is the only part that looks at every byte.
    constexpr std::size_t kBlockBytes = 16;
    const auto unify = [](char& character) { character = character == '\r' ? '\n' : character; };
    for (; text.size() >= kBlockBytes; text.remove_prefix(kBlockBytes), to += kBlockBytes)
    {
        std::array<char, kBlockBytes> block;
        std::memcpy(block.data(), text.data(), kBlockBytes);
        for (char& character : block)
            unify(character);
        std::memcpy(to, block.data(), kBlockBytes);
    }
    for (char character : text)
    {
        unify(character);
        *to++ = character;
    }
}

enum class NameCase
{
    Exact,
    Any
};

/// Whether the name of an attribute, the text before its first ":", is this one; `value` is what stands behind it then.
/// The name is a literal, whose length the compiler knows: that makes most of these comparisons one instruction.
template <NameCase Case, std::size_t Size>
inline bool TakeValue(std::string_view attribute, const char (&literal)[Size], std::string_view& value) noexcept
{
    constexpr std::size_t kLength = Size - 1;
    if (attribute.size() < kLength || (attribute.size() > kLength && attribute[kLength] != ':'))
        return false;
    const std::string_view name(attribute.data(), kLength);
    const std::string_view expected(literal, kLength);
    if (Case == NameCase::Any ? !EqualsIgnoreCase(name, expected) : name != expected)
        return false;
    value = attribute.substr(std::min(Size, attribute.size()));
    return true;
}

SessionOrigin ParseOrigin(std::string_view value)
{
    CTokenizer tokens(value);
    SessionOrigin origin;
    for (std::string_view* field : {&origin.userName, &origin.sessionId, &origin.sessionVersion, &origin.networkType,
                                    &origin.addressType, &origin.address})
        *field = tokens.Next(kBlank);
    return origin;
}

void ParseConnection(std::string_view value, ConnectionData& connection)
{
    CTokenizer tokens(value);
    connection.networkType = tokens.Next(kBlank);
    connection.addressType = tokens.Next(kBlank);
    connection.address = tokens.Next('/');
    connection.ttl = tokens.Next('/');
    connection.numberOfAddresses = tokens.Next('/');
}

void ParseMedia(std::string_view value, MediaDescription& media)
{
    CTokenizer tokens(value);
    media.mediaType = tokens.Next(kBlank);
    CTokenizer port(tokens.Next(kBlank));
    media.port = port.Next('/');
    media.numberOfPorts = port.Next('/');
    media.protocol = tokens.Next(kBlank);
    for (std::string_view format = tokens.Next(kBlank); !format.empty(); format = tokens.Next(kBlank))
        media.formats[format].format = format;
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
        else if (media.protocol == "RTP/AVP" && TextUtil::ToNumber(payloadType) >= kFirstDynamicPayloadType &&
                 (info.rtpmapPayloadType.empty() || info.encodingName.empty() || info.clockRate.empty()))
            Log(LogLevel::Debug,
                L"MediaDescription::IsValid, invalid media, dynamic rtp payload type (%s) has no valid rtpmap, "
                L"media type: %s",
                payloadType, media.mediaType);
    }
}
} // namespace

MediaDescription::MediaDescription() noexcept = default;

bool SessionOrigin::IsValid() const
{
    if (userName.empty() || sessionId.empty() || sessionVersion.empty())
        return false;
    if (!EqualsIgnoreCase(networkType, "IN") || !IsOneOf(addressType, "IP4", "IP6"))
        return LogFailure(false, LogLevel::Debug, L"SessionOrigin::IsValid, invalid value");
    return true;
}

bool ConnectionData::IsValid() const
{
    if (networkType != "IN" || !IsOneOf(addressType, "IP4", "IP6") || address.empty())
        return LogFailure(false, LogLevel::Debug, L"ConnectionData::IsValid, invalid value");
    if (ttl.empty())
        return true;
    const std::int32_t number = TextUtil::ToNumber(ttl);
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
    if (!IsOneOf(mediaType, "video", "audio", "text", "application", "message"))
        return LogFailure(false, LogLevel::Debug, L"MediaDescription::IsValid, invalid mediaType: %s", mediaType);
    if (!IsOneOf(protocol, "RTP/AVP", "RTP/SAVP", "udp"))
        return LogFailure(false, LogLevel::Debug, L"MediaDescription::IsValid, invalid protocol: %s, media type: %s",
                          protocol, mediaType);
    LogSuspectFormats(*this);
    std::int32_t index = 0;
    for (const ConnectionData& connection : connections)
    {
        if (!connection.IsValid())
            Log(LogLevel::Debug, L"MediaDescription::IsValid, invalid connection data at index: %d for media: %s",
                index, mediaType);
        ++index;
    }
    return true;
}

void CSessionDescription::Initialize(std::string_view sdpText, std::string_view source)
{
    if (sdpText.size() > kMaximumTextBytes)
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, session description of more than %d bytes given up",
            kMaximumTextBytes);
        sdpText = {};
    }
    auto texts = std::make_unique_for_overwrite<char[]>(source.size() + sdpText.size());
    source.copy(texts.get(), source.size());
    CopyLines(sdpText, texts.get() + source.size());
    if (m_texts)
        Clear();
    m_texts = std::move(texts);
    m_source = {m_texts.get(), source.size()};
    if (sdpText.empty())
        return;
    CTokenizer lines({m_texts.get() + source.size(), sdpText.size()});
    for (std::string_view line = lines.Next('\n'); !line.empty() && m_recordCount <= kMaximumRecords;
         line = lines.Next('\n'))
        ParseLine(line);
    if (m_recordCount > kMaximumRecords)
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, session description of more than %d records given up",
            kMaximumRecords);
        Initialize({}, m_source);
        return;
    }
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
    std::int32_t index = 0;
    for (const MediaDescription& media : m_media)
    {
        if (!media.IsValid())
            return LogFailure(false, LogLevel::Debug, L"CSessionDescription::IsValid, invalid media at index: %d",
                              index);
        ++index;
    }
    if (!m_charset.empty() && !IsOneOf(m_charset, "ISO-10646", "utf-8"))
        Log(LogLevel::Debug, L"CSessionDescription::IsValid, charset=%s", m_charset);
    if (!m_type.empty() && !EqualsIgnoreCase(m_type, "broadcast"))
        Log(LogLevel::Debug, L"CSessionDescription::IsValid, type=%s", m_type);
    return true;
}

void CSessionDescription::ParseLine(std::string_view line)
{
    // Every type that counts is one letter. Attributes are most of what cameras send.
    if (line.size() < 2 || line[1] != '=')
        return;
    if (line[0] == 'a')
        ParseAttribute(line.substr(2));
    else
        ParseField(line[0], line.substr(2));
}

void CSessionDescription::ParseField(char type, std::string_view value)
{
    MediaDescription* const media = CurrentMedia();
    switch (type)
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
        ParseConnection(value, media != nullptr ? media->connections.emplace_back() : m_sessionConnection);
        m_recordCount += media != nullptr ? 1 : 0;
        break;
    case 'b':
        (media != nullptr ? media->bandwidth : m_sessionBandwidth) = value;
        break;
    case 'm':
        ParseMedia(value, m_media.emplace_back());
        m_lastFormat = nullptr;
        m_recordCount += 1 + m_media.back().formats.size();
        break;
    default:
        break;
    }
}

void CSessionDescription::ParseAttribute(std::string_view attribute)
{
    if (attribute.empty())
        return;
    MediaDescription* const media = CurrentMedia();
    std::string_view ignored;
    std::string_view value;
    // Most attributes of a camera are none of these; the first letter tells soonest.
    switch (TextUtil::ToLower(attribute.front()))
    {
    case 'c':
        if (TakeValue<NameCase::Any>(attribute, "control", value))
            (media != nullptr ? media->control : m_sessionControl) = value;
        else
            TakeValue<NameCase::Exact>(attribute, "charset", m_charset);
        break;
    case 'f':
        if (TakeValue<NameCase::Any>(attribute, "fmtp", value))
            ParseFmtp(value);
        else
            TakeValue<NameCase::Any>(attribute, "framerate", media != nullptr ? media->frameRate : ignored);
        break;
    case 'q':
        TakeValue<NameCase::Any>(attribute, "quality", media != nullptr ? media->quality : ignored);
        break;
    case 'r':
        if (TakeValue<NameCase::Any>(attribute, "rtpmap", value))
            ParseRtpmap(value);
        break;
    case 't':
        if (!TakeValue<NameCase::Exact>(attribute, "tool", m_tool) &&
            !TakeValue<NameCase::Exact>(attribute, "type", m_type))
            TakeValue<NameCase::Exact>(attribute, "transform", media != nullptr ? media->transform : ignored);
        break;
    default:
        break;
    }
}

void CSessionDescription::ParseRtpmap(std::string_view value)
{
    MediaDescription* const media = CurrentMedia();
    if (media == nullptr)
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, pMedia is NULL when parsing rtpmap: %s, ignored",
            value);
        ++m_recordCount;
        return;
    }
    CTokenizer tokens(value);
    const std::string_view payloadType = tokens.Next(kBlank);
    const std::string_view encodingName = tokens.Next('/');
    const std::string_view clockRate = tokens.Next(kBlank, '/');
    const std::string_view encodingParameters = tokens.Next('/');
    if (payloadType.empty() || encodingName.empty() || clockRate.empty())
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, invalid rtpmap: %s, ignored", value);
        ++m_recordCount;
        return;
    }
    MediaFormat& format = FindOrCreateFormat(*media, payloadType);
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
        ++m_recordCount;
        return;
    }
    CTokenizer tokens(value);
    const std::string_view payloadType = tokens.Next(kBlank);
    const std::string_view parameters = tokens.Rest();
    if (payloadType.empty() || parameters.empty())
    {
        Log(LogLevel::Debug, L"CSessionDescription::Initialize, invalid fmtp: %s, ignored", value);
        ++m_recordCount;
        return;
    }
    MediaFormat& format = FindOrCreateFormat(*media, payloadType);
    format.fmtpPayloadType = payloadType;
    format.fmtpParameters = parameters;
}

MediaFormat& CSessionDescription::FindOrCreateFormat(MediaDescription& media, std::string_view payloadType)
{
    // The attributes of a format stand together.
    if (m_lastFormat == nullptr || m_lastFormat->first != payloadType)
    {
        const auto [format, isNew] = media.formats.try_emplace(payloadType);
        m_lastFormat = &*format;
        m_recordCount += isNew ? 1 : 0;
    }
    return m_lastFormat->second;
}

MediaDescription* CSessionDescription::CurrentMedia() noexcept
{
    return m_media.empty() ? nullptr : &m_media.back();
}
