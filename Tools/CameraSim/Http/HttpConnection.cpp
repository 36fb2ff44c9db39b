#include "CameraSim/Http/HttpConnection.h"

#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>

#include <array>
#include <chrono>

namespace
{

constexpr std::size_t kReadBytes = 8 * 1024;
constexpr std::size_t kDrainBytes = 256 * 1024;
constexpr std::chrono::milliseconds kDrainTime{1000};

} // namespace

CHttpConnection::CHttpConnection(asio::ip::tcp::socket socket, IHttpHandler& handler, const HttpLimits& limits,
                                 std::uint64_t number)
    : m_socket(std::move(socket)), m_idleTimer(m_socket.get_executor()), m_player(m_socket), m_handler(handler),
      m_limits(limits), m_number(number)
{
    asio::error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
}

void CHttpConnection::Close() noexcept
{
    m_closed = true;
    asio::error_code ignored;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    m_socket.close(ignored);
    m_idleTimer.cancel();
    m_player.Cancel();
}

asio::awaitable<void> CHttpConnection::Run()
{
    const auto self = shared_from_this();
    bool more = true;
    while (more && !m_closed)
        more = co_await ServeOne();
    Close();
}

asio::awaitable<bool> CHttpConnection::ServeOne()
{
    const bool hasHead = co_await ReadHead();
    if (!hasHead)
        co_return false;
    const std::size_t headBytes = RequestParser::HeadLength(m_buffer);
    ParsedHead parsed = RequestParser::Parse(std::string_view(m_buffer).substr(0, headBytes), m_limits);
    m_buffer.erase(0, headBytes);
    FillPeer(parsed.request);
    if (parsed.refusal != 0)
    {
        co_await Refuse(parsed.request, parsed.refusal, parsed.why);
        co_return false;
    }
    if (ConnectionTaker taker = m_handler.TakesConnection(parsed.request))
    {
        m_closed = true;
        taker(std::move(m_socket), std::move(m_buffer));
        co_return false;
    }
    const bool hasBody = co_await ReadBody(parsed.request, parsed.bodyBytes);
    if (!hasBody)
        co_return false;
    const ReplyScript script = m_handler.OnRequest(parsed.request);
    const bool played = co_await m_player.Play(script);
    co_return parsed.request.WantsKeepAlive() && played;
}

asio::awaitable<bool> CHttpConnection::ReadHead()
{
    // A blank line before a request is what some clients send behind the previous one (RFC 9112, 2.2).
    while (true)
    {
        while (m_buffer.starts_with("\r\n"))
            m_buffer.erase(0, 2);
        const std::size_t headBytes = RequestParser::HeadLength(m_buffer);
        const bool isComplete = headBytes != std::string::npos;
        if (isComplete && headBytes <= m_limits.headBytes)
            co_return true;
        if (isComplete || m_buffer.size() > m_limits.headBytes)
        {
            HttpRequest partial;
            partial.head = m_buffer.substr(0, m_limits.headBytes);
            FillPeer(partial);
            const std::string why = "the request head is longer than " + std::to_string(m_limits.headBytes) + " bytes";
            co_await Refuse(partial, 431, why);
            co_return false;
        }
        const bool read = co_await ReadMore();
        if (!read)
            co_return false;
    }
}

asio::awaitable<bool> CHttpConnection::ReadBody(HttpRequest& request, std::size_t lengthBytes)
{
    while (m_buffer.size() < lengthBytes)
    {
        const bool read = co_await ReadMore();
        if (!read)
            co_return false;
    }
    request.body = m_buffer.substr(0, lengthBytes);
    m_buffer.erase(0, lengthBytes);
    co_return true;
}

asio::awaitable<bool> CHttpConnection::ReadMore()
{
    if (m_closed)
        co_return false;
    m_idleTimer.expires_after(std::chrono::seconds(m_limits.idleSeconds));
    m_idleTimer.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        const auto self = weak.lock();
        if (self && !error)
            self->Close();
    });
    std::array<char, kReadBytes> bytes;
    asio::error_code error;
    const std::size_t count =
        co_await m_socket.async_read_some(asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
    m_idleTimer.cancel();
    m_buffer.append(bytes.data(), count);
    // Closed from outside while the bytes were on their way: what they ask for must not be done any more.
    co_return !error && !m_closed;
}

asio::awaitable<void> CHttpConnection::Refuse(const HttpRequest& partial, unsigned status, const std::string& why)
{
    const ReplyScript script = m_handler.OnRefused(partial, status, why);
    const bool played = co_await m_player.Play(script);
    if (played)
        co_await DrainBeforeClose();
}

asio::awaitable<void> CHttpConnection::DrainBeforeClose()
{
    asio::error_code error;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, error);
    m_idleTimer.expires_after(kDrainTime);
    m_idleTimer.async_wait([weak = weak_from_this()](const asio::error_code& timerError) {
        const auto self = weak.lock();
        if (self && !timerError)
            self->Close();
    });
    std::array<char, kReadBytes> bytes;
    for (std::size_t drained = 0; !error && !m_closed && drained < kDrainBytes;)
    {
        drained +=
            co_await m_socket.async_read_some(asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
    }
}

void CHttpConnection::FillPeer(HttpRequest& request) const
{
    request.connection = m_number;
    asio::error_code error;
    const auto peer = m_socket.remote_endpoint(error);
    if (error)
        return;
    request.peerAddress = peer.address().to_string();
    request.fromThisMachine = peer.address().is_loopback();
}
