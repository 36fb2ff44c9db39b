#include "CameraSim/Rtsp/RtspServer.h"

#include "CameraSim/Faults/FaultScript.h"
#include "CameraSim/Rtsp/RtspFaults.h"
#include "CameraSim/Rtsp/RtspMedia.h"

#include <algorithm>

namespace
{

constexpr std::chrono::milliseconds kWatchInterval{100};

// No Content-Length: the body ends with the connection. HTTP/1.0 keeps proxies from chunking it.
constexpr const char* kGetHead = "HTTP/1.0 200 OK\r\n"
                                 "Connection: close\r\n"
                                 "Cache-Control: no-store\r\n"
                                 "Pragma: no-cache\r\n"
                                 "Content-Type: application/x-rtsp-tunnelled\r\n"
                                 "\r\n";

bool IsTunnelRequest(const HttpRequest& request)
{
    return (request.method == "GET" || request.method == "POST") && request.Path() == RtspMedia::kPath &&
           request.Header("x-sessioncookie");
}

} // namespace

CRtspServer::CRtspServer(asio::io_context& context, IHttpHandler& handler, IRtspCamera& camera,
                         CRtspService::Clock clock)
    : m_context(context), m_handler(handler), m_camera(camera),
      m_clock(clock ? std::move(clock) : [] { return std::chrono::steady_clock::now(); }),
      m_service(context, camera, m_clock), m_desk(camera, m_service), m_watchTimer(context)
{
}

ReplyScript CRtspServer::OnRequest(const HttpRequest& request)
{
    return m_handler.OnRequest(request);
}

ReplyScript CRtspServer::OnRefused(const HttpRequest& partial, unsigned status, const std::string& why)
{
    return m_handler.OnRefused(partial, status, why);
}

ConnectionTaker CRtspServer::TakesConnection(const HttpRequest& request)
{
    const auto configuration = IsTunnelRequest(request) ? m_camera.RtspMedia() : std::nullopt;
    if (!configuration)
        return m_handler.TakesConnection(request);
    return [this, request, isEnabled = configuration->isEnabled](asio::ip::tcp::socket socket, std::string bytesRead) {
        const auto faults = m_camera.TakeFaults("tunnel:" + request.method + " " + request.target, false);
        HttpReply reply;
        if (!isEnabled)
            reply = HttpReply::Text(503, "RTSP is switched off");
        else if (m_tunnels.size() >= kMaxTunnels)
            reply = HttpReply::Text(503, "there are too many tunnels");
        if (RtspFaults::Find(faults, FaultKind::Challenge))
            reply =
                FaultScript::Challenged(m_camera.CheckCredentials(request.method, request.target, nullptr).challenge);
        reply = FaultScript::Alter(reply, faults);
        const bool isReplaced = std::any_of(faults.begin(), faults.end(), FaultScript::ReplacesAnswer);
        if (reply.status != 200 || isReplaced)
        {
            Record(request, reply, HttpText::FormatHead(reply, reply.body.size(), false), faults);
            Refuse(std::move(socket), FaultScript::Build(reply, faults, false, false));
        }
        else if (request.method == "GET")
            TakeGet(std::move(socket), request, faults);
        else
            TakePost(std::move(socket), std::move(bytesRead), request, faults);
    };
}

void CRtspServer::TakeGet(asio::ip::tcp::socket socket, const HttpRequest& request, const std::vector<Fault>& faults)
{
    std::string head = kGetHead;
    HttpReply added;
    FaultScript::AddHeaders(added, faults);
    for (const HttpHeader& header : added.headers)
        head.insert(head.size() - 2, header.name + ": " + header.value + "\r\n");
    Record(request, {}, head, faults);
    TunnelFor(request, true).AttachGet(std::move(socket), RtspFaults::Build(head, "", faults));
}

void CRtspServer::TakePost(asio::ip::tcp::socket socket, std::string bytesRead, const HttpRequest& request,
                           const std::vector<Fault>& faults)
{
    // It is never answered, whatever comes first: its body goes on for as long as the tunnel does.
    Record(request, HttpReply{0, {}, {}, {}}, "", faults);
    TunnelFor(request, false)
        .AttachPost(std::move(socket), std::move(bytesRead), request, FaultScript::Interim(faults));
}

void CRtspServer::Refuse(asio::ip::tcp::socket socket, ReplyScript script)
{
    script.push_back(ReplyStep::Close());
    NewTunnel("").AttachGet(std::move(socket), std::move(script));
}

CRtspTunnel& CRtspServer::TunnelFor(const HttpRequest& request, bool forGet)
{
    const std::string& cookie = *request.Header("x-sessioncookie");
    const auto found = std::find_if(m_tunnels.begin(), m_tunnels.end(),
                                    [&](const Entry& entry) { return entry.tunnel->Cookie() == cookie; });
    if (found == m_tunnels.end())
        return NewTunnel(cookie);
    if (!forGet || !found->tunnel->HasGet())
        return *found->tunnel;
    // A second GET with the cookie of a living tunnel begins anew.
    const auto old = found->tunnel;
    old->Close();
    return NewTunnel(cookie);
}

CRtspTunnel& CRtspServer::NewTunnel(std::string cookie)
{
    const auto tunnel = std::make_shared<CRtspTunnel>(m_context, ++m_tunnelCount, std::move(cookie),
                                                      static_cast<IRtspTunnelUser&>(*this));
    m_tunnels.push_back({tunnel, m_clock()});
    if (!m_isWatching)
        Watch();
    return *tunnel;
}

void CRtspServer::Record(const HttpRequest& request, const HttpReply& reply, const std::string& head,
                         const std::vector<Fault>& faults)
{
    JournalEntry entry;
    entry.request = request;
    if (!FaultScript::SwallowsReply(faults))
    {
        entry.status = reply.status;
        entry.bodyBytes = reply.body.size();
        entry.answerHead = head;
    }
    entry.authenticated = true;
    entry.authentication = "a tunnel is asked for none";
    for (const Fault& fault : faults)
        entry.faults.emplace_back(FaultText::Name(fault.kind));
    entry.note = reply.status >= 400 ? reply.body : "";
    m_camera.Record(std::move(entry));
}

void CRtspServer::OnRtspItem(CRtspTunnel& tunnel, const RtspItem& item)
{
    m_desk.Serve(tunnel, item);
}

void CRtspServer::OnTunnelClosed(CRtspTunnel& tunnel)
{
    std::erase_if(m_tunnels, [&](const Entry& entry) { return entry.tunnel.get() == &tunnel; });
    m_service.OnChannelClosed(tunnel.Number());
}

void CRtspServer::Watch()
{
    m_isWatching = true;
    m_watchTimer.expires_after(kWatchInterval);
    m_watchTimer.async_wait([this](const asio::error_code& error) {
        m_isWatching = false;
        if (error)
            return;
        const auto now = m_clock();
        const std::vector<Entry> tunnels = m_tunnels;
        for (Entry& entry : m_tunnels)
        {
            if (entry.tunnel->IsComplete())
                entry.lonelySince = now;
        }
        for (const Entry& entry : tunnels)
        {
            if (!entry.tunnel->IsComplete() && now - entry.lonelySince >= kLonelyTime)
                entry.tunnel->Close();
        }
        const bool hasSessions = m_service.ExpireIdle();
        if (hasSessions || !m_tunnels.empty())
            Watch();
    });
}

void CRtspServer::Close() noexcept
{
    m_watchTimer.cancel();
    while (!m_tunnels.empty())
    {
        const auto tunnel = m_tunnels.back().tunnel;
        tunnel->Close();
    }
    m_service.ExpireAll();
}
