#include "CameraSim/Http/HttpServer.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>

#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace
{

constexpr std::chrono::milliseconds kPauseAfterFailedAccept{20};

#ifdef _WIN32
constexpr int kAddressNotAvailable = WSAEADDRNOTAVAIL;
#else
constexpr int kAddressNotAvailable = EADDRNOTAVAIL;
#endif

/// In our own words, because the system's are missing on some systems and unhelpful on the others.
std::string WhyNotListening(const asio::error_code& error)
{
    if (error == asio::error::address_in_use)
        return "Another program may be using the port; choose another one, or 0 to let the system choose.";
    if (error == asio::error::access_denied)
        return "This user may not use that port; choose one above 1023, or 0 to let the system choose.";
    if (error.value() == kAddressNotAvailable)
        return "The address does not belong to this machine; 127.0.0.1 always does.";
    return error.message() + " (system error " + std::to_string(error.value()) + ").";
}

asio::ip::tcp::acceptor Listen(asio::io_context& context, const std::string& bindAddress, std::uint16_t port)
{
    asio::error_code error;
    const auto address = asio::ip::make_address(bindAddress, error);
    if (error)
    {
        throw std::runtime_error("\"" + bindAddress +
                                 "\" is not an IP address of this machine; 127.0.0.1 serves "
                                 "programs on this machine, 0.0.0.0 the whole network.");
    }
    const asio::ip::tcp::endpoint endpoint(address, port);
    asio::ip::tcp::acceptor acceptor(context);
    acceptor.open(endpoint.protocol(), error);
#ifndef _WIN32
    // On Windows the option means that two programs may share a port, which is exactly what must not happen.
    if (!error)
        acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true), error);
#endif
    if (!error)
        acceptor.bind(endpoint, error);
    if (!error)
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error)
    {
        throw std::runtime_error("Cannot listen on " + bindAddress + " port " + std::to_string(port) + ": " +
                                 WhyNotListening(error));
    }
    return acceptor;
}

} // namespace

CHttpServer::CHttpServer(asio::io_context& context, IHttpHandler& handler, const std::string& bindAddress,
                         std::uint16_t port, const HttpLimits& limits)
    : m_context(context), m_handler(handler), m_limits(limits), m_acceptor(Listen(context, bindAddress, port))
{
}

void CHttpServer::Start()
{
    asio::co_spawn(m_context, Accept(), asio::detached);
}

void CHttpServer::Close() noexcept
{
    asio::error_code ignored;
    m_acceptor.close(ignored);
    for (const auto& weak : m_connections)
    {
        if (const auto connection = weak.lock())
            connection->Close();
    }
    m_connections.clear();
}

std::uint16_t CHttpServer::Port() const
{
    return m_acceptor.local_endpoint().port();
}

asio::awaitable<void> CHttpServer::Accept()
{
    while (m_acceptor.is_open())
    {
        asio::error_code error;
        asio::ip::tcp::socket socket =
            co_await m_acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (!error)
        {
            Admit(std::move(socket));
            continue;
        }
        if (!m_acceptor.is_open())
            break;
        // Out of handles, for instance: it may pass, but must not turn into a busy loop.
        asio::steady_timer pause(m_context, kPauseAfterFailedAccept);
        co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
    }
}

void CHttpServer::Admit(asio::ip::tcp::socket socket)
{
    m_connections.remove_if([](const auto& weak) { return weak.expired(); });
    // Beyond the limit the socket is closed unread: the destructor does it.
    if (m_connections.size() >= m_limits.connections)
        return;
    const auto connection =
        std::make_shared<CHttpConnection>(std::move(socket), m_handler, m_limits, ++m_connectionCount);
    m_connections.push_back(connection);
    // The function object keeps the connection alive until its coroutine has started.
    asio::co_spawn(
        m_context, [connection] { return connection->Run(); }, asio::detached);
}
