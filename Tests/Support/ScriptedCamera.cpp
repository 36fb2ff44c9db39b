#include "Tests/Support/ScriptedCamera.h"

#include "Tests/Support/Loopback.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

namespace
{
constexpr std::chrono::seconds kHoldLimit{20};
} // namespace

ScriptedReply HttpAnswer(int statusCode, const std::string& body, const std::string& extraHeaders)
{
    return {"HTTP/1.1 " + std::to_string(statusCode) + " Scripted\r\n" + extraHeaders +
            "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body};
}

CScriptedCamera::CScriptedCamera(std::vector<ScriptedReply> script) : m_script(script.begin(), script.end())
{
    Loopback::EnsureWinsock();
    m_listener = Loopback::Listen(m_port);
    m_acceptor = std::thread([this] { Accept(); });
}

CScriptedCamera::~CScriptedCamera()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_arrived.notify_all();
    }
    m_acceptor.join();
    ::closesocket(m_listener);
    for (std::thread& server : m_servers)
        server.join();
    ::WSACleanup();
}

WORD CScriptedCamera::Port() const noexcept
{
    return m_port;
}

std::vector<std::string> CScriptedCamera::Requests() const
{
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

std::size_t CScriptedCamera::ConnectionCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_connectionCount;
}

void CScriptedCamera::Enqueue(ScriptedReply reply)
{
    const std::lock_guard lock(m_mutex);
    m_script.push_back(std::move(reply));
}

bool CScriptedCamera::WaitForRequests(std::size_t count, DWORD limitMs) const
{
    std::unique_lock lock(m_mutex);
    return m_arrived.wait_for(lock, std::chrono::milliseconds(limitMs), [&] { return m_requests.size() >= count; });
}

void CScriptedCamera::DropConnections()
{
    const std::lock_guard lock(m_mutex);
    ++m_dropCount;
}

void CScriptedCamera::ReleaseHeld()
{
    const std::lock_guard lock(m_mutex);
    m_released = true;
    m_arrived.notify_all();
}

void CScriptedCamera::Accept()
{
    while (!IsStopping())
    {
        if (!Loopback::IsReadable(m_listener))
            continue;
        const SOCKET connection = ::accept(m_listener, nullptr, nullptr);
        if (connection == INVALID_SOCKET)
            return;
        const std::lock_guard lock(m_mutex);
        ++m_connectionCount;
        m_servers.emplace_back([this, connection, dropCount = m_dropCount] { Serve(connection, dropCount); });
    }
}

bool CScriptedCamera::IsStopping() const
{
    const std::lock_guard lock(m_mutex);
    return m_stopping;
}

bool CScriptedCamera::IsDropped(unsigned dropCount) const
{
    const std::lock_guard lock(m_mutex);
    return m_stopping || m_dropCount != dropCount;
}

void CScriptedCamera::Serve(SOCKET connection, unsigned dropCount)
{
    constexpr std::string_view kEndOfHead = "\r\n\r\n";
    std::string received;
    bool silent = false;
    char buffer[4096];
    while (!IsDropped(dropCount))
    {
        const std::size_t end = silent ? std::string::npos : received.find(kEndOfHead);
        if (end == std::string::npos)
        {
            if (!Loopback::IsReadable(connection))
                continue;
            const int count = ::recv(connection, buffer, sizeof(buffer), 0);
            if (count <= 0)
                break;
            received.append(buffer, static_cast<std::size_t>(count));
            continue;
        }
        const ScriptedReply reply = NextReply(received.substr(0, end + kEndOfHead.size()));
        received.erase(0, end + kEndOfHead.size());
        silent = reply.silentAfter;
        if (!Send(connection, reply))
            break;
    }
    ::closesocket(connection);
}

bool CScriptedCamera::Send(SOCKET connection, const ScriptedReply& reply)
{
    if (reply.held)
    {
        std::unique_lock lock(m_mutex);
        m_arrived.wait_for(lock, kHoldLimit, [this] { return m_released || m_stopping; });
    }
    const std::size_t pieceBytes = reply.pieceBytes != 0 ? reply.pieceBytes : reply.bytes.size();
    for (std::size_t sent = 0; sent < reply.bytes.size();)
    {
        if (sent != 0 && reply.pauseMs != 0)
        {
            std::unique_lock lock(m_mutex);
            m_arrived.wait_for(lock, std::chrono::milliseconds(reply.pauseMs), [this] { return m_stopping; });
        }
        const std::size_t wantedBytes = sent < reply.wholeBytes ? reply.wholeBytes - sent : pieceBytes;
        const std::size_t count = std::min(wantedBytes, reply.bytes.size() - sent);
        if (!Loopback::SendAll(connection, std::string_view(reply.bytes).substr(sent, count)))
            return false;
        sent += count;
    }
    if (reply.reset)
        Loopback::CloseWithReset(connection);
    return !reply.closeAfter && !reply.reset;
}

ScriptedReply CScriptedCamera::NextReply(const std::string& head)
{
    const std::lock_guard lock(m_mutex);
    m_requests.push_back(head);
    m_arrived.notify_all();
    if (!m_script.empty())
    {
        m_lastReply = std::move(m_script.front());
        m_script.pop_front();
    }
    return m_lastReply;
}

std::string HeaderValue(const std::string& head, const std::string& name)
{
    for (std::size_t start = head.find("\r\n"); start != std::string::npos; start = head.find("\r\n", start + 2))
    {
        const std::size_t colon = start + 2 + name.size();
        if (colon < head.size() && head[colon] == ':' &&
            ::_strnicmp(head.c_str() + start + 2, name.c_str(), name.size()) == 0)
        {
            const std::size_t value = head.find_first_not_of(' ', colon + 1);
            return head.substr(value, head.find("\r\n", value) - value);
        }
    }
    return {};
}

std::string RequestLine(const std::string& head)
{
    return head.substr(0, head.find("\r\n"));
}
