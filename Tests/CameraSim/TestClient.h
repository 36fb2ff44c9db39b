#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What came back for one request.
struct ClientReply
{
    unsigned status = 0;   ///< 0: no status line came
    std::string head;      ///< with the blank line
    std::string body;      ///< chunks joined
    bool complete = false; ///< the whole announced body came
    bool closed = false;   ///< the server closed before or behind it

    std::string Header(std::string_view name) const;
};

/// A small blocking HTTP client for tests: one connection to 127.0.0.1, every wait limited. One thread.
class CTestClient
{
public:
    static constexpr std::chrono::milliseconds kPatience{10000};

    explicit CTestClient(std::uint16_t port);

    void Send(std::string_view bytes);
    /// `headers` without the blank line, each ending in CR LF.
    void SendRequest(std::string_view method, std::string_view target, std::string_view headers = {},
                     std::string_view body = {});
    ClientReply Receive(std::chrono::milliseconds patience = kPatience, bool isHead = false);
    ClientReply Get(std::string_view target, std::string_view headers = {});
    /// What arrives next, however little; empty when the server closes or the time is over.
    std::string ReceiveSome(std::chrono::milliseconds patience = kPatience);
    /// All bytes until the server closes or the time is over.
    std::string ReceiveAll(std::chrono::milliseconds patience = kPatience);
    /// True when the server closes in time; what it sends meanwhile is thrown away.
    bool WaitForClose(std::chrono::milliseconds patience = kPatience);
    /// The connection has ended, and not in order.
    bool WasReset() const noexcept;
    void Close();

private:
    enum class Outcome
    {
        Read,
        Closed,
        TimedOut
    };
    Outcome ReadMore(std::chrono::steady_clock::time_point deadline);
    Outcome ReadChunks(ClientReply& reply, std::chrono::steady_clock::time_point deadline);

    asio::io_context m_context;
    asio::ip::tcp::socket m_socket;
    std::string m_buffer;
    bool m_wasReset = false;
};

/// One request on a connection of its own.
ClientReply Fetch(std::uint16_t port, std::string_view target, std::string_view headers = {});
ClientReply FetchWith(std::uint16_t port, std::string_view method, std::string_view target, std::string_view body);
