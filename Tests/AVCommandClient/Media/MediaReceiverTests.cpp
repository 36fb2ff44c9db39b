#include "Media/MediaReceiver.h"

#include <asio.hpp>
#include <gmock/gmock.h>

#include <vector>

namespace
{
using namespace std::chrono_literals;
using testing::HasSubstr;

/// Sends datagrams to ports of this machine.
class CSender
{
public:
    void Send(std::uint16_t port, const std::string& bytes)
    {
        m_socket.send_to(asio::buffer(bytes), {asio::ip::address_v4::loopback(), port});
    }

private:
    asio::io_context m_io;
    asio::ip::udp::socket m_socket{m_io, {asio::ip::address_v4::loopback(), 0}};
};

/// "video rtp text", "audio rtcp text"
std::vector<std::string> Receive(CUdpMediaReceiver& receiver, std::size_t count)
{
    std::vector<std::string> received;
    const auto deadline = receiver.Now() + 10s;
    while (received.size() < count && receiver.Now() < deadline)
    {
        receiver.Receive(20ms, [&](const IMediaReceiver::Datagram& datagram) {
            received.push_back(std::string(datagram.stream == MediaStream::kVideo ? "video" : "audio") +
                               (datagram.isControl ? " rtcp " : " rtp ") +
                               std::string(datagram.bytes.begin(), datagram.bytes.end()));
        });
    }
    return received;
}

TEST(MediaReceiver, EachStreamHasAnEvenPortAndTheNextOne)
{
    CUdpMediaReceiver receiver;
    const std::uint16_t video = receiver.OpenUnicast(MediaStream::kVideo);
    const std::uint16_t audio = receiver.OpenUnicast(MediaStream::kAudio);
    EXPECT_EQ(0, video % 2);
    EXPECT_EQ(0, audio % 2);
    EXPECT_NE(video, audio);
    CSender sender;
    sender.Send(video, "a");
    sender.Send(static_cast<std::uint16_t>(video + 1), "b");
    sender.Send(audio, "c");
    sender.Send(static_cast<std::uint16_t>(audio + 1), "d");
    EXPECT_THAT(Receive(receiver, 4),
                testing::UnorderedElementsAre("video rtp a", "video rtcp b", "audio rtp c", "audio rtcp d"));
}

TEST(MediaReceiver, WhatArrivesBetweenTwoCallsIsNotLost)
{
    CUdpMediaReceiver receiver;
    const std::uint16_t port = receiver.OpenUnicast(MediaStream::kVideo);
    CSender sender;
    sender.Send(port, "1");
    EXPECT_EQ(1u, Receive(receiver, 1).size());
    sender.Send(port, "2");
    sender.Send(port, "3");
    EXPECT_THAT(Receive(receiver, 2), testing::ElementsAre("video rtp 2", "video rtp 3"));
}

TEST(MediaReceiver, AGroupThatIsNoneIsNamed)
{
    CUdpMediaReceiver receiver;
    for (const char* group : {"", "192.0.2.1", "camera"})
    {
        try
        {
            receiver.OpenMulticast(MediaStream::kVideo, group, 5000);
            FAIL() << group;
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_THAT(error.what(), HasSubstr("no multicast group and port ('" + std::string(group) + "'"));
        }
    }
}
} // namespace
