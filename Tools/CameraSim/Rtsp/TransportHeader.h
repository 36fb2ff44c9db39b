#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// One way of delivery that a client offers, or that is granted (RFC 2326, 12.39).
struct RtspTransport
{
    std::string protocol = "RTP/AVP"; ///< as written: "RTP/AVP", "RTP/AVP/UDP", "RTP/AVP/TCP", ...
    bool multicast = false;
    std::uint16_t clientRtpPort = 0; ///< unicast; 0: not named
    std::uint16_t clientRtcpPort = 0;
    int rtpChannel = -1; ///< interleaved; -1: not named
    int rtcpChannel = -1;
    bool forPlaying = true; ///< mode is PLAY, or not named

    std::string destination = {};    ///< multicast, granted
    std::uint16_t serverRtpPort = 0; ///< granted: unicast the camera's own port, multicast the group's
    unsigned ttl = 0;                ///< multicast, granted
    std::uint32_t ssrc = 0;          ///< granted

    bool IsInterleaved() const noexcept;
    /// RTP over UDP as RFC 3551 has it, without encryption.
    bool IsUdp() const noexcept;
};

namespace TransportHeader
{

/// What a client offers, best first. Parameters that are not known, or make no sense, are ignored.
std::vector<RtspTransport> Parse(std::string_view value);

/// The reply's value for a granted transport.
std::string Format(const RtspTransport& granted);

} // namespace TransportHeader
