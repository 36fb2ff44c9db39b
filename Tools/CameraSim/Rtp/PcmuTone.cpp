#include "CameraSim/Rtp/PcmuTone.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

CPcmuTone::CPcmuTone(std::chrono::milliseconds packetTime) : m_packetTime(packetTime)
{
    constexpr std::uint32_t kSamplesPerWave = 8;
    for (std::uint32_t i = 0; i < TicksPerFrame(); ++i)
    {
        const double sample = 16384 * std::sin(2 * std::numbers::pi * i / kSamplesPerWave);
        m_packet += static_cast<char>(Encode(static_cast<int>(std::lround(sample))));
    }
}

std::uint8_t CPcmuTone::PayloadType() const
{
    return kPayloadType;
}

std::uint32_t CPcmuTone::ClockHz() const
{
    return kClockHz;
}

std::uint32_t CPcmuTone::TicksPerFrame() const
{
    return kClockHz / 1000 * static_cast<std::uint32_t>(m_packetTime.count());
}

std::chrono::microseconds CPcmuTone::FrameTime() const
{
    return m_packetTime;
}

std::vector<MediaPayload> CPcmuTone::NextFrame()
{
    return {{m_packet, false}};
}

std::uint8_t CPcmuTone::Encode(int sample)
{
    constexpr int kBias = 0x84;
    constexpr int kClip = 32635;
    const int sign = sample < 0 ? 0x80 : 0;
    const int magnitude = std::min(std::abs(sample), kClip) + kBias;
    int exponent = 7;
    for (int mask = 0x4000; (magnitude & mask) == 0 && exponent > 0; mask >>= 1)
        --exponent;
    const int mantissa = (magnitude >> (exponent + 3)) & 0x0F;
    return static_cast<std::uint8_t>(~(sign | (exponent << 4) | mantissa));
}
