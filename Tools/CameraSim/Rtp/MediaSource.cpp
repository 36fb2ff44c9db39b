#include "CameraSim/Rtp/MediaSource.h"

#include "CameraSim/Rtp/H264Source.h"
#include "CameraSim/Rtp/PcmuTone.h"

#include <algorithm>
#include <string_view>

namespace
{

constexpr unsigned kKeyFrameSeconds = 2;
constexpr unsigned kMaxFrameBytes = 60000;

/// RFC 6416: the visual object headers and an I-VOP in a key frame, P-VOPs between; split anywhere, marker at the end.
/// Filler instead of pictures, as much of it as the bit rate asks: it does not decode.
class CMpeg4Video final : public IMediaSource
{
public:
    explicit CMpeg4Video(const StreamOrder& order)
        : m_framesPerSecond(std::clamp(order.framesPerSecond, 1u, 60u)),
          m_frameBytes(std::clamp(order.kilobitsPerSecond * 125 / m_framesPerSecond, 16u, kMaxFrameBytes))
    {
    }

    std::uint8_t PayloadType() const override
    {
        return CH264Source::kPayloadType;
    }
    std::uint32_t ClockHz() const override
    {
        return CH264Source::kClockHz;
    }
    std::uint32_t TicksPerFrame() const override
    {
        return ClockHz() / m_framesPerSecond;
    }
    std::chrono::microseconds FrameTime() const override
    {
        return std::chrono::microseconds(1'000'000 / m_framesPerSecond);
    }

    std::vector<MediaPayload> NextFrame() override
    {
        using namespace std::string_view_literals;
        const bool isKey = NextIsKeyFrame();
        std::string frame;
        if (isKey)
            frame += "\x00\x00\x01\xB0\x08\x00\x00\x01\xB5\x89\x13\x00\x00\x01\x00\x00\x00\x01\x20"sv;
        // vop_coding_type, two bits behind the start code: 0 intra, 1 predicted.
        frame += isKey ? "\x00\x00\x01\xB6\x10"sv : "\x00\x00\x01\xB6\x50"sv;
        frame += Filler(m_frameBytes);
        std::vector<MediaPayload> payloads;
        for (std::size_t at = 0; at < frame.size(); at += CH264Source::kMaxPayloadBytes)
            payloads.push_back(
                {frame.substr(at, CH264Source::kMaxPayloadBytes), at + CH264Source::kMaxPayloadBytes >= frame.size()});
        return payloads;
    }

private:
    bool NextIsKeyFrame()
    {
        return m_frame++ % (m_framesPerSecond * kKeyFrameSeconds) == 0;
    }

    /// It holds no start code: neither two zero bytes nor the same byte for ever.
    std::string Filler(std::size_t bytes) const
    {
        std::string filler;
        for (std::size_t i = 0; i < bytes; ++i)
            filler += static_cast<char>(0x11 + (i + m_frame) % 0xE0);
        return filler;
    }

    unsigned m_framesPerSecond;
    unsigned m_frameBytes;
    unsigned m_frame = 0;
};

/// The IPELA requests know no profile and no key picture distance.
H264Format FormatOf(const StreamOrder& order)
{
    H264Format format{.width = order.width, .height = order.height, .framesPerSecond = order.framesPerSecond};
    format.keyFrameDistance = order.framesPerSecond * kKeyFrameSeconds;
    format.kilobitsPerSecond = std::min(order.kilobitsPerSecond, order.framesPerSecond * kMaxFrameBytes / 125);
    return format;
}

} // namespace

std::unique_ptr<IMediaSource> IMediaSource::Make(const StreamOrder& order)
{
    switch (order.kind)
    {
    case MediaKind::Mpeg4:
        return std::make_unique<CMpeg4Video>(order);
    case MediaKind::H264:
        return std::make_unique<CH264Source>(FormatOf(order));
    case MediaKind::Pcmu:
        break;
    }
    return std::make_unique<CPcmuTone>();
}
