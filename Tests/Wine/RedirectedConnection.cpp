// What Wine 8 makes of a redirect: it changes the server of the connection, so that later requests of the same
// connection go elsewhere, too. Nothing but WinInet and two little servers. Prints what answered each request; the
// second must come from the first server. Exit code 0 when it does, 1 when it does not (Wine 8), 2 without an answer.

#include <winsock2.h>

#include <windows.h>

#include <wininet.h>

#include <cstdio>
#include <string>
#include <thread>

namespace
{
SOCKET Listen(unsigned short& port)
{
    const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    int sizeBytes = sizeof(address);
    ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeBytes);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &sizeBytes);
    ::listen(listener, 5);
    port = ::ntohs(address.sin_port);
    return listener;
}

/// Answers each connection's request until the listener is closed; the first with `first`.
void Serve(SOCKET listener, std::string first, const std::string& later)
{
    for (;;)
    {
        const SOCKET connection = ::accept(listener, nullptr, nullptr);
        if (connection == INVALID_SOCKET)
            return;
        char request[4096];
        ::recv(connection, request, sizeof(request), 0);
        ::send(connection, first.data(), static_cast<int>(first.size()), 0);
        ::closesocket(connection);
        first = later;
    }
}

std::string Answer(const std::string& body)
{
    return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Get(HINTERNET connection)
{
    char body[100] = {};
    DWORD countRead = 0;
    const HINTERNET request =
        ::HttpOpenRequestW(connection, L"GET", L"/", nullptr, nullptr, nullptr, INTERNET_FLAG_RELOAD, 0);
    if (::HttpSendRequestW(request, nullptr, 0, nullptr, 0))
        ::InternetReadFile(request, body, sizeof(body) - 1, &countRead);
    ::InternetCloseHandle(request);
    return body;
}
} // namespace

int main()
{
    WSADATA data = {};
    ::WSAStartup(MAKEWORD(2, 2), &data);
    unsigned short port = 0;
    unsigned short otherPort = 0;
    const SOCKET listener = Listen(port);
    const SOCKET otherListener = Listen(otherPort);
    const std::string redirect = "HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: "
                                 "http://127.0.0.1:" +
                                 std::to_string(otherPort) + "/\r\n\r\n";
    std::thread(Serve, listener, redirect, Answer("the first server")).detach();
    std::thread(Serve, otherListener, Answer("the other server"), Answer("the other server")).detach();

    const HINTERNET session = ::InternetOpenW(L"reproduction", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, 0);
    const HINTERNET connection =
        ::InternetConnectW(session, L"127.0.0.1", port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
    const std::string redirected = Get(connection);
    const std::string later = Get(connection);
    std::printf("the redirected request was answered by %s, the one behind it by %s\n", redirected.c_str(),
                later.c_str());
    if (redirected.empty() || later.empty())
        return 2;
    return later == "the first server" ? 0 : 1;
}
