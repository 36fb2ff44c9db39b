#include "CameraSim/CameraSimulator.h"

#include "TestClient.h"
#include "UdpReceiver.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

std::string Unicast(const char* path, const CUdpReceiver& receiver)
{
    return "/" + std::string(path) + "?UdpMode=unicast&UdpPort=" + std::to_string(receiver.Port());
}

TEST(IpelaStream, AudioIsAToneInPcmu)
{
    CUdpReceiver receiver;
    CCameraSimulator camera({.model = "SNC-EP580"});
    CTestClient client(camera.Start());
    ASSERT_EQ(200u, client.Get(Unicast("audio", receiver)).status);
    const auto packets = receiver.Receive(5);
    ASSERT_EQ(5u, packets.size());
    for (std::size_t i = 0; i < packets.size(); ++i)
    {
        const ReceivedPacket& packet = packets[i];
        EXPECT_EQ(2u, packet.version);
        EXPECT_FALSE(packet.padding);
        EXPECT_FALSE(packet.extension);
        EXPECT_EQ(0u, packet.sourceCount);
        EXPECT_EQ(0u, packet.payloadType);
        EXPECT_EQ(160u, packet.payload.size());
        EXPECT_EQ(packets[0].ssrc, packet.ssrc);
        EXPECT_EQ(static_cast<std::uint16_t>(packets[0].sequence + i), packet.sequence);
        EXPECT_EQ(packets[0].timestamp + 160 * i, packet.timestamp);
    }
    ASSERT_EQ(1u, camera.Streams().size());
    EXPECT_EQ(packets[0].ssrc, camera.Streams()[0].ssrc);
    EXPECT_GE(camera.Streams()[0].packets, 5u);
}

TEST(IpelaStream, VideoFollowsCodecRateAndModel)
{
    struct Row
    {
        const char* why;
        const char* model;
        const char* path;
        const char* setup;
        std::uint32_t ticks;
        std::string firstBytes;
    };
    const Row rows[] = {
        {"MPEG-4 begins with its sequence header",
         "SNC-RZ25",
         "mpeg4",
         "M4FrameRate=30",
         3000,
         {"\x00\x00\x01\xB0", 4}},
        {"H.264 begins with its parameter sets", "SNC-EP580", "image1", "FrameRate1=10", 9000, {"\x78\0", 2}},
        {"an H.264 camera set to MPEG-4", "SNC-EP580", "image1", "ImageCodec1=mpeg4", 3000, {"\x00\x00\x01\xB0", 4}},
    };
    for (const Row& row : rows)
    {
        CUdpReceiver receiver;
        CCameraSimulator camera({.model = row.model});
        CTestClient client(camera.Start());
        ASSERT_EQ(200u, client.Get("/command/camera.cgi?" + std::string(row.setup)).status) << row.why;
        ASSERT_EQ(200u, client.Get(Unicast(row.path, receiver)).status) << row.why;
        // The first two pictures, a key picture and one that builds on it, are well within so many packets.
        const auto packets = receiver.Receive(30);
        ASSERT_EQ(30u, packets.size()) << row.why;
        EXPECT_EQ(row.firstBytes, packets[0].payload.substr(0, row.firstBytes.size())) << row.why;
        std::size_t markers = 0;
        for (std::size_t i = 1; i < packets.size(); ++i)
        {
            EXPECT_EQ(96u, packets[i].payloadType) << row.why;
            EXPECT_EQ(static_cast<std::uint16_t>(packets[i - 1].sequence + 1), packets[i].sequence) << row.why;
            EXPECT_EQ(packets[i - 1].timestamp + (packets[i - 1].marker ? row.ticks : 0), packets[i].timestamp)
                << row.why;
            markers += packets[i].marker ? 1u : 0u;
        }
        EXPECT_GE(markers, 1u) << row.why;
    }
}

TEST(IpelaStream, MulticastOrdersStayOnThisMachine)
{
    CUdpReceiver video;
    CUdpReceiver audio;
    CCameraSimulator camera({.model = "SNC-RZ25"});
    camera.SetSetting("McVideoPort", std::to_string(video.Port()));
    camera.SetSetting("McAudioPort", std::to_string(audio.Port()));
    CTestClient client(camera.Start());
    ASSERT_EQ(200u, client.Get("/mpeg4?udpMode=multicast").status);
    ASSERT_EQ(200u, client.Get("/audio?udpMode=multicast").status);
    EXPECT_EQ(2u, video.Receive(2).size());
    EXPECT_EQ(2u, audio.Receive(2).size());
    const auto streams = camera.Streams();
    ASSERT_EQ(2u, streams.size());
    EXPECT_TRUE(streams[0].order.multicast);
    EXPECT_EQ("239.192.0.1", streams[0].order.multicastAddress);
}

TEST(IpelaStream, CrookedOrdersAreRefused)
{
    CCameraSimulator camera({.model = "SNC-EP580"});
    CTestClient client(camera.Start());
    for (const char* target :
         {"/image1", "/image1?UdpMode=broadcast", "/image1?UdpMode=unicast", "/image1?UdpMode=unicast&UdpPort=0",
          "/image1?UdpMode=unicast&UdpPort=65536", "/image1?UdpMode=unicast&UdpPort=x", "/audio?UdpPort=5000"})
        EXPECT_EQ(400u, client.Get(target).status) << target;
    EXPECT_TRUE(camera.Streams().empty());
}

TEST(IpelaStream, StreamsWaitForTheRequiredSettings)
{
    struct Row
    {
        const char* name;
        const char* wrong;
        const char* right;
    };
    const Row rows[] = {
        {"AudioIn", "off", "on"},
        {"AudInCodec", "g726_32", "g711_64"},
        {"AutoRateCtrl1", "on", "off"},
        {"ImageCodec1", "jpeg", "h264"},
    };
    CUdpReceiver receiver;
    for (const Row& row : rows)
    {
        CCameraSimulator camera({.model = "SNC-EP580"});
        CTestClient client(camera.Start());
        ASSERT_EQ(200u, client.Get("/command/camera.cgi?" + std::string(row.name) + "=" + row.wrong).status);
        for (const char* path : {"image1", "audio"})
        {
            const ClientReply reply = client.Get(Unicast(path, receiver));
            EXPECT_EQ(400u, reply.status) << row.name;
            EXPECT_NE(std::string::npos, reply.body.find(row.name)) << reply.body;
        }
        EXPECT_TRUE(camera.Streams().empty());
        ASSERT_EQ(200u, client.Get("/command/camera.cgi?" + std::string(row.name) + "=" + row.right).status);
        EXPECT_EQ(200u, client.Get(Unicast("image1", receiver)).status) << row.name;
        EXPECT_EQ(200u, client.Get(Unicast("audio", receiver)).status) << row.name;
    }
}

TEST(IpelaStream, ALenientCameraStartsAnyway)
{
    CUdpReceiver receiver;
    CCameraSimulator camera({.model = "SNC-EP580", .factorySettings = true, .requireStreamSettings = false});
    CTestClient client(camera.Start());
    EXPECT_EQ(200u, client.Get(Unicast("audio", receiver)).status);
    CameraChange change;
    change.requireStreamSettings = true;
    camera.Change(change);
    EXPECT_EQ(400u, client.Get(Unicast("audio", receiver)).status);
}

TEST(IpelaStream, StopsWhenAskedAndWithTheSimulator)
{
    CUdpReceiver receiver;
    CCameraSimulator camera({.model = "SNC-EP580"});
    CTestClient client(camera.Start());
    ASSERT_EQ(200u, client.Get(Unicast("audio", receiver)).status);
    ASSERT_EQ(1u, receiver.Receive(1).size());
    camera.StopStreams();
    EXPECT_TRUE(camera.Streams().empty());
    // What was on its way may still come; then nothing more.
    receiver.Receive(1000, 200ms);
    EXPECT_TRUE(receiver.Receive(1, 200ms).empty());
    ASSERT_EQ(200u, client.Get(Unicast("audio", receiver)).status);
    ASSERT_EQ(1u, receiver.Receive(1).size());
    camera.Stop();
    EXPECT_TRUE(camera.Streams().empty());
}

} // namespace
