#pragma once

#include <winsock2.h>

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>

/// Answers the requests on a port of the loopback that the system chooses. The answer is made of the request's head and
/// its number, from 0 on, on a thread of the connection's own; an empty one closes the connection, and what is behind a
/// NUL goes out with SendRest.
/// Lives until the process ends, as its threads do.
class CLoopbackServer
{
public:
    using Reply = std::function<std::string(const std::string& head, int index)>;

    static CLoopbackServer& Start(Reply reply, bool closesBehindAnswers = false)
    {
        return *new CLoopbackServer(std::move(reply), closesBehindAnswers);
    }
    CLoopbackServer(const CLoopbackServer&) = delete;
    CLoopbackServer& operator=(const CLoopbackServer&) = delete;

    unsigned short Port() const
    {
        return m_port;
    }
    int CountRequests() const
    {
        return m_requests;
    }
    int CountConnections() const
    {
        return m_connections;
    }
    /// False when so many do not come within the limit.
    bool WaitForRequests(int count, DWORD limitMs) const
    {
        const DWORD startTick = ::GetTickCount();
        for (DWORD elapsedMs = 0; m_requests < count && elapsedMs < limitMs; elapsedMs = ::GetTickCount() - startTick)
            ::WaitForSingleObject(m_arrived, limitMs - elapsedMs);
        return m_requests >= count;
    }

    /// What is behind the NUL of an answer; returns when it is sent.
    void SendRest()
    {
        ::SetEvent(m_restWanted);
        ::WaitForSingleObject(m_restSent, kRestLimitMs);
    }

private:
    CLoopbackServer(Reply reply, bool closesBehindAnswers)
        : m_reply(std::move(reply)), m_closesBehindAnswers(closesBehindAnswers)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        int sizeBytes = sizeof(address);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeBytes);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &sizeBytes);
        ::listen(m_listener, SOMAXCONN);
        m_port = ::ntohs(address.sin_port);
        std::thread([this] { Accept(); }).detach();
    }
    void Accept()
    {
        for (;;)
        {
            const SOCKET connection = ::accept(m_listener, nullptr, nullptr);
            if (connection == INVALID_SOCKET)
                return;
            ++m_connections;
            std::thread([this, connection] { Serve(connection); }).detach();
        }
    }
    void Serve(SOCKET connection)
    {
        std::string answer;
        do
        {
            std::string head;
            char byte = 0;
            while (!head.ends_with("\r\n\r\n") && ::recv(connection, &byte, 1, 0) == 1)
                head += byte;
            if (!head.ends_with("\r\n\r\n"))
                break;
            answer = m_reply(head, m_requests++);
            ::SetEvent(m_arrived);
            const std::size_t atOnce = std::min(answer.find('\0'), answer.size());
            Send(connection, answer.substr(0, atOnce));
            if (atOnce == answer.size())
                continue;
            ::WaitForSingleObject(m_restWanted, kRestLimitMs);
            Send(connection, answer.substr(atOnce + 1));
            ::SetEvent(m_restSent);
        } while (!answer.empty() && !m_closesBehindAnswers);
        ::closesocket(connection);
    }

    static void Send(SOCKET connection, const std::string& bytes)
    {
        ::send(connection, bytes.data(), static_cast<int>(bytes.size()), 0);
    }

    const Reply m_reply;
    const bool m_closesBehindAnswers;
    const SOCKET m_listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    static constexpr DWORD kRestLimitMs = 10'000;
    const HANDLE m_arrived = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE m_restWanted = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE m_restSent = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    unsigned short m_port = 0;
    std::atomic<int> m_requests{0};
    std::atomic<int> m_connections{0};
};
