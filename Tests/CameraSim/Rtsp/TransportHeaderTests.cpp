#include "CameraSim/Rtsp/TransportHeader.h"

#include <gtest/gtest.h>

namespace
{

TEST(TransportHeader, ReadsWhatClientsOffer)
{
    const struct
    {
        const char* why;
        const char* text;
        const char* protocol;
        bool multicast;
        int clientRtpPort;
        int clientRtcpPort;
        int rtpChannel;
        int rtcpChannel;
        bool forPlaying;
    } rows[] = {
        {"unicast", "RTP/AVP;unicast;client_port=5000-5001", "RTP/AVP", false, 5000, 5001, -1, -1, true},
        {"one port means two", "RTP/AVP/UDP;unicast;client_port=5000", "RTP/AVP/UDP", false, 5000, 5001, -1, -1, true},
        {"multicast, with an item that is empty", "RTP/AVP;multicast;", "RTP/AVP", true, 0, 0, -1, -1, true},
        {"interleaved", "RTP/AVP/TCP;unicast;interleaved=2-3", "RTP/AVP/TCP", false, 0, 0, 2, 3, true},
        {"any case, blanks", " RTP/AVP ; UNICAST ; Client_Port = 6-9 ", "RTP/AVP", false, 6, 9, -1, -1, true},
        {"mode play", "RTP/AVP;unicast;mode=\"PLAY\"", "RTP/AVP", false, 0, 0, -1, -1, true},
        {"mode record", "RTP/AVP;unicast;mode=record", "RTP/AVP", false, 0, 0, -1, -1, false},
        {"a port out of range", "RTP/AVP;unicast;client_port=70000-70001", "RTP/AVP", false, 0, 0, -1, -1, true},
    };
    for (const auto& row : rows)
    {
        const auto offered = TransportHeader::Parse(row.text);
        ASSERT_EQ(1u, offered.size()) << row.why;
        EXPECT_EQ(row.protocol, offered[0].protocol) << row.why;
        EXPECT_EQ(row.multicast, offered[0].multicast) << row.why;
        EXPECT_EQ(row.clientRtpPort, offered[0].clientRtpPort) << row.why;
        EXPECT_EQ(row.clientRtcpPort, offered[0].clientRtcpPort) << row.why;
        EXPECT_EQ(row.rtpChannel, offered[0].rtpChannel) << row.why;
        EXPECT_EQ(row.rtcpChannel, offered[0].rtcpChannel) << row.why;
        EXPECT_EQ(row.forPlaying, offered[0].forPlaying) << row.why;
    }
}

TEST(TransportHeader, ReadsSeveralInTheirOrder)
{
    const auto offered = TransportHeader::Parse("RTP/AVP/TCP;unicast;interleaved=0-1, RTP/AVP;unicast;client_port=8-9");
    ASSERT_EQ(2u, offered.size());
    EXPECT_TRUE(offered[0].IsInterleaved());
    EXPECT_FALSE(offered[0].IsUdp());
    EXPECT_TRUE(offered[1].IsUdp());
    EXPECT_EQ(8, offered[1].clientRtpPort);
    EXPECT_TRUE(TransportHeader::Parse("").empty());
}

TEST(TransportHeader, WritesWhatIsGranted)
{
    RtspTransport unicast;
    unicast.clientRtpPort = 5000;
    unicast.clientRtcpPort = 5007;
    unicast.serverRtpPort = 6970;
    unicast.ssrc = 0x1A2B3C;
    EXPECT_EQ("RTP/AVP;unicast;client_port=5000-5007;server_port=6970-6971;ssrc=001A2B3C;mode=\"PLAY\"",
              TransportHeader::Format(unicast));
    RtspTransport multicast;
    multicast.multicast = true;
    multicast.destination = "239.1.2.3";
    multicast.serverRtpPort = 6970;
    multicast.ttl = 5;
    EXPECT_EQ("RTP/AVP;multicast;destination=239.1.2.3;port=6970-6971;ttl=5;ssrc=00000000;mode=\"PLAY\"",
              TransportHeader::Format(multicast));
    RtspTransport interleaved;
    interleaved.protocol = "RTP/AVP/TCP";
    interleaved.rtpChannel = 2;
    interleaved.rtcpChannel = 3;
    EXPECT_EQ("RTP/AVP/TCP;unicast;interleaved=2-3;ssrc=00000000;mode=\"PLAY\"", TransportHeader::Format(interleaved));
}

} // namespace
