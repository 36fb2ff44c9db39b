#pragma once

#include "CameraSim/Http/ReplyPlayer.h"
#include "CameraSim/Rtsp/RtspChannel.h"
#include "CameraSim/Rtsp/RtspText.h"
#include "CameraSim/Text/Base64Stream.h"

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

class CRtspTunnel;

/// Who answers what comes through a tunnel. Called on the simulator's thread.
class IRtspTunnelUser
{
public:
    virtual ~IRtspTunnelUser() = default;

    /// A request, or one that could not be read.
    virtual void OnRtspItem(CRtspTunnel& tunnel, const RtspItem& item) = 0;
    /// Called once; nothing comes from the tunnel any more.
    virtual void OnTunnelClosed(CRtspTunnel& tunnel) = 0;
};

/// RTSP in a pair of HTTP requests: the body of the POST carries the client's requests in base64, the body of the GET's
/// answer carries the replies, and packets between them, as they are. Either may come first; requests that arrive
/// before the GET are answered when it is there. A lost POST may be replaced by another; when the client closes the GET
/// the tunnel is closed. Made by std::make_shared; everything runs on the simulator's thread. Borrows the user.
/// What waits to be sent is bounded: packets for a client that does not read them are dropped.
class CRtspTunnel final : public IRtspChannel, public std::enable_shared_from_this<CRtspTunnel>
{
public:
    CRtspTunnel(asio::io_context& context, std::uint64_t number, std::string cookie, IRtspTunnelUser& user);
    ~CRtspTunnel() override;

    /// `greeting` goes before everything else, the answer's head for instance.
    void AttachGet(asio::ip::tcp::socket socket, ReplyScript greeting);
    /// `greeting` is sent at once; nothing else is.
    void AttachPost(asio::ip::tcp::socket socket, std::string bytesRead, const HttpRequest& request,
                    const std::string& greeting);
    void Close();

    /// `holdBack`: its bytes leave in front of the next script's.
    void Send(ReplyScript script, bool holdBack = false);
    void SendPacket(int channel, std::string_view packet);
    void CloseGet(RtspClosing how);
    void ClosePost(RtspClosing how);

    bool HasGet() const noexcept
    {
        return m_get != nullptr;
    }
    bool IsComplete() const noexcept
    {
        return m_get && m_post;
    }
    const std::string& Cookie() const noexcept
    {
        return m_cookie;
    }
    /// The POST's head: where the requests come from.
    const HttpRequest& Post() const noexcept
    {
        return m_postRequest;
    }

    std::uint64_t Number() const override
    {
        return m_number;
    }
    bool IsLocal() const override
    {
        return m_postRequest.fromThisMachine;
    }
    std::shared_ptr<IRtpSink> MakeSink(int rtpChannel, int rtcpChannel) override;

private:
    struct Half;

    asio::awaitable<void> WriteReplies(std::shared_ptr<Half> get);
    asio::awaitable<void> WatchGet(std::shared_ptr<Half> get);
    asio::awaitable<void> ReadRequests(std::shared_ptr<Half> post, std::string bytesRead);
    bool TakeRequests(std::string_view encoded);
    void OnPostLost(const std::shared_ptr<Half>& post);

    asio::io_context& m_context;
    const std::uint64_t m_number;
    const std::string m_cookie;
    IRtspTunnelUser& m_user;
    std::shared_ptr<Half> m_get;
    std::shared_ptr<Half> m_post;
    HttpRequest m_postRequest;
    CBase64Stream m_base64;
    std::string m_text;
    std::deque<ReplyStep> m_queue;
    std::size_t m_queuedBytes = 0;
    std::string m_heldBack;
    asio::steady_timer m_wake; ///< cancelled when the queue gets something to send
    bool m_hadGet = false;
    bool m_closed = false;
};
