#include "Demo/StreamReceiver.h"

#include <asio.hpp>

#include <array>

struct CUdpStreamReceiver::Socket
{
    explicit Socket(const asio::ip::address& address) : udp(io, asio::ip::udp::endpoint(address, 0)) {}

    asio::io_context io;
    asio::ip::udp::socket udp;
    std::array<std::uint8_t, 65536> buffer{};
};

CUdpStreamReceiver::CUdpStreamReceiver(const std::string& address)
    : m_socket(std::make_unique<Socket>(asio::ip::make_address(address)))
{
}

CUdpStreamReceiver::~CUdpStreamReceiver() = default;

std::uint16_t CUdpStreamReceiver::Port() const
{
    return m_socket->udp.local_endpoint().port();
}

std::vector<RtpHeader> CUdpStreamReceiver::Receive(std::size_t count, std::chrono::milliseconds limit,
                                                   std::size_t& countForeign)
{
    std::vector<RtpHeader> packets;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (packets.size() < count)
    {
        std::size_t sizeBytes = 0;
        bool isDone = false;
        m_socket->udp.async_receive(asio::buffer(m_socket->buffer),
                                    [&](const asio::error_code& error, std::size_t size) {
                                        isDone = !error;
                                        sizeBytes = size;
                                    });
        m_socket->io.restart();
        m_socket->io.run_until(deadline);
        if (!isDone)
        {
            // The handler refers to this frame: let it run before the frame goes.
            m_socket->udp.cancel();
            m_socket->io.restart();
            m_socket->io.run();
            break;
        }
        if (const auto header = RtpPacket::Parse(std::span(m_socket->buffer).first(sizeBytes)))
            packets.push_back(*header);
        else
            ++countForeign;
    }
    return packets;
}
