#include "Demo/HttpFetch.h"

#include "Core/Names.h"

#include <asio.hpp>

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace HttpFetch
{
namespace
{
constexpr std::size_t kMaxReplyBytes = 16 * 1024 * 1024;
constexpr std::size_t kReadBytes = 16 * 1024;

/// One connection, one request; every wait ends at the deadline.
class CExchange
{
public:
    CExchange(std::string peer, std::chrono::milliseconds limit)
        : m_peer(std::move(peer)), m_deadline(std::chrono::steady_clock::now() + limit)
    {
    }

    void Connect(const std::string& host, std::uint16_t port)
    {
        asio::error_code error;
        asio::ip::tcp::resolver resolver(m_io);
        const auto endpoints = resolver.resolve(host, std::to_string(port), error);
        if (error)
            Fail("its name is not known", error);
        Await("cannot connect", [&](auto done) {
            asio::async_connect(m_socket, endpoints,
                                [done](const asio::error_code& result, const auto&) { done(result); });
        });
    }

    void Send(const std::string& text)
    {
        Await("cannot send", [&](auto done) {
            asio::async_write(m_socket, asio::buffer(text),
                              [done](const asio::error_code& result, std::size_t) { done(result); });
        });
    }

    /// Everything up to the end of the connection.
    std::string ReadAll()
    {
        std::string reply;
        std::string chunk(kReadBytes, '\0');
        for (;;)
        {
            std::size_t sizeBytes = 0;
            const asio::error_code error = Wait([&](auto done) {
                m_socket.async_read_some(asio::buffer(chunk),
                                         [&sizeBytes, done](const asio::error_code& result, std::size_t size) {
                                             sizeBytes = size;
                                             done(result);
                                         });
            });
            reply.append(chunk, 0, sizeBytes);
            if (error == asio::error::eof)
                return reply;
            if (error)
                Fail("cannot read", error);
            if (reply.size() > kMaxReplyBytes)
                throw std::runtime_error(m_peer + " sends more than anybody asked for");
        }
    }

    std::string LocalAddress() const
    {
        return m_socket.local_endpoint().address().to_string();
    }

private:
    /// Starts an operation and runs it to its end or to the deadline, whichever is first.
    template <class Start>
    asio::error_code Wait(Start&& start)
    {
        bool isDone = false;
        asio::error_code result;
        start([&](const asio::error_code& error) {
            isDone = true;
            result = error;
        });
        m_io.restart();
        m_io.run_until(m_deadline);
        if (isDone)
            return result;
        // The handler refers to this frame: let it run before the frame goes.
        m_socket.close();
        m_io.restart();
        m_io.run();
        return asio::error::timed_out;
    }

    template <class Start>
    void Await(const char* what, Start&& start)
    {
        if (const asio::error_code error = Wait(start))
            Fail(what, error);
    }

    [[noreturn]] void Fail(const char* what, const asio::error_code& error) const
    {
        throw std::runtime_error("the simulator's control endpoint " + m_peer + ": " + what + " (" + error.message() +
                                 ")");
    }

    std::string m_peer;
    std::chrono::steady_clock::time_point m_deadline;
    asio::io_context m_io;
    asio::ip::tcp::socket m_socket{m_io};
};

int StatusOf(std::string_view reply)
{
    constexpr std::string_view kVersion = "HTTP/1.1 ";
    return reply.starts_with(kVersion) ? Names::ParseNumber(reply.substr(kVersion.size(), 3)).value_or(0) : 0;
}

/// The length of the body as the head announces it; zero when it does not.
std::size_t AnnouncedBytes(std::string_view head)
{
    constexpr std::string_view kLength = "\r\nContent-Length: ";
    const std::size_t start = head.find(kLength);
    if (start == std::string_view::npos)
        return 0;
    const std::string_view value = head.substr(start + kLength.size());
    return static_cast<std::size_t>(std::max(0, Names::ParseNumber(value.substr(0, value.find('\r'))).value_or(0)));
}
} // namespace

Reply Get(const std::string& host, std::uint16_t port, const std::string& path, std::chrono::milliseconds limit)
{
    const std::string peer = host + ":" + std::to_string(port);
    CExchange exchange(peer, limit);
    exchange.Connect(host, port);
    Reply reply;
    reply.localAddress = exchange.LocalAddress();
    exchange.Send("GET " + path + " HTTP/1.1\r\nHost: " + peer + "\r\nConnection: close\r\n\r\n");
    const std::string text = exchange.ReadAll();
    reply.status = StatusOf(text);
    const std::size_t blankLine = text.find("\r\n\r\n");
    if (reply.status == 0 || blankLine == std::string::npos)
        throw std::runtime_error("the simulator's control endpoint " + peer + " does not speak HTTP");
    reply.body = text.substr(blankLine + 4);
    const std::size_t announcedBytes = AnnouncedBytes(std::string_view(text).substr(0, blankLine));
    if (reply.body.size() < announcedBytes)
        throw std::runtime_error("the simulator's control endpoint " + peer + " ended its answer after " +
                                 std::to_string(reply.body.size()) + " of " + std::to_string(announcedBytes) +
                                 " bytes; has it ended?");
    return reply;
}
} // namespace HttpFetch
