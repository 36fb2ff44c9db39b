#pragma once

#include "CameraSim/Http/HttpHandler.h"
#include "CameraSim/Http/ReplyPlayer.h"
#include "CameraSim/Http/RequestParser.h"

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <cstdint>
#include <memory>
#include <string>

/// One client connection: reads requests, lets the handler answer them in order, plays the reply scripts.
/// Kept alive by its own coroutine; CHttpServer only watches it. Everything runs on the server's thread.
/// Ends when the client closes, is idle too long, sends something unreadable, a script says so, or Close() is called.
class CHttpConnection : public std::enable_shared_from_this<CHttpConnection>
{
public:
    CHttpConnection(asio::ip::tcp::socket socket, IHttpHandler& handler, const HttpLimits& limits,
                    std::uint64_t number);

    /// The coroutine of the connection; never throws.
    asio::awaitable<void> Run();
    void Close() noexcept;

private:
    asio::awaitable<bool> ServeOne();
    asio::awaitable<bool> ReadHead();
    asio::awaitable<bool> ReadBody(HttpRequest& request, std::size_t lengthBytes);
    asio::awaitable<bool> ReadMore();
    asio::awaitable<void> Refuse(const HttpRequest& partial, unsigned status, const std::string& why);
    /// Closing with unread bytes resets the connection and may destroy the reply on its way.
    asio::awaitable<void> DrainBeforeClose();
    void FillPeer(HttpRequest& request) const;

    asio::ip::tcp::socket m_socket;
    asio::steady_timer m_idleTimer;
    CReplyPlayer m_player;
    IHttpHandler& m_handler;
    const HttpLimits m_limits;
    const std::uint64_t m_number;
    std::string m_buffer;
    bool m_closed = false;
};
