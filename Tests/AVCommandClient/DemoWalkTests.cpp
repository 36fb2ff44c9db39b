#include "Demo/DemoWalk.h"

#include "Core/Commands.h"
#include "Tests/Support/FakeCamera.h"

#include <gmock/gmock.h>

#include <iterator>
#include <sstream>
#include <utility>

namespace
{
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

/// The camera's side of CFakeCamera: turns each call into the request and the change of state that it would cause.
class CFakeSimulator final : public ISimulator
{
public:
    explicit CFakeSimulator(FakeCameraState& component) : m_component(component)
    {
        m_camera.model = "SNC-EP580";
        m_camera.settings = component.settings;
        component.onSuccess = [this](const std::string& call) { See(call); };
    }

    CameraAddress Address() override
    {
        return {"127.0.0.1", 8080, "admin", "secret"};
    }
    SimulatedCamera Camera() override
    {
        return m_camera;
    }
    std::vector<ReceivedRequest> TakeRequests() override
    {
        return std::exchange(m_requests, {});
    }

    /// A moving camera moves on when somebody waits.
    void Pause()
    {
        if (m_isMoving)
            m_camera.position.pan += 1;
    }

    /// Calls whose effect the camera loses, as a faulty component or camera would.
    std::string ignoredCall;
    bool sendsCredentials = true;
    bool neverStops = false;
    std::function<void(const std::string& name)> onCall;

    void BecomeAxis()
    {
        m_camera.isAxis = true;
    }

private:
    void See(const std::string& call)
    {
        std::istringstream words(call);
        std::string name;
        words >> name;
        std::vector<std::int32_t> values{std::istream_iterator<std::int32_t>(words), {}};
        Request(name);
        if (onCall)
            onCall(name);
        if (name != ignoredCall)
            Apply(name, values);
        // The component reports what the camera has.
        m_component.settings = m_camera.settings;
    }

    void Request(const std::string& name)
    {
        const auto add = [this](const std::string& target) {
            m_requests.push_back({"GET", target, 200, sendsCredentials});
        };
        if (m_camera.isAxis)
            RequestOfAxis(name, add);
        else if (name == "ConnectToCamera")
        {
            m_requests.push_back({"GET", "/command/inquiry.cgi?inq=system", 401, false});
            add("/command/inquiry.cgi?inq=system");
        }
        else if (name.starts_with("Set"))
            add("/command/camera.cgi?x=1");
        else if (name == "StartVideo" || name == "StartAudio")
            add("/image1?UdpMode=unicast");
        else if (name == "Step" || name == "StartMove" || name == "StopMove" || name == "ZoomToArea")
            add("/command/ptzf.cgi?x=1");
    }

    template <class Add>
    void RequestOfAxis(const std::string& name, Add&& add)
    {
        if (name == "ConnectToCamera")
        {
            m_requests.push_back({"GET", "/command/inquiry.cgi?inq=system", 404, true});
            add("/axis-cgi/com/ptz.cgi?whoami=yes");
        }
        else if (name.starts_with("Set") && !name.starts_with("Setup"))
        {
            add("/axis-cgi/param.cgi?x=1");
            if (name == "SetImageSize")
                add("/axis-cgi/param.cgi?x=2");
        }
        else if (name == "StartMove" || name == "StopMove")
            m_requests.push_back({"GET", "/axis-cgi/com/ptz.cgi?x=1", 204, true});
        else if (name == "ConnectToRtspServer")
        {
            m_requests.push_back({"GET", "/axis-media/media.amp", 200, false});
            m_requests.push_back({"POST", "/axis-media/media.amp", 0, false});
        }
    }

    void Apply(const std::string& name, const std::vector<std::int32_t>& values)
    {
        StreamSettings& settings = m_camera.settings;
        if (name == "SetImageSize")
            settings.picture = {values[0], values[1], values[2], static_cast<StreamCodec>(values[3])};
        else if (name == "SetBitRate")
            settings.bitRateKbps = m_camera.isAxis ? values[0] : values[0] == 1000 ? 1024 : 2048;
        else if (name == "SetAudioInVolume")
            settings.audioInVolume = values[0];
        else if (name == "Step")
            m_camera.position.tilt += 5;
        else if (name == "ZoomToArea")
            m_camera.position.zoom += 2;
        else if (name == "StartMove")
            m_isMoving = true;
        else if (name == "StopMove")
            m_isMoving = neverStops;
    }

    FakeCameraState& m_component;
    SimulatedCamera m_camera;
    std::vector<ReceivedRequest> m_requests;
    bool m_isMoving = false;
};

class CFakeReceiver final : public IStreamReceiver
{
public:
    std::uint16_t Port() const override
    {
        return 5004;
    }
    std::vector<RtpHeader> Receive(std::size_t, std::chrono::milliseconds, std::size_t&) override
    {
        return packets;
    }

    std::vector<RtpHeader> packets{{96, 1, 0, 7}, {96, 2, 0, 7}, {96, 3, 0, 7}, {96, 4, 0, 7}, {96, 5, 0, 7}};
};

class DemoWalkTest : public testing::Test
{
protected:
    bool Walk(bool isJson = false)
    {
        CFakeComponentHost host(m_state);
        CDemoReport report(m_out, isJson);
        try
        {
            CDemoWalk({host, m_simulator, m_video, m_audio, [this](auto) { m_simulator.Pause(); }}, report).Run();
        }
        catch (const CallFailure& failure)
        {
            report.Abort(failure.call);
        }
        return report.Finish();
    }

    std::string Verdict() const
    {
        const std::string text = m_out.str();
        return text.substr(text.rfind('\n', text.size() - 2) + 1);
    }

    void ExpectFailedWith(const char* stepTitle, const char* problem)
    {
        EXPECT_FALSE(Walk());
        EXPECT_THAT(Verdict(), AllOf(StartsWith("Demo FAILED: "), HasSubstr(stepTitle), HasSubstr(problem)));
    }

    FakeHostState m_state;
    CFakeSimulator m_simulator{m_state.camera};
    CFakeReceiver m_video;
    CFakeReceiver m_audio;
    std::ostringstream m_out;
};

TEST_F(DemoWalkTest, PassesWhenComponentAndCameraAgree)
{
    EXPECT_TRUE(Walk()) << m_out.str();
    EXPECT_EQ(Verdict(), "Demo passed: 18 of 18 steps as expected\n");
    EXPECT_EQ(m_state.camera.address.userName, "admin");
    EXPECT_EQ(m_state.camera.address.password, "secret");
}

TEST_F(DemoWalkTest, ShowsWhatWasAskedReceivedAndReturned)
{
    EXPECT_TRUE(Walk());
    EXPECT_THAT(m_out.str(), HasSubstr("    asked     1000 kbit/s (the next step is 1024)\n"
                                       "    camera    GET /command/camera.cgi?x=1 [authorized] -> 200\n"
                                       "    returned  S_OK (0x00000000)"));
    EXPECT_THAT(m_out.str(), HasSubstr("camera has 1024 kbit/s\n"));
    EXPECT_THAT(m_out.str(), HasSubstr("E_INVALIDARG (0x80070057)"));
    EXPECT_THAT(m_out.str(), Not(HasSubstr("secret")));
}

TEST_F(DemoWalkTest, JsonHoldsVerdictAndSteps)
{
    EXPECT_TRUE(Walk(true));
    const auto json = Json::parse(m_out.str());
    EXPECT_EQ(json["passed"], true);
    ASSERT_EQ(json["steps"].size(), 18u);
    EXPECT_EQ(json["steps"][2]["step"], "ConnectToCamera");
    EXPECT_EQ(json["steps"][2]["received"][0]["status"], 401);
    EXPECT_EQ(json["steps"][2]["hresult"], "0x00000000");
}

TEST_F(DemoWalkTest, ChangeThatDoesNotReachTheCameraIsFound)
{
    struct Row
    {
        const char* call;
        const char* step;
        const char* problem;
    };
    const Row rows[] = {
        {"SetImageSize", "(SetImageSize2)", "picture"},
        {"SetBitRate", "(SetBitRate)", "bit rate"},
        {"SetAudioInVolume", "(SetAudioInVolume)", "volume"},
        {"Step", "(SendPTZCommand)", "has not moved"},
        {"ZoomToArea", "(SendPTZAreaZoomCommand)", "has not moved"},
        {"StartMove", "(SendPTZStartCommand)", "has not moved"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.call);
        m_out.str({});
        m_simulator.ignoredCall = row.call;
        ExpectFailedWith(row.step, row.problem);
    }
}

class AxisDemoWalkTest : public DemoWalkTest
{
protected:
    AxisDemoWalkTest()
    {
        m_simulator.BecomeAxis();
        m_simulator.onCall = [this](const std::string& name) {
            if (name == "StopStreaming" && m_stops)
                m_video.packets.clear();
        };
        FakeCameraState& camera = m_state.camera;
        camera.isRtsp = true;
        camera.results = {{"Step", HResults::kNotImplemented}};
        // 1920x1080, the size that the walk changes to.
        camera.h264.parameterSet1 = {"\x67\x64\x00\x28\xAC\xD9\x40\x78\x02\x27\xE5\xC0\x44\x00\x00\x03\x00\x04\x00"
                                     "\x00\x03\x00\xC8\x3C\x60\xC6\x58",
                                     27};
    }

    bool m_stops = true;
};

TEST_F(AxisDemoWalkTest, StreamsOverRtsp)
{
    EXPECT_TRUE(Walk()) << m_out.str();
    EXPECT_EQ(Verdict(), "Demo passed: 21 of 21 steps as expected\n");
}

TEST_F(AxisDemoWalkTest, CameraThatStillSendsIsFound)
{
    m_stops = false;
    ExpectFailedWith("(StopStreaming)", "the camera still sends");
}

TEST_F(AxisDemoWalkTest, ParametersOfAnotherSizeAreFound)
{
    m_simulator.ignoredCall = "SetImageSize";
    ExpectFailedWith("(SetImageSize2)", "picture");
    EXPECT_THAT(m_out.str(), HasSubstr("WRONG     the camera's picture is 1280x720@30"));
}

TEST_F(DemoWalkTest, CameraThatDoesNotStopIsFound)
{
    m_simulator.neverStops = true;
    ExpectFailedWith("(SendPTZStopCommand)", "still moves");
}

TEST_F(DemoWalkTest, RequestsWithoutCredentialsAreFound)
{
    m_simulator.sendsCredentials = false;
    ExpectFailedWith("(ConnectToCamera)", "without credentials");
}

TEST_F(DemoWalkTest, MissingStreamIsFound)
{
    m_audio.packets.resize(2);
    ExpectFailedWith("(StartAudio2)", "only 2 RTP packets came");
    EXPECT_THAT(Verdict(), HasSubstr("17 of 18"));
}

TEST_F(DemoWalkTest, FailedCallIsFoundAndTheWalkGoesOn)
{
    m_state.camera.results["SetBitRate"] = HResults::kFail;
    ExpectFailedWith("(SetBitRate)", "expected S_OK");
    EXPECT_THAT(Verdict(), HasSubstr("of 18 steps"));
}

TEST_F(DemoWalkTest, WalkEndsWhenTheCameraIsNotFound)
{
    m_state.camera.results["ConnectToCamera"] = HResults::kFail;
    ExpectFailedWith("(ConnectToCamera)", "2 of 3");
}

TEST_F(DemoWalkTest, WalkEndsWhenTheComponentIsNotRegistered)
{
    m_state.createResult = HResults::kClassNotRegistered;
    ExpectFailedWith("(Create the component)", "0 of 1");
}

TEST(DemoReport, VerdictWithoutAnyStepIsAFailure)
{
    std::ostringstream out;
    CDemoReport report(out, false);
    report.Abort("nobody there");
    EXPECT_FALSE(report.Finish());
    EXPECT_EQ(out.str(), "Demo FAILED: 0 of 0 steps as expected; stopped after step 0: nobody there\n");
}
} // namespace
