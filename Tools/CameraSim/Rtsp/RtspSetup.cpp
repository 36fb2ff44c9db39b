#include "CameraSim/Rtp/H264Source.h"
#include "CameraSim/Rtp/PcmuTone.h"
#include "CameraSim/Rtp/UdpRtpSink.h"
#include "CameraSim/Rtsp/RtspCall.h"
#include "CameraSim/Rtsp/RtspService.h"

#include <algorithm>
#include <random>
#include <system_error>

namespace
{

constexpr const char* kVideoGroup = "239.200.0.1";
constexpr const char* kAudioGroup = "239.200.0.2";
constexpr unsigned kMulticastTtl = 5;
constexpr std::uint16_t kDiscardPort = 9;
constexpr int kMaxChannel = 255;

/// A pair of ports that a client on this machine can listen on.
std::uint16_t FreePortPair(asio::io_context& context)
{
    return CUdpRtpSink(context, kDiscardPort, kDiscardPort).ServerPort();
}

bool CanGrant(const RtspTransport& offered, const IRtspChannel& channel)
{
    if (!offered.forPlaying)
        return false;
    if (offered.IsInterleaved())
        return !offered.multicast && offered.rtpChannel <= kMaxChannel && offered.rtcpChannel <= kMaxChannel;
    // Packets never leave this machine.
    return offered.IsUdp() && channel.IsLocal() && (offered.multicast || offered.clientRtpPort != 0);
}

/// Follows the camera's settings, asked before each picture.
CRtpStream::SourceChange FollowSettings(IRtspCamera& camera, const RtspUrl& url, const H264Format& format)
{
    return [&camera, url, format = H264Format(format)]() mutable -> std::unique_ptr<IMediaSource> {
        std::string ignored;
        const auto configuration = camera.RtspMedia();
        const auto media = configuration ? RtspMedia::Resolve(*configuration, url, ignored) : std::nullopt;
        if (!media || media->video == format)
            return nullptr;
        format = media->video;
        return std::make_unique<CH264Source>(format);
    };
}

std::string FillIn(std::string text, std::string_view name, const std::string& value)
{
    if (const auto at = text.find(name); at != text.npos)
        text.replace(at, name.size(), value);
    return text;
}

} // namespace

RtspReply CRtspService::Setup(Call& call)
{
    const bool isOnlyTrack = !call.media.hasAudio;
    if (call.url.track == 0 && !isOnlyTrack)
        return RtspReply::Refusal(459, "a stream must be named; the presentation has two");
    if (call.url.track == 0)
        call.url.track = RtspMedia::kVideoTrack;
    if (!call.media.HasTrack(call.url.track))
        return RtspReply::Refusal(404, "there is no stream " + std::to_string(call.url.track));
    if (call.session && call.session->playing)
        return RtspReply::Refusal(455, "the session is playing");
    if (!call.session && m_sessions.size() >= kMaxSessions)
        return RtspReply::Refusal(453, "there are too many sessions");
    const std::string* header = call.request.Header("Transport");
    if (!header)
        return RtspReply::Refusal(400, "SETUP needs a Transport header");
    const auto offered = TransportHeader::Parse(*header);
    const auto chosen = std::find_if(offered.begin(), offered.end(),
                                     [&](const RtspTransport& one) { return CanGrant(one, call.channel); });
    if (chosen == offered.end())
        return RtspReply::Refusal(461, "none of the transports can be granted");
    try
    {
        return Grant(call, *chosen);
    }
    catch (const std::system_error& error)
    {
        return RtspReply::Refusal(503, error.what());
    }
}

RtspReply CRtspService::Grant(Call& call, RtspTransport transport)
{
    auto stream = MakeStream(call, MakeSink(call, transport));
    transport.ssrc = stream->Next().ssrc;
    RtspSession& session = call.session ? *call.session : NewSession();
    session.channel = call.channel.Number();
    std::erase_if(session.tracks, [&](const RtspTrack& track) { return track.number == call.url.track; });
    session.tracks.push_back({call.url.track, call.request.target, transport, std::move(stream)});
    const std::string sessionHeader = FillIn(FillIn(call.options.sessionHeader, "{id}", session.id), "{timeout}",
                                             std::to_string(call.options.timeoutSeconds));
    RtspReply reply;
    if (!sessionHeader.empty())
        reply.reply.headers.push_back({"Session", sessionHeader});
    reply.reply.headers.push_back({"Transport", TransportHeader::Format(transport)});
    return reply;
}

std::shared_ptr<IRtpSink> CRtspService::MakeSink(Call& call, RtspTransport& transport)
{
    if (transport.IsInterleaved())
    {
        if (transport.rtpChannel < 0)
        {
            transport.rtpChannel = static_cast<int>(2 * (call.url.track - 1));
            transport.rtcpChannel = transport.rtpChannel + 1;
        }
        return call.channel.MakeSink(transport.rtpChannel, transport.rtcpChannel);
    }
    if (transport.multicast)
    {
        // Of its own for each session: packets of two streams would meet at a port of this machine.
        transport.serverRtpPort = FreePortPair(m_context);
        transport.destination = call.url.track == RtspMedia::kVideoTrack ? kVideoGroup : kAudioGroup;
        transport.ttl = kMulticastTtl;
        const auto rtcpPort = static_cast<std::uint16_t>(transport.serverRtpPort + 1);
        return std::make_shared<CUdpRtpSink>(m_context, transport.serverRtpPort, rtcpPort);
    }
    auto sink = std::make_shared<CUdpRtpSink>(m_context, transport.clientRtpPort, transport.clientRtcpPort);
    transport.serverRtpPort = sink->ServerPort();
    return sink;
}

std::shared_ptr<CRtpStream> CRtspService::MakeStream(const Call& call, std::shared_ptr<IRtpSink> sink)
{
    if (call.url.track == RtspMedia::kAudioTrack)
        return std::make_shared<CRtpStream>(m_context, std::make_unique<CPcmuTone>(), std::move(sink));
    return std::make_shared<CRtpStream>(m_context, std::make_unique<CH264Source>(call.media.video), std::move(sink),
                                        FollowSettings(m_camera, call.url, call.media.video));
}

RtspSession& CRtspService::NewSession()
{
    // At least eight characters (RFC 2326, 3.4), and hard to guess.
    std::random_device random;
    auto session = std::make_unique<RtspSession>();
    do
        session->id = std::to_string(10'000'000 + random() % 90'000'000);
    while (
        std::any_of(m_sessions.begin(), m_sessions.end(), [&](const auto& other) { return other->id == session->id; }));
    session->lastSeen = m_clock();
    m_sessions.push_back(std::move(session));
    return *m_sessions.back();
}
