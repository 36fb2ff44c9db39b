#include "CameraSim/Rtp/RtpPacket.h"

#include "CameraSim/Rtp/BigEndian.h"

namespace RtpPacket
{

std::string Write(const RtpHeader& header, std::string_view payload)
{
    std::string packet;
    packet.reserve(12 + payload.size());
    packet += static_cast<char>(0x80);
    packet += static_cast<char>((header.marker ? 0x80 : 0) | (header.payloadType & 0x7F));
    BigEndian::Append(packet, header.sequence);
    BigEndian::Append(packet, header.timestamp);
    BigEndian::Append(packet, header.ssrc);
    packet += payload;
    return packet;
}

} // namespace RtpPacket
