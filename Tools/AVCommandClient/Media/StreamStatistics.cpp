#include "Media/StreamStatistics.h"

#include <cmath>

namespace
{
// RFC 3550, A.1: how far a number may be ahead of or behind the highest one and still belong to the same run.
constexpr std::uint16_t kMaxDropout = 3000;
constexpr std::uint16_t kMaxMisorder = 100;
constexpr std::uint64_t kCycle = 0x10000;
} // namespace

double StreamFigures::LostPercent() const noexcept
{
    const auto expected = static_cast<double>(packets + lost);
    return expected > 0 ? 100.0 * static_cast<double>(lost) / expected : 0;
}

void CStreamStatistics::Add(const RtpHeader& header, std::size_t packetBytes, Time arrival) noexcept
{
    ++m_figures.packets;
    m_figures.bytes += packetBytes;
    m_figures.payloadType = header.payloadType;
    m_figures.ssrc = header.ssrc;
    if (!m_run || m_run->ssrc != header.ssrc)
        Begin(header);
    else if (!Follow(header.sequenceNumber))
        return;
    ++m_run->received;
    MeasureJitter(header, arrival);
}

void CStreamStatistics::Interrupt() noexcept
{
    m_lostBefore += LostInRun();
    m_run.reset();
    m_awaitedAfterJump.reset();
}

StreamFigures CStreamStatistics::Figures() const noexcept
{
    StreamFigures figures = m_figures;
    figures.lost = m_lostBefore + LostInRun();
    figures.jitterMs = 1000.0 * m_jitterTicks / m_clockHz;
    return figures;
}

void CStreamStatistics::Begin(const RtpHeader& header) noexcept
{
    if (!m_run || m_run->ssrc != header.ssrc)
        m_jitterTicks = 0;
    m_lostBefore += LostInRun();
    m_awaitedAfterJump.reset();
    m_run = Run{.ssrc = header.ssrc,
                .firstNumber = header.sequenceNumber,
                .highestNumber = header.sequenceNumber,
                .transit = std::nullopt};
}

/// False for a packet far outside of the run; two of them in a row begin a new one.
bool CStreamStatistics::Follow(std::uint16_t number) noexcept
{
    const auto ahead = static_cast<std::uint16_t>(number - m_run->highestNumber);
    if (ahead < kMaxDropout)
    {
        if (number < m_run->highestNumber)
            m_run->cycles += kCycle;
        m_run->highestNumber = number;
    }
    else if (ahead <= kCycle - kMaxMisorder)
    {
        if (m_awaitedAfterJump != number)
        {
            m_awaitedAfterJump = static_cast<std::uint16_t>(number + 1);
            return false;
        }
        // The packet that announced the jump belongs to the new run, too.
        Begin(RtpHeader{.sequenceNumber = static_cast<std::uint16_t>(number - 1), .ssrc = m_run->ssrc});
        m_run->highestNumber = number;
        m_run->cycles = number == 0 ? kCycle : 0;
        m_run->received = 1;
    }
    return true;
}

void CStreamStatistics::MeasureJitter(const RtpHeader& header, Time arrival) noexcept
{
    const double arrivalTicks = std::chrono::duration<double>(arrival.time_since_epoch()).count() * m_clockHz;
    // The difference of two transits matters, and it is small: the timestamp's wrap shows as a jump of 2^32.
    const double transit = arrivalTicks - header.timestamp;
    if (m_run->transit)
    {
        const double difference = std::abs(std::remainder(transit - *m_run->transit, 4294967296.0));
        m_jitterTicks += (difference - m_jitterTicks) / 16;
    }
    m_run->transit = transit;
}

std::uint64_t CStreamStatistics::LostInRun() const noexcept
{
    if (!m_run)
        return 0;
    const std::uint64_t expected = m_run->cycles + m_run->highestNumber - m_run->firstNumber + 1;
    return expected > m_run->received ? expected - m_run->received : 0;
}
