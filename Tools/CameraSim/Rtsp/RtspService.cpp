#include "CameraSim/Rtsp/RtspService.h"

#include "CameraSim/Rtsp/RtspCall.h"
#include "CameraSim/Rtsp/SdpText.h"
#include "CameraSim/Text/Ascii.h"

#include <algorithm>
#include <array>

namespace
{

constexpr const char* kMethods = "OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER, SET_PARAMETER";

/// Methods of RFC 2326 that a camera does not let a client use.
constexpr std::array<std::string_view, 3> kOtherMethods{"ANNOUNCE", "RECORD", "REDIRECT"};

bool AcceptsSdp(const HttpRequest& request)
{
    const std::string* accept = request.Header("Accept");
    if (!accept)
        return true;
    const std::string wanted = Ascii::Lower(*accept);
    return wanted.find("application/sdp") != wanted.npos || wanted.find("*/*") != wanted.npos ||
           wanted.find("application/*") != wanted.npos;
}

RtspReply NotAllowed(unsigned status, std::string why)
{
    RtspReply reply = RtspReply::Refusal(status, std::move(why));
    reply.reply.headers.push_back({"Allow", kMethods});
    return reply;
}

} // namespace

CRtspService::CRtspService(asio::io_context& context, IRtspCamera& camera, Clock clock)
    : m_context(context), m_camera(camera),
      m_clock(clock ? std::move(clock) : [] { return std::chrono::steady_clock::now(); })
{
}

RtspReply CRtspService::Answer(const HttpRequest& request, IRtspChannel& channel)
{
    const std::lock_guard lock(m_mutex);
    const auto configuration = m_camera.RtspMedia();
    if (!configuration || !configuration->isEnabled)
        return RtspReply::Refusal(503, "RTSP is switched off");
    Call call{request, channel, *configuration, m_camera.Rtsp(), {}, nullptr};
    if (const std::string* wanted = request.Header("Require"))
    {
        RtspReply reply = RtspReply::Refusal(551, "no option is supported");
        reply.reply.headers.push_back({"Unsupported", *wanted});
        return reply;
    }
    if (const std::string* header = request.Header("Session"))
    {
        call.session = Find(Ascii::Trim(std::string_view(*header).substr(0, header->find(';'))));
        if (!call.session)
            return RtspReply::Refusal(454, "there is no session " + *header);
        call.session->channel = channel.Number();
    }
    return Dispatch(call);
}

RtspReply CRtspService::Dispatch(Call& call)
{
    const std::string& method = call.request.method;
    const bool isForAll = call.request.target == "*";
    const auto url = RtspUrl::Parse(call.request.target);
    if (!url && !isForAll)
        return RtspReply::Refusal(400, "the URL is not rtsp://HOST/PATH");
    call.url = url.value_or(RtspUrl{"", std::string(RtspMedia::kPath), "", 0});
    std::string why;
    const auto media = RtspMedia::Resolve(call.configuration, call.url, why);
    if (!media)
        return RtspReply::Refusal(404, why);
    call.media = *media;

    if (method == "OPTIONS")
    {
        RtspReply reply = call.Good();
        reply.reply.headers.push_back({"Public", kMethods});
        return reply;
    }
    if (method == "GET_PARAMETER" || method == "SET_PARAMETER")
        return Parameters(call);
    if (isForAll)
        return RtspReply::Refusal(400, method + " needs a URL");
    if (method == "DESCRIBE")
        return Describe(call);
    if (method == "SETUP")
        return Setup(call);
    if (method == "PLAY" || method == "PAUSE" || method == "TEARDOWN")
    {
        if (!call.session)
            return RtspReply::Refusal(454, "the request names no session");
        return method == "PLAY" ? Play(call) : method == "PAUSE" ? Pause(call) : Teardown(call);
    }
    const bool isKnown = std::find(kOtherMethods.begin(), kOtherMethods.end(), method) != kOtherMethods.end();
    return NotAllowed(isKnown ? 405 : 501, method + " is not served here");
}

RtspReply CRtspService::Describe(Call& call)
{
    if (!AcceptsSdp(call.request))
        return RtspReply::Refusal(406, "only application/sdp is to be had");
    // The version tells clients that the description of one and the same URL has changed.
    std::string ignored;
    const auto plain = RtspMedia::Resolve(call.configuration, {"", std::string(RtspMedia::kPath), "", 0}, ignored);
    if (m_described != plain)
    {
        m_described = plain;
        ++m_version;
    }
    RtspReply reply = call.Good();
    reply.reply.headers.push_back({"Content-Type", "application/sdp"});
    reply.reply.headers.push_back({"Content-Base", call.url.Base()});
    reply.reply.body = SdpText::Write(call.url, call.media, call.options.absoluteControls, m_version);
    return reply;
}

RtspReply CRtspService::Play(Call& call)
{
    RtspSession& session = *call.session;
    if (call.url.track != 0 && session.tracks.size() > 1)
        return RtspReply::Refusal(460, "the streams of a session play together");
    const std::string* range = call.request.Header("Range");
    if (range && !range->starts_with("npt="))
        return RtspReply::Refusal(457, "only npt ranges are understood");
    session.Play();
    std::string information;
    for (const RtspTrack& track : session.tracks)
    {
        const RtpPosition next = track.stream->Next();
        information += (information.empty() ? "url=" : ",url=") + track.url + ";seq=" + std::to_string(next.sequence) +
                       ";rtptime=" + std::to_string(next.timestamp);
    }
    RtspReply reply = call.Good();
    // A camera films now, whatever beginning was asked for.
    reply.reply.headers.push_back({"Range", "npt=0.000000-"});
    reply.reply.headers.push_back({"RTP-Info", information});
    return reply;
}

RtspReply CRtspService::Pause(Call& call)
{
    RtspSession& session = *call.session;
    if (!session.playing)
        return NotAllowed(455, "the session is not playing");
    if (call.url.track != 0 && session.tracks.size() > 1)
        return RtspReply::Refusal(460, "the streams of a session pause together");
    session.Pause();
    return call.Good();
}

RtspReply CRtspService::Teardown(Call& call)
{
    RtspSession& session = *call.session;
    if (call.url.track != 0)
    {
        const auto removed =
            std::erase_if(session.tracks, [&](const RtspTrack& track) { return track.number == call.url.track; });
        if (removed == 0)
            return RtspReply::Refusal(404, "the session has no such stream");
    }
    if (call.url.track == 0 || session.tracks.empty())
    {
        Remove(session);
        call.session = nullptr;
    }
    return call.Good();
}

RtspReply CRtspService::Parameters(Call& call)
{
    // Without parameters it is a sign of life (RFC 2326, 10.8).
    if (!Ascii::Trim(call.request.body).empty())
        return RtspReply::Refusal(451, "this camera has no RTSP parameters");
    return call.Good();
}

void CRtspService::OnChannelClosed(std::uint64_t channel)
{
    const bool keeps = m_camera.Rtsp().sessionsOutliveTunnels;
    const std::lock_guard lock(m_mutex);
    if (!keeps)
        std::erase_if(m_sessions, [&](const auto& session) { return session->channel == channel; });
}

bool CRtspService::ExpireIdle()
{
    const std::chrono::seconds timeout(m_camera.Rtsp().timeoutSeconds);
    const std::lock_guard lock(m_mutex);
    const auto now = m_clock();
    std::erase_if(m_sessions, [&](const auto& session) { return now - session->lastSeen >= timeout; });
    return !m_sessions.empty();
}

void CRtspService::ExpireAll()
{
    const std::lock_guard lock(m_mutex);
    m_sessions.clear();
}

std::vector<RtspSessionStatus> CRtspService::Sessions() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<RtspSessionStatus> result;
    for (const auto& session : m_sessions)
    {
        const auto idle = std::chrono::duration_cast<std::chrono::seconds>(m_clock() - session->lastSeen);
        RtspSessionStatus status{session->id, session->playing, static_cast<unsigned>(idle.count()), {}};
        for (const RtspTrack& track : session->tracks)
        {
            status.tracks.push_back(
                {track.url, TransportHeader::Format(track.transport), track.transport.ssrc, track.stream->Packets()});
        }
        result.push_back(std::move(status));
    }
    return result;
}

RtspSession* CRtspService::Find(std::string_view id)
{
    const auto found =
        std::find_if(m_sessions.begin(), m_sessions.end(), [&](const auto& session) { return session->id == id; });
    if (found == m_sessions.end())
        return nullptr;
    const auto now = m_clock();
    if (now - (*found)->lastSeen >= std::chrono::seconds(m_camera.Rtsp().timeoutSeconds))
    {
        m_sessions.erase(found);
        return nullptr;
    }
    (*found)->lastSeen = now;
    return found->get();
}

void CRtspService::Remove(const RtspSession& session)
{
    std::erase_if(m_sessions, [&](const auto& listed) { return listed.get() == &session; });
}
