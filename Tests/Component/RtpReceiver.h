#pragma once

#include <winsock2.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>

/// A loopback UDP port that waits at most two seconds for a packet.
class CRtpReceiver
{
public:
    /// Port 0: chosen by the system.
    explicit CRtpReceiver(unsigned short port = 0)
    {
        WSADATA data = {};
        const DWORD limitMs = 2000;
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        address.sin_port = ::htons(port);
        int sizeBytes = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
            throw std::runtime_error("WSAStartup failed");
        m_socket = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
        if (m_socket == INVALID_SOCKET || ::bind(m_socket, generic, sizeBytes) != 0 ||
            ::getsockname(m_socket, generic, &sizeBytes) != 0 ||
            ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limitMs), sizeof(limitMs)) !=
                0)
            throw std::runtime_error("no loopback port");
        m_port = ::ntohs(address.sin_port);
    }
    ~CRtpReceiver()
    {
        ::closesocket(m_socket);
        ::WSACleanup();
    }
    CRtpReceiver(const CRtpReceiver&) = delete;
    CRtpReceiver& operator=(const CRtpReceiver&) = delete;

    unsigned short Port() const noexcept
    {
        return m_port;
    }
    /// Empty when none came in time.
    std::string Receive() const
    {
        std::array<char, 2048> buffer;
        const int count = ::recv(m_socket, buffer.data(), static_cast<int>(buffer.size()), 0);
        return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : std::string();
    }

private:
    SOCKET m_socket = INVALID_SOCKET;
    unsigned short m_port = 0;
};

/// The fixed part of an RTP packet's head (RFC 3550, 5.1).
inline constexpr std::size_t kRtpHeadBytes = 12;

/// Of a packet that has a whole head.
inline unsigned short RtpSequence(const std::string& packet)
{
    return static_cast<unsigned short>(static_cast<unsigned char>(packet[2]) * 256 +
                                       static_cast<unsigned char>(packet[3]));
}

/// Three packets of one RTP stream. The first one's sequence number, -1 without a packet.
inline int ExpectRtp(const CRtpReceiver& receiver)
{
    int first = -1;
    std::string previous;
    for (int i = 0; i < 3; ++i)
    {
        const std::string packet = receiver.Receive();
        EXPECT_LT(kRtpHeadBytes, packet.size()) << "no packet";
        if (packet.size() <= kRtpHeadBytes)
            return -1;
        EXPECT_EQ('\x80', packet[0]) << "version 2, nothing optional";
        if (previous.empty())
            first = RtpSequence(packet);
        else
        {
            EXPECT_EQ(static_cast<unsigned short>(RtpSequence(previous) + 1), RtpSequence(packet));
            EXPECT_EQ(previous.substr(8, 4), packet.substr(8, 4)) << "one source";
        }
        previous = packet;
    }
    return first;
}
