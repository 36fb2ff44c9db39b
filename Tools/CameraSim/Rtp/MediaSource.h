#pragma once

#include "CameraSim/Camera/MediaStreams.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// One RTP payload of a frame.
struct MediaPayload
{
    std::string bytes;
    bool marker = false;
};

/// Endless media of one kind, frame by frame. Used by one stream; not thread-safe.
class IMediaSource
{
public:
    virtual ~IMediaSource() = default;

    virtual std::uint8_t PayloadType() const = 0;
    virtual std::uint32_t ClockHz() const = 0;
    /// RTP clock ticks between two frames, and the time that they stand for.
    virtual std::uint32_t TicksPerFrame() const = 0;
    virtual std::chrono::microseconds FrameTime() const = 0;
    /// The payloads of the next frame; all of them carry the same timestamp.
    virtual std::vector<MediaPayload> NextFrame() = 0;

    static std::unique_ptr<IMediaSource> Make(const StreamOrder& order);
};
