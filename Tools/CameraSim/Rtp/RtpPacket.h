#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct RtpHeader
{
    std::uint8_t payloadType = 0;
    bool marker = false;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
};

namespace RtpPacket
{

/// RFC 3550, 5.1: version 2, no padding, no extension, no contributing sources.
std::string Write(const RtpHeader& header, std::string_view payload);

} // namespace RtpPacket
