#pragma once

#include "CameraSim/Http/HttpHandler.h"
#include "CameraSim/Rtsp/RtspCamera.h"
#include "CameraSim/Rtsp/RtspDesk.h"
#include "CameraSim/Rtsp/RtspService.h"
#include "CameraSim/Rtsp/RtspTunnel.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// RTSP on the camera's HTTP port: stands before the handler of its HTTP requests, takes those two that make a tunnel
/// (the media path, with an x-sessioncookie that ties them together), and lets all others pass.
/// The two HTTP requests are asked for no credentials; the RTSP requests inside are.
/// Borrows everything; runs on the context's thread, but for Service(), whose header says who may call what.
class CRtspServer final : public IHttpHandler, private IRtspTunnelUser
{
public:
    static constexpr std::size_t kMaxTunnels = 64;
    /// A GET without its POST, or the other way round, is closed after that: a client opens both at once, and one that
    /// has seen its GET end may have closed the POST without the connection's noticing (WinInet of Wine 8 receives on).
    static constexpr std::chrono::seconds kLonelyTime{10};

    CRtspServer(asio::io_context& context, IHttpHandler& handler, IRtspCamera& camera, CRtspService::Clock clock);

    ReplyScript OnRequest(const HttpRequest& request) override;
    ReplyScript OnRefused(const HttpRequest& partial, unsigned status, const std::string& why) override;
    ConnectionTaker TakesConnection(const HttpRequest& request) override;

    /// Closes all tunnels and ends all sessions.
    void Close() noexcept;

    CRtspService& Service() noexcept
    {
        return m_service;
    }

private:
    struct Entry
    {
        std::shared_ptr<CRtspTunnel> tunnel;
        std::chrono::steady_clock::time_point lonelySince;
    };

    void OnRtspItem(CRtspTunnel& tunnel, const RtspItem& item) override;
    void OnTunnelClosed(CRtspTunnel& tunnel) override;

    void TakeGet(asio::ip::tcp::socket socket, const HttpRequest& request, const std::vector<Fault>& faults);
    void TakePost(asio::ip::tcp::socket socket, std::string bytesRead, const HttpRequest& request,
                  const std::vector<Fault>& faults);
    /// Plays the script on the connection and closes it; for a request that makes no tunnel.
    void Refuse(asio::ip::tcp::socket socket, ReplyScript script);
    CRtspTunnel& TunnelFor(const HttpRequest& request, bool forGet);
    CRtspTunnel& NewTunnel(std::string cookie);
    void Record(const HttpRequest& request, const HttpReply& reply, const std::string& head,
                const std::vector<Fault>& faults);
    void Watch();

    asio::io_context& m_context;
    IHttpHandler& m_handler;
    IRtspCamera& m_camera;
    const CRtspService::Clock m_clock;
    CRtspService m_service;
    CRtspDesk m_desk;
    std::vector<Entry> m_tunnels;
    std::uint64_t m_tunnelCount = 0;
    asio::steady_timer m_watchTimer;
    bool m_isWatching = false;
};
