#include "UdpReceiver.h"

#include <array>

namespace
{

std::uint32_t BigEndian(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (const char c : bytes)
        value = (value << 8) | static_cast<unsigned char>(c);
    return value;
}

} // namespace

ReceivedPacket ReceivedPacket::From(std::string_view bytes)
{
    ReceivedPacket packet;
    if (bytes.size() < 12)
        return packet;
    const auto first = static_cast<unsigned char>(bytes[0]);
    const auto second = static_cast<unsigned char>(bytes[1]);
    packet.version = first >> 6;
    packet.padding = (first & 0x20) != 0;
    packet.extension = (first & 0x10) != 0;
    packet.sourceCount = first & 0x0F;
    packet.marker = (second & 0x80) != 0;
    packet.payloadType = second & 0x7F;
    packet.sequence = static_cast<std::uint16_t>(BigEndian(bytes.substr(2, 2)));
    packet.timestamp = BigEndian(bytes.substr(4, 4));
    packet.ssrc = BigEndian(bytes.substr(8, 4));
    packet.payload = bytes.substr(12);
    return packet;
}

CUdpReceiver::CUdpReceiver(std::uint16_t port) : m_socket(m_context, {asio::ip::address_v4::loopback(), port}) {}

std::uint16_t CUdpReceiver::Port() const
{
    return m_socket.local_endpoint().port();
}

std::vector<ReceivedPacket> CUdpReceiver::Receive(std::size_t count, std::chrono::milliseconds patience)
{
    std::vector<ReceivedPacket> packets;
    for (const std::string& bytes : ReceiveBytes(count, patience))
        packets.push_back(ReceivedPacket::From(bytes));
    return packets;
}

std::vector<std::string> CUdpReceiver::ReceiveBytes(std::size_t count, std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::vector<std::string> packets;
    std::array<char, 65536> bytes;
    bool timedOut = false;
    while (packets.size() < count && !timedOut)
    {
        m_socket.async_receive(asio::buffer(bytes), [&](const asio::error_code& error, std::size_t length) {
            if (!error)
                packets.emplace_back(bytes.data(), length);
        });
        m_context.restart();
        m_context.run_until(deadline);
        timedOut = !m_context.stopped();
        if (timedOut)
        {
            m_socket.cancel();
            m_context.run();
        }
    }
    return packets;
}
