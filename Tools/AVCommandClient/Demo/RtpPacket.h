#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// The fixed header of an RTP packet (RFC 3550, section 5.1), as far as the demo looks at it.
struct RtpHeader
{
    std::uint8_t payloadType = 0;
    std::uint16_t sequenceNumber = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
};

namespace RtpPacket
{
/// Nothing when the bytes are too short or of another version than 2.
std::optional<RtpHeader> Parse(std::span<const std::uint8_t> datagram) noexcept;
} // namespace RtpPacket
