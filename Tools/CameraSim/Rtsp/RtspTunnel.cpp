#include "CameraSim/Rtsp/RtspTunnel.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/dispatch.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

#include <array>

namespace
{

constexpr std::size_t kReadBytes = 8 * 1024;
constexpr std::size_t kMaxQueuedBytes = 4 * 1024 * 1024;
constexpr std::string_view kPostAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

class CTunnelSink final : public IRtpSink
{
public:
    CTunnelSink(asio::io_context& context, std::weak_ptr<CRtspTunnel> tunnel, int rtpChannel, int rtcpChannel)
        : m_context(context), m_tunnel(std::move(tunnel)), m_rtpChannel(rtpChannel), m_rtcpChannel(rtcpChannel)
    {
    }

    void SendRtp(std::string_view packet) override
    {
        Send(m_rtpChannel, packet);
    }
    void SendRtcp(std::string_view packet) override
    {
        Send(m_rtcpChannel, packet);
    }

private:
    /// A session may be ended, with a last packet, from any thread.
    void Send(int channel, std::string_view packet)
    {
        asio::dispatch(m_context, [weak = m_tunnel, channel, bytes = std::string(packet)] {
            if (const auto tunnel = weak.lock())
                tunnel->SendPacket(channel, bytes);
        });
    }

    asio::io_context& m_context;
    const std::weak_ptr<CRtspTunnel> m_tunnel;
    const int m_rtpChannel;
    const int m_rtcpChannel;
};

} // namespace

/// One of the two connections. Its coroutines share it, so it may be replaced while they still run.
struct CRtspTunnel::Half
{
    explicit Half(asio::ip::tcp::socket socketIn) : socket(std::move(socketIn)), player(socket)
    {
        asio::error_code ignored;
        socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    }

    void Close(RtspClosing how)
    {
        asio::error_code ignored;
        if (how == RtspClosing::Answer)
        {
            // Whoever has read the answer closes; until then the half is read and nothing more.
            asio::write(socket, asio::buffer(kPostAnswer), ignored);
            socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
            return;
        }
        closed = true;
        player.Cancel();
        if (how == RtspClosing::Reset)
            socket.set_option(asio::socket_base::linger(true, 0), ignored);
        else
            socket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
        socket.close(ignored);
    }

    asio::ip::tcp::socket socket;
    CReplyPlayer player;
    bool closed = false;
};

CRtspTunnel::CRtspTunnel(asio::io_context& context, std::uint64_t number, std::string cookie, IRtspTunnelUser& user)
    : m_context(context), m_number(number), m_cookie(std::move(cookie)), m_user(user), m_wake(context)
{
}

CRtspTunnel::~CRtspTunnel() = default;

void CRtspTunnel::AttachGet(asio::ip::tcp::socket socket, ReplyScript greeting)
{
    m_get = std::make_shared<Half>(std::move(socket));
    m_hadGet = true;
    m_queue.insert(m_queue.begin(), greeting.begin(), greeting.end());
    // The first coroutine may run, and close the tunnel, before the second is made.
    const auto self = shared_from_this();
    const auto get = m_get;
    asio::co_spawn(
        m_context, [self, get] { return self->WriteReplies(get); }, asio::detached);
    asio::co_spawn(
        m_context, [self, get] { return self->WatchGet(get); }, asio::detached);
}

void CRtspTunnel::AttachPost(asio::ip::tcp::socket socket, std::string bytesRead, const HttpRequest& request,
                             const std::string& greeting)
{
    asio::error_code ignored;
    asio::write(socket, asio::buffer(greeting), ignored);
    if (m_post)
        m_post->Close(RtspClosing::Close);
    m_post = std::make_shared<Half>(std::move(socket));
    m_postRequest = request;
    m_base64 = {};
    m_text.clear();
    const auto self = shared_from_this();
    asio::co_spawn(
        m_context,
        [self, post = m_post, bytes = std::move(bytesRead)]() mutable {
            return self->ReadRequests(post, std::move(bytes));
        },
        asio::detached);
}

void CRtspTunnel::Close()
{
    if (std::exchange(m_closed, true))
        return;
    const auto self = shared_from_this();
    for (const auto& half : {m_get, m_post})
    {
        if (half)
            half->Close(RtspClosing::Close);
    }
    m_get = nullptr;
    m_post = nullptr;
    m_wake.cancel();
    m_user.OnTunnelClosed(*this);
}

void CRtspTunnel::Send(ReplyScript script, bool holdBack)
{
    if (m_closed || (m_hadGet && !m_get))
        return;
    for (ReplyStep& step : script)
    {
        const bool hasBytes = step.kind == ReplyStep::Kind::Send || step.kind == ReplyStep::Kind::SendSlowly;
        if (hasBytes && holdBack)
        {
            m_heldBack += step.bytes;
            continue;
        }
        if (hasBytes)
            step.bytes.insert(0, std::exchange(m_heldBack, {}));
        m_queuedBytes += step.bytes.size();
        m_queue.push_back(std::move(step));
    }
    m_wake.cancel();
}

void CRtspTunnel::SendPacket(int channel, std::string_view packet)
{
    if (!m_get || m_queuedBytes > kMaxQueuedBytes || packet.size() > 0xFFFF)
        return;
    std::string frame{'$', static_cast<char>(channel), static_cast<char>(packet.size() >> 8),
                      static_cast<char>(packet.size() & 0xFF)};
    frame += packet;
    m_queuedBytes += frame.size();
    m_queue.push_back(ReplyStep::Send(std::move(frame)));
    m_wake.cancel();
}

void CRtspTunnel::CloseGet(RtspClosing how)
{
    if (!m_get)
        return;
    const auto get = std::exchange(m_get, nullptr);
    get->Close(how);
    m_wake.cancel();
    if (!m_post)
        Close();
}

void CRtspTunnel::ClosePost(RtspClosing how)
{
    if (const auto post = std::exchange(m_post, nullptr))
        post->Close(how);
}

std::shared_ptr<IRtpSink> CRtspTunnel::MakeSink(int rtpChannel, int rtcpChannel)
{
    return std::make_shared<CTunnelSink>(m_context, weak_from_this(), rtpChannel, rtcpChannel);
}

asio::awaitable<void> CRtspTunnel::WriteReplies(std::shared_ptr<Half> get)
{
    const auto self = shared_from_this();
    bool goesOn = true;
    while (goesOn && !get->closed)
    {
        if (m_queue.empty())
        {
            asio::error_code ignored;
            m_wake.expires_at(asio::steady_timer::time_point::max());
            co_await m_wake.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
            continue;
        }
        const ReplyStep step = std::move(m_queue.front());
        m_queue.pop_front();
        m_queuedBytes -= std::min(m_queuedBytes, step.bytes.size());
        goesOn = co_await get->player.Play(step);
    }
    if (m_get == get)
        Close();
}

asio::awaitable<void> CRtspTunnel::WatchGet(std::shared_ptr<Half> get)
{
    const auto self = shared_from_this();
    std::array<char, kReadBytes> bytes;
    asio::error_code error;
    while (!error && !get->closed)
        co_await get->socket.async_read_some(asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
    if (m_get == get)
        Close();
}

asio::awaitable<void> CRtspTunnel::ReadRequests(std::shared_ptr<Half> post, std::string bytesRead)
{
    const auto self = shared_from_this();
    bool readable = TakeRequests(bytesRead);
    std::array<char, kReadBytes> bytes;
    asio::error_code error;
    while (readable && !error && !post->closed)
    {
        const std::size_t count = co_await post->socket.async_read_some(
            asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, error));
        if (m_post == post)
            readable = TakeRequests({bytes.data(), count});
    }
    // What cannot be read has been answered, and that answer closes the tunnel.
    if (readable || !m_get)
        OnPostLost(post);
}

bool CRtspTunnel::TakeRequests(std::string_view encoded)
{
    const bool isBase64 = m_base64.Decode(encoded, m_text);
    bool more = true;
    while (more && !m_closed)
    {
        const RtspItem item = RtspText::Take(m_text);
        more = item.kind != RtspItem::Kind::Incomplete && !item.hopeless;
        if (item.kind != RtspItem::Kind::Incomplete)
            m_user.OnRtspItem(*this, item);
        if (item.hopeless)
            m_text.clear();
    }
    if (isBase64)
        return true;
    RtspItem item;
    item.kind = RtspItem::Kind::Unreadable;
    item.request.head = std::string(encoded);
    item.refusal = 400;
    item.hopeless = true;
    item.why = "the POST carries something else than base64";
    m_user.OnRtspItem(*this, item);
    return false;
}

void CRtspTunnel::OnPostLost(const std::shared_ptr<Half>& post)
{
    if (m_post != post)
        return;
    m_post = nullptr;
    if (!m_get)
        Close();
}
