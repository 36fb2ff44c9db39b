#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// An RTP packet taken apart, bit by bit as RFC 3550, 5.1 draws it.
struct ReceivedPacket
{
    unsigned version = 0;
    bool padding = false;
    bool extension = false;
    unsigned sourceCount = 0;
    bool marker = false;
    unsigned payloadType = 0;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::string payload;

    /// All zero for bytes that are too short.
    static ReceivedPacket From(std::string_view bytes);
};

/// A UDP port of 127.0.0.1 that a test listens on; every wait limited.
class CUdpReceiver
{
public:
    /// Without a port the system chooses one. Throws std::system_error when the port is taken.
    explicit CUdpReceiver(std::uint16_t port = 0);

    std::uint16_t Port() const;
    /// So many packets, or fewer when the time is over.
    std::vector<ReceivedPacket> Receive(std::size_t count,
                                        std::chrono::milliseconds patience = std::chrono::milliseconds(10000));
    /// The same, not taken apart.
    std::vector<std::string> ReceiveBytes(std::size_t count,
                                          std::chrono::milliseconds patience = std::chrono::milliseconds(10000));

private:
    asio::io_context m_context;
    asio::ip::udp::socket m_socket;
};
