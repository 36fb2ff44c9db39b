#include "CameraSim/Http/ReplyPlayer.h"

#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

#include <array>
#include <chrono>

CReplyPlayer::CReplyPlayer(asio::ip::tcp::socket& socket) : m_socket(socket), m_timer(socket.get_executor()) {}

void CReplyPlayer::Cancel() noexcept
{
    m_cancelled = true;
    m_timer.cancel();
}

asio::awaitable<bool> CReplyPlayer::Play(const ReplyScript& script)
{
    for (const ReplyStep& step : script)
    {
        const bool goesOn = co_await Play(step);
        if (!goesOn)
            co_return false;
    }
    co_return true;
}

asio::awaitable<bool> CReplyPlayer::Play(const ReplyStep& step)
{
    if (m_cancelled)
        co_return false;
    bool goesOn = true;
    switch (step.kind)
    {
    case ReplyStep::Kind::Send:
        goesOn = co_await Send(step.bytes);
        break;
    case ReplyStep::Kind::SendSlowly:
        goesOn = co_await SendSlowly(step);
        break;
    case ReplyStep::Kind::Wait:
        goesOn = co_await Pause(step.milliseconds);
        break;
    case ReplyStep::Kind::Hold:
        co_await HoldUntilClosed();
        goesOn = false;
        break;
    case ReplyStep::Kind::Call:
        step.action();
        break;
    case ReplyStep::Kind::HalfClose:
        EndSending();
        break;
    case ReplyStep::Kind::Reset:
        Reset();
        goesOn = false;
        break;
    case ReplyStep::Kind::Close:
        goesOn = false;
        break;
    }
    co_return goesOn;
}

void CReplyPlayer::EndSending() noexcept
{
    asio::error_code ignored;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void CReplyPlayer::Reset() noexcept
{
    asio::error_code ignored;
    m_socket.set_option(asio::socket_base::linger(true, 0), ignored);
    m_socket.close(ignored);
}

asio::awaitable<bool> CReplyPlayer::Send(const std::string& bytes)
{
    asio::error_code error;
    co_await asio::async_write(m_socket, asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

asio::awaitable<bool> CReplyPlayer::SendSlowly(const ReplyStep& step)
{
    for (const char byte : step.bytes)
    {
        if (m_cancelled)
            co_return false;
        const std::string piece(1, byte);
        const bool sent = co_await Send(piece);
        if (!sent)
            co_return false;
        const bool goesOn = co_await Pause(step.milliseconds);
        if (!goesOn)
            co_return false;
    }
    co_return true;
}

asio::awaitable<bool> CReplyPlayer::Pause(std::uint32_t milliseconds)
{
    if (m_cancelled)
        co_return false;
    m_timer.expires_after(std::chrono::milliseconds(milliseconds));
    asio::error_code error;
    co_await m_timer.async_wait(asio::redirect_error(asio::use_awaitable, error));
    co_return !m_cancelled;
}

asio::awaitable<void> CReplyPlayer::HoldUntilClosed()
{
    std::array<char, 8 * 1024> bytes;
    asio::error_code error;
    while (!error && !m_cancelled)
    {
        co_await m_socket.async_read_some(asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
    }
}
