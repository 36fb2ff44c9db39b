#include "CameraSim/Rtp/RtpStream.h"

#include <algorithm>
#include <random>

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
    if (!m_hasStarted)
        m_due = Clock::now();
    m_hasStarted = true;
    SkipTo(Clock::now());
    Schedule();
}

void CRtpStream::Stop()
{
    const std::lock_guard lock(m_mutex);
    m_running = false;
    m_timer.cancel();
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
    }
    m_header.timestamp += m_source->TicksPerFrame();
    m_due += m_source->FrameTime();
    // After a pause of the machine the missed frames are left out instead of sent in one burst.
    SkipTo(Clock::now() - m_source->FrameTime());
    Schedule();
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
