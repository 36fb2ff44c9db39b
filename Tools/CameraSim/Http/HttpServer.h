#pragma once

#include "CameraSim/Http/HttpConnection.h"

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <cstdint>
#include <list>
#include <memory>
#include <string>

/// A listening port with its connections. Borrows the context and the handler, which must live longer.
/// Construction binds and listens and throws std::runtime_error with a text for the user when it cannot;
/// Start, Close on the context's thread (or before it runs).
class CHttpServer
{
public:
    CHttpServer(asio::io_context& context, IHttpHandler& handler, const std::string& bindAddress, std::uint16_t port,
                const HttpLimits& limits);

    void Start();
    void Close() noexcept;
    std::uint16_t Port() const;

private:
    asio::awaitable<void> Accept();
    void Admit(asio::ip::tcp::socket socket);

    asio::io_context& m_context;
    IHttpHandler& m_handler;
    const HttpLimits m_limits;
    asio::ip::tcp::acceptor m_acceptor;
    std::list<std::weak_ptr<CHttpConnection>> m_connections;
    std::uint64_t m_connectionCount = 0;
};
