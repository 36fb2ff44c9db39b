#include "CameraSim/Rtp/H264Source.h"

#include "CameraSim/Rtp/H264Payload.h"

CH264Source::CH264Source(const H264Format& format) : m_encoder(format), m_picture(m_encoder.Format()) {}

std::uint8_t CH264Source::PayloadType() const
{
    return kPayloadType;
}

std::uint32_t CH264Source::ClockHz() const
{
    return kClockHz;
}

std::uint32_t CH264Source::TicksPerFrame() const
{
    return kClockHz / Format().framesPerSecond;
}

std::chrono::microseconds CH264Source::FrameTime() const
{
    return std::chrono::microseconds(1'000'000 / Format().framesPerSecond);
}

std::vector<MediaPayload> CH264Source::NextFrame()
{
    return H264Payload::Packetise(m_encoder.Encode(m_picture.Draw(m_frame++)), kMaxPayloadBytes);
}
