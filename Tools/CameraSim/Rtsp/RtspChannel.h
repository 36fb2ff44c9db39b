#pragma once

#include "CameraSim/Rtp/RtpSink.h"

#include <cstdint>
#include <memory>

enum class RtspClosing
{
    Close,
    Reset, ///< the client sees a connection reset
    Answer ///< an HTTP answer with "Connection: close" goes before; for a POST only
};

/// The connection that an RTSP request came through and its reply goes back on: a pair of HTTP requests.
/// Used on the simulator's thread.
class IRtspChannel
{
public:
    virtual ~IRtspChannel() = default;

    /// Tells it from all others since the start.
    virtual std::uint64_t Number() const = 0;
    /// The client runs on this machine.
    virtual bool IsLocal() const = 0;
    /// Packets for these channel numbers go between the replies (RFC 2326, 10.12). Outlives the connection harmlessly.
    virtual std::shared_ptr<IRtpSink> MakeSink(int rtpChannel, int rtcpChannel) = 0;
};
