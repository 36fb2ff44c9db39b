#include "CameraSim/CameraSimulator.h"

#include "Auth/DigestAnswer.h"
#include "TestClient.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kSystem = "/command/inquiry.cgi?inq=system";
constexpr std::size_t kSystemBytes = 71;

class FaultDelivery : public testing::Test
{
protected:
    CCameraSimulator m_camera;
    std::uint16_t m_port = m_camera.Start();
    CTestClient m_client{m_port};
};

TEST_F(FaultDelivery, DelayComesBeforeTheStatusLine)
{
    m_camera.AddFault("delay:300*1");
    const auto started = Clock::now();
    m_client.SendRequest("GET", kSystem);
    EXPECT_EQ("", m_client.Receive(100ms).head);
    EXPECT_EQ(200u, m_client.Receive().status);
    EXPECT_GE(Clock::now() - started, 300ms);
    EXPECT_EQ(200u, m_client.Get(kSystem).status) << "the connection lives on";
}

TEST_F(FaultDelivery, BodyDelayComesInsideTheBody)
{
    m_camera.AddFault("body-delay:300*1");
    const auto started = Clock::now();
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_GE(Clock::now() - started, 300ms);
    EXPECT_EQ(kSystemBytes, reply.body.size());
    m_camera.AddFault("body-delay:30000*1");
    m_client.SendRequest("GET", kSystem);
    const ClientReply half = m_client.Receive(500ms);
    EXPECT_EQ(200u, half.status);
    EXPECT_FALSE(half.complete);
    EXPECT_EQ(kSystemBytes / 2, half.body.size());
}

TEST_F(FaultDelivery, DropsAtThreePlaces)
{
    struct Row
    {
        const char* fault;
        bool hasStatusLine;
        bool hasWholeHead;
    };
    const Row rows[] = {
        {"drop*1", false, false}, {"drop-in-headers*1", true, false}, {"drop-after-headers*1", true, true}};
    for (const Row& row : rows)
    {
        m_camera.AddFault(row.fault);
        CTestClient client(m_port);
        client.SendRequest("GET", kSystem);
        const std::string bytes = client.ReceiveAll();
        EXPECT_EQ(row.hasStatusLine, bytes.starts_with("HTTP/1.1 200 OK\r\n")) << row.fault;
        EXPECT_EQ(row.hasWholeHead, bytes.ends_with("\r\n\r\n")) << row.fault;
        EXPECT_EQ(std::string::npos, bytes.find("ModelName")) << row.fault;
        EXPECT_EQ(row.hasStatusLine ? 200u : 0u, m_camera.Journal().back().status) << row.fault;
    }
}

TEST_F(FaultDelivery, GarbageIsNoHttp)
{
    m_camera.AddFault("garbage*1");
    m_client.SendRequest("GET", kSystem);
    const std::string bytes = m_client.ReceiveAll();
    EXPECT_EQ(25u, bytes.size());
    EXPECT_FALSE(bytes.starts_with("HTTP"));
    m_camera.AddFault("garbage:RTSP/1.0 200 OK*1");
    EXPECT_EQ("RTSP/1.0 200 OK", Fetch(m_port, kSystem).head);
}

TEST_F(FaultDelivery, AnyStatusCanBeAnswered)
{
    for (const unsigned status : {400u, 403u, 404u, 500u, 503u, 599u, 204u, 302u, 999u})
    {
        m_camera.AddFault("status:" + std::to_string(status) + "*1");
        EXPECT_EQ(status, m_client.Get(kSystem).status);
        EXPECT_EQ(status, m_camera.Journal().back().status);
    }
    Fault fault = FaultText::WithDefaults(FaultKind::Status);
    fault.status = 302;
    fault.text = "over there";
    fault.headers = {{"Location", "/there"}};
    m_camera.AddFault(fault);
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ("/there", reply.Header("Location"));
    EXPECT_EQ("over there", reply.body);
}

TEST_F(FaultDelivery, TruncateAnnouncesMoreThanItSends)
{
    m_camera.AddFault("truncate*1");
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ(std::to_string(kSystemBytes), reply.Header("Content-Length"));
    EXPECT_EQ(kSystemBytes / 2, reply.body.size());
    EXPECT_TRUE(reply.closed);
    m_camera.AddFault("truncate*1");
    const ClientReply empty = Fetch(m_port, "/command/camera.cgi?BitRate1=64");
    EXPECT_EQ("100", empty.Header("Content-Length")) << "an empty body is cut, too";
    EXPECT_TRUE(empty.closed);
}

TEST_F(FaultDelivery, SilentAcceptsAndSaysNothing)
{
    m_camera.AddFault("silent*1");
    m_client.SendRequest("GET", kSystem);
    ASSERT_TRUE(m_camera.WaitForRequests(1, 10000ms));
    const ClientReply reply = m_client.Receive(300ms);
    EXPECT_EQ("", reply.head);
    EXPECT_FALSE(reply.closed);
    EXPECT_EQ(0u, m_camera.Journal()[0].status);
    EXPECT_EQ(200u, Fetch(m_port, kSystem).status) << "others are served";
}

TEST_F(FaultDelivery, NoChallengeIsA401WithoutTheHeader)
{
    m_camera.AddFault("no-challenge*1");
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ(401u, reply.status);
    EXPECT_EQ("", reply.Header("WWW-Authenticate"));
}

TEST_F(FaultDelivery, BigBodyIsTenMegabytesUnlessSaidOtherwise)
{
    m_camera.AddFault("big-body*1");
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_TRUE(reply.complete);
    EXPECT_EQ(10u * 1024 * 1024, reply.body.size());
    m_camera.AddFault("big-body:5000*1");
    EXPECT_EQ(5000u, m_client.Get(kSystem).body.size());
}

TEST_F(FaultDelivery, ChunkedBodiesAreWholeAndUnannounced)
{
    m_camera.AddFault("chunked:16*1");
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ("chunked", reply.Header("Transfer-Encoding"));
    EXPECT_EQ("", reply.Header("Content-Length"));
    EXPECT_TRUE(reply.complete);
    EXPECT_EQ(kSystemBytes, reply.body.size());
    EXPECT_TRUE(reply.body.starts_with("ModelName=SNC-EP580&"));
    m_camera.AddFault("chunked:1*1");
    EXPECT_EQ(reply.body, m_client.Get(kSystem).body);
}

TEST_F(FaultDelivery, NothingFollowsAReplyThatHasNoBody)
{
    for (const char* fault : {"chunked:7*1", "truncate*1", "body-delay:1*1"})
    {
        SCOPED_TRACE(fault);
        m_camera.AddFault("status:204*1");
        m_camera.AddFault(fault);
        const ClientReply reply = m_client.Get(kSystem);
        EXPECT_EQ(204u, reply.status);
        EXPECT_EQ("", reply.Header("Transfer-Encoding"));
        EXPECT_EQ(200u, m_client.Get(kSystem).status) << "the connection stays in step";
    }
}

TEST_F(FaultDelivery, DripSendsByteByByte)
{
    m_camera.AddFault("drip:2*1");
    const auto started = Clock::now();
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ(kSystemBytes, reply.body.size());
    EXPECT_GE(Clock::now() - started, 2ms * (reply.head.size() + reply.body.size() - 1));
}

TEST_F(FaultDelivery, ResetIsNoOrderlyClose)
{
    m_camera.AddFault("reset*1");
    m_client.SendRequest("GET", kSystem);
    EXPECT_EQ("", m_client.ReceiveAll());
    EXPECT_TRUE(m_client.WasReset());
    EXPECT_EQ(0u, m_camera.Journal().back().status);
    CTestClient cut(m_port);
    m_camera.AddFault("truncate*1");
    m_camera.AddFault("reset*1");
    cut.SendRequest("GET", kSystem);
    cut.ReceiveAll();
    EXPECT_TRUE(cut.WasReset());
    CTestClient dropped(m_port);
    m_camera.AddFault("drop*1");
    dropped.SendRequest("GET", kSystem);
    EXPECT_EQ("", dropped.ReceiveAll());
    EXPECT_FALSE(dropped.WasReset());
}

TEST_F(FaultDelivery, HalfCloseAnswersAndListensOn)
{
    m_camera.AddFault("half-close*1");
    EXPECT_EQ(kSystemBytes, m_client.Get(kSystem).body.size());
    EXPECT_TRUE(m_client.WaitForClose());
    // Were it closed altogether, the second of these would be reset.
    m_client.SendRequest("GET", kSystem);
    EXPECT_EQ(200u, Fetch(m_port, kSystem).status);
    m_client.SendRequest("GET", kSystem);
    EXPECT_EQ("", m_client.ReceiveAll(200ms));
    EXPECT_FALSE(m_client.WasReset());
    EXPECT_EQ(2u, m_camera.Journal().size()) << "nothing is answered any more";
}

TEST_F(FaultDelivery, InterimRepliesComeBeforeTheAnswer)
{
    m_camera.AddFault("interim*1");
    m_camera.AddFault("interim:103*1");
    m_client.SendRequest("GET", kSystem);
    EXPECT_EQ("HTTP/1.1 100 Interim\r\n\r\n", m_client.Receive().head);
    EXPECT_EQ("HTTP/1.1 103 Interim\r\n\r\n", m_client.Receive().head);
    EXPECT_EQ(kSystemBytes, m_client.Receive().body.size());
}

TEST_F(FaultDelivery, HeadsCanBeOversized)
{
    m_camera.AddFault("big-head:70000*1");
    EXPECT_EQ(std::string(70000, 'x'), m_client.Get(kSystem).Header("X-Padding"));
    m_camera.AddFault("many-headers:300*1");
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ("x", reply.Header("X-Header-0"));
    EXPECT_EQ("x", reply.Header("X-Header-299"));
    EXPECT_EQ("", reply.Header("X-Header-300"));
    EXPECT_EQ(kSystemBytes, reply.body.size()) << "the answer stays";
}

TEST_F(FaultDelivery, TheLengthCanBeAnything)
{
    for (const char* length : {"5", "1000000", "-1", "99999999999999999999", "x", ""})
    {
        CTestClient client(m_port);
        m_camera.AddFault(std::string("length:") + length + "*1");
        client.SendRequest("GET", kSystem);
        const std::string bytes = client.ReceiveSome();
        EXPECT_NE(std::string::npos, bytes.find("\r\nContent-Length: " + std::string(length) + "\r\n")) << bytes;
        EXPECT_EQ(bytes.find("Content-Length"), bytes.rfind("Content-Length"));
    }
}

TEST_F(FaultDelivery, RedirectsGoWhereTheyAreTold)
{
    m_camera.AddFault("redirect*1");
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ(302u, reply.status);
    EXPECT_EQ("/", reply.Header("Location"));
    m_camera.AddFault("redirect:http://127.0.0.1:1/x*1");
    EXPECT_EQ("http://127.0.0.1:1/x", m_client.Get(kSystem).Header("Location"));
}

TEST_F(FaultDelivery, CredentialsCanBeRefusedForEver)
{
    m_camera.AddFault("challenge");
    EXPECT_EQ("Basic realm=\"Camera\"", m_client.Get(kSystem).Header("WWW-Authenticate"))
        << "also by a camera that asks for none";
    AuthenticationOptions digest;
    digest.scheme = AuthenticationScheme::Digest;
    m_camera.SetAuthentication(digest);
    const ClientReply first = m_client.Get(kSystem);
    const auto answer = DigestAnswer::To(first.Header("WWW-Authenticate"));
    const ClientReply second = m_client.Get(kSystem, "Authorization: " + answer.Text() + "\r\n");
    EXPECT_EQ(401u, second.status);
    EXPECT_NE(first.Header("WWW-Authenticate"), second.Header("WWW-Authenticate")) << "a fresh nonce each time";
}

TEST_F(FaultDelivery, TrickleSendsTheBodyInPieces)
{
    m_camera.AddFault("big-body:9000*1");
    m_camera.AddFault("trickle:100*1");
    const auto started = Clock::now();
    const ClientReply reply = m_client.Get(kSystem);
    EXPECT_EQ(9000u, reply.body.size());
    EXPECT_GE(Clock::now() - started, 200ms) << "two pauses between three pieces";
}

TEST_F(FaultDelivery, BodyReplacesTheAnswer)
{
    m_camera.OverrideBody("command/inquiry.cgi?inq=camera", "VideoStd=PAL");
    EXPECT_EQ("VideoStd=PAL", m_client.Get("/command/inquiry.cgi?inq=camera").body);
    EXPECT_EQ("VideoStd=PAL", m_client.Get("/command/inquiry.cgi?inq=camera").body);
    EXPECT_EQ(kSystemBytes, m_client.Get(kSystem).body.size());
    m_camera.ClearFaults();
    EXPECT_NE("VideoStd=PAL", m_client.Get("/command/inquiry.cgi?inq=camera").body);
}

TEST_F(FaultDelivery, AReplacedAnswerMeansThatNothingWasDone)
{
    struct Row
    {
        const char* fault;
        bool done;
    };
    const Row rows[] = {
        {"status:503*1", false},   {"drop*1", false},      {"garbage*1", false},   {"body:x*1", false},
        {"no-challenge*1", false}, {"delay:1*1", true},    {"truncate*1", true},   {"drop-in-headers*1", true},
        {"chunked*1", true},       {"reset*1", true},      {"half-close*1", true}, {"interim*1", true},
        {"redirect*1", false},     {"challenge*1", false}, {"length:5*1", true},
    };
    for (const Row& row : rows)
    {
        m_camera.SetSetting("BitRate1", "2048");
        m_camera.AddFault(row.fault);
        CTestClient client(m_port);
        client.Get("/command/camera.cgi?BitRate1=64");
        EXPECT_EQ(row.done ? "64" : "2048", m_camera.Setting("BitRate1")) << row.fault;
    }
}

TEST_F(FaultDelivery, TheJournalNamesTheFaults)
{
    m_camera.AddFault("delay:1*1");
    m_camera.AddFault("status:404*1");
    m_client.Get(kSystem);
    EXPECT_EQ((std::vector<std::string>{"delay", "status"}), m_camera.Journal()[0].faults);
}

TEST_F(FaultDelivery, FaultsBeforeAndAfterAuthentication)
{
    AuthenticationOptions options;
    options.scheme = AuthenticationScheme::Digest;
    options.password = "secret";
    m_camera.SetAuthentication(options);
    m_camera.OverrideBody("command", "overridden");
    Fault late = FaultText::WithDefaults(FaultKind::Status);
    late.afterAuthentication = true;
    m_camera.AddFault(late);
    m_camera.AddFault("status:500*1");

    EXPECT_EQ(500u, m_client.Get(kSystem).status) << "hits the request without credentials";
    const ClientReply challenged = m_client.Get(kSystem);
    EXPECT_EQ(401u, challenged.status);
    auto answer = DigestAnswer::To(challenged.Header("WWW-Authenticate"));
    EXPECT_EQ(503u, m_client.Get(kSystem, "Authorization: " + answer.Text() + "\r\n").status);
    answer.nc = "00000002";
    EXPECT_EQ("overridden", m_client.Get(kSystem, "Authorization: " + answer.Text() + "\r\n").body);
}

TEST_F(FaultDelivery, StopDoesNotWaitForSlowOrSilentAnswers)
{
    m_camera.AddFault("silent@a*1");
    m_camera.AddFault("delay:600000@b*1");
    m_camera.AddFault("drip:600000@c*1");
    CTestClient silent(m_port);
    CTestClient delayed(m_port);
    CTestClient dripping(m_port);
    silent.SendRequest("GET", "/a");
    delayed.SendRequest("GET", "/b");
    dripping.SendRequest("GET", "/c");
    ASSERT_TRUE(m_camera.WaitForRequests(3, 10000ms));
    const auto started = Clock::now();
    m_camera.Stop();
    EXPECT_LT(Clock::now() - started, 5s);
    EXPECT_TRUE(silent.WaitForClose());
    EXPECT_TRUE(delayed.WaitForClose());
    EXPECT_TRUE(dripping.WaitForClose());
}

} // namespace
