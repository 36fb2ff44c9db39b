#include "CameraSim/Rtp/UdpRtpSink.h"

#include <system_error>

namespace
{

constexpr int kPairAttempts = 64;

asio::ip::udp::endpoint Loopback(std::uint16_t port)
{
    return {asio::ip::address_v4::loopback(), port};
}

bool Bind(asio::ip::udp::socket& socket, std::uint16_t port)
{
    asio::error_code error;
    socket.close(error);
    socket.open(asio::ip::udp::v4(), error);
    if (!error)
        socket.bind(Loopback(port), error);
    if (!error)
        socket.non_blocking(true, error);
    return !error;
}

} // namespace

CUdpRtpSink::CUdpRtpSink(asio::io_context& context, std::uint16_t rtpPort, std::uint16_t rtcpPort)
    : m_rtp(context), m_rtcp(context), m_rtpTarget(Loopback(rtpPort)), m_rtcpTarget(Loopback(rtcpPort))
{
    BindPair();
}

void CUdpRtpSink::BindPair()
{
    for (int attempt = 0; attempt < kPairAttempts; ++attempt)
    {
        if (!Bind(m_rtp, 0))
            break;
        const std::uint16_t port = ServerPort();
        if (port % 2 == 0 && Bind(m_rtcp, static_cast<std::uint16_t>(port + 1)))
            return;
    }
    throw std::system_error(std::make_error_code(std::errc::address_in_use), "no pair of UDP ports is free");
}

void CUdpRtpSink::SendRtp(std::string_view packet)
{
    asio::error_code ignored;
    m_rtp.send_to(asio::buffer(packet.data(), packet.size()), m_rtpTarget, 0, ignored);
}

void CUdpRtpSink::SendRtcp(std::string_view packet)
{
    asio::error_code ignored;
    m_rtcp.send_to(asio::buffer(packet.data(), packet.size()), m_rtcpTarget, 0, ignored);
}

std::uint16_t CUdpRtpSink::ServerPort() const
{
    return m_rtp.local_endpoint().port();
}
