#include "Fuzz/FuzzTarget.h"
#include "Protocol/RtspHeaders.h"
#include "TextEncoding/Encoding.h"

using Fuzz::Require;

namespace
{
RtspTransport ParseTransport(std::string_view value)
{
    RtspTransport transport;
    RtspHeaders::ParseTransportHeader(value, transport);
    return transport;
}

std::string Write(const RtspTransport& transport)
{
    std::string text;
    for (const std::string& part : {transport.protocol, transport.destination, transport.source, transport.mode,
                                    transport.ssrc, transport.interleaved})
        text += part + ";";
    for (const int number : {transport.clientPort, transport.serverRtpPort, transport.serverRtcpPort, transport.ttl,
                             transport.layers, std::uint16_t{transport.isMulticast}})
        text += std::to_string(number) + ";";
    return text;
}

/// The Transport header of a reply to SETUP.
void FeedTransport(std::string_view input)
{
    const RtspTransport granted = ParseTransport(input);
    Require(granted.isGranted, "a header grants a transport");
    Require(Write(ParseTransport(input.substr(0, input.find(',')))) == Write(granted), "the first transport counts");

    // What was granted can be asked for.
    const CUTF8Encoding utf8;
    const RtspTransport again = ParseTransport(utf8.EncodeString(RtspHeaders::FormatTransportHeader(granted)));
    Require(again.protocol == utf8.EncodeString(utf8.DecodeString(granted.protocol)), "the protocol is asked for");
    Require(again.isMulticast == granted.isMulticast, "multicast is asked for");
    Require(again.isMulticast || again.clientPort == granted.clientPort, "the client's port is asked for");
}

const CFuzzTarget kTransportHeader("TransportHeader", FeedTransport);
} // namespace
