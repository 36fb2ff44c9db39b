#pragma once

#include "CameraSim/Rtp/RtpSink.h"

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>

#include <cstdint>

/// A pair of UDP sockets of 127.0.0.1, RTP on an even port and RTCP on the next one (RFC 3550, 11), that sends to a
/// pair of ports of 127.0.0.1 and nowhere else. What arrives on them is not read.
class CUdpRtpSink final : public IRtpSink
{
public:
    /// Throws std::system_error when there is no pair of ports to be had.
    CUdpRtpSink(asio::io_context& context, std::uint16_t rtpPort, std::uint16_t rtcpPort);

    void SendRtp(std::string_view packet) override;
    void SendRtcp(std::string_view packet) override;

    /// The RTP port that it sends from; the RTCP port is the next one.
    std::uint16_t ServerPort() const;

private:
    void BindPair();

    asio::ip::udp::socket m_rtp;
    asio::ip::udp::socket m_rtcp;
    const asio::ip::udp::endpoint m_rtpTarget;
    const asio::ip::udp::endpoint m_rtcpTarget;
};
