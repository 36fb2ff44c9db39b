#pragma once

#include "Media/RtpPacket.h"

#include <chrono>
#include <cstdint>
#include <optional>

/// What a receiver can say about one RTP stream. Counts, unlike the jitter, cover every source that took part.
struct StreamFigures
{
    std::uint64_t packets = 0;
    /// Of whole RTP packets, headers included, without UDP and IP.
    std::uint64_t bytes = 0;
    /// Awaited but not received; duplicates make it smaller, as in RFC 3550, A.3, but never less than 0.
    std::uint64_t lost = 0;
    double jitterMs = 0;
    std::uint8_t payloadType = 0;
    std::uint32_t ssrc = 0;

    double LostPercent() const noexcept;
};

/// Counts packets, loss and jitter as RFC 3550 tells receivers to (6.4.1, A.1, A.3, A.8). A new source, and a sequence
/// number far from the last, begin a new count of what is expected. Not thread-safe; the caller brings the time.
class CStreamStatistics
{
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit CStreamStatistics(std::uint32_t clockHz) noexcept : m_clockHz(clockHz) {}

    void Add(const RtpHeader& header, std::size_t packetBytes, Time arrival) noexcept;
    /// What does not arrive from now until the next packet is not lost: the stream was paused.
    void Interrupt() noexcept;

    [[nodiscard]] StreamFigures Figures() const noexcept;

private:
    /// The numbers since the source began, or began anew.
    struct Run
    {
        std::uint32_t ssrc = 0;
        std::uint16_t firstNumber = 0;
        std::uint16_t highestNumber = 0;
        std::uint64_t cycles = 0;
        std::uint64_t received = 0;
        std::optional<double> transit;
    };

    void Begin(const RtpHeader& header) noexcept;
    bool Follow(std::uint16_t number) noexcept;
    void MeasureJitter(const RtpHeader& header, Time arrival) noexcept;
    std::uint64_t LostInRun() const noexcept;

    std::uint32_t m_clockHz;
    std::optional<Run> m_run;
    std::optional<std::uint16_t> m_awaitedAfterJump;
    std::uint64_t m_lostBefore = 0;
    double m_jitterTicks = 0;
    StreamFigures m_figures;
};
