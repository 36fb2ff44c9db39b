#include "CameraSim/Rtp/RtpSender.h"

#include "CameraSim/Rtp/MediaSource.h"
#include "CameraSim/Rtp/RtpPacket.h"

#include <asio/steady_timer.hpp>

#include <algorithm>
#include <random>

/// Touched under the sender's lock.
struct CRtpSender::Stream
{
    Stream(asio::io_context& context, const StreamOrder& orderIn)
        : timer(context), source(IMediaSource::Make(orderIn)), order(orderIn)
    {
        // RFC 3550, 5.1: all three begin at random.
        std::random_device random;
        header.payloadType = source->PayloadType();
        header.ssrc = random();
        header.sequence = static_cast<std::uint16_t>(random());
        header.timestamp = random();
    }

    asio::steady_timer timer;
    std::unique_ptr<IMediaSource> source;
    StreamOrder order;
    RtpHeader header;
    std::uint64_t packets = 0;
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point due = started;
};

namespace
{

bool SameTarget(const StreamOrder& a, const StreamOrder& b)
{
    return (a.kind == MediaKind::Pcmu) == (b.kind == MediaKind::Pcmu) && a.port == b.port;
}

} // namespace

CRtpSender::CRtpSender(asio::io_context& context, std::chrono::seconds timeLimit)
    : m_context(context), m_timeLimit(timeLimit),
      m_socket(context, asio::ip::udp::endpoint(asio::ip::address_v4::loopback(), 0))
{
    m_socket.non_blocking(true);
}

CRtpSender::~CRtpSender()
{
    StopAll();
}

bool CRtpSender::StartStream(const StreamOrder& order)
{
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_streams, [&](const auto& stream) { return SameTarget(stream->order, order); });
    if (m_streams.size() >= kMaxStreams)
        return false;
    m_streams.push_back(std::make_shared<Stream>(m_context, order));
    Schedule(m_streams.back());
    return true;
}

std::vector<StreamStatus> CRtpSender::Streams() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<StreamStatus> result;
    for (const auto& stream : m_streams)
        result.push_back({stream->order, stream->header.ssrc, stream->packets});
    return result;
}

void CRtpSender::StopAll()
{
    const std::lock_guard lock(m_mutex);
    // The timers find their stream gone; destroying one cancels its wait.
    m_streams.clear();
}

void CRtpSender::Schedule(const std::shared_ptr<Stream>& stream)
{
    stream->timer.expires_at(stream->due);
    stream->timer.async_wait([this, weak = std::weak_ptr(stream)](const asio::error_code& error) {
        const auto alive = weak.lock();
        if (!error && alive)
            SendFrame(alive);
    });
}

void CRtpSender::SendFrame(const std::shared_ptr<Stream>& stream)
{
    const std::lock_guard lock(m_mutex);
    const auto listed = std::find(m_streams.begin(), m_streams.end(), stream);
    if (listed == m_streams.end())
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now - stream->started >= m_timeLimit)
    {
        m_streams.erase(listed);
        return;
    }
    const asio::ip::udp::endpoint target(asio::ip::address_v4::loopback(), stream->order.port);
    for (const MediaPayload& payload : stream->source->NextFrame())
    {
        stream->header.marker = payload.marker;
        asio::error_code ignored;
        m_socket.send_to(asio::buffer(RtpPacket::Write(stream->header, payload.bytes)), target, 0, ignored);
        ++stream->header.sequence;
        ++stream->packets;
    }
    stream->header.timestamp += stream->source->TicksPerFrame();
    // After a pause of the machine the missed frames are left out instead of sent in one burst.
    stream->due = std::max(stream->due + stream->source->FrameTime(), now);
    Schedule(stream);
}
