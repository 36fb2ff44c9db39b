#include "CameraSim/Rtp/RtpPacket.h"

namespace RtpPacket
{

namespace
{

template <class Integer>
void AppendBigEndian(std::string& text, Integer value)
{
    for (int shift = 8 * (static_cast<int>(sizeof value) - 1); shift >= 0; shift -= 8)
        text += static_cast<char>((value >> shift) & 0xFF);
}

} // namespace

std::string Write(const RtpHeader& header, std::string_view payload)
{
    std::string packet;
    packet.reserve(12 + payload.size());
    packet += static_cast<char>(0x80);
    packet += static_cast<char>((header.marker ? 0x80 : 0) | (header.payloadType & 0x7F));
    AppendBigEndian(packet, header.sequence);
    AppendBigEndian(packet, header.timestamp);
    AppendBigEndian(packet, header.ssrc);
    packet += payload;
    return packet;
}

} // namespace RtpPacket
