#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

/// What a sender reports about one stream (RFC 3550, 6.4.1).
struct SenderReport
{
    std::uint32_t ssrc = 0;
    std::uint64_t ntpTime = 0;      ///< the moment of the report, as RtcpPacket::NtpTime gives it
    std::uint32_t rtpTimestamp = 0; ///< the same moment on the stream's clock
    std::uint32_t packets = 0;      ///< sent so far
    std::uint32_t octets = 0;       ///< of payload, without headers
};

namespace RtcpPacket
{

/// A compound packet: the sender report without report blocks, and the source's CNAME (6.5.1), of which at most 255
/// bytes are sent.
std::string Write(const SenderReport& report, std::string_view canonicalName);

/// The same with a BYE (6.6) behind it: the stream's last word.
std::string WriteBye(const SenderReport& report, std::string_view canonicalName);

/// Seconds since 1900 in the upper half, their fraction in the lower.
std::uint64_t NtpTime(std::chrono::system_clock::time_point when);

} // namespace RtcpPacket
