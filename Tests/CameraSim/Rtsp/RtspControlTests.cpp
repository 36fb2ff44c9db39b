#include "CameraSim/Program/CommandLine.h"

#include "Rtsp/RtspCamera.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace
{

using Json = nlohmann::json;

class RtspControl : public testing::Test
{
protected:
    ClientReply Ask(const char* method, const char* target, const std::string& body = {})
    {
        return FetchWith(m_camera.camera.ControlPort(), method, target, body);
    }
    Json State()
    {
        return Json::parse(Ask("GET", "/state").body);
    }

    CRtspCamera m_camera{{.controlPort = std::uint16_t{0}}};
    CTunnelClient m_client{m_camera.port};
};

TEST_F(RtspControl, TheStateShowsOptionsAndSessions)
{
    const Json before = State();
    EXPECT_EQ(Json({{"timeoutSeconds", 60},
                    {"sessionHeader", "{id};timeout={timeout}"},
                    {"absoluteControls", true},
                    {"sessionsOutliveTunnels", false}}),
              before["rtsp"]);
    EXPECT_TRUE(before["rtspSessions"].empty());
    const std::string transport = m_client.Setup(1, "RTP/AVP/TCP;unicast").Header("Transport");
    const Json sessions = State()["rtspSessions"];
    ASSERT_EQ(1u, sessions.size());
    EXPECT_EQ(m_client.SessionHeader(), "Session: " + sessions[0]["id"].get<std::string>() + "\r\n");
    EXPECT_EQ(false, sessions[0]["playing"]);
    EXPECT_EQ(0, sessions[0]["idleSeconds"]);
    EXPECT_EQ(m_client.Track(1), sessions[0]["tracks"][0]["url"]);
    EXPECT_EQ(transport, sessions[0]["tracks"][0]["transport"]);
    EXPECT_EQ(0, sessions[0]["tracks"][0]["packets"]);
}

TEST_F(RtspControl, PatchChangesTheOptionsThatItNames)
{
    EXPECT_EQ(200u, Ask("PATCH", "/state", R"({"rtsp": {"timeoutSeconds": 4, "absoluteControls": false}})").status);
    const Json state = State();
    EXPECT_EQ(4, state["rtsp"]["timeoutSeconds"]);
    EXPECT_EQ("{id};timeout={timeout}", state["rtsp"]["sessionHeader"]) << "not named, not changed";
    EXPECT_TRUE(m_client.Setup(1, "RTP/AVP/TCP;unicast").Header("Session").ends_with(";timeout=4"));
    const std::string sdp = m_client.Request("DESCRIBE", m_client.Url()).body;
    EXPECT_NE(sdp.npos, sdp.find("a=control:*\r\n"));
    for (const char* body : {R"({"rtsp": {"timeoutSeconds": 0}})", R"({"rtsp": {"timeoutSeconds": "x"}})",
                             R"({"rtsp": {"colour": 1}})", R"({"rtsp": 5})"})
    {
        EXPECT_EQ(400u, Ask("PATCH", "/state", body).status) << body;
        EXPECT_EQ(state["rtsp"], State()["rtsp"]) << body;
    }
}

TEST_F(RtspControl, SessionsCanBeExpired)
{
    m_client.Setup(1, "RTP/AVP/TCP;unicast");
    EXPECT_TRUE(Json::parse(Ask("DELETE", "/rtsp-sessions").body)["rtspSessions"].empty());
    EXPECT_EQ(454u, m_client.Request("OPTIONS", "*", m_client.SessionHeader()).status);
    EXPECT_EQ(405u, Ask("GET", "/rtsp-sessions").status);
}

TEST_F(RtspControl, FaultsOfRtspComeAsJsonToo)
{
    EXPECT_EQ(200u, Ask("POST", "/faults", R"({"kind": "header", "path": "rtsp:OPTIONS",
                                               "headers": {"Public": "", "X-A": "1"}})")
                        .status);
    EXPECT_EQ("RTSP/1.0 200 OK\r\nCSeq: 1\r\nX-A: 1\r\n\r\n", m_client.Request("OPTIONS", "*").head);
    EXPECT_EQ(200u, Ask("POST", "/faults", R"({"kind": "split", "sizeBytes": 3, "milliseconds": 1})").status);
    EXPECT_EQ(200u, m_client.Request("OPTIONS", "*").status);
    EXPECT_EQ(400u, Ask("POST", "/faults", R"({"kind": "drop-post", "text": "softly"})").status);
}

TEST(RtspCommandLine, TakesTheOptionsOfRtsp)
{
    const auto result = CommandLine::Parse({"--model", "M5526-E", "--rtsp-timeout", "9", "--rtsp-session", "{id}",
                                            "--rtsp-relative", "--fault", "drop-post:reset@rtsp:PLAY*1"});
    ASSERT_TRUE(result.options) << result.text;
    const CameraSimulatorOptions& simulator = result.options->simulator;
    EXPECT_EQ((RtspOptions{9, "{id}", false, false}), simulator.rtsp);
    ASSERT_EQ(1u, simulator.faults.size());
    EXPECT_EQ(FaultKind::DropPost, simulator.faults[0].kind);
    EXPECT_EQ("rtsp:PLAY", simulator.faults[0].path);
    EXPECT_EQ("reset", simulator.faults[0].text);
    EXPECT_EQ(RtspOptions{}, CommandLine::Parse({}).options->simulator.rtsp);
}

} // namespace
