#pragma once

#include "Media/RtpPacket.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Puts NAL units together again (RFC 6184, packetization modes 0 and 1): single units, STAP-A and FU-A. Packets are
/// taken in the order in which they arrive; one that is late or missing costs the unit that it is part of.
/// Holds at most one unfinished unit of at most kMaxUnitBytes. Not thread-safe.
class CH264Depacketiser
{
public:
    static constexpr std::size_t kMaxUnitBytes = 8u << 20;

    /// The units that this packet finishes, without start codes.
    std::vector<std::string> Take(const RtpHeader& header, std::span<const std::uint8_t> payload);
    /// Forgets what is unfinished.
    void Reset() noexcept;

    /// Units of which a part was lost, and payloads that are malformed or of an interleaved mode.
    [[nodiscard]] std::uint64_t CountBroken() const noexcept
    {
        return m_countBroken;
    }

private:
    void TakeAggregate(std::span<const std::uint8_t> payload, std::vector<std::string>& units);
    void TakeFragment(std::span<const std::uint8_t> payload, std::vector<std::string>& units);
    void DropUnfinished() noexcept;

    std::optional<std::string> m_unfinished;
    std::uint16_t m_nextNumber = 0;
    std::uint64_t m_countBroken = 0;
};
