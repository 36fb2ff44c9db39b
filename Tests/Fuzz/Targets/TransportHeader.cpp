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

/// The Transport header of a reply to SETUP.
void FeedTransport(std::string_view input)
{
    const RtspTransport granted = ParseTransport(input);
    Require(granted.isGranted, "a header grants a transport");
    for (const std::string& text : {granted.protocol, granted.destination, granted.source, granted.mode, granted.ssrc})
        Require(text.find_first_of(",;") == std::string::npos, "an item ends where the next one begins");

    // What was granted can be asked for.
    const CUTF8Encoding utf8;
    const RtspTransport again = ParseTransport(utf8.EncodeString(RtspHeaders::FormatTransportHeader(granted)));
    Require(again.protocol == utf8.EncodeString(utf8.DecodeString(granted.protocol)), "the protocol is asked for");
    Require(again.isMulticast == granted.isMulticast, "multicast is asked for");
    Require(again.isMulticast || again.clientPort == granted.clientPort, "the client's port is asked for");
}

const CFuzzTarget kTransportHeader("TransportHeader", FeedTransport);
} // namespace
