#include "CameraSim/Rtsp/TransportHeader.h"

#include "CameraSim/Text/Ascii.h"

#include <cstdio>
#include <utility>

namespace
{

/// Calls `take` with each trimmed part of the text.
template <class Take>
void ForEachPart(std::string_view text, char separator, Take take)
{
    while (!text.empty())
    {
        const auto part = text.substr(0, text.find(separator));
        text.remove_prefix(std::min(part.size() + 1, text.size()));
        take(Ascii::Trim(part));
    }
}

/// "N-M", or "N", which means N and the next one. False, and nothing is changed, when it is neither.
template <class Number>
bool ReadPair(std::string_view text, Number& first, Number& second)
{
    const auto dash = text.find('-');
    const auto low = Ascii::Number<std::uint16_t>(text.substr(0, dash));
    const auto high = dash == text.npos ? low : Ascii::Number<std::uint16_t>(text.substr(dash + 1));
    if (!low || !high)
        return false;
    first = static_cast<Number>(*low);
    second = static_cast<Number>(dash == text.npos ? *low + 1 : *high);
    return true;
}

void TakeParameter(std::string_view item, RtspTransport& transport)
{
    const auto equals = item.find('=');
    const auto name = Ascii::Lower(Ascii::Trim(item.substr(0, equals)));
    const auto value = equals == item.npos ? std::string_view() : Ascii::Trim(item.substr(equals + 1));
    if (name == "multicast")
        transport.multicast = true;
    else if (name == "unicast")
        transport.multicast = false;
    else if (name == "client_port")
        ReadPair(value, transport.clientRtpPort, transport.clientRtcpPort);
    else if (name == "interleaved")
        ReadPair(value, transport.rtpChannel, transport.rtcpChannel);
    else if (name == "mode")
        transport.forPlaying = Ascii::EqualNoCase(value, "play") || Ascii::EqualNoCase(value, "\"play\"");
}

std::string PortPair(std::uint16_t first)
{
    return std::to_string(first) + "-" + std::to_string(first + 1);
}

} // namespace

bool RtspTransport::IsInterleaved() const noexcept
{
    return Ascii::EqualNoCase(protocol, "RTP/AVP/TCP");
}

bool RtspTransport::IsUdp() const noexcept
{
    return Ascii::EqualNoCase(protocol, "RTP/AVP") || Ascii::EqualNoCase(protocol, "RTP/AVP/UDP");
}

namespace TransportHeader
{

std::vector<RtspTransport> Parse(std::string_view value)
{
    std::vector<RtspTransport> offered;
    ForEachPart(value, ',', [&](std::string_view specification) {
        RtspTransport transport;
        bool isProtocol = true;
        ForEachPart(specification, ';', [&](std::string_view item) {
            if (std::exchange(isProtocol, false))
                transport.protocol = item;
            else
                TakeParameter(item, transport);
        });
        if (!specification.empty())
            offered.push_back(std::move(transport));
    });
    return offered;
}

std::string Format(const RtspTransport& granted)
{
    std::string text = granted.protocol;
    if (granted.multicast)
    {
        text += ";multicast;destination=" + granted.destination + ";port=" + PortPair(granted.serverRtpPort) +
                ";ttl=" + std::to_string(granted.ttl);
    }
    else if (granted.IsInterleaved())
    {
        text +=
            ";unicast;interleaved=" + std::to_string(granted.rtpChannel) + "-" + std::to_string(granted.rtcpChannel);
    }
    else
    {
        text += ";unicast;client_port=" + std::to_string(granted.clientRtpPort) + "-" +
                std::to_string(granted.clientRtcpPort) + ";server_port=" + PortPair(granted.serverRtpPort);
    }
    char ssrc[16];
    std::snprintf(ssrc, sizeof ssrc, "%08X", static_cast<unsigned>(granted.ssrc));
    return text + ";ssrc=" + ssrc + ";mode=\"PLAY\"";
}

} // namespace TransportHeader
