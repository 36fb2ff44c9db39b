#include "CameraSim/Rtsp/RtspFaults.h"

#include "Rtsp/RtspCamera.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kReply =
    "RTSP/1.0 200 OK\r\nCSeq: 1\r\nPublic: OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER, "
    "SET_PARAMETER\r\n\r\n";

class RtspFault : public testing::Test
{
protected:
    void Expect(const char* fault)
    {
        m_camera.camera.AddFault(fault);
    }
    void SendOptions()
    {
        m_client.Send("OPTIONS", "*");
    }
    const JournalEntry Last() const
    {
        return m_camera.camera.Journal().back();
    }

    CRtspCamera m_camera;
    CTunnelClient m_client{m_camera.port};
};

TEST_F(RtspFault, HitsTheMethodThatItNames)
{
    Expect("status:500@rtsp:DESCRIBE*1");
    EXPECT_EQ(200u, m_client.Request("OPTIONS", m_client.Url()).status);
    EXPECT_EQ(404u, Fetch(m_camera.port, "/nowhere").status);
    EXPECT_EQ("RTSP/1.0 500 Internal Server Error\r\nCSeq: 2\r\n\r\n",
              m_client.Request("DESCRIBE", m_client.Url()).head);
    EXPECT_EQ((std::vector<std::string>{"status"}), Last().faults);
    EXPECT_EQ(200u, m_client.Request("DESCRIBE", m_client.Url()).status);
}

TEST_F(RtspFault, DropClosesTheWholeTunnelAtThreePlaces)
{
    for (const char* fault : {"drop", "drop-in-headers", "drop-after-headers"})
    {
        CTunnelClient client(m_camera.port);
        Expect((std::string(fault) + "@rtsp:OPTIONS*1").c_str());
        client.Send("OPTIONS", "*");
        const std::string rest = client.Rest(10s);
        EXPECT_TRUE(std::string_view(kReply).starts_with(rest)) << fault << rest;
        EXPECT_EQ(fault == std::string("drop"), rest.empty()) << fault;
        EXPECT_LT(rest.size(), std::string(kReply).size() + 1);
        EXPECT_TRUE(client.WaitForPostClose()) << fault;
    }
}

TEST_F(RtspFault, AResetAndHalfACloseEndTheReplies)
{
    Expect("reset@rtsp:OPTIONS*1");
    SendOptions();
    EXPECT_EQ("", m_client.Rest(10s));
    EXPECT_EQ(0u, Last().status);
    CTunnelClient other(m_camera.port);
    Expect("half-close@rtsp:OPTIONS*1");
    EXPECT_EQ(200u, other.Request("OPTIONS", "*").status) << "behind the reply";
    EXPECT_TRUE(other.WaitForGetClose());
}

TEST_F(RtspFault, RepliesHaveInterimRepliesAndHeadersToo)
{
    Expect("interim@rtsp:OPTIONS*1");
    SendOptions();
    EXPECT_EQ("RTSP/1.0 100 Interim\r\nCSeq: 1\r\n\r\n", m_client.Receive().head);
    EXPECT_EQ(200u, m_client.Receive().status);
    Expect("big-head:70000@rtsp:OPTIONS*1");
    EXPECT_EQ(std::string(70000, 'x'), m_client.Request("OPTIONS", "*").Header("X-Padding"));
    Expect("redirect:rtsp://127.0.0.1/x@rtsp:OPTIONS*1");
    const RtspAnswer reply = m_client.Request("OPTIONS", "*");
    EXPECT_EQ(302u, reply.status);
    EXPECT_EQ("rtsp://127.0.0.1/x", reply.Header("Location"));
}

TEST_F(RtspFault, EitherHalfCanBeDroppedAlone)
{
    Expect("drop-get@rtsp:OPTIONS*1");
    SendOptions();
    EXPECT_TRUE(m_client.WaitForGetClose());
    EXPECT_EQ(0u, Last().status);
    m_client.Send("OPTIONS", "*");
    EXPECT_TRUE(m_camera.WaitUntil([&] { return m_camera.camera.Journal().size() >= 4; })) << "the POST is still read";

    CTunnelClient other(m_camera.port);
    Expect("drop-post@rtsp:OPTIONS*1");
    EXPECT_EQ(200u, other.Request("OPTIONS", "*").status) << "the reply comes";
    EXPECT_TRUE(other.WaitForPostClose());
    EXPECT_EQ("", other.Rest(50ms));
    other.OpenPost();
    EXPECT_EQ(200u, other.Request("OPTIONS", "*").status) << "the GET was left open";
}

TEST_F(RtspFault, APostCanBeAnsweredOrReset)
{
    Expect("drop-post:answer@rtsp:OPTIONS*1");
    EXPECT_EQ(200u, m_client.Request("OPTIONS", "*").status);
    const ClientReply reply = m_client.Post().Receive();
    EXPECT_EQ(200u, reply.status);
    EXPECT_EQ("close", reply.Header("Connection"));

    CTunnelClient other(m_camera.port);
    Expect("drop-post:reset@rtsp:OPTIONS*1");
    EXPECT_EQ(200u, other.Request("OPTIONS", "*").status);
    EXPECT_TRUE(other.WaitForPostClose());
    EXPECT_THROW(m_camera.camera.AddFault("drop-post:gently"), std::invalid_argument);
    EXPECT_THROW(m_camera.camera.AddFault("drop-get:answer"), std::invalid_argument);
}

TEST_F(RtspFault, ARequestThatIsDroppedWithTheGetIsCarriedOut)
{
    Expect("drop-get@rtsp:SETUP*1");
    m_client.Send("SETUP", m_client.Track(1), "Transport: RTP/AVP;unicast;client_port=9-10\r\n");
    EXPECT_TRUE(m_camera.WaitForSessions(1));
}

TEST_F(RtspFault, ASilentRequestIsCarriedOutNowhere)
{
    Expect("silent@rtsp:SETUP*1");
    m_client.Send("SETUP", m_client.Track(1), "Transport: RTP/AVP/TCP;unicast\r\n");
    EXPECT_EQ("2", m_client.Request("OPTIONS", "*").Header("CSeq")) << "the tunnel lives on";
    EXPECT_TRUE(m_camera.camera.RtspSessions().empty());
}

TEST_F(RtspFault, DelaysHoldUpTheRepliesBehindThem)
{
    Expect("delay:300@rtsp:OPTIONS*1");
    const auto started = Clock::now();
    SendOptions();
    SendOptions();
    EXPECT_EQ("1", m_client.Receive().Header("CSeq"));
    EXPECT_GE(Clock::now() - started, 300ms);
    EXPECT_EQ("2", m_client.Receive().Header("CSeq"));
}

TEST_F(RtspFault, AReplyCanBeSplitAnywhere)
{
    const std::string whole = kReply;
    for (std::size_t at = 1; at < whole.size(); at += 29)
    {
        CTunnelClient client(m_camera.port);
        Fault fault = FaultText::Parse("split:" + std::to_string(at) + "@rtsp:OPTIONS*1");
        fault.milliseconds = 200;
        m_camera.camera.AddFault(fault);
        client.Send("OPTIONS", "*");
        EXPECT_EQ(whole.substr(0, at), client.Some()) << at;
        EXPECT_EQ(whole.substr(at), client.Some()) << at;
    }
    Expect("split:100000@rtsp:OPTIONS*1");
    EXPECT_EQ(200u, m_client.Request("OPTIONS", "*").status) << "behind its end";
}

TEST_F(RtspFault, DripSendsByteByByte)
{
    Expect("drip:1@rtsp:OPTIONS*1");
    EXPECT_EQ(kReply, m_client.Request("OPTIONS", "*").head);
}

TEST_F(RtspFault, ABodyCanBeDelayedOrCut)
{
    Expect("body-delay:200@rtsp:DESCRIBE*1");
    const auto started = Clock::now();
    EXPECT_EQ(200u, m_client.Request("DESCRIBE", m_client.Url()).status);
    EXPECT_GE(Clock::now() - started, 200ms);
    Expect("truncate@rtsp:DESCRIBE*1");
    m_client.Send("DESCRIBE", m_client.Url());
    const std::string rest = m_client.Rest(10s);
    EXPECT_NE(rest.npos, rest.find("\r\n\r\nv=0\r\n"));
    EXPECT_EQ(rest.npos, rest.find("m=audio"));
    EXPECT_TRUE(m_client.WaitForPostClose());
}

TEST_F(RtspFault, RepliesCanBeGlued)
{
    Expect("glue@rtsp:OPTIONS*1");
    SendOptions();
    EXPECT_EQ("", m_client.Rest(50ms));
    m_client.Send("GET_PARAMETER", "*");
    EXPECT_EQ("1", m_client.Receive().Header("CSeq"));
    EXPECT_EQ("2", m_client.Receive(1ms).Header("CSeq")) << "it came with the first";
    Expect("append@rtsp:OPTIONS*1");
    SendOptions();
    EXPECT_EQ("3", m_client.Receive().Header("CSeq"));
    EXPECT_EQ("0", m_client.Receive(1ms).Header("CSeq"));
}

TEST_F(RtspFault, GarbageLeavesTheTunnelOpen)
{
    Expect("garbage:rubbish@rtsp:OPTIONS*1");
    SendOptions();
    EXPECT_EQ("rubbish", m_client.Some());
    EXPECT_EQ(0u, Last().status);
    EXPECT_EQ(200u, m_client.Request("OPTIONS", "*").status);
}

TEST_F(RtspFault, CSeqAndHeadersCanBeWrong)
{
    Expect("cseq@rtsp:OPTIONS*1");
    EXPECT_EQ("99999", m_client.Request("OPTIONS", "*").Header("CSeq"));
    Expect("cseq:@rtsp:OPTIONS*1");
    EXPECT_EQ("RTSP/1.0 200 OK\r\nPublic: ", m_client.Request("OPTIONS", "*").head.substr(0, 25)) << "none at all";
    Expect("header:Public=NOTHING@rtsp:OPTIONS*1");
    EXPECT_EQ("NOTHING", m_client.Request("OPTIONS", "*").Header("Public"));
    Expect("header:X-More=a=b@rtsp:OPTIONS*1");
    EXPECT_EQ("a=b", m_client.Request("OPTIONS", "*").Header("X-More"));
    Expect("header:public=@rtsp:OPTIONS*1");
    EXPECT_EQ("RTSP/1.0 200 OK\r\nCSeq: 5\r\n\r\n", m_client.Request("OPTIONS", "*").head);
    EXPECT_THROW(m_camera.camera.AddFault("header:nothing"), std::invalid_argument);
    Expect("header:Transport=RTP/AVP;unicast;server_port=1-2@rtsp:SETUP*1");
    EXPECT_EQ("RTP/AVP;unicast;server_port=1-2", m_client.Setup(1, kInterleaved).Header("Transport"));
}

TEST_F(RtspFault, TheCamerasAnswerCanBeReplaced)
{
    Fault fault = FaultText::Parse("body:v=1@rtsp:DESCRIBE*1");
    fault.headers = {{"Content-Base", "rtsp://x/"}};
    m_camera.camera.AddFault(fault);
    EXPECT_EQ("RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Base: rtsp://x/\r\nContent-Length: 3\r\n\r\n",
              m_client.Request("DESCRIBE", m_client.Url()).head);
    Expect("no-challenge@rtsp:OPTIONS*1");
    EXPECT_EQ("RTSP/1.0 401 Unauthorized\r\nCSeq: 2\r\n\r\n", m_client.Request("OPTIONS", "*").head);
}

TEST_F(RtspFault, AllSessionsCanExpireJustNow)
{
    m_client.Setup(1, kInterleaved);
    Expect("expire@rtsp:PLAY*1");
    EXPECT_EQ(454u, m_client.Request("PLAY", m_client.Url(), m_client.SessionHeader()).status);
    EXPECT_TRUE(m_camera.camera.RtspSessions().empty());
}

TEST_F(RtspFault, CredentialsCanBeRefusedForEver)
{
    Expect("challenge@rtsp:OPTIONS");
    EXPECT_EQ("Basic realm=\"Camera\"", m_client.Request("OPTIONS", "*").Header("WWW-Authenticate"))
        << "also by a camera that asks for none";
    AuthenticationOptions digest;
    digest.scheme = AuthenticationScheme::Digest;
    m_camera.camera.SetAuthentication(digest);
    const std::string first = m_client.Request("OPTIONS", "*").Header("WWW-Authenticate");
    const std::string second = m_client.Request("OPTIONS", "*").Header("WWW-Authenticate");
    EXPECT_TRUE(first.starts_with("Digest realm=\"Camera\", nonce=\""));
    EXPECT_NE(first, second) << "a fresh nonce each time";
}

TEST_F(RtspFault, TheTunnelsOwnRequestsCanBeHit)
{
    Expect("status:404@tunnel:GET*1");
    CTunnelClient refused(m_camera.port, "refused");
    EXPECT_TRUE(refused.OpenGet().starts_with("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_TRUE(refused.WaitForGetClose());
    Expect("drop@tunnel:GET*1");
    CTunnelClient dropped(m_camera.port, "dropped");
    EXPECT_EQ("", dropped.OpenGet());
    Expect("silent@tunnel:GET*1");
    CTunnelClient silent(m_camera.port, "silent");
    silent.OpenGet(false);
    EXPECT_EQ("", silent.Rest(100ms));
    Expect("challenge@tunnel:GET*1");
    CTunnelClient challenged(m_camera.port, "challenged");
    EXPECT_TRUE(challenged.OpenGet().starts_with("HTTP/1.1 401 Unauthorized\r\n"));
    Expect("many-headers:3@tunnel:GET*1");
    CTunnelClient headed(m_camera.port, "headed");
    EXPECT_TRUE(headed.OpenGet().ends_with("X-Header-0: x\r\nX-Header-1: x\r\nX-Header-2: x\r\n\r\n"));
    Expect("delay:200@tunnel:GET*1");
    CTunnelClient delayed(m_camera.port, "delayed");
    const auto started = Clock::now();
    EXPECT_TRUE(delayed.OpenGet().starts_with("HTTP/1.0 200 OK\r\n"));
    EXPECT_GE(Clock::now() - started, 200ms);
    Expect("status:503@tunnel:POST*1");
    delayed.OpenPost();
    EXPECT_EQ(503u, delayed.Post().Receive().status);
    Expect("drop@tunnel:POST*1");
    delayed.OpenPost();
    EXPECT_TRUE(delayed.WaitForPostClose());
    Expect("silent@tunnel:POST*1");
    delayed.OpenPost();
    delayed.Send("OPTIONS", "*");
    EXPECT_EQ(0u, delayed.Receive(100ms).status);
    Expect("interim:103@tunnel:POST*1");
    delayed.OpenPost();
    EXPECT_EQ(103u, delayed.Post().Receive().status);
    EXPECT_EQ(200u, delayed.Request("OPTIONS", "*").status) << "and the POST goes on";
    delayed.OpenPost();
    EXPECT_EQ(200u, delayed.Request("OPTIONS", "*").status);
}

} // namespace
