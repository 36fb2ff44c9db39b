#pragma once

#include "CameraSim/Http/ReplyScript.h"

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <cstdint>

/// Plays reply scripts on a connection. Borrows the socket, which must live as long as a script is being played.
/// Everything runs on the socket's executor.
/// Hazard: a Hold step reads until the end of the stream, so nobody else may be reading meanwhile.
class CReplyPlayer
{
public:
    explicit CReplyPlayer(asio::ip::tcp::socket& socket);

    /// False when the connection is to be closed: the script says so, the client went away, or Cancel was called.
    asio::awaitable<bool> Play(const ReplyScript& script);
    asio::awaitable<bool> Play(const ReplyStep& step);
    /// Ends what is being played at its next step; later scripts are not played at all.
    void Cancel() noexcept;

private:
    void EndSending() noexcept;
    void Reset() noexcept;
    asio::awaitable<bool> Send(const std::string& bytes);
    asio::awaitable<bool> SendSlowly(const ReplyStep& step);
    asio::awaitable<bool> Pause(std::uint32_t milliseconds);
    asio::awaitable<void> HoldUntilClosed();

    asio::ip::tcp::socket& m_socket;
    asio::steady_timer m_timer;
    bool m_cancelled = false;
};
