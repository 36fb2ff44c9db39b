#include "Media/RtpPacket.h"

namespace RtpPacket
{
namespace
{
constexpr std::size_t kHeaderBytes = 12;
constexpr std::size_t kWordBytes = 4;
constexpr unsigned kVersion = 2;

std::uint32_t ReadBigEndian(std::span<const std::uint8_t> bytes) noexcept
{
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}

/// Where the payload lies, or nothing when the packet is none.
std::optional<std::span<const std::uint8_t>> FindPayload(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < kHeaderBytes || datagram[0] >> 6 != kVersion)
        return std::nullopt;
    const bool hasPadding = (datagram[0] & 0x20) != 0;
    const bool hasExtension = (datagram[0] & 0x10) != 0;
    std::size_t begin = kHeaderBytes + kWordBytes * (datagram[0] & 0x0F);
    if (hasExtension)
    {
        if (begin + kWordBytes > datagram.size())
            return std::nullopt;
        begin += kWordBytes + kWordBytes * ReadBigEndian(datagram.subspan(begin + 2, 2));
    }
    // The last byte of the padding counts it, itself included.
    const std::size_t paddingBytes = hasPadding ? datagram.back() : 0;
    if (begin + paddingBytes > datagram.size())
        return std::nullopt;
    return datagram.subspan(begin, datagram.size() - paddingBytes - begin);
}
} // namespace

std::optional<RtpHeader> Parse(std::span<const std::uint8_t> datagram) noexcept
{
    if (!FindPayload(datagram))
        return std::nullopt;
    return RtpHeader{static_cast<std::uint8_t>(datagram[1] & 0x7F),
                     static_cast<std::uint16_t>(ReadBigEndian(datagram.subspan(2, 2))),
                     ReadBigEndian(datagram.subspan(4, 4)), ReadBigEndian(datagram.subspan(8, 4)),
                     (datagram[1] & 0x80) != 0};
}

std::span<const std::uint8_t> Payload(std::span<const std::uint8_t> datagram) noexcept
{
    return FindPayload(datagram).value_or(std::span<const std::uint8_t>());
}
} // namespace RtpPacket
