#pragma once

#include "CameraSim/Rtp/MediaSource.h"

#include <cstdint>

/// A tone of 1000 Hz at half of full scale in G.711 mu-law (RFC 3551, 4.5.14), 8000 samples a second.
class CPcmuTone final : public IMediaSource
{
public:
    static constexpr std::uint8_t kPayloadType = 0;
    static constexpr std::uint32_t kClockHz = 8000;

    /// `packetTime` is a whole number of milliseconds, so that every packet holds whole waves and begins at the same
    /// phase.
    explicit CPcmuTone(std::chrono::milliseconds packetTime = std::chrono::milliseconds(20));

    std::uint8_t PayloadType() const override;
    std::uint32_t ClockHz() const override;
    std::uint32_t TicksPerFrame() const override;
    std::chrono::microseconds FrameTime() const override;
    /// One packet. The marker is never set: it would mean the first packet after a silence, and there is none.
    std::vector<MediaPayload> NextFrame() override;

    /// ITU-T G.711 of a linear sample of 16 bits.
    static std::uint8_t Encode(int sample);

private:
    std::chrono::milliseconds m_packetTime;
    std::string m_packet;
};
