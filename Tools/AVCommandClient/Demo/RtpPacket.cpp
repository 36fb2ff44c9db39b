#include "Demo/RtpPacket.h"

namespace RtpPacket
{
namespace
{
constexpr std::size_t kHeaderBytes = 12;
constexpr unsigned kVersion = 2;

std::uint32_t ReadBigEndian(std::span<const std::uint8_t> bytes) noexcept
{
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}
} // namespace

std::optional<RtpHeader> Parse(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < kHeaderBytes || datagram[0] >> 6 != kVersion)
        return std::nullopt;
    return RtpHeader{static_cast<std::uint8_t>(datagram[1] & 0x7F),
                     static_cast<std::uint16_t>(ReadBigEndian(datagram.subspan(2, 2))),
                     ReadBigEndian(datagram.subspan(4, 4)), ReadBigEndian(datagram.subspan(8, 4))};
}
} // namespace RtpPacket
