#include "Tests/Support/TunnelCamera.h"

#include "Tests/Support/Loopback.h"
#include "Tests/Support/ScriptedCamera.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace
{
constexpr std::string_view kEndOfHead = "\r\n\r\n";

/// Decodes base64 as it comes, whatever the borders of the pieces. Padding ends one text; the next may follow at once.
class CBase64Reader
{
public:
    std::string Decode(std::string_view text)
    {
        std::string bytes;
        for (const char each : text)
        {
            if (each == '=')
            {
                m_bits = 0;
                m_countBits = 0;
            }
            const std::size_t value = kAlphabet.find(each);
            if (value == std::string_view::npos)
                continue;
            m_bits = (m_bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
            m_countBits += 6;
            if (m_countBits >= 8)
            {
                m_countBits -= 8;
                bytes.push_back(static_cast<char>(m_bits >> m_countBits & 0xFF));
            }
        }
        return bytes;
    }

private:
    static constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    unsigned m_bits = 0;
    unsigned m_countBits = 0;
};

/// Takes the first complete request off `text`; empty when there is none yet.
std::string TakeRequest(std::string& text)
{
    const std::size_t end = text.find(kEndOfHead);
    if (end == std::string::npos)
        return {};
    const std::string length = HeaderValue(text.substr(0, end + kEndOfHead.size()), "Content-Length");
    const std::size_t size = end + kEndOfHead.size() + (length.empty() ? 0 : std::stoul(length));
    if (text.size() < size)
        return {};
    std::string request = text.substr(0, size);
    text.erase(0, size);
    return request;
}

CTunnelCamera::Handler PlayScript(std::vector<TunnelReply> script)
{
    auto next = std::make_shared<std::size_t>(0);
    return [script = std::move(script), next](const std::string&) {
        return *next < script.size() ? script[(*next)++] : TunnelReply();
    };
}
} // namespace

std::string RtspReply(const std::string& request, int statusCode, const std::string& headers, const std::string& body)
{
    return "RTSP/1.0 " + std::to_string(statusCode) + " Scripted\r\nCSeq: " + HeaderValue(request, "CSeq") + "\r\n" +
           headers + (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" + body;
}

CTunnelCamera::CTunnelCamera(Handler handler) : m_handler(std::move(handler))
{
    if (!m_handler)
        m_handler = [](const std::string& request) { return TunnelReply{RtspReply(request, 200)}; };
    Start();
}

CTunnelCamera::CTunnelCamera(std::vector<TunnelReply> script) : m_handler(PlayScript(std::move(script)))
{
    Start();
}

void CTunnelCamera::Start()
{
    m_getAnswer = "HTTP/1.0 200 OK\r\nConnection: close\r\nCache-Control: no-cache\r\n"
                  "Content-Type: application/x-rtsp-tunnelled\r\n\r\n";
    Loopback::EnsureWinsock();
    m_listener = Loopback::Listen(m_port);
    m_acceptor = std::thread([this] { Accept(); });
}

CTunnelCamera::~CTunnelCamera()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_changed.notify_all();
    }
    m_acceptor.join();
    ::closesocket(m_listener);
    for (Server& server : m_servers)
        server.thread.join();
    ::WSACleanup();
}

WORD CTunnelCamera::Port() const noexcept
{
    return m_port;
}

std::vector<std::string> CTunnelCamera::Heads() const
{
    const std::lock_guard lock(m_mutex);
    return m_heads;
}

std::vector<std::string> CTunnelCamera::RtspRequests() const
{
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

std::string CTunnelCamera::PostBody() const
{
    const std::lock_guard lock(m_mutex);
    return m_tunnels.empty() ? std::string() : m_tunnels.back().postBody;
}

std::size_t CTunnelCamera::TunnelCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_tunnels.size();
}

bool CTunnelCamera::WaitForHeads(std::size_t count, DWORD limitMs) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(limitMs), [&] { return m_heads.size() >= count; });
}

bool CTunnelCamera::WaitForRtspRequests(std::size_t count, DWORD limitMs) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(limitMs), [&] { return m_requests.size() >= count; });
}

bool CTunnelCamera::WaitForEnd(TunnelSide side, DWORD limitMs) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(limitMs), [&] {
        return !m_tunnels.empty() && (side == TunnelSide::Post || m_tunnels.back().get.ended) &&
               (side == TunnelSide::Get || m_tunnels.back().post.ended);
    });
}

void CTunnelCamera::SetGetAnswer(std::string bytes)
{
    const std::lock_guard lock(m_mutex);
    m_getAnswer = std::move(bytes);
}

void CTunnelCamera::SetPostAnswer(std::string bytes)
{
    const std::lock_guard lock(m_mutex);
    m_postAnswer = std::move(bytes);
}

void CTunnelCamera::KeepPosts()
{
    const std::lock_guard lock(m_mutex);
    m_keepPosts = true;
}

void CTunnelCamera::ReleasePosts()
{
    const std::lock_guard lock(m_mutex);
    m_keepPosts = false;
    for (Tunnel& tunnel : m_tunnels)
        if (tunnel.get.ended)
            RequestClose(tunnel, TunnelSide::Post, false);
}

void CTunnelCamera::Send(std::string_view bytes)
{
    Tunnel* newest = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        newest = m_tunnels.empty() ? nullptr : &m_tunnels.back();
    }
    if (newest != nullptr)
        SendOnGet(*newest, bytes);
}

void CTunnelCamera::ReleaseHeld()
{
    std::vector<HeldReply> held;
    {
        const std::lock_guard lock(m_mutex);
        held.swap(m_held);
    }
    for (const HeldReply& each : held)
        SendReply(*each.tunnel, each.reply);
}

void CTunnelCamera::Close(TunnelSide side, bool reset)
{
    const std::lock_guard lock(m_mutex);
    if (!m_tunnels.empty())
        RequestClose(m_tunnels.back(), side, reset);
}

void CTunnelCamera::RequestClose(Tunnel& tunnel, TunnelSide side, bool reset)
{
    for (Side* each : {&tunnel.get, &tunnel.post})
    {
        if (side == TunnelSide::Both || each == (side == TunnelSide::Get ? &tunnel.get : &tunnel.post))
        {
            each->close = true;
            each->reset = reset;
            // The client sees the end now, the camera's thread closes the socket when it comes by.
            if (each->arrived && !each->ended && !reset)
                ::shutdown(each->socket, SD_SEND);
        }
    }
}

void CTunnelCamera::Accept()
{
    while (!IsStopping())
    {
        if (!Loopback::IsReadable(m_listener))
            continue;
        const SOCKET connection = ::accept(m_listener, nullptr, nullptr);
        if (connection == INVALID_SOCKET)
            return;
        JoinFinished();
        Server& server = m_servers.emplace_back();
        server.thread = std::thread([this, connection, &server] {
            Serve(connection);
            server.finished = true;
        });
    }
}

void CTunnelCamera::JoinFinished()
{
    m_servers.remove_if([](Server& server) {
        if (!server.finished)
            return false;
        server.thread.join();
        return true;
    });
}

void CTunnelCamera::Serve(SOCKET connection)
{
    // A client may send its next request on a connection whose last response has ended.
    std::string received;
    for (std::string head = ReadHead(connection, received); !head.empty(); head = ReadHead(connection, received))
    {
        if (head.starts_with("POST "))
            ServePost(connection, head, received);
        else
            received = ServeGet(connection, head);
        if (received.empty())
            return;
    }
    ::closesocket(connection);
}

std::string CTunnelCamera::ReadHead(SOCKET connection, std::string& received)
{
    char buffer[4096];
    while (!IsStopping())
    {
        if (const std::size_t end = received.find(kEndOfHead); end != std::string::npos)
        {
            std::string head = received.substr(0, end + kEndOfHead.size());
            received.erase(0, head.size());
            return head;
        }
        if (!Loopback::IsReadable(connection))
            continue;
        const int count = ::recv(connection, buffer, sizeof(buffer), 0);
        if (count <= 0)
            break;
        received.append(buffer, static_cast<std::size_t>(count));
    }
    return {};
}

CTunnelCamera::Tunnel& CTunnelCamera::TunnelOf(const std::string& head, bool isGet)
{
    const std::string cookie = HeaderValue(head, "x-sessioncookie");
    // Each connection has a tunnel's side to itself, also when a cookie comes again.
    const auto found = std::ranges::find_if(
        m_tunnels, [&](const Tunnel& each) { return each.cookie == cookie && !each.post.arrived; });
    if (!isGet && found != m_tunnels.end())
        return *found;
    return m_tunnels.emplace_back(Tunnel{cookie, {}, {}, {}});
}

std::string CTunnelCamera::ServeGet(SOCKET connection, const std::string& head)
{
    Tunnel* tunnel = nullptr;
    std::string answer;
    {
        const std::lock_guard lock(m_mutex);
        tunnel = &TunnelOf(head, true);
        tunnel->get.socket = connection;
        tunnel->get.arrived = true;
        answer = m_getAnswer;
        m_heads.push_back(head);
        m_changed.notify_all();
    }
    SendOnGet(*tunnel, answer);
    char buffer[4096];
    int count = 0;
    while (!IsOver(tunnel->get))
    {
        if (!Loopback::IsReadable(connection))
            continue;
        count = ::recv(connection, buffer, sizeof(buffer), 0);
        break;
    }
    const std::lock_guard lock(m_mutex);
    if (!m_keepPosts && !tunnel->get.close)
        RequestClose(*tunnel, TunnelSide::Post, false);
    End(tunnel->get, count <= 0);
    return std::string(buffer, static_cast<std::size_t>(std::max(count, 0)));
}

void CTunnelCamera::ServePost(SOCKET connection, const std::string& head, std::string& received)
{
    Tunnel* tunnel = nullptr;
    std::string answer;
    {
        const std::lock_guard lock(m_mutex);
        tunnel = &TunnelOf(head, false);
        tunnel->post.socket = connection;
        tunnel->post.arrived = true;
        answer = m_postAnswer;
        m_heads.push_back(head);
        m_changed.notify_all();
    }
    (void)Loopback::SendAll(connection, answer);
    CBase64Reader base64;
    std::string text;
    std::string piece = std::exchange(received, {});
    char buffer[4096];
    while (!IsOver(tunnel->post))
    {
        {
            const std::lock_guard lock(m_mutex);
            tunnel->postBody += piece;
        }
        text += base64.Decode(piece);
        piece.clear();
        for (std::string request = TakeRequest(text); !request.empty(); request = TakeRequest(text))
            Answer(*tunnel, request);
        if (!Loopback::IsReadable(connection))
            continue;
        const int count = ::recv(connection, buffer, sizeof(buffer), 0);
        if (count <= 0)
            break;
        piece.assign(buffer, static_cast<std::size_t>(count));
    }
    const std::lock_guard lock(m_mutex);
    End(tunnel->post, true);
}

void CTunnelCamera::Answer(Tunnel& tunnel, const std::string& request)
{
    TunnelReply reply;
    {
        const std::lock_guard lock(m_handlerMutex);
        reply = m_handler(request);
    }
    {
        // Before the reply goes out: whoever has seen it finds its request recorded.
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        if (reply.held)
            m_held.push_back({&tunnel, reply});
        m_changed.notify_all();
    }
    if (!reply.held)
        SendReply(tunnel, reply);
}

void CTunnelCamera::SendReply(Tunnel& tunnel, const TunnelReply& reply)
{
    const std::size_t pieceBytes = reply.pieceBytes != 0 ? reply.pieceBytes : reply.bytes.size();
    for (std::size_t sent = 0; sent < reply.bytes.size(); sent += pieceBytes)
    {
        if (sent != 0 && reply.pause.count() != 0)
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait_for(lock, reply.pause, [this] { return m_stopping; });
        }
        SendOnGet(tunnel, std::string_view(reply.bytes).substr(sent, pieceBytes));
    }
    if (reply.close || reply.reset)
    {
        const std::lock_guard lock(m_mutex);
        RequestClose(tunnel, reply.closedSide, reply.reset);
    }
}

void CTunnelCamera::SendOnGet(Tunnel& tunnel, std::string_view bytes)
{
    const std::lock_guard lock(m_mutex);
    if (tunnel.get.arrived && !tunnel.get.ended)
        (void)Loopback::SendAll(tunnel.get.socket, bytes);
}

bool CTunnelCamera::IsOver(const Side& side) const
{
    const std::lock_guard lock(m_mutex);
    return m_stopping || side.close;
}

bool CTunnelCamera::IsStopping() const
{
    const std::lock_guard lock(m_mutex);
    return m_stopping;
}

void CTunnelCamera::End(Side& side, bool closeSocket)
{
    if (side.reset)
        Loopback::CloseWithReset(side.socket);
    if (closeSocket)
        ::closesocket(side.socket);
    side.ended = true;
    m_changed.notify_all();
}
