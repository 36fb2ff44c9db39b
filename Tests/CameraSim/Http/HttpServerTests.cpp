#include "CameraSim/Http/HttpServer.h"

#include "TestClient.h"

#include <asio/post.hpp>
#include <asio/write.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <thread>

namespace
{

/// Answers with the method and the target; hands connections over when the target says so.
class CEchoHandler final : public IHttpHandler
{
public:
    ReplyScript OnRequest(const HttpRequest& request) override
    {
        const std::string body =
            request.method + " " + request.target + " [" + request.body + "] on " + std::to_string(request.connection);
        const HttpReply reply = HttpReply::Text(200, body);
        return {ReplyStep::Send(HttpText::FormatHead(reply, body.size(), request.WantsKeepAlive()) + body)};
    }

    ReplyScript OnRefused(const HttpRequest& partial, unsigned status, const std::string& why) override
    {
        {
            const std::lock_guard lock(m_mutex);
            m_refusedHead = partial.head;
        }
        const HttpReply reply = HttpReply::Text(status, why);
        return {ReplyStep::Send(HttpText::FormatHead(reply, why.size(), false) + why)};
    }

    ConnectionTaker TakesConnection(const HttpRequest& request) override
    {
        if (request.Path() != "take")
            return {};
        return [](asio::ip::tcp::socket socket, std::string bytesRead) {
            asio::error_code ignored;
            asio::write(socket, asio::buffer("taken with <" + bytesRead + ">"), ignored);
        };
    }

    std::string RefusedHead()
    {
        const std::lock_guard lock(m_mutex);
        return m_refusedHead;
    }

private:
    std::mutex m_mutex;
    std::string m_refusedHead;
};

class HttpServer : public testing::Test
{
protected:
    void Start(const HttpLimits& limits = {})
    {
        m_server = std::make_unique<CHttpServer>(m_context, m_handler, "127.0.0.1", std::uint16_t{0}, limits);
        m_port = m_server->Port();
        m_server->Start();
        m_thread = std::thread([this] { m_context.run(); });
    }

    ~HttpServer() override
    {
        if (!m_thread.joinable())
            return;
        asio::post(m_context, [this] { m_server->Close(); });
        m_thread.join();
    }

    CEchoHandler m_handler;
    asio::io_context m_context;
    std::unique_ptr<CHttpServer> m_server;
    std::uint16_t m_port = 0;
    std::thread m_thread;
};

TEST_F(HttpServer, KeepsAConnectionAliveAndCountsConnections)
{
    Start();
    CTestClient first(m_port);
    EXPECT_EQ("GET /a [] on 1", first.Get("/a").body);
    EXPECT_EQ("GET /b [] on 1", first.Get("/b").body);
    EXPECT_EQ("GET /c [] on 2", Fetch(m_port, "/c").body);
}

TEST_F(HttpServer, ClosesWhenTheClientAsksForIt)
{
    Start();
    CTestClient client(m_port);
    const ClientReply reply = client.Get("/a", "Connection: close\r\n");
    EXPECT_EQ(200u, reply.status);
    EXPECT_EQ("close", reply.Header("Connection"));
    EXPECT_TRUE(client.WaitForClose());
}

TEST_F(HttpServer, AnswersPipelinedRequestsInOrder)
{
    Start();
    CTestClient client(m_port);
    client.Send("GET /1 HTTP/1.1\r\nHost: x\r\n\r\nPOST /2 HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc\r\n"
                "GET /3 HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ("GET /1 [] on 1", client.Receive().body);
    EXPECT_EQ("POST /2 [abc] on 1", client.Receive().body);
    EXPECT_EQ("GET /3 [] on 1", client.Receive().body);
}

TEST_F(HttpServer, ReadsARequestThatComesInPieces)
{
    Start();
    CTestClient client(m_port);
    const std::string request = "POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc";
    for (const char c : request)
        client.Send(std::string_view(&c, 1));
    EXPECT_EQ("POST /x [abc] on 1", client.Receive().body);
}

TEST_F(HttpServer, RefusesAMalformedRequestAndCloses)
{
    Start();
    CTestClient client(m_port);
    client.Send("nonsense\r\n\r\n");
    const ClientReply reply = client.Receive();
    EXPECT_EQ(400u, reply.status);
    EXPECT_EQ("close", reply.Header("Connection"));
    EXPECT_TRUE(client.WaitForClose());
    EXPECT_EQ("nonsense\r\n\r\n", m_handler.RefusedHead());
}

TEST_F(HttpServer, RefusesAHeadOverTheLimit)
{
    HttpLimits limits;
    limits.headBytes = 200;
    Start(limits);
    CTestClient complete(m_port);
    EXPECT_EQ(431u, complete.Get("/", "X: " + std::string(300, 'x') + "\r\n").status);
    EXPECT_TRUE(complete.WaitForClose());
    CTestClient endless(m_port);
    endless.Send("GET / HTTP/1.1\r\nX: " + std::string(100000, 'x'));
    EXPECT_EQ(431u, endless.Receive().status);
    EXPECT_TRUE(endless.WaitForClose());
    EXPECT_EQ(200u, m_handler.RefusedHead().size());
}

TEST_F(HttpServer, ClosesAnIdleConnection)
{
    HttpLimits limits;
    limits.idleSeconds = 1;
    Start(limits);
    CTestClient silent(m_port);
    EXPECT_TRUE(silent.WaitForClose());
    CTestClient half(m_port);
    half.Send("GET / HT");
    EXPECT_TRUE(half.WaitForClose());
}

TEST_F(HttpServer, ConnectionsOverTheLimitAreClosedUnread)
{
    HttpLimits limits;
    limits.connections = 2;
    Start(limits);
    CTestClient first(m_port);
    CTestClient second(m_port);
    EXPECT_EQ(200u, first.Get("/").status);
    EXPECT_EQ(200u, second.Get("/").status);
    CTestClient third(m_port);
    EXPECT_TRUE(third.WaitForClose());
    EXPECT_EQ(200u, first.Get("/").status);
}

TEST_F(HttpServer, HandsARawConnectionOver)
{
    Start();
    CTestClient client(m_port);
    client.Send("POST /take HTTP/1.0\r\nContent-Length: 32767\r\n\r\nfirst bytes");
    EXPECT_EQ("taken with <first bytes>", client.ReceiveAll());
}

TEST_F(HttpServer, APortInUseIsSaidPlainly)
{
    Start();
    CEchoHandler handler;
    asio::io_context context;
    try
    {
        CHttpServer second(context, handler, "127.0.0.1", m_port, {});
        FAIL() << "two servers on one port";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("port " + std::to_string(m_port)));
        EXPECT_NE(std::string::npos, std::string(error.what()).find("Another program may be using the port"));
    }
}

TEST_F(HttpServer, AnAddressOfAnotherMachineIsSaidPlainly)
{
    struct Row
    {
        const char* address;
        const char* says;
    };
    // 203.0.113.0/24 is kept for documentation (RFC 5737), so no machine has it.
    const Row rows[] = {{"nowhere", "is not an IP address"}, {"203.0.113.1", "does not belong to this machine"}};
    CEchoHandler handler;
    asio::io_context context;
    for (const Row& row : rows)
    {
        try
        {
            CHttpServer server(context, handler, row.address, 0, {});
            ADD_FAILURE() << row.address;
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(row.says)) << error.what();
        }
    }
}

} // namespace
