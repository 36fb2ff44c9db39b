#include "Media/MediaReceiver.h"

#include <asio.hpp>

#include <array>
#include <list>
#include <stdexcept>

namespace
{
using asio::ip::udp;

/// A high-definition key picture arrives as one burst; the system's default is less than that.
constexpr int kReceiveBufferBytes = 1 << 20;

struct Channel
{
    Channel(asio::io_context& io, MediaStream streamIn, bool isControlIn)
        : socket(io, udp::v4()), stream(streamIn), isControl(isControlIn)
    {
        asio::error_code ignored;
        socket.set_option(asio::socket_base::receive_buffer_size(kReceiveBufferBytes), ignored);
    }

    udp::socket socket;
    MediaStream stream;
    bool isControl;
    std::array<std::uint8_t, 65536> buffer{};
};
} // namespace

struct CUdpMediaReceiver::Parts
{
    /// Receives again and again, as long as the context runs.
    void Listen(Channel& channel)
    {
        channel.socket.async_receive(
            asio::buffer(channel.buffer), [this, &channel](const asio::error_code& error, std::size_t sizeBytes) {
                if (error == asio::error::operation_aborted)
                    return;
                // Windows reports a sender's closed port here, which is no matter of ours.
                if (!error && handler)
                    handler({channel.stream, channel.isControl, std::span(channel.buffer).first(sizeBytes),
                             std::chrono::steady_clock::now()});
                Listen(channel);
            });
    }

    asio::io_context io;
    std::list<Channel> channels;
    Handler handler;
};

CUdpMediaReceiver::CUdpMediaReceiver() : m_parts(std::make_unique<Parts>()) {}

CUdpMediaReceiver::~CUdpMediaReceiver() = default;

std::uint16_t CUdpMediaReceiver::OpenUnicast(MediaStream stream)
{
    // The system's next choice is as often odd as even, and the port behind an even one may be taken.
    constexpr int kAttempts = 100;
    for (int i = 0; i < kAttempts; ++i)
    {
        std::list<Channel> pair;
        udp::socket& media = pair.emplace_back(m_parts->io, stream, false).socket;
        media.bind(udp::endpoint(udp::v4(), 0));
        const std::uint16_t port = media.local_endpoint().port();
        if (port % 2 != 0)
            continue;
        asio::error_code error;
        pair.emplace_back(m_parts->io, stream, true)
            .socket.bind(udp::endpoint(udp::v4(), static_cast<std::uint16_t>(port + 1)), error);
        if (error)
            continue;
        for (Channel& channel : pair)
            m_parts->Listen(channel);
        m_parts->channels.splice(m_parts->channels.end(), pair);
        return port;
    }
    throw std::runtime_error("this machine has no two neighbouring UDP ports free");
}

void CUdpMediaReceiver::OpenMulticast(MediaStream stream, const std::string& group, std::uint16_t rtpPort)
{
    const auto port = [rtpPort](bool isControl) { return static_cast<std::uint16_t>(rtpPort + (isControl ? 1 : 0)); };
    asio::error_code error;
    const auto address = asio::ip::make_address_v4(group, error);
    if (error || !address.is_multicast() || rtpPort == 0)
        throw std::runtime_error("the camera names no multicast group and port ('" + group + "', port " +
                                 std::to_string(rtpPort) + ")");
    for (const bool isControl : {false, true})
    {
        Channel& channel = m_parts->channels.emplace_back(m_parts->io, stream, isControl);
        channel.socket.set_option(udp::socket::reuse_address(true), error);
        channel.socket.bind(udp::endpoint(udp::v4(), port(isControl)), error);
        if (!error)
            channel.socket.set_option(asio::ip::multicast::join_group(address), error);
        if (error)
            throw std::runtime_error("cannot listen to multicast group " + group + ", UDP port " +
                                     std::to_string(port(isControl)) + ": " + error.message());
        m_parts->Listen(channel);
    }
}

void CUdpMediaReceiver::Receive(std::chrono::milliseconds duration, const Handler& handler)
{
    m_parts->handler = handler;
    m_parts->io.restart();
    m_parts->io.run_for(duration);
    m_parts->handler = nullptr;
}

IMediaReceiver::Time CUdpMediaReceiver::Now() const
{
    return std::chrono::steady_clock::now();
}
