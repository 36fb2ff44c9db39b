#include "CameraSim/Rtp/RtpSender.h"

#include "UdpReceiver.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

StreamOrder Audio(std::uint16_t port)
{
    StreamOrder order;
    order.kind = MediaKind::Pcmu;
    order.port = port;
    return order;
}

TEST(RtpSender, AStreamEndsAfterItsTime)
{
    CUdpReceiver receiver;
    asio::io_context context;
    CRtpSender sender(context, 1s);
    ASSERT_TRUE(sender.StartStream(Audio(receiver.Port())));
    // With the stream the context's last work goes, so the run ends by itself.
    context.run_for(20s);
    EXPECT_TRUE(context.stopped());
    EXPECT_TRUE(sender.Streams().empty());
    // 20 ms to a packet; a busy machine leaves some out, but never sends more.
    const auto packets = receiver.Receive(100, 300ms);
    EXPECT_GE(packets.size(), 10u);
    EXPECT_LE(packets.size(), 51u);
}

TEST(RtpSender, ASecondOrderForTheSamePortReplacesTheFirst)
{
    asio::io_context context;
    CRtpSender sender(context, 60s);
    ASSERT_TRUE(sender.StartStream(Audio(50000)));
    const auto first = sender.Streams();
    ASSERT_TRUE(sender.StartStream(Audio(50000)));
    ASSERT_TRUE(sender.StartStream(Audio(50002)));
    const auto both = sender.Streams();
    ASSERT_EQ(2u, both.size());
    EXPECT_NE(first[0].ssrc, both[0].ssrc);
}

TEST(RtpSender, RefusesMoreStreamsThanItCanSend)
{
    asio::io_context context;
    CRtpSender sender(context, 60s);
    for (std::size_t i = 0; i < CRtpSender::kMaxStreams; ++i)
        ASSERT_TRUE(sender.StartStream(Audio(static_cast<std::uint16_t>(50000 + i))));
    EXPECT_FALSE(sender.StartStream(Audio(51000)));
    EXPECT_TRUE(sender.StartStream(Audio(50000))) << "a replacement is no additional stream";
    sender.StopAll();
    EXPECT_TRUE(sender.StartStream(Audio(51000)));
}

} // namespace
