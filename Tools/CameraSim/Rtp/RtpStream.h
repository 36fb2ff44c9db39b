#pragma once

#include "CameraSim/Rtp/MediaSource.h"
#include "CameraSim/Rtp/RtcpPacket.h"
#include "CameraSim/Rtp/RtpPacket.h"
#include "CameraSim/Rtp/RtpSink.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

/// What the next packet of a stream will carry.
struct RtpPosition
{
    std::uint32_t ssrc = 0;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
};

/// Sends one source's frames to a sink at the source's pace, with RTCP sender reports beside them (RFC 3550).
/// Its position is known before it starts, so that it can be announced. Sequence numbers go on over a pause and over a
/// change of source; timestamps follow the time of day, so a pause, or a frame that a busy machine left out, is a gap
/// in them. Made by std::make_shared; any thread may call any method, frames leave on the context's thread.
class CRtpStream : public std::enable_shared_from_this<CRtpStream>
{
public:
    /// Asked before each frame: a new source when the media has changed, else null. Called under the stream's lock.
    using SourceChange = std::function<std::unique_ptr<IMediaSource>()>;

    CRtpStream(asio::io_context& context, std::unique_ptr<IMediaSource> source, std::shared_ptr<IRtpSink> sink,
               SourceChange change = {});

    /// Harmless when it runs already.
    void Start();
    /// No packet leaves any more when it returns.
    void Stop();
    /// Stops for good, with a BYE when something was sent.
    void Finish();

    RtpPosition Next() const;
    std::uint64_t Packets() const;

private:
    using Clock = std::chrono::steady_clock;

    void Schedule();
    void SendFrame(unsigned run);
    SenderReport Report() const;
    /// Leaves out the frames that were due before that moment.
    void SkipTo(Clock::time_point earliest);

    mutable std::mutex m_mutex;
    asio::steady_timer m_timer;
    std::unique_ptr<IMediaSource> m_source;
    const std::shared_ptr<IRtpSink> m_sink;
    const SourceChange m_change;
    RtpHeader m_header;
    std::uint64_t m_packets = 0;
    std::uint64_t m_octets = 0; ///< of payload
    Clock::time_point m_nextReport;
    bool m_running = false;
    bool m_hasStarted = false;
    unsigned m_run = 0;      ///< tells the timer of an earlier run from this one's
    Clock::time_point m_due; ///< when the next frame leaves, which m_header.timestamp belongs to
};
