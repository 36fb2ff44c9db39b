#pragma once

#include <winsock2.h>

#include <windows.h>

#include <stdexcept>
#include <string_view>

/// Sockets of the scripted servers: 127.0.0.1 only, ports chosen by the system.
namespace Loopback
{
/// How soon a thread that waits for the network notices that it is to end: a blocking call is not reliably woken by
/// closing its socket.
constexpr long kPollMicroseconds = 10'000;

inline bool IsReadable(SOCKET socket)
{
    fd_set sockets = {};
    FD_SET(socket, &sockets);
    timeval limit = {0, kPollMicroseconds};
    return ::select(0, &sockets, nullptr, nullptr, &limit) != 0;
}

inline void EnsureWinsock()
{
    WSADATA data = {};
    if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
        throw std::runtime_error("WSAStartup failed");
}

inline SOCKET Listen(WORD& port)
{
    const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    int sizeBytes = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener == INVALID_SOCKET || ::bind(listener, generic, sizeBytes) != 0 || ::listen(listener, SOMAXCONN) != 0 ||
        ::getsockname(listener, generic, &sizeBytes) != 0)
        throw std::runtime_error("no loopback port to listen on");
    port = ::ntohs(address.sin_port);
    return listener;
}

/// False when the other side has gone.
inline bool SendAll(SOCKET connection, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const int written = ::send(connection, bytes.data(), static_cast<int>(bytes.size()), 0);
        if (written <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// The next closesocket sends a reset instead of ending the connection in good order.
inline void CloseWithReset(SOCKET connection)
{
    const linger abortive = {1, 0};
    ::setsockopt(connection, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abortive), sizeof(abortive));
}
} // namespace Loopback
