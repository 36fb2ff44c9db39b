#include "Media/H264Depacketiser.h"

#include <utility>

namespace
{
constexpr unsigned kTypeMask = 0x1F;
constexpr unsigned kLastSingleType = 23;
constexpr unsigned kStapA = 24;
constexpr unsigned kFuA = 28;

void Append(std::string& unit, std::span<const std::uint8_t> bytes)
{
    unit.append(bytes.begin(), bytes.end());
}
} // namespace

std::vector<std::string> CH264Depacketiser::Take(const RtpHeader& header, std::span<const std::uint8_t> payload)
{
    std::vector<std::string> units;
    if (m_unfinished && header.sequenceNumber != m_nextNumber)
        DropUnfinished();
    m_nextNumber = static_cast<std::uint16_t>(header.sequenceNumber + 1);
    if (payload.empty())
        return units;
    const unsigned type = payload[0] & kTypeMask;
    if (type == kFuA)
    {
        TakeFragment(payload, units);
        return units;
    }
    DropUnfinished();
    if (type >= 1 && type <= kLastSingleType)
        Append(units.emplace_back(), payload);
    else if (type == kStapA)
        TakeAggregate(payload.subspan(1), units);
    else
        ++m_countBroken;
    return units;
}

void CH264Depacketiser::Reset() noexcept
{
    m_unfinished.reset();
}

void CH264Depacketiser::TakeAggregate(std::span<const std::uint8_t> payload, std::vector<std::string>& units)
{
    while (!payload.empty())
    {
        const std::size_t sizeBytes = payload.size() < 2 ? 0 : std::size_t{payload[0]} << 8 | payload[1];
        if (sizeBytes == 0 || sizeBytes > payload.size() - 2)
        {
            ++m_countBroken;
            return;
        }
        Append(units.emplace_back(), payload.subspan(2, sizeBytes));
        payload = payload.subspan(2 + sizeBytes);
    }
}

void CH264Depacketiser::TakeFragment(std::span<const std::uint8_t> payload, std::vector<std::string>& units)
{
    if (payload.size() < 2)
    {
        DropUnfinished();
        ++m_countBroken;
        return;
    }
    const bool isStart = (payload[1] & 0x80) != 0;
    const bool isEnd = (payload[1] & 0x40) != 0;
    if (isStart)
    {
        DropUnfinished();
        m_unfinished.emplace(1, static_cast<char>((payload[0] & ~kTypeMask) | (payload[1] & kTypeMask)));
    }
    // The rest of a unit whose beginning was lost has been counted with it, or began before we listened.
    if (!m_unfinished)
        return;
    Append(*m_unfinished, payload.subspan(2));
    if (m_unfinished->size() > kMaxUnitBytes)
        DropUnfinished();
    else if (isEnd)
        units.push_back(*std::exchange(m_unfinished, std::nullopt));
}

void CH264Depacketiser::DropUnfinished() noexcept
{
    if (m_unfinished)
        ++m_countBroken;
    m_unfinished.reset();
}
