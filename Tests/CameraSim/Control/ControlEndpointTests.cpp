#include "CameraSim/CameraSimulator.h"

#include "TestClient.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Json = nlohmann::json;

class ControlEndpoint : public testing::Test
{
protected:
    ControlEndpoint() : m_camera({.model = "SNC-EP580", .controlPort = std::uint16_t{0}}), m_port(m_camera.Start()) {}

    ClientReply Ask(const char* method, const char* target, const std::string& body = {})
    {
        return FetchWith(m_camera.ControlPort(), method, target, body);
    }
    Json State()
    {
        return Json::parse(Ask("GET", "/state").body);
    }

    CCameraSimulator m_camera;
    std::uint16_t m_port;
};

TEST_F(ControlEndpoint, StateShowsTheWholeCamera)
{
    const ClientReply reply = Ask("GET", "/state");
    EXPECT_EQ(200u, reply.status);
    EXPECT_EQ("application/json", reply.Header("Content-Type"));
    const Json state = Json::parse(reply.body);
    EXPECT_EQ("ipela", state["family"]);
    EXPECT_EQ("SNC-EP580", state["model"]);
    EXPECT_EQ("ntsc", state["standard"]);
    EXPECT_EQ(true, state["requireStreamSettings"]);
    EXPECT_EQ("none", state["authentication"]["scheme"]);
    EXPECT_EQ("1280,720", state["settings"]["ImageSize1"]);
    EXPECT_EQ(0.0, state["position"]["pan"]);
    EXPECT_EQ(1.0, state["position"]["zoom"]);
    EXPECT_EQ(0.0, state["speed"]["tilt"]);
    EXPECT_TRUE(state["faults"].empty());
    EXPECT_TRUE(state["streams"].empty());
    EXPECT_EQ(0, state["requests"]);
    EXPECT_EQ(m_port, state["ports"]["camera"]);
    EXPECT_EQ(m_camera.ControlPort(), state["ports"]["control"]);
}

TEST_F(ControlEndpoint, PatchChangesWhatItNamesAndPutMeansTheSame)
{
    const ClientReply reply = Ask("PATCH", "/state",
                                  R"({"settings": {"BitRate1": 777, "AudioIn": "off", "McAudioPort": null},
                                      "position": {"pan": 12.5}, "requireStreamSettings": false,
                                      "authentication": {"scheme": "digest", "user": "u", "nonceRequests": 3}})");
    ASSERT_EQ(200u, reply.status) << reply.body;
    const Json state = Json::parse(reply.body);
    EXPECT_EQ("777", state["settings"]["BitRate1"]) << "also what the camera itself would refuse";
    EXPECT_EQ("off", state["settings"]["AudioIn"]);
    EXPECT_FALSE(state["settings"].contains("McAudioPort"));
    EXPECT_EQ(12.5, state["position"]["pan"]);
    EXPECT_EQ(1.0, state["position"]["zoom"]) << "not named, not changed";
    EXPECT_EQ(false, state["requireStreamSettings"]);
    EXPECT_EQ("digest", state["authentication"]["scheme"]);
    EXPECT_EQ("u", state["authentication"]["user"]);
    EXPECT_EQ("admin", state["authentication"]["password"]) << "not named, not changed";
    EXPECT_EQ(3, state["authentication"]["nonceRequests"]);
    EXPECT_EQ(401u, Fetch(m_port, "/command/inquiry.cgi?inq=system").status);

    ASSERT_EQ(200u,
              Ask("PUT", "/state", R"({"model": "SNC-RZ25", "standard": "pal", "factorySettings": true})").status);
    const Json other = State();
    EXPECT_EQ("SNC-RZ25", other["model"]);
    EXPECT_EQ("pal", other["standard"]);
    EXPECT_EQ("jpeg", other["settings"]["ImageCodec"]);
}

TEST_F(ControlEndpoint, RefusesNonsenseAndChangesNothing)
{
    const Json before = State();
    struct Row
    {
        const char* why;
        const char* body;
    };
    const Row rows[] = {
        {"no JSON", "{"},
        {"no object", "[]"},
        {"an unknown field", R"({"bogus": 1})"},
        {"a wrong type", R"({"model": 5})"},
        {"an empty model", R"({"model": ""})"},
        {"an unknown standard", R"({"standard": "secam"})"},
        {"an unknown scheme", R"({"authentication": {"scheme": "ntlm"}})"},
        {"an unknown field inside", R"({"position": {"roll": 1}})"},
        {"a text for a number", R"({"position": {"pan": "far"}})"},
        {"a negative count", R"({"authentication": {"nonceRequests": -1}})"},
        {"a huge count", R"({"authentication": {"nonceRequests": 99999999999}})"},
        {"a list as a setting", R"({"settings": {"AudioIn": []}})"},
        {"good and bad together", R"({"settings": {"AudioIn": "off"}, "standard": "secam"})"},
        {"a scheme that cannot be", R"({"settings": {"AudioIn": "off"},
                                        "authentication": {"scheme": "digest-sess", "qop": ""}})"},
    };
    for (const Row& row : rows)
    {
        const ClientReply reply = Ask("PATCH", "/state", row.body);
        EXPECT_EQ(400u, reply.status) << row.why;
        EXPECT_TRUE(Json::parse(reply.body)["error"].is_string()) << row.why;
        EXPECT_EQ(before, State()) << row.why;
    }
}

TEST_F(ControlEndpoint, FaultsAreAddedShownAndRemoved)
{
    EXPECT_EQ(200u, Ask("POST", "/faults", R"({"kind": "status", "status": 404, "path": "/audio", "skip": 1,
                                               "afterAuthentication": true, "text": "gone",
                                               "headers": {"X-Why": "test"}})")
                        .status);
    const ClientReply reply =
        Ask("POST", "/faults", R"([{"kind": "delay", "milliseconds": 5, "count": 0}, "silent@mpeg4*3"])");
    EXPECT_EQ(200u, reply.status);
    const Json faults = Json::parse(reply.body);
    ASSERT_EQ(3u, faults.size());
    EXPECT_EQ("status", faults[0]["kind"]);
    EXPECT_EQ("audio", faults[0]["path"]);
    EXPECT_EQ(1, faults[0]["skip"]);
    EXPECT_EQ(1, faults[0]["count"]) << "one request unless said otherwise";
    EXPECT_EQ(true, faults[0]["afterAuthentication"]);
    EXPECT_EQ("gone", faults[0]["text"]);
    EXPECT_EQ("test", faults[0]["headers"]["X-Why"]);
    EXPECT_EQ(0, faults[1]["count"]);
    EXPECT_EQ(3, faults[2]["count"]);
    EXPECT_EQ(faults, Json::parse(Ask("GET", "/faults").body));
    EXPECT_EQ(faults, State()["faults"]);
    EXPECT_EQ("[]\n", Ask("DELETE", "/faults").body);
    EXPECT_TRUE(State()["faults"].empty());
}

TEST_F(ControlEndpoint, CrookedFaultsAreRefusedWhole)
{
    for (const char* body :
         {"5", "{}", R"({"kind": "explode"})", R"({"kind": "status", "status": 5})", R"({"kind": "delay", "soon": 1})",
          R"([{"kind": "drop"}, {"kind": "explode"}])", R"("explode")", R"({"kind": "big-body", "sizeBytes": -1})"})
    {
        EXPECT_EQ(400u, Ask("POST", "/faults", body).status) << body;
        EXPECT_TRUE(State()["faults"].empty()) << body;
    }
}

TEST_F(ControlEndpoint, JournalShowsRequestsByteForByte)
{
    CTestClient client(m_port);
    client.Send("GET /command/inquiry.cgi?inq=system HTTP/1.1\r\nHost: x\r\nX-Name: J\xC3\xBC\xFF\r\n\r\n");
    EXPECT_EQ(200u, client.Receive().status);
    const Json journal = Json::parse(Ask("GET", "/journal").body);
    ASSERT_EQ(1u, journal.size()) << "the control interface's own requests are not in it";
    const Json& entry = journal[0];
    EXPECT_EQ(1, entry["number"]);
    EXPECT_EQ(1, entry["connection"]);
    EXPECT_EQ("GET", entry["method"]);
    EXPECT_EQ("/command/inquiry.cgi?inq=system", entry["target"]);
    EXPECT_EQ("Host", entry["headers"][0]["name"]);
    // Each byte is one character: C3 BC FF.
    EXPECT_EQ("J\xC3\x83\xC2\xBC\xC3\xBF", entry["headers"][1]["value"]);
    EXPECT_EQ(200, entry["answer"]["status"]);
    EXPECT_EQ(71, entry["answer"]["bodyBytes"]);
    EXPECT_EQ(true, entry["authenticated"]);
    const std::string when = entry["when"];
    EXPECT_EQ(24u, when.size());
    EXPECT_EQ('T', when[10]);
    EXPECT_EQ('Z', when[23]);
    EXPECT_EQ("[]\n", Ask("DELETE", "/journal").body);
    EXPECT_EQ("[]\n", Ask("GET", "/journal").body);
    EXPECT_EQ(1, State()["requests"]);
}

TEST_F(ControlEndpoint, StreamsAreShownAndStopped)
{
    ASSERT_EQ(200u, Fetch(m_port, "/audio?UdpMode=unicast&UdpPort=50010").status);
    const Json streams = State()["streams"];
    ASSERT_EQ(1u, streams.size());
    EXPECT_EQ("pcmu", streams[0]["kind"]);
    EXPECT_EQ("127.0.0.1:50010", streams[0]["sentTo"]);
    EXPECT_EQ(false, streams[0]["multicast"]);
    EXPECT_EQ(200u, Ask("DELETE", "/streams").status);
    EXPECT_TRUE(m_camera.Streams().empty());
}

TEST_F(ControlEndpoint, StopIsHandedToTheOwner)
{
    EXPECT_FALSE(m_camera.WaitForStopRequest(10ms));
    EXPECT_EQ(405u, Ask("GET", "/stop").status);
    EXPECT_FALSE(m_camera.WaitForStopRequest(10ms));
    EXPECT_EQ(200u, Ask("POST", "/stop").status);
    EXPECT_TRUE(m_camera.WaitForStopRequest(10s));
}

TEST_F(ControlEndpoint, SaysWhatItKnows)
{
    EXPECT_EQ(405u, Ask("DELETE", "/state").status);
    EXPECT_EQ(405u, Ask("POST", "/journal").status);
    const ClientReply reply = Ask("GET", "/");
    EXPECT_EQ(404u, reply.status);
    EXPECT_NE(std::string::npos, reply.body.find("PATCH /state")) << reply.body;
    CTestClient client(m_camera.ControlPort());
    client.Send("rubbish\r\n\r\n");
    EXPECT_TRUE(Json::parse(client.Receive().body)["error"].is_string());
}

TEST_F(ControlEndpoint, TheCameraItselfDoesNotKnowIt)
{
    EXPECT_EQ(404u, Fetch(m_port, "/state").status);
}

} // namespace
