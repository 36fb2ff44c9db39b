#include "Media/RtpPacket.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;

TEST(RtpPacket, PayloadLiesBehindAllThatTheHeaderAnnounces)
{
    struct Row
    {
        const char* reason;
        Bytes datagram;
        bool isRtp;
        Bytes payload;
    };
    const Row rows[] = {
        {"plain", {0x80, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 'p'}, true, {'p'}},
        {"header alone", {0x80, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3}, true, {}},
        {"one byte short", {0x80, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0}, false, {}},
        {"version 1", {0x40, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 'p'}, false, {}},
        {"a contributing source", {0x81, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 9, 9, 9, 9, 'p'}, true, {'p'}},
        {"the source is missing", {0x81, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 9, 9, 9}, false, {}},
        {"an extension of one word",
         {0x90, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 1, 9, 9, 9, 9, 'p'},
         true,
         {'p'}},
        {"the extension's header is cut", {0x90, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0}, false, {}},
        {"the extension is longer than the packet",
         {0x90, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0xFF, 0xFF, 9},
         false,
         {}},
        {"two bytes of padding", {0xA0, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 'p', 0, 2}, true, {'p'}},
        {"more padding than packet", {0xA0, 0x60, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 'p', 4}, false, {}},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(row.isRtp, RtpPacket::Parse(row.datagram).has_value()) << row.reason;
        const auto payload = RtpPacket::Payload(row.datagram);
        EXPECT_EQ(row.payload, Bytes(payload.begin(), payload.end())) << row.reason;
    }
}

TEST(RtpPacket, HeaderFieldsAreBigEndian)
{
    const auto header = RtpPacket::Parse(Bytes{0x80, 0xE0, 0x12, 0x34, 1, 2, 3, 4, 5, 6, 7, 8});
    ASSERT_TRUE(header);
    EXPECT_TRUE(header->isMarker);
    EXPECT_EQ(96, header->payloadType);
    EXPECT_EQ(0x1234, header->sequenceNumber);
    EXPECT_EQ(0x01020304u, header->timestamp);
    EXPECT_EQ(0x05060708u, header->ssrc);
    EXPECT_FALSE(RtpPacket::Parse(Bytes{0x80, 0x60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})->isMarker);
}
} // namespace
