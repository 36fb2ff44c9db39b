#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// The fixed header of an RTP packet (RFC 3550, section 5.1).
struct RtpHeader
{
    std::uint8_t payloadType = 0;
    std::uint16_t sequenceNumber = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    bool isMarker = false;
};

namespace RtpPacket
{
/// Nothing when the datagram is too short for what its header says, or of another version than 2.
std::optional<RtpHeader> Parse(std::span<const std::uint8_t> datagram) noexcept;

/// What lies behind header, contributing sources and extension, and before padding; empty where Parse gives nothing.
std::span<const std::uint8_t> Payload(std::span<const std::uint8_t> datagram) noexcept;
} // namespace RtpPacket
