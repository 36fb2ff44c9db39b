#include "CameraSim/Rtsp/RtspTunnel.h"

#include "CameraSim/Text/Base64.h"
#include "Rtsp/RtspCamera.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

std::string Options(unsigned cseq)
{
    return "OPTIONS * RTSP/1.0\r\nCSeq: " + std::to_string(cseq) + "\r\n\r\n";
}

TEST(RtspTunnel, TheGetIsAnsweredAtOnceAndStaysOpen)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port, "c");
    EXPECT_EQ("HTTP/1.0 200 OK\r\n"
              "Connection: close\r\n"
              "Cache-Control: no-store\r\n"
              "Pragma: no-cache\r\n"
              "Content-Type: application/x-rtsp-tunnelled\r\n"
              "\r\n",
              client.OpenGet());
    client.OpenPost();
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
}

TEST(RtspTunnel, OpensWithTheCamerasOwnClock)
{
    CCameraSimulator camera({.model = "AXIS M5525-E"});
    CTunnelClient client(camera.Start());
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
}

TEST(RtspTunnel, ThePostMayComeFirst)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port, "c");
    client.OpenPost();
    client.Send("OPTIONS", client.Url());
    EXPECT_TRUE(camera.WaitUntil([&] { return camera.Last("OPTIONS").status == 200; }))
        << "it is served before the GET is there";
    EXPECT_NE("", client.OpenGet());
    EXPECT_EQ("1", client.Receive().Header("CSeq"));
}

TEST(RtspTunnel, RequestsMayBeCutAnywhere)
{
    CRtspCamera camera;
    const std::string text = Base64Text::Encode(Options(5));
    for (std::size_t at = 1; at < text.size(); at += 3)
    {
        CTunnelClient client(camera.port);
        client.SendRaw(text.substr(0, at));
        // The first piece has been read when the camera has answered somebody else.
        ASSERT_EQ(404u, Fetch(camera.port, "/nowhere").status);
        client.SendRaw(text.substr(at));
        EXPECT_EQ("5", client.Receive().Header("CSeq")) << at;
    }
}

TEST(RtspTunnel, RequestsMayBeGlued)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    client.SendRaw(Base64Text::Encode(Options(1)) + Base64Text::Encode(Options(2) + Options(3)));
    for (const char* cseq : {"1", "2", "3"})
        EXPECT_EQ(cseq, client.Receive().Header("CSeq"));
}

TEST(RtspTunnel, ARequestMayComeWithTheHeadOfThePost)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port, "together");
    client.OpenGet();
    CTestClient post(camera.port);
    post.Send(std::string("POST ") + CTunnelClient::kTarget +
              " HTTP/1.0\r\nx-sessioncookie: together\r\nContent-Length: 32767\r\n\r\n" +
              Base64Text::Encode(Options(4)));
    EXPECT_EQ("4", client.Receive().Header("CSeq"));
}

TEST(RtspTunnel, MayBeginOnAConnectionThatServedOtherRequests)
{
    CRtspCamera camera;
    CTestClient get(camera.port);
    EXPECT_EQ(200u, get.Get("/axis-cgi/param.cgi?action=list&group=Brand").status);
    EXPECT_EQ(200u, get.Get(CTunnelClient::kTarget, "x-sessioncookie: kept\r\n").status);
    CTunnelClient client(camera.port, "kept");
    client.OpenPost();
    client.Send("OPTIONS", "*");
    EXPECT_EQ("1", get.Receive().Header("CSeq")) << "the reply has the shape of an HTTP answer";
}

TEST(RtspTunnel, CookiesKeepTunnelsApart)
{
    CRtspCamera camera;
    CTunnelClient first(camera.port, "first");
    CTunnelClient second(camera.port, "second");
    first.OpenGet();
    second.OpenGet();
    second.OpenPost();
    first.OpenPost();
    first.SendText(Options(1));
    second.SendText(Options(2));
    EXPECT_EQ("1", first.Receive().Header("CSeq"));
    EXPECT_EQ("2", second.Receive().Header("CSeq"));
    EXPECT_EQ("", first.Rest(50ms));
}

TEST(RtspTunnel, ALostPostMayBeReplaced)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    EXPECT_EQ(200u, client.Setup(1, "RTP/AVP/TCP;unicast").status);
    client.SendRaw("T1BUS"); // the beginning of a request that dies with its POST, in the middle of a group
    client.ClosePost();
    client.OpenPost();
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url(), client.SessionHeader()).status);
}

TEST(RtspTunnel, ASecondGetOfTheSameCookieBeginsAnew)
{
    CRtspCamera camera;
    CTunnelClient first(camera.port, "same");
    first.OpenGet();
    first.OpenPost();
    EXPECT_EQ(200u, first.Request("OPTIONS", first.Url()).status);
    CTunnelClient second(camera.port, "same");
    EXPECT_NE("", second.OpenGet());
    EXPECT_TRUE(first.WaitForGetClose());
    EXPECT_TRUE(first.WaitForPostClose());
    second.OpenPost();
    EXPECT_EQ(200u, second.Request("OPTIONS", second.Url()).status);
}

TEST(RtspTunnel, AClosedGetClosesThePost)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
    client.CloseGet();
    EXPECT_TRUE(client.WaitForPostClose());
}

TEST(RtspTunnel, AGetOrAPostThatStaysAloneIsClosedAfterTenSeconds)
{
    CRtspCamera camera;
    CTunnelClient whole(camera.port);
    CTunnelClient get(camera.port, "get");
    CTunnelClient post(camera.port, "post");
    CTunnelClient lostGet(camera.port, "lost");
    get.OpenGet();
    post.OpenPost();
    lostGet.OpenGet();
    lostGet.OpenPost();
    camera.camera.AddFault("drop-get@rtsp:OPTIONS*1");
    lostGet.Send("OPTIONS", "*");
    EXPECT_TRUE(lostGet.WaitForGetClose());
    post.Send("OPTIONS", "*");
    ASSERT_TRUE(camera.WaitUntil([&] { return camera.Last("OPTIONS").status == 200; }));
    camera.Advance(9s);
    get.OpenPost();
    EXPECT_EQ(200u, get.Request("OPTIONS", get.Url()).status) << "it is not too late";
    get.ClosePost();
    camera.Advance(2s);
    EXPECT_TRUE(post.WaitForPostClose());
    EXPECT_TRUE(lostGet.WaitForPostClose());
    EXPECT_EQ(200u, whole.Request("OPTIONS", whole.Url()).status);
    camera.Advance(10s);
    EXPECT_TRUE(get.WaitForGetClose()) << "its POST is lost";
    EXPECT_EQ(200u, whole.Request("OPTIONS", whole.Url()).status);
}

TEST(RtspTunnel, BytesThatAreNoBase64EndIt)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    client.SendRaw(Base64Text::Encode(Options(1)) + "OPTIONS * RTSP/1.0");
    EXPECT_EQ("1", client.Receive().Header("CSeq"));
    EXPECT_EQ(400u, client.Receive().status);
    EXPECT_TRUE(client.WaitForGetClose());
    EXPECT_EQ("the POST carries something else than base64", camera.camera.Journal().back().note);
}

TEST(RtspTunnel, ARequestWithoutAnEndIsRefusedAndEndsIt)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    client.SendText(std::string(RtspText::kMaxHeadBytes + 1, 'x'));
    EXPECT_EQ(400u, client.Receive().status);
    EXPECT_TRUE(client.WaitForGetClose());
}

TEST(RtspTunnel, OtherRequestsForTheMediaPathAreTheCameras)
{
    CRtspCamera camera;
    EXPECT_NE(200u, Fetch(camera.port, CTunnelClient::kTarget).status) << "without a cookie";
    EXPECT_EQ(404u, Fetch(camera.port, "/axis-media/other.amp", "x-sessioncookie: c\r\n").status);
    CCameraSimulator ipela;
    EXPECT_EQ(404u, Fetch(ipela.Start(), CTunnelClient::kTarget, "x-sessioncookie: c\r\n").status)
        << "a camera without RTSP";
}

TEST(RtspTunnel, ACameraWithRtspSwitchedOffRefusesIt)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
    camera.camera.SetSetting("Network.RTSP.Enabled", "no");
    EXPECT_EQ(503u, client.Request("OPTIONS", client.Url()).status) << "in a tunnel that was open";
    const ClientReply refusal = Fetch(camera.port, CTunnelClient::kTarget, "x-sessioncookie: c\r\n");
    EXPECT_EQ(503u, refusal.status);
    EXPECT_EQ("RTSP is switched off", refusal.body);
}

TEST(RtspTunnel, TheJournalHoldsBothRequestsAndEveryRtspTextInside)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    const RtspAnswer answer = client.Request("OPTIONS", client.Url(), "X-Odd:  a \r\n");
    const auto journal = camera.camera.Journal();
    ASSERT_EQ(3u, journal.size());
    EXPECT_EQ("GET", journal[0].request.method);
    EXPECT_EQ(200u, journal[0].status);
    EXPECT_EQ("POST", journal[1].request.method);
    EXPECT_EQ(CTunnelClient::kTarget, journal[1].request.target);
    EXPECT_EQ(0u, journal[1].status) << "it is never answered";
    const JournalEntry& entry = journal[2];
    EXPECT_EQ("OPTIONS " + client.Url() + " RTSP/1.0\r\nCSeq: 1\r\nX-Odd:  a \r\n\r\n", entry.request.head);
    EXPECT_EQ(client.Url(), entry.request.target);
    EXPECT_EQ(journal[1].request.connection, entry.request.connection);
    EXPECT_EQ("127.0.0.1", entry.request.peerAddress);
    EXPECT_EQ(200u, entry.status);
    EXPECT_EQ(answer.head, entry.answerHead);
    EXPECT_EQ("", entry.note);
}

TEST(RtspTunnel, AStopClosesItAndAStartServesAgain)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    EXPECT_EQ(200u, client.Setup(1, "RTP/AVP/TCP;unicast").status);
    camera.camera.Stop();
    EXPECT_TRUE(client.WaitForGetClose());
    EXPECT_TRUE(client.WaitForPostClose());
    EXPECT_TRUE(camera.camera.RtspSessions().empty());
    camera.camera.Start();
    CTunnelClient again(camera.port);
    EXPECT_EQ(200u, again.Request("OPTIONS", again.Url()).status);
}

} // namespace
