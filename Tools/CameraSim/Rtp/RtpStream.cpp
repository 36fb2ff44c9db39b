#include "CameraSim/Rtp/RtpStream.h"

#include <random>
#include <utility>

namespace
{

constexpr std::chrono::seconds kReportInterval{5}; // RFC 3550, 6.2
constexpr const char* kCanonicalName = "camera@127.0.0.1";

} // namespace

CRtpStream::CRtpStream(asio::io_context& context, std::unique_ptr<IMediaSource> source, std::shared_ptr<IRtpSink> sink,
                       SourceChange change)
    : m_timer(context), m_source(std::move(source)), m_sink(std::move(sink)), m_change(std::move(change))
{
    // RFC 3550, 5.1: all three begin at random.
    std::random_device random;
    m_header.ssrc = random();
    m_header.sequence = static_cast<std::uint16_t>(random());
    m_header.timestamp = random();
}

void CRtpStream::Start()
{
    const std::lock_guard lock(m_mutex);
    if (m_running)
        return;
    m_running = true;
    ++m_run;
    const auto now = Clock::now();
    if (!std::exchange(m_hasStarted, true))
        m_due = now;
    SkipTo(now);
    // A receiver needs the first one at once, or it cannot tell which sound belongs to which picture.
    m_nextReport = now;
    Schedule();
}

void CRtpStream::Stop()
{
    const std::lock_guard lock(m_mutex);
    m_running = false;
    m_timer.cancel();
}

void CRtpStream::Finish()
{
    Stop();
    const std::lock_guard lock(m_mutex);
    if (m_packets != 0)
        m_sink->SendRtcp(RtcpPacket::WriteBye(Report(), kCanonicalName));
}

RtpPosition CRtpStream::Next() const
{
    const std::lock_guard lock(m_mutex);
    return {m_header.ssrc, m_header.sequence, m_header.timestamp};
}

std::uint64_t CRtpStream::Packets() const
{
    const std::lock_guard lock(m_mutex);
    return m_packets;
}

void CRtpStream::Schedule()
{
    m_timer.expires_at(m_due);
    m_timer.async_wait([weak = weak_from_this(), run = m_run](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self)
            self->SendFrame(run);
    });
}

void CRtpStream::SendFrame(unsigned run)
{
    const std::lock_guard lock(m_mutex);
    // A wait that had ended before it could be cancelled.
    if (!m_running || run != m_run)
        return;
    if (auto changed = m_change ? m_change() : nullptr)
        m_source = std::move(changed);
    m_header.payloadType = m_source->PayloadType();
    for (const MediaPayload& payload : m_source->NextFrame())
    {
        m_header.marker = payload.marker;
        m_sink->SendRtp(RtpPacket::Write(m_header, payload.bytes));
        ++m_header.sequence;
        ++m_packets;
        m_octets += payload.bytes.size();
    }
    m_header.timestamp += m_source->TicksPerFrame();
    m_due += m_source->FrameTime();
    // After a pause of the machine the missed frames are left out instead of sent in one burst.
    const auto now = Clock::now();
    SkipTo(now - m_source->FrameTime());
    if (now >= m_nextReport)
    {
        m_sink->SendRtcp(RtcpPacket::Write(Report(), kCanonicalName));
        m_nextReport = now + kReportInterval;
    }
    Schedule();
}

SenderReport CRtpStream::Report() const
{
    // m_header.timestamp is that of the next frame, which leaves at m_due.
    const auto ahead = std::chrono::duration_cast<std::chrono::microseconds>(m_due - Clock::now()).count();
    const std::int64_t ticksAhead = ahead * static_cast<std::int64_t>(m_source->ClockHz()) / 1'000'000;
    return {m_header.ssrc, RtcpPacket::NtpTime(std::chrono::system_clock::now()),
            m_header.timestamp - static_cast<std::uint32_t>(ticksAhead), static_cast<std::uint32_t>(m_packets),
            static_cast<std::uint32_t>(m_octets)};
}

void CRtpStream::SkipTo(Clock::time_point earliest)
{
    if (m_due >= earliest)
        return;
    const auto frameTime = m_source->FrameTime();
    const auto frames = (earliest - m_due + frameTime - Clock::duration(1)) / frameTime;
    m_due += frames * frameTime;
    m_header.timestamp += static_cast<std::uint32_t>(static_cast<std::uint64_t>(frames) * m_source->TicksPerFrame());
}
