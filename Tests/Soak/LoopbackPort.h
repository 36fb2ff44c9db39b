#pragma once

#include <winsock2.h>

#include <windows.h>

#include <stdexcept>

/// A loopback port of this process. Media that nobody takes from it is dropped by the system; when it is a TCP port, so
/// is everybody who connects, because nobody listens.
class CLoopbackPort
{
public:
    explicit CLoopbackPort(int type) : m_socket(::socket(AF_INET, type, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        int sizeBytes = sizeof(address);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(m_socket, generic, sizeBytes) != 0 || ::getsockname(m_socket, generic, &sizeBytes) != 0)
            throw std::runtime_error("no loopback port");
        m_number = ::ntohs(address.sin_port);
    }
    ~CLoopbackPort()
    {
        ::closesocket(m_socket);
    }
    CLoopbackPort(const CLoopbackPort&) = delete;
    CLoopbackPort& operator=(const CLoopbackPort&) = delete;
    WORD Number() const noexcept
    {
        return m_number;
    }

private:
    SOCKET m_socket;
    WORD m_number = 0;
};
