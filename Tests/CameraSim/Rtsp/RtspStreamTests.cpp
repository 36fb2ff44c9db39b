#include "CameraSim/Rtp/RtpStream.h"

#include "CameraSim/Text/Base64.h"
#include "Rtsp/RtspCamera.h"
#include "UdpReceiver.h"

#include <gtest/gtest.h>

#include <memory>
#include <system_error>

namespace
{

using namespace std::chrono_literals;

constexpr unsigned char kSenderReport = 200;
constexpr unsigned char kGoodbye = 203;

std::uint32_t BigEndian(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (const char c : bytes)
        value = (value << 8) | static_cast<unsigned char>(c);
    return value;
}

unsigned TypeOf(const std::string& rtcp)
{
    return rtcp.size() < 2 ? 0 : static_cast<unsigned char>(rtcp[1]);
}

/// The NAL units of an aggregation packet (RFC 6184, 5.7.1) in base64, joined by commas as SDP joins them; empty when
/// the payload is none.
std::string AggregatedUnits(std::string_view payload)
{
    constexpr char kStapA = 24;
    std::string units;
    if (payload.empty() || (payload[0] & 0x1F) != kStapA)
        return units;
    for (std::size_t at = 1; at + 2 <= payload.size();)
    {
        const std::size_t length = BigEndian(payload.substr(at, 2));
        units += (units.empty() ? "" : ",") + Base64Text::Encode(payload.substr(at + 2, length));
        at += 2 + length;
    }
    return units;
}

/// The value of a field in the text behind `from`, up to the next "," or ";".
std::string Field(const std::string& text, const std::string& name, std::size_t from = 0)
{
    const auto found = text.find(name + "=", from);
    if (found == text.npos)
        return "";
    const auto at = found + name.size() + 1;
    return text.substr(at, text.find_first_of(",;", at) - at);
}

/// A pair of ports of 127.0.0.1, as a capture application binds them.
struct PortPair
{
    PortPair()
    {
        for (int attempt = 0; attempt < 100 && !rtcp; ++attempt)
        {
            rtp = std::make_unique<CUdpReceiver>();
            try
            {
                rtcp = std::make_unique<CUdpReceiver>(static_cast<std::uint16_t>(rtp->Port() + 1));
            }
            catch (const std::system_error&)
            {
                // Somebody else has it; the next pair may be free.
            }
        }
    }

    std::string Transport() const
    {
        return "RTP/AVP;unicast;client_port=" + std::to_string(rtp->Port()) + "-" + std::to_string(rtcp->Port());
    }

    std::unique_ptr<CUdpReceiver> rtp;
    std::unique_ptr<CUdpReceiver> rtcp;
};

class RtspStream : public testing::Test
{
protected:
    RtspAnswer InSession(std::string_view method)
    {
        return m_client.Request(method, m_client.Url(), m_client.SessionHeader());
    }

    CRtspCamera m_camera;
    CTunnelClient m_client{m_camera.port};
};

TEST_F(RtspStream, UnicastGoesToTheClientsPortsAsAnnounced)
{
    PortPair video;
    PortPair audio;
    ASSERT_TRUE(video.rtcp && audio.rtcp);
    const std::string granted = m_client.Setup(1, video.Transport()).Header("Transport");
    EXPECT_TRUE(granted.starts_with(video.Transport() + ";server_port=")) << granted;
    const std::string ssrc = Field(granted, "ssrc");
    m_client.Setup(2, audio.Transport());
    EXPECT_TRUE(video.rtp->Receive(1, 100ms).empty()) << "nothing before PLAY";

    const RtspAnswer play = InSession("PLAY");
    const std::string information = play.Header("RTP-Info");
    const auto second = information.find(",url=");
    ASSERT_NE(std::string::npos, second);
    EXPECT_EQ(m_client.Track(1), information.substr(4, information.find(';') - 4));
    EXPECT_EQ(m_client.Track(2), Field(information, "url", second));

    const auto pictures = video.rtp->Receive(12);
    ASSERT_EQ(12u, pictures.size());
    EXPECT_EQ(Field(information, "seq"), std::to_string(pictures[0].sequence));
    EXPECT_EQ(Field(information, "rtptime"), std::to_string(pictures[0].timestamp));
    for (std::size_t i = 0; i < pictures.size(); ++i)
    {
        EXPECT_EQ(96u, pictures[i].payloadType);
        EXPECT_EQ(std::stoul(ssrc, nullptr, 16), pictures[i].ssrc);
        EXPECT_EQ(static_cast<std::uint16_t>(pictures[0].sequence + i), pictures[i].sequence);
    }
    const auto sounds = audio.rtp->Receive(3);
    ASSERT_EQ(3u, sounds.size());
    EXPECT_EQ(Field(information, "seq", second), std::to_string(sounds[0].sequence));
    EXPECT_EQ(Field(information, "rtptime", second), std::to_string(sounds[0].timestamp));
    EXPECT_EQ(0u, sounds[0].payloadType);
    EXPECT_EQ(160u, sounds[0].payload.size());
}

TEST_F(RtspStream, TheServersPortsAreWhereThePacketsComeFrom)
{
    PortPair video;
    const std::string granted = m_client.Setup(1, video.Transport()).Header("Transport");
    const std::string ports = Field(granted, "server_port");
    const auto rtp = std::stoul(ports);
    EXPECT_EQ(0u, rtp % 2) << "RFC 3550, 11";
    EXPECT_EQ(std::to_string(rtp) + "-" + std::to_string(rtp + 1), ports);
    EXPECT_THROW(CUdpReceiver(static_cast<std::uint16_t>(rtp)), std::system_error) << "the camera holds it";
    EXPECT_THROW(CUdpReceiver(static_cast<std::uint16_t>(rtp + 1)), std::system_error);
    InSession("TEARDOWN");
    EXPECT_NO_THROW(CUdpReceiver(static_cast<std::uint16_t>(rtp)));
}

TEST_F(RtspStream, TheParameterSetsAreThoseOfTheDescription)
{
    const std::string sdp = m_client.Request("DESCRIBE", m_client.Url()).body;
    PortPair video;
    m_client.Setup(1, video.Transport());
    InSession("PLAY");
    const auto packets = video.rtp->Receive(1);
    ASSERT_EQ(1u, packets.size());
    const std::string sets = AggregatedUnits(packets[0].payload);
    EXPECT_NE("", sets);
    EXPECT_NE(sdp.npos, sdp.find("sprop-parameter-sets=" + sets + "\r\n")) << sets;
}

TEST_F(RtspStream, FollowsTheSettingsWhileItPlays)
{
    PortPair video;
    m_client.Setup(1, video.Transport());
    InSession("PLAY");
    const auto before = video.rtp->Receive(1);
    ASSERT_EQ(1u, before.size());
    EXPECT_EQ(200u,
              Fetch(m_camera.port, "/axis-cgi/param.cgi?action=update&Image.I0.Appearance.Resolution=480x270").status);
    const std::string sdp = m_client.Request("DESCRIBE", m_client.Url()).body;
    std::vector<ReceivedPacket> packets = before;
    std::string changed;
    for (int i = 0; i < 2000 && changed.empty(); ++i)
    {
        const auto next = video.rtp->Receive(1);
        ASSERT_EQ(1u, next.size());
        EXPECT_EQ(static_cast<std::uint16_t>(packets.back().sequence + 1), next[0].sequence);
        EXPECT_EQ(before[0].ssrc, next[0].ssrc);
        if (next[0].payload != before[0].payload)
            changed = AggregatedUnits(next[0].payload);
        packets.push_back(next[0]);
    }
    ASSERT_NE("", changed);
    EXPECT_NE(sdp.npos, sdp.find("sprop-parameter-sets=" + changed + "\r\n"));
}

TEST_F(RtspStream, SenderReportsComeBesideThePacketsAndAByeAtTheEnd)
{
    PortPair audio;
    const std::string ssrc = Field(m_client.Setup(2, audio.Transport()).Header("Transport"), "ssrc");
    InSession("PLAY");
    const auto reports = audio.rtcp->ReceiveBytes(1);
    ASSERT_EQ(1u, reports.size());
    ASSERT_GE(reports[0].size(), 28u);
    EXPECT_EQ(kSenderReport, TypeOf(reports[0]));
    const std::string_view report = reports[0];
    EXPECT_EQ(std::stoul(ssrc, nullptr, 16), BigEndian(report.substr(4, 4)));
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto secondsSince1900 = std::chrono::duration_cast<std::chrono::seconds>(now).count() + 2208988800;
    EXPECT_NEAR(static_cast<double>(secondsSince1900), BigEndian(report.substr(8, 4)), 20);
    const auto packets = audio.rtp->Receive(1);
    ASSERT_EQ(1u, packets.size());
    const auto ticks = static_cast<std::int32_t>(BigEndian(report.substr(16, 4)) - packets[0].timestamp);
    EXPECT_NEAR(0, ticks, 8000) << "the report's moment is that of the first packet, nearly";
    EXPECT_EQ(1u, BigEndian(report.substr(20, 4))) << "packets";
    EXPECT_EQ(160u, BigEndian(report.substr(24, 4))) << "octets";
    InSession("TEARDOWN");
    const auto last = audio.rtcp->ReceiveBytes(1);
    ASSERT_EQ(1u, last.size());
    EXPECT_NE(std::string::npos, last[0].find(static_cast<char>(kGoodbye)));
}

TEST_F(RtspStream, InterleavedPacketsComeBetweenTheReplies)
{
    const std::string granted = m_client.Setup(1, "RTP/AVP/TCP;unicast;interleaved=6-7").Header("Transport");
    m_client.Setup(2, "RTP/AVP/TCP;unicast;interleaved=2-3");
    const RtspAnswer play = InSession("PLAY");
    const std::string information = play.Header("RTP-Info");
    bool hasVideo = false;
    bool hasReport = false;
    for (const InterleavedPacket& packet : m_client.Packets(40))
    {
        EXPECT_TRUE(packet.channel == 2 || packet.channel == 3 || packet.channel == 6 || packet.channel == 7);
        const auto rtp = ReceivedPacket::From(packet.bytes);
        if (packet.channel == 6 && !std::exchange(hasVideo, true))
        {
            EXPECT_EQ(Field(information, "seq"), std::to_string(rtp.sequence));
            EXPECT_EQ(Field(information, "rtptime"), std::to_string(rtp.timestamp));
            EXPECT_EQ(std::stoul(Field(granted, "ssrc"), nullptr, 16), rtp.ssrc);
        }
        hasReport = hasReport || (packet.channel == 7 && TypeOf(packet.bytes) == kSenderReport);
    }
    EXPECT_TRUE(hasVideo);
    EXPECT_TRUE(hasReport);
    EXPECT_EQ(200u, m_client.Request("OPTIONS", m_client.Url(), m_client.SessionHeader()).status);
}

TEST_F(RtspStream, AClientsInterleavedPacketsAreSkipped)
{
    m_client.Setup(1, kInterleaved);
    InSession("PLAY");
    std::string report("$\x01\x00\x08", 4);
    report += std::string("\x80\xC9\x00\x01\x00\x00\x00\x00", 8);
    m_client.SendText(report + "OPTIONS * RTSP/1.0\r\nCSeq: 77\r\n\r\n");
    EXPECT_EQ("77", m_client.Receive().Header("CSeq"));
}

TEST_F(RtspStream, MulticastIsAnnouncedAndHeardOnThePortOfThisMachine)
{
    const std::string granted = m_client.Setup(2, "RTP/AVP;multicast;").Header("Transport");
    EXPECT_TRUE(granted.starts_with("RTP/AVP;multicast;destination=239.")) << granted;
    EXPECT_EQ("5", Field(granted, "ttl"));
    const auto port = static_cast<std::uint16_t>(std::stoul(Field(granted, "port")));
    EXPECT_EQ(std::to_string(port) + "-" + std::to_string(port + 1), Field(granted, "port"));
    CUdpReceiver receiver(port);
    InSession("PLAY");
    const auto packets = receiver.Receive(2);
    ASSERT_EQ(2u, packets.size());
    EXPECT_EQ(std::stoul(Field(granted, "ssrc"), nullptr, 16), packets[0].ssrc);
}

TEST_F(RtspStream, APauseIsAGapInTheTimestampsOnly)
{
    PortPair audio;
    m_client.Setup(2, audio.Transport());
    InSession("PLAY");
    ASSERT_EQ(2u, audio.rtp->Receive(2).size());
    InSession("PAUSE");
    std::vector<ReceivedPacket> last;
    for (auto more = audio.rtp->Receive(1, 200ms); !more.empty(); more = audio.rtp->Receive(1, 200ms))
        last = more;
    const std::string information = InSession("PLAY").Header("RTP-Info");
    const auto next = audio.rtp->Receive(1);
    ASSERT_EQ(1u, next.size());
    EXPECT_EQ(Field(information, "seq"), std::to_string(next[0].sequence));
    EXPECT_EQ(Field(information, "rtptime"), std::to_string(next[0].timestamp));
    if (!last.empty())
    {
        EXPECT_EQ(static_cast<std::uint16_t>(last[0].sequence + 1), next[0].sequence);
        const std::uint32_t gap = next[0].timestamp - last[0].timestamp;
        EXPECT_GE(gap, 1600u) << "0.2 s of 8000 ticks";
        EXPECT_EQ(0u, gap % 160);
    }
}

TEST_F(RtspStream, ASecondPlayTellsWhereTheStreamIs)
{
    PortPair audio;
    m_client.Setup(2, audio.Transport());
    InSession("PLAY");
    ASSERT_EQ(2u, audio.rtp->Receive(2).size());
    const std::string information = InSession("PLAY").Header("RTP-Info");
    const std::string wanted = Field(information, "seq");
    for (int i = 0; i < 200; ++i)
    {
        const auto packet = audio.rtp->Receive(1);
        ASSERT_EQ(1u, packet.size());
        if (std::to_string(packet[0].sequence) == wanted)
        {
            EXPECT_EQ(Field(information, "rtptime"), std::to_string(packet[0].timestamp));
            return;
        }
    }
    FAIL() << "no packet " << wanted;
}

} // namespace
