#include "CameraSim/Rtp/RtpPacket.h"

#include <gtest/gtest.h>

namespace
{

TEST(RtpPacket, WritesTheHeaderBitForBit)
{
    RtpHeader header;
    header.payloadType = 96;
    header.marker = true;
    header.sequence = 0x1234;
    header.timestamp = 0x89ABCDEF;
    header.ssrc = 0x01020304;
    EXPECT_EQ(std::string("\x80\xE0\x12\x34\x89\xAB\xCD\xEF\x01\x02\x03\x04pay", 15), RtpPacket::Write(header, "pay"));
    header.marker = false;
    EXPECT_EQ('\x60', RtpPacket::Write(header, "")[1]);
}

} // namespace
