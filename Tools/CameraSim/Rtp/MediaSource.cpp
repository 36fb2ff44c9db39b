#include "CameraSim/Rtp/MediaSource.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

namespace
{

constexpr std::uint8_t kPcmuPayloadType = 0; // RFC 3551
constexpr std::uint8_t kVideoPayloadType = 96;
constexpr std::uint32_t kVideoClockHz = 90000;
constexpr unsigned kKeyFrameSeconds = 2;

/// ITU-T G.711 mu-law.
std::uint8_t MuLaw(int sample)
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

/// A tone of 1000 Hz at half of full scale, 20 ms to a packet.
class CPcmuTone final : public IMediaSource
{
public:
    std::uint8_t PayloadType() const override
    {
        return kPcmuPayloadType;
    }
    std::uint32_t TicksPerFrame() const override
    {
        return kSamples;
    }
    std::chrono::microseconds FrameTime() const override
    {
        return std::chrono::milliseconds(20);
    }
    std::vector<MediaPayload> NextFrame() override
    {
        std::string bytes;
        // 20 ms hold a whole number of waves, so every packet begins at the same phase.
        for (std::uint32_t i = 0; i < kSamples; ++i)
        {
            const double sample = 16384 * std::sin(2 * std::numbers::pi * i / kSamplesPerWave);
            bytes += static_cast<char>(MuLaw(static_cast<int>(std::lround(sample))));
        }
        return {{std::move(bytes), false}};
    }

private:
    static constexpr std::uint32_t kSamples = 160;
    static constexpr std::uint32_t kSamplesPerWave = 8;
};

/// What both kinds of video share: the rate, the key frame distance, and pictures as large as the bit rate asks.
class CVideoSource : public IMediaSource
{
public:
    explicit CVideoSource(const StreamOrder& order)
        : m_framesPerSecond(std::clamp(order.framesPerSecond, 1u, 60u)),
          m_frameBytes(std::clamp(order.kilobitsPerSecond * 125 / m_framesPerSecond, 16u, 60000u))
    {
    }

    std::uint8_t PayloadType() const override
    {
        return kVideoPayloadType;
    }
    std::uint32_t TicksPerFrame() const override
    {
        return kVideoClockHz / m_framesPerSecond;
    }
    std::chrono::microseconds FrameTime() const override
    {
        return std::chrono::microseconds(1'000'000 / m_framesPerSecond);
    }

protected:
    static constexpr std::size_t kMaxPayloadBytes = 1400;

    bool NextIsKeyFrame()
    {
        return m_frame++ % (m_framesPerSecond * kKeyFrameSeconds) == 0;
    }

    /// Filler that holds no start code: neither two zero bytes nor the same byte for ever.
    std::string Filler(std::size_t bytes) const
    {
        std::string filler;
        for (std::size_t i = 0; i < bytes; ++i)
            filler += static_cast<char>(0x11 + (i + m_frame) % 0xE0);
        return filler;
    }

    std::size_t FrameBytes() const
    {
        return m_frameBytes;
    }

private:
    unsigned m_framesPerSecond;
    unsigned m_frameBytes;
    unsigned m_frame = 0;
};

/// RFC 6416: the visual object headers and an I-VOP in a key frame, P-VOPs between; split anywhere, marker at the end.
class CMpeg4Video final : public CVideoSource
{
public:
    using CVideoSource::CVideoSource;

    std::vector<MediaPayload> NextFrame() override
    {
        using namespace std::string_view_literals;
        const bool isKey = NextIsKeyFrame();
        std::string frame;
        if (isKey)
            frame += "\x00\x00\x01\xB0\x08\x00\x00\x01\xB5\x89\x13\x00\x00\x01\x00\x00\x00\x01\x20"sv;
        // vop_coding_type, two bits behind the start code: 0 intra, 1 predicted.
        frame += isKey ? "\x00\x00\x01\xB6\x10"sv : "\x00\x00\x01\xB6\x50"sv;
        frame += Filler(FrameBytes());
        std::vector<MediaPayload> payloads;
        for (std::size_t at = 0; at < frame.size(); at += kMaxPayloadBytes)
            payloads.push_back({frame.substr(at, kMaxPayloadBytes), at + kMaxPayloadBytes >= frame.size()});
        return payloads;
    }
};

/// RFC 6184, packetization mode 1: parameter sets and slices as single NAL units, large slices as FU-A.
class CH264Video final : public CVideoSource
{
public:
    using CVideoSource::CVideoSource;

    std::vector<MediaPayload> NextFrame() override
    {
        using namespace std::string_literals;
        const bool isKey = NextIsKeyFrame();
        std::vector<MediaPayload> payloads;
        if (isKey)
        {
            payloads.push_back({"\x67\x42\xE0\x1E\xDA\x02\x80\xF6\x40"s, false});
            payloads.push_back({"\x68\xCE\x3C\x80"s, false});
        }
        const std::uint8_t nal = isKey ? 0x65 : 0x41;
        AppendFragments(payloads, nal, Filler(FrameBytes()));
        payloads.back().marker = true;
        return payloads;
    }

private:
    static void AppendFragments(std::vector<MediaPayload>& payloads, std::uint8_t nal, const std::string& slice)
    {
        if (slice.size() < kMaxPayloadBytes)
        {
            payloads.push_back({static_cast<char>(nal) + slice, false});
            return;
        }
        constexpr std::uint8_t kFuA = 28;
        for (std::size_t at = 0; at < slice.size(); at += kMaxPayloadBytes)
        {
            const bool first = at == 0;
            const bool last = at + kMaxPayloadBytes >= slice.size();
            std::string bytes;
            bytes += static_cast<char>((nal & 0xE0) | kFuA);
            bytes += static_cast<char>((first ? 0x80 : 0) | (last ? 0x40 : 0) | (nal & 0x1F));
            payloads.push_back({bytes + slice.substr(at, kMaxPayloadBytes), false});
        }
    }
};

} // namespace

std::unique_ptr<IMediaSource> IMediaSource::Make(const StreamOrder& order)
{
    switch (order.kind)
    {
    case MediaKind::Mpeg4:
        return std::make_unique<CMpeg4Video>(order);
    case MediaKind::H264:
        return std::make_unique<CH264Video>(order);
    case MediaKind::Pcmu:
        break;
    }
    return std::make_unique<CPcmuTone>();
}
