// Faults of Wine's own, each shown with nothing but WinInet and a little server on the loopback. The case is named on
// the command line; without a name they are listed. Prints what was seen. Exit code 0 when the fault shows, 1 when it
// does not, 2 when the case did not come to an answer. Every wait is bounded.

#include "LoopbackServer.h"

#include <windows.h>

#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace
{
enum Verdict
{
    kShows = 0,
    kDoesNotShow = 1,
    kNoAnswer = 2,
};

constexpr DWORD kLimitMs = 10'000;

std::string Answer(const std::string& body, const std::string& headers = {})
{
    return "HTTP/1.1 200 OK\r\n" + headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string RedirectTo(const std::string& url)
{
    return "HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: " + url + "\r\n\r\n";
}

/// Set with the last notification of a handle.
const HANDLE s_handleClosed = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);

/// A connection to a server; asynchronous when it is given an event, which is set when a request was sent or ended.
class CClient
{
public:
    explicit CClient(unsigned short port, HANDLE completed = nullptr)
        : m_completed(completed), m_session(::InternetOpenW(L"reproduction", INTERNET_OPEN_TYPE_DIRECT, nullptr,
                                                            nullptr, completed != nullptr ? INTERNET_FLAG_ASYNC : 0))
    {
        if (completed != nullptr)
            ::InternetSetStatusCallbackW(m_session, &OnStatus);
        m_connection = ::InternetConnectW(m_session, L"127.0.0.1", port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0,
                                          reinterpret_cast<DWORD_PTR>(completed));
    }

    HINTERNET Send(const wchar_t* verb) const
    {
        const HINTERNET request = ::HttpOpenRequestW(m_connection, verb, L"/", nullptr, nullptr, nullptr,
                                                     INTERNET_FLAG_RELOAD | INTERNET_FLAG_KEEP_CONNECTION,
                                                     reinterpret_cast<DWORD_PTR>(m_completed));
        DWORD limitMs = kLimitMs;
        ::InternetSetOptionW(request, INTERNET_OPTION_RECEIVE_TIMEOUT, &limitMs, sizeof(limitMs));
        ::HttpSendRequestW(request, nullptr, 0, nullptr, 0);
        return request;
    }
    /// The body of the answer to a GET, empty without one.
    std::string Get() const
    {
        const HINTERNET request = Send(L"GET");
        std::string body;
        char piece[4096];
        DWORD countRead = 0;
        while (::InternetReadFile(request, piece, sizeof(piece), &countRead) && countRead != 0)
            body.append(piece, countRead);
        ::InternetCloseHandle(request);
        return body;
    }

private:
    static void CALLBACK OnStatus(HINTERNET, DWORD_PTR context, DWORD status, LPVOID, DWORD)
    {
        if (context != 0 && status == INTERNET_STATUS_REQUEST_COMPLETE)
            ::SetEvent(reinterpret_cast<HANDLE>(context));
        if (status == INTERNET_STATUS_HANDLE_CLOSING)
            ::SetEvent(s_handleClosed);
    }

    // Left to the end of the process, as are the handles of requests that the cases do not close.
    HANDLE m_completed;
    HINTERNET m_session;
    HINTERNET m_connection = nullptr;
};

// A redirect moves the whole connection: later requests of it go elsewhere, too.
Verdict RedirectedConnection()
{
    CLoopbackServer& other = CLoopbackServer::Start([](const std::string&, int) { return Answer("the other server"); });
    CLoopbackServer& first = CLoopbackServer::Start([&other](const std::string&, int index) {
        return index == 0 ? RedirectTo("http://127.0.0.1:" + std::to_string(other.Port()) + "/")
                          : Answer("the first server");
    });
    const CClient client(first.Port());
    const std::string redirected = client.Get();
    const std::string later = client.Get();
    std::printf("the redirected request was answered by %s, the one behind it by %s\n", redirected.c_str(),
                later.c_str());
    if (redirected.empty() || later.empty())
        return kNoAnswer;
    return later == "the other server" ? kShows : kDoesNotShow;
}

// What a body is longer than announced is read as the answer to the next request of the connection.
Verdict LongBody()
{
    CLoopbackServer& server = CLoopbackServer::Start([](const std::string&, int index) {
        return index == 0 ? Answer("short") + '\0' + "and more" : Answer("fine");
    });
    const CClient client(server.Port());
    const std::string first = client.Get();
    server.SendRest();
    const std::string second = client.Get();
    std::printf("first body: '%.20s', second body: %u bytes, '%.20s'; it should be 'fine'\n", first.c_str(),
                static_cast<unsigned>(second.size()), second.c_str());
    if (first != "short")
        return kNoAnswer;
    return second == "fine" ? kDoesNotShow : kShows;
}

// Redirects are followed although the request's handle was closed.
Verdict ClosedRequestGoesOn()
{
    CLoopbackServer& server = CLoopbackServer::Start([](const std::string&, int) { return RedirectTo("/again"); });
    const CClient client(server.Port(), ::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const HINTERNET request = client.Send(L"GET");
    if (!server.WaitForRequests(3, kLimitMs))
        return kNoAnswer;
    ::InternetCloseHandle(request);
    const int atClose = server.CountRequests();
    server.WaitForRequests(atClose + 20, 3000);
    const int later = server.CountRequests() - atClose;
    std::printf("%d requests until the handle was closed, %d more afterwards\n", atClose, later);
    return later >= 20 ? kShows : kDoesNotShow;
}

// A POST whose kept-alive connection ends is sent once more, although its handle was closed.
Verdict ClosedPostIsSentAgain()
{
    const HANDLE isClosed = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CLoopbackServer& server = CLoopbackServer::Start([isClosed](const std::string& head, int) {
        if (!head.starts_with("POST"))
            return Answer("kept");
        ::WaitForSingleObject(isClosed, kLimitMs);
        return std::string();
    });
    const HANDLE completed = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const CClient client(server.Port(), completed);
    const HINTERNET get = client.Send(L"GET");
    if (::WaitForSingleObject(completed, kLimitMs) != WAIT_OBJECT_0)
        return kNoAnswer;
    // To the end of its body, so that the connection is kept.
    char body[100];
    INTERNET_BUFFERSA buffers;
    do
    {
        buffers = {};
        buffers.dwStructSize = sizeof(buffers);
        buffers.lpvBuffer = body;
        buffers.dwBufferLength = sizeof(body);
        if (!::InternetReadFileExA(get, &buffers, 0, reinterpret_cast<DWORD_PTR>(completed)) &&
            ::WaitForSingleObject(completed, kLimitMs) != WAIT_OBJECT_0)
            return kNoAnswer;
    } while (buffers.dwBufferLength != 0);
    ::InternetCloseHandle(get);
    const HINTERNET post = client.Send(L"POST");
    if (!server.WaitForRequests(2, kLimitMs))
        return kNoAnswer;
    ::InternetCloseHandle(post);
    ::SetEvent(isClosed);
    const bool isSentAgain = server.WaitForRequests(3, 3000);
    std::printf("%d requests on %d connections; a GET and a POST were sent, and the POST was closed\n",
                server.CountRequests(), server.CountConnections());
    return isSentAgain ? kShows : kDoesNotShow;
}

// A receive that is under way goes on when its handle is closed, whatever limit is set before; the server ends it.
Verdict ClosedReceiveGoesOn()
{
    const HANDLE isAsked = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE isEnded = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CLoopbackServer& server = CLoopbackServer::Start([isAsked, isEnded](const std::string&, int) {
        ::SetEvent(isAsked);
        ::WaitForSingleObject(isEnded, kLimitMs);
        return std::string();
    });
    const CClient client(server.Port(), ::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const HINTERNET post = client.Send(L"POST");
    if (::WaitForSingleObject(isAsked, kLimitMs) != WAIT_OBJECT_0)
        return kNoAnswer;
    DWORD limitMs = 500;
    ::InternetSetOptionW(post, INTERNET_OPTION_RECEIVE_TIMEOUT, &limitMs, sizeof(limitMs));
    ::InternetCloseHandle(post);
    const bool isClosed = ::WaitForSingleObject(s_handleClosed, 3000) == WAIT_OBJECT_0;
    ::SetEvent(isEnded);
    const bool isClosedByServer = ::WaitForSingleObject(s_handleClosed, 3000) == WAIT_OBJECT_0;
    std::printf("the last notification came %s\n", isClosed           ? "before the server ended the connection"
                                                   : isClosedByServer ? "when the server ended the connection"
                                                                      : "not at all");
    return isClosed ? kDoesNotShow : isClosedByServer ? kShows : kNoAnswer;
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* exception)
{
    std::printf("exception 0x%lx\n", exception->ExceptionRecord->ExceptionCode);
    std::fflush(stdout);
    ::ExitProcess(kShows);
}

// InternetCombineUrlA copies into fixed room of its own, without looking whether it is enough.
Verdict CombinedUrl()
{
    ::AddVectoredExceptionHandler(1, &OnException);
    const std::string base = "http://127.0.0.1/" + std::string(1500, ' ');
    const std::string relative(1500, ' ');
    char url[32 * 1024];
    DWORD lengthChars = sizeof(url);
    for (int i = 0; i < 20; ++i)
        ::InternetCombineUrlA((base + "/").c_str(), ("a" + relative + "b").c_str(), url, &lengthChars, 0);
    const bool isSound = ::HeapValidate(::GetProcessHeap(), 0, nullptr) != FALSE;
    std::printf("the heap is %s\n", isSound ? "sound" : "overwritten");
    return isSound ? kDoesNotShow : kShows;
}

/// Processor time of an answer with so many headers.
unsigned HeadCostMs(int countHeaders)
{
    std::string headers;
    for (int i = 0; i < countHeaders; ++i)
        headers += "X" + std::to_string(i) + ": y\r\n";
    CLoopbackServer& server =
        CLoopbackServer::Start([headers](const std::string&, int) { return Answer("fine", headers); });
    const CClient client(server.Port());
    const auto cost = [] {
        FILETIME ignored;
        FILETIME kernel;
        FILETIME user;
        ::GetProcessTimes(::GetCurrentProcess(), &ignored, &ignored, &kernel, &user);
        return (kernel.dwLowDateTime + user.dwLowDateTime) / 10'000;
    };
    const DWORD before = cost();
    client.Get();
    return cost() - before;
}

// The time for a head grows with the square of its headers.
Verdict ManyHeaders()
{
    const unsigned fewMs = std::max(HeadCostMs(1250), 10u);
    const unsigned manyMs = HeadCostMs(10'000);
    std::printf("a head of 1250 headers costs %u ms of processor time, one of eight times as many %u ms\n", fewMs,
                manyMs);
    return manyMs > 16 * fewMs ? kShows : kDoesNotShow;
}

/// Wine's record of a connection, whose socket was closed.
int CountConnectionRecords()
{
    HANDLE heaps[64];
    int count = 0;
    const DWORD heapCount = ::GetProcessHeaps(64, heaps);
    for (DWORD index = 0; index < std::min<DWORD>(heapCount, 64); ++index)
    {
        PROCESS_HEAP_ENTRY entry = {};
        while (::HeapWalk(heaps[index], &entry))
        {
            int socket = 0;
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 && entry.cbData == 96)
                std::memcpy(&socket, entry.lpData, sizeof(socket));
            count += socket == -1 ? 1 : 0;
        }
    }
    return count;
}

// A connection that the server ends inside the head of an answer to an asynchronous request leaves a heap block behind.
Verdict LostConnection()
{
    constexpr int kRequests = 200;
    CLoopbackServer& server = CLoopbackServer::Start(
        [](const std::string&, int) { return std::string("HTTP/1.1 200 OK\r\nContent-Le"); }, true);
    const HANDLE completed = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const CClient client(server.Port(), completed);
    const int before = CountConnectionRecords();
    for (int i = 0; i < kRequests; ++i)
    {
        const HINTERNET request = client.Send(L"GET");
        if (::WaitForSingleObject(completed, kLimitMs) != WAIT_OBJECT_0)
            return kNoAnswer;
        ::InternetCloseHandle(request);
    }
    const int lost = CountConnectionRecords() - before;
    std::printf("%d requests left %d heap blocks behind\n", kRequests, lost);
    return lost >= kRequests / 2 ? kShows : kDoesNotShow;
}

constexpr struct
{
    const char* name;
    Verdict (*run)();
} kCases[] = {
    {"redirected-connection", RedirectedConnection},
    {"long-body", LongBody},
    {"closed-request-goes-on", ClosedRequestGoesOn},
    {"closed-post-is-sent-again", ClosedPostIsSentAgain},
    {"closed-receive-goes-on", ClosedReceiveGoesOn},
    {"combined-url", CombinedUrl},
    {"many-headers", ManyHeaders},
    {"lost-connection", LostConnection},
};
} // namespace

int main(int count, char** arguments)
{
    WSADATA data = {};
    ::WSAStartup(MAKEWORD(2, 2), &data);
    for (const auto& each : kCases)
    {
        if (count < 2)
            std::printf("%s\n", each.name);
        else if (std::strcmp(arguments[1], each.name) == 0)
        {
            const Verdict verdict = each.run();
            std::fflush(stdout);
            // Without waiting for WinInet's threads and the server's.
            ::ExitProcess(verdict);
        }
    }
    return kNoAnswer;
}
