#include "Protocol/RtspHeaders.h"

#include "Protocol/Log.h"
#include "Protocol/TextUtil.h"
#include "TextEncoding/Encoding.h"

#include <algorithm>
#include <limits>

using TextUtil::EqualsIgnoreCase;
using TextUtil::Trim;

namespace
{
/// Calls `take` for each part of `text` between `separator`s until it returns false.
template <class Take>
void ForEachPart(std::string_view text, char separator, Take take)
{
    while (!text.empty())
    {
        const std::string_view part = text.substr(0, text.find(separator));
        text.remove_prefix(std::min(part.size() + 1, text.size()));
        if (!take(part))
            return;
    }
}

struct NameAndValue
{
    std::string_view name;
    std::string_view value; ///< empty without a "="
};

NameAndValue SplitAtEquals(std::string_view item) noexcept
{
    const std::size_t equals = item.find('=');
    const std::string_view value = equals != std::string_view::npos ? item.substr(equals + 1) : std::string_view();
    return {Trim(item.substr(0, equals)), Trim(value)};
}

std::uint16_t ToUint16(std::string_view text) noexcept
{
    return static_cast<std::uint16_t>(TextUtil::ToNumber(text));
}

bool IsControl(char character) noexcept
{
    return static_cast<unsigned char>(character) < ' ' || character == '\x7F';
}

void TakeServerPorts(std::string_view value, RtspTransport& transport) noexcept
{
    const std::size_t hyphen = value.find('-');
    transport.serverRtpPort = ToUint16(value.substr(0, hyphen));
    transport.serverRtcpPort = hyphen != std::string_view::npos ? ToUint16(value.substr(hyphen + 1)) : 0;
}

void TakeTransportItem(std::string_view item, RtspTransport& transport)
{
    if (EqualsIgnoreCase(Trim(item), "multicast"))
        transport.isMulticast = true;
    else if (EqualsIgnoreCase(Trim(item), "unicast"))
        transport.isMulticast = false;

    const auto [name, value] = SplitAtEquals(item);
    if (EqualsIgnoreCase(name, "destination"))
        transport.destination = value;
    else if (EqualsIgnoreCase(name, "source"))
        transport.source = value;
    else if (EqualsIgnoreCase(name, "layers"))
        transport.layers = ToUint16(value);
    else if (EqualsIgnoreCase(name, "mode"))
        transport.mode = value;
    else if (EqualsIgnoreCase(name, "interleaved"))
        transport.interleaved = value;
    else if (EqualsIgnoreCase(name, "ttl"))
        transport.ttl = ToUint16(value) != 0 ? ToUint16(value) : transport.ttl;
    else if (EqualsIgnoreCase(name, "port") || EqualsIgnoreCase(name, "server_port"))
        TakeServerPorts(value, transport);
    else if (EqualsIgnoreCase(name, "client_port"))
        transport.clientPort = ToUint16(value);
    else if (EqualsIgnoreCase(name, "ssrc"))
        transport.ssrc = value;
}

RtpInfoEntry ParseRtpInfoEntry(std::string_view text)
{
    RtpInfoEntry entry;
    ForEachPart(text, ';', [&entry](std::string_view item) {
        const auto [name, value] = SplitAtEquals(item);
        if (EqualsIgnoreCase(name, "url"))
            entry.url = value;
        else if (EqualsIgnoreCase(name, "seq"))
            entry.seq = value;
        else if (EqualsIgnoreCase(name, "rtptime"))
            entry.rtptime = value;
        return true;
    });
    return entry;
}
} // namespace

void RtspHeaders::ParseRtspSessionHeader(std::string_view value, std::string& id, std::int32_t& timeoutSeconds)
{
    id.clear();
    timeoutSeconds = 0;
    if (value.empty())
        return;
    const std::size_t semicolon = value.find(';');
    id = value.substr(0, semicolon);
    // A widespread camera writes "12345678; timeout=60", with a blank.
    const auto [name, number] =
        SplitAtEquals(semicolon != std::string_view::npos ? value.substr(semicolon + 1) : std::string_view());
    if (!EqualsIgnoreCase(name, "timeout"))
    {
        Log(LogLevel::Debug, L"CRtspClient::ParseRtspSessionHeader, no timout in session header: '%s'", value);
        return;
    }
    timeoutSeconds = TextUtil::ToNumber(number);
    if (timeoutSeconds <= 0)
    {
        Log(LogLevel::Debug,
            L"CRtspClient::ParseRtspSessionHeader, invalid timout value in session header: '%s', use the default "
            L"instead",
            value);
        timeoutSeconds = kDefaultTimeoutSeconds;
    }
}

void RtspHeaders::ParseTransportHeader(std::string_view value, RtspTransport& transport)
{
    transport.isGranted = true;
    transport.serverRtpPort = 0;
    transport.serverRtcpPort = 0;
    const std::string_view specification = value.substr(0, value.find(','));
    const std::string_view protocol = specification.substr(0, specification.find(';'));
    transport.protocol = Trim(protocol);
    ForEachPart(specification.substr(protocol.size()), ';', [&transport](std::string_view item) {
        TakeTransportItem(item, transport);
        return true;
    });
}

std::wstring RtspHeaders::FormatTransportHeader(const RtspTransport& transport)
{
    const std::wstring protocol = CUTF8Encoding().DecodeString(transport.protocol);
    if (transport.isMulticast)
        return protocol + L";multicast;";
    return protocol + L";unicast;client_port=" + std::to_wstring(transport.clientPort) + L"-" +
           std::to_wstring(transport.clientPort + 1);
}

std::vector<RtpInfoEntry> RtspHeaders::ParseRtpInfoHeader(std::string_view value)
{
    std::vector<RtpInfoEntry> entries;
    ForEachPart(value, ',', [&entries](std::string_view part) {
        if (!Trim(part).empty())
            entries.push_back(ParseRtpInfoEntry(part));
        return entries.size() < kMaximumStreams;
    });
    return entries;
}

std::string RtspHeaders::SequenceNumberList(const std::vector<RtpInfoEntry>& entries)
{
    std::string list;
    for (const RtpInfoEntry& entry : entries)
    {
        if (entry.seq.empty() || std::ranges::any_of(entry.seq, IsControl))
            continue;
        if (list.size() + entry.seq.size() > kMaximumSequenceListChars)
            break;
        list += entry.seq + ",";
    }
    while (list.ends_with(','))
        list.pop_back();
    return list;
}

std::uint32_t RtspHeaders::KeepAlivePeriodMs(std::int32_t timeoutSeconds) noexcept
{
    const double periodMs = timeoutSeconds * 0.8 * 1000;
    if (periodMs <= 0)
        return 0;
    // The thread pool takes the period as a signed number, and a negative one makes its timer fire without a pause.
    constexpr double kLongest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::uint32_t>(std::min(periodMs, kLongest));
}
