#pragma once

#include "CameraSim/H264/Encoder.h"
#include "CameraSim/H264/TestPicture.h"
#include "CameraSim/Rtp/MediaSource.h"

#include <cstdint>

/// The test picture as H.264 in RTP (RFC 6184, packetization mode 1), which any decoder plays. The parameter sets come
/// in front of every IDR picture, and are those that Sets() gives to the session description.
class CH264Source final : public IMediaSource
{
public:
    static constexpr std::uint8_t kPayloadType = 96;
    static constexpr std::uint32_t kClockHz = 90000;
    /// With the headers of RTP, UDP and IP it fits an Ethernet frame with room for a tunnel's header.
    static constexpr std::size_t kMaxPayloadBytes = 1400;

    explicit CH264Source(const H264Format& format);

    const H264Format& Format() const noexcept
    {
        return m_encoder.Format();
    }
    const H264ParameterSets& Sets() const noexcept
    {
        return m_encoder.Sets();
    }
    /// Makes the next frame an IDR picture, for a client that has just come.
    void RequestKeyFrame() noexcept
    {
        m_encoder.RequestKeyFrame();
    }

    std::uint8_t PayloadType() const override;
    std::uint32_t ClockHz() const override;
    std::uint32_t TicksPerFrame() const override;
    std::chrono::microseconds FrameTime() const override;
    std::vector<MediaPayload> NextFrame() override;

private:
    CH264Encoder m_encoder;
    CTestPicture m_picture;
    std::uint64_t m_frame = 0;
};
