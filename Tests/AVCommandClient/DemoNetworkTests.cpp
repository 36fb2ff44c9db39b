#include "Demo/HttpFetch.h"
#include "Demo/StreamReceiver.h"

#include <asio.hpp>
#include <gmock/gmock.h>

#include <optional>
#include <thread>

namespace
{
using namespace std::chrono_literals;
using testing::HasSubstr;

/// Takes one connection on a loopback port, reads the request's head, sends what it was given and closes, unless it is
/// to stay silent.
class COneShotServer
{
public:
    explicit COneShotServer(std::optional<std::string> reply)
        : m_acceptor(m_io, {asio::ip::address_v4::loopback(), 0}), m_thread([this, reply] { Serve(reply); })
    {
    }
    ~COneShotServer()
    {
        m_thread.join();
    }

    std::uint16_t Port() const
    {
        return m_acceptor.local_endpoint().port();
    }

    std::string request;

private:
    void Serve(const std::optional<std::string>& reply)
    {
        asio::error_code error;
        asio::ip::tcp::socket socket = m_acceptor.accept(error);
        asio::read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n", error);
        char byte = 0;
        if (reply)
            asio::write(socket, asio::buffer(*reply), error);
        else
            socket.read_some(asio::buffer(&byte, 1), error); // until the client gives up
    }

    asio::io_context m_io;
    asio::ip::tcp::acceptor m_acceptor;
    std::thread m_thread;
};

std::string FailureOf(std::uint16_t port, std::chrono::milliseconds limit)
{
    try
    {
        (void)HttpFetch::Get("127.0.0.1", port, "/x", limit);
        return {};
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
}

TEST(HttpFetch, ReturnsStatusBodyAndOwnAddress)
{
    COneShotServer server("HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\n{}");
    const auto reply = HttpFetch::Get("127.0.0.1", server.Port(), "/journal?x=1", 10s);
    EXPECT_EQ(reply.status, 404);
    EXPECT_EQ(reply.body, "{}");
    EXPECT_EQ(reply.localAddress, "127.0.0.1");
}

TEST(HttpFetch, BodyLargerThanOneReadArrivesWhole)
{
    const std::string body(100'000, 'x');
    COneShotServer server("HTTP/1.1 200 OK\r\n\r\n" + body);
    EXPECT_EQ(HttpFetch::Get("127.0.0.1", server.Port(), "/", 10s).body, body);
}

TEST(HttpFetch, SilentServerIsGivenUp)
{
    COneShotServer server(std::nullopt);
    EXPECT_THAT(FailureOf(server.Port(), 100ms), HasSubstr("cannot read"));
}

TEST(HttpFetch, OtherProtocolsAreRefused)
{
    COneShotServer server("220 mail.example ready\r\n\r\n");
    EXPECT_THAT(FailureOf(server.Port(), 10s), HasSubstr("does not speak HTTP"));
}

TEST(HttpFetch, AnswerThatBreaksOffIsNoAnswer)
{
    COneShotServer server("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n{}");
    EXPECT_THAT(FailureOf(server.Port(), 10s), HasSubstr("ended its answer after 2 of 3 bytes"));
}

TEST(HttpFetch, ClosedPortIsNamed)
{
    asio::io_context io;
    std::uint16_t port = 0;
    {
        asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
        port = acceptor.local_endpoint().port();
    }
    EXPECT_THAT(FailureOf(port, 10s), HasSubstr("127.0.0.1:" + std::to_string(port)));
}

class StreamReceiver : public testing::Test
{
protected:
    void Send(std::vector<std::uint8_t> datagram)
    {
        m_sender.send_to(asio::buffer(datagram), {asio::ip::address_v4::loopback(), m_receiver.Port()});
    }
    void SendRtp(std::uint8_t number)
    {
        Send({0x80, 96, 0, number, 0, 0, 0, 0, 0, 0, 0, 7});
    }

    CUdpStreamReceiver m_receiver{"127.0.0.1"};
    asio::io_context m_io;
    asio::ip::udp::socket m_sender{m_io, asio::ip::udp::v4()};
};

TEST_F(StreamReceiver, CollectsPacketsInTheirOrder)
{
    for (std::uint8_t number = 1; number <= 3; ++number)
        SendRtp(number);
    std::size_t countForeign = 0;
    const auto packets = m_receiver.Receive(3, 10s, countForeign);
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets[0].sequenceNumber, 1);
    EXPECT_EQ(packets[2].sequenceNumber, 3);
    EXPECT_EQ(countForeign, 0u);
}

TEST_F(StreamReceiver, CountsWhatIsNoRtp)
{
    Send({1, 2, 3});
    SendRtp(1);
    std::size_t countForeign = 0;
    EXPECT_EQ(m_receiver.Receive(1, 10s, countForeign).size(), 1u);
    EXPECT_EQ(countForeign, 1u);
}

TEST_F(StreamReceiver, GivesUpAtTheLimitAndCanGoOn)
{
    std::size_t countForeign = 0;
    EXPECT_TRUE(m_receiver.Receive(1, 50ms, countForeign).empty());
    SendRtp(9);
    EXPECT_EQ(m_receiver.Receive(1, 10s, countForeign).size(), 1u);
}
} // namespace
