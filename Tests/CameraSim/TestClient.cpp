#include "TestClient.h"

#include "CameraSim/Text/Ascii.h"

#include <asio/write.hpp>

#include <array>

std::string ClientReply::Header(std::string_view name) const
{
    std::string_view rest = head;
    while (!rest.empty())
    {
        const auto line = rest.substr(0, rest.find("\r\n"));
        rest.remove_prefix(std::min(line.size() + 2, rest.size()));
        const auto colon = line.find(':');
        if (colon != line.npos && Ascii::EqualNoCase(line.substr(0, colon), name))
            return std::string(Ascii::Trim(line.substr(colon + 1)));
    }
    return "";
}

CTestClient::CTestClient(std::uint16_t port) : m_socket(m_context)
{
    m_socket.connect({asio::ip::address_v4::loopback(), port});
    m_socket.set_option(asio::ip::tcp::no_delay(true));
}

void CTestClient::Send(std::string_view bytes)
{
    asio::error_code ignored; // the server may have closed, which the reply shows
    asio::write(m_socket, asio::buffer(bytes.data(), bytes.size()), ignored);
}

void CTestClient::SendRequest(std::string_view method, std::string_view target, std::string_view headers,
                              std::string_view body)
{
    std::string request = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    request += headers;
    if (!body.empty())
        request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    request += "\r\n";
    request += body;
    Send(request);
}

CTestClient::Outcome CTestClient::ReadMore(std::chrono::steady_clock::time_point deadline)
{
    std::array<char, 65536> bytes;
    Outcome outcome = Outcome::TimedOut;
    m_socket.async_read_some(asio::buffer(bytes), [&](const asio::error_code& error, std::size_t count) {
        m_buffer.append(bytes.data(), count);
        if (error != asio::error::operation_aborted)
            outcome = error ? Outcome::Closed : Outcome::Read;
        m_wasReset = m_wasReset || error == asio::error::connection_reset;
    });
    m_context.restart();
    m_context.run_until(deadline);
    if (!m_context.stopped())
    {
        asio::error_code ignored;
        m_socket.cancel(ignored);
        m_context.run();
    }
    return outcome;
}

CTestClient::Outcome CTestClient::ReadChunks(ClientReply& reply, std::chrono::steady_clock::time_point deadline)
{
    while (true)
    {
        const auto lineEnd = m_buffer.find("\r\n");
        if (lineEnd != std::string::npos)
        {
            const auto length = Ascii::Number<std::size_t>(std::string_view(m_buffer).substr(0, lineEnd), 16);
            if (!length)
                return Outcome::Closed;
            if (m_buffer.size() >= lineEnd + 2 + *length + 2)
            {
                reply.body += m_buffer.substr(lineEnd + 2, *length);
                m_buffer.erase(0, lineEnd + 2 + *length + 2);
                reply.complete = *length == 0;
                if (reply.complete)
                    return Outcome::Read;
                continue;
            }
        }
        if (const Outcome outcome = ReadMore(deadline); outcome != Outcome::Read)
            return outcome;
    }
}

ClientReply CTestClient::Receive(std::chrono::milliseconds patience, bool isHead)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    ClientReply reply;
    Outcome outcome = Outcome::Read;
    while (m_buffer.find("\r\n\r\n") == std::string::npos && outcome == Outcome::Read)
        outcome = ReadMore(deadline);
    const auto end = m_buffer.find("\r\n\r\n");
    if (end == std::string::npos)
    {
        reply.head = std::exchange(m_buffer, {});
        reply.closed = outcome == Outcome::Closed;
        return reply;
    }
    reply.head = m_buffer.substr(0, end + 4);
    m_buffer.erase(0, end + 4);
    reply.status = Ascii::Number<unsigned>(reply.head.substr(reply.head.find(' ') + 1, 3)).value_or(0);
    if (reply.Header("Transfer-Encoding") == "chunked")
    {
        reply.closed = ReadChunks(reply, deadline) == Outcome::Closed;
        return reply;
    }
    const auto length = isHead ? 0 : Ascii::Number<std::size_t>(reply.Header("Content-Length")).value_or(0);
    while (m_buffer.size() < length && outcome == Outcome::Read)
        outcome = ReadMore(deadline);
    reply.closed = outcome == Outcome::Closed;
    reply.complete = m_buffer.size() >= length;
    reply.body = m_buffer.substr(0, length);
    m_buffer.erase(0, length);
    return reply;
}

ClientReply CTestClient::Get(std::string_view target, std::string_view headers)
{
    SendRequest("GET", target, headers);
    return Receive();
}

std::string CTestClient::ReceiveSome(std::chrono::milliseconds patience)
{
    if (m_buffer.empty())
        ReadMore(std::chrono::steady_clock::now() + patience);
    return std::exchange(m_buffer, {});
}

std::string CTestClient::ReceiveAll(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (ReadMore(deadline) == Outcome::Read)
    {
    }
    return std::exchange(m_buffer, {});
}

bool CTestClient::WaitForClose(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    Outcome outcome = Outcome::Read;
    while (outcome == Outcome::Read)
    {
        m_buffer.clear();
        outcome = ReadMore(deadline);
    }
    return outcome == Outcome::Closed;
}

bool CTestClient::WasReset() const noexcept
{
    return m_wasReset;
}

void CTestClient::Close()
{
    asio::error_code ignored;
    m_socket.close(ignored);
}

ClientReply Fetch(std::uint16_t port, std::string_view target, std::string_view headers)
{
    return CTestClient(port).Get(target, headers);
}

ClientReply FetchWith(std::uint16_t port, std::string_view method, std::string_view target, std::string_view body)
{
    CTestClient client(port);
    client.SendRequest(method, target, {}, body);
    return client.Receive();
}
