#include "CameraSim/Rtp/RtcpPacket.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

const SenderReport kReport{.ssrc = 0x01020304,
                           .ntpTime = 0x1112131415161718,
                           .rtpTimestamp = 0x21222324,
                           .packets = 0x31323334,
                           .octets = 0x41424344};
const std::string kReportBytes = "\x80\xC8\0\x06\x01\x02\x03\x04\x11\x12\x13\x14\x15\x16\x17\x18!\"#$1234ABCD"s;

TEST(RtcpPacket, AReportIsFollowedByTheSourcesNamePaddedToWords)
{
    struct Row
    {
        const char* reason;
        std::string name;
        std::string description;
    };
    const Row rows[] = {
        {"one zero byte ends the item list", "a",
         "\x81\xCA\0\x02\x01\x02\x03\x04\x01\x01"
         "a\0"s},
        {"a list that ends at a word takes four more", "ab",
         "\x81\xCA\0\x03\x01\x02\x03\x04\x01\x02"
         "ab\0\0\0\0"s},
        {"an empty name", "", "\x81\xCA\0\x02\x01\x02\x03\x04\x01\0\0\0"s},
    };
    for (const Row& row : rows)
        EXPECT_EQ(kReportBytes + row.description, RtcpPacket::Write(kReport, row.name)) << row.reason;
}

TEST(RtcpPacket, ALongNameIsCutToWhatItsLengthByteHolds)
{
    const std::string packet = RtcpPacket::Write(kReport, std::string(300, 'n'));
    EXPECT_EQ('\xFF', packet[kReportBytes.size() + 9]);
    EXPECT_EQ(kReportBytes.size() + 4 + 4 + 2 + 255 + 3, packet.size());
}

TEST(RtcpPacket, TheLastWordIsAGoodbye)
{
    EXPECT_EQ(RtcpPacket::Write(kReport, "cam") + "\x81\xCB\0\x01\x01\x02\x03\x04"s,
              RtcpPacket::WriteBye(kReport, "cam"));
}

TEST(RtcpPacket, NtpTimeCountsFrom1900InFixedPoint)
{
    using namespace std::chrono;
    const system_clock::time_point epoch{};
    EXPECT_EQ(0x83AA7E8000000000u, RtcpPacket::NtpTime(epoch));
    EXPECT_EQ(0x83AA7E8180000000u, RtcpPacket::NtpTime(epoch + milliseconds(1500)));
}

} // namespace
