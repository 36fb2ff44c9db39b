#include "Client.h"

#include "Tests/Support/FakeCamera.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <deque>
#include <iterator>
#include <sstream>

namespace
{
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::json;

/// RTP with a 12-byte header in front of the payload.
std::string Rtp(std::uint16_t number, std::uint32_t timestamp, bool isMarker, const std::string& payload)
{
    std::string packet("\x80\x60\0\0\0\0\0\0\0\0\0\x07", 12);
    packet[1] = static_cast<char>(isMarker ? 0xE0 : 0x60);
    packet[2] = static_cast<char>(number >> 8);
    packet[3] = static_cast<char>(number & 0xFF);
    for (int i = 0; i < 4; ++i)
        packet[static_cast<std::size_t>(4 + i)] = static_cast<char>(timestamp >> (24 - 8 * i));
    return packet + payload;
}

/// Time passes when somebody receives; what a test has put in arrives then.
class CFakeMediaReceiver final : public IMediaReceiver
{
public:
    struct State
    {
        struct Arrival
        {
            MediaStream stream;
            bool isControl;
            std::string bytes;
        };
        Time now{1h};
        std::deque<Arrival> arrivals;
        std::vector<std::string> groups;
        std::function<void()> onReceive;
    };

    explicit CFakeMediaReceiver(State& state) noexcept : m_state(state) {}

    std::uint16_t OpenUnicast(MediaStream stream) override
    {
        return stream == MediaStream::kVideo ? 6000 : 6002;
    }
    void OpenMulticast(MediaStream, const std::string& group, std::uint16_t rtpPort) override
    {
        m_state.groups.push_back(group + ":" + std::to_string(rtpPort));
    }
    void Receive(std::chrono::milliseconds duration, const Handler& handler) override
    {
        m_state.now += duration;
        if (m_state.onReceive)
            m_state.onReceive();
        // All that is there: the handler decides whether it counts.
        for (const auto& arrival : std::exchange(m_state.arrivals, {}))
        {
            const std::vector<std::uint8_t> bytes(arrival.bytes.begin(), arrival.bytes.end());
            handler({arrival.stream, arrival.isControl, bytes, m_state.now});
        }
    }
    Time Now() const override
    {
        return m_state.now;
    }

private:
    State& m_state;
};

class CFakeRunningStreams final : public IRunningStreams
{
public:
    class CTicket final : public IStreamTicket
    {
    public:
        explicit CTicket(CFakeRunningStreams& owner) noexcept : m_owner(owner) {}
        std::optional<StreamRequest> Pending() override
        {
            return m_owner.pending;
        }
        void Done() override
        {
            m_owner.done.push_back(*std::exchange(m_owner.pending, std::nullopt));
        }

    private:
        CFakeRunningStreams& m_owner;
    };

    std::unique_ptr<IStreamTicket> Announce(const std::string& camera) override
    {
        announced = camera;
        return std::make_unique<CTicket>(*this);
    }
    Answer Ask(const std::string& camera, StreamRequest request, std::chrono::milliseconds) override
    {
        askedCamera = camera;
        asked = request;
        return answer;
    }

    std::string announced;
    std::optional<StreamRequest> pending;
    std::vector<StreamRequest> done;
    std::string askedCamera;
    std::optional<StreamRequest> asked;
    Answer answer;
};

class StreamCommands : public testing::Test
{
protected:
    StreamCommands()
    {
        m_host.camera.isRtsp = true;
    }

    int Run(const std::string& line)
    {
        std::istringstream words(line + " --host cam");
        std::istringstream nothing;
        m_out.str({});
        m_err.str({});
        m_host.camera.calls.clear();
        const auto makeHost = [this](const ClientArguments&, std::ostream*) {
            return std::make_unique<CFakeComponentHost>(m_host);
        };
        const StreamSurroundings streaming{[this] { return std::make_unique<CFakeMediaReceiver>(m_media); },
                                           [this] { return m_isInterrupted; }, m_running};
        return Client::Run({std::istream_iterator<std::string>(words), {}},
                           {std::nullopt, nothing, {m_out, m_err}, makeHost, streaming});
    }

    Json RunJson(const std::string& line)
    {
        EXPECT_EQ(Run(line + " --json"), 0) << m_err.str();
        return Json::parse(m_out.str());
    }

    void ExpectFailure(const std::string& line, const std::string& hint)
    {
        EXPECT_EQ(Run(line), 1) << line;
        EXPECT_THAT(m_err.str(), StartsWith("avcommand: "));
        EXPECT_THAT(m_err.str(), HasSubstr(hint));
        EXPECT_EQ(std::ranges::count(m_err.str(), '\n'), 1) << m_err.str();
    }

    void VideoArrives(std::uint16_t number, const std::string& payload, bool isMarker = true)
    {
        m_media.arrivals.push_back({MediaStream::kVideo, false, Rtp(number, 3000u * number, isMarker, payload)});
    }

    FakeHostState m_host;
    CFakeMediaReceiver::State m_media;
    std::shared_ptr<CFakeRunningStreams> m_running = std::make_shared<CFakeRunningStreams>();
    bool m_isInterrupted = false;
    std::ostringstream m_out;
    std::ostringstream m_err;
};

TEST_F(StreamCommands, StreamNegotiatesPlaysAndStops)
{
    VideoArrives(1, "\x65key");
    EXPECT_EQ(Run("stream --seconds 2"), 0) << m_err.str();
    EXPECT_THAT(m_host.camera.calls, ElementsAre("OpenConnection", "ConnectToCamera", "ConnectToRtspServer 1",
                                                 "GetH264Parameters", "SetupVideo 0 6000", "SetupAudio 0 6002",
                                                 "StartVideo 0 6000", "StopStreaming", "CloseConnection"));
    EXPECT_EQ(m_media.now, CFakeMediaReceiver::Time(1h + 2s));
    EXPECT_EQ(m_running->announced, "cam:80");
}

TEST_F(StreamCommands, StreamCountsWhatArrives)
{
    VideoArrives(1,
                 "\x65"
                 "begin",
                 false);
    VideoArrives(2, "\x41"
                    "end");
    VideoArrives(4, "\x41"
                    "after a gap");
    m_media.arrivals.push_back({MediaStream::kAudio, false, Rtp(9, 0, false, std::string(160, 'a'))});
    std::string report("\x80\xC8\0\6", 4);
    report.resize(28);
    m_media.arrivals.push_back({MediaStream::kVideo, true, report});
    m_media.arrivals.push_back({MediaStream::kVideo, false, "no RTP"});
    const Json json = RunJson("stream --seconds 2");
    EXPECT_EQ(json["family"], "RTSP");
    EXPECT_EQ(json["endedBy"], "time");
    EXPECT_EQ(json["seconds"], 2.0);
    const Json& video = json["video"];
    EXPECT_EQ(video["udpPort"], 6000);
    EXPECT_EQ(video["payloadType"], 96);
    EXPECT_EQ(video["ssrc"], 7);
    EXPECT_EQ(video["packets"], 3);
    EXPECT_EQ(video["bytes"], 3 * 12 + 6 + 4 + 12);
    EXPECT_EQ(video["packetsPerSecond"], 1.5);
    EXPECT_EQ(video["lost"], 1);
    EXPECT_EQ(video["lostPercent"], 25.0);
    EXPECT_EQ(video["pictures"], 2);
    EXPECT_EQ(video["senderReports"], 1);
    EXPECT_EQ(json["audio"]["packets"], 1);
    EXPECT_EQ(json["audio"]["udpPort"], 6002);
    EXPECT_EQ(json["foreignDatagrams"], 1);
    EXPECT_EQ(json["h264"]["profileLevelId"], "4D401F");
    EXPECT_FALSE(json.contains("out"));
}

TEST_F(StreamCommands, EachSecondIsALine)
{
    int slices = 0;
    m_media.onReceive = [&] { VideoArrives(static_cast<std::uint16_t>(++slices), std::string(113, '\x41')); };
    EXPECT_EQ(Run("stream --seconds 2 --no-audio"), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("   1 s  video 10 packets/s, 10 kbit/s, 0 lost, jitter "));
    EXPECT_THAT(m_out.str(), HasSubstr("   2 s  video 10 packets/s, 10 kbit/s, 0 lost, jitter "));
    EXPECT_THAT(m_out.str(), Not(HasSubstr("udio")));
}

TEST_F(StreamCommands, NewParametersInTheStreamAreShown)
{
    // 800x450 in main profile instead of what was announced.
    VideoArrives(1, std::string("\x67\x4D\x40\x1E\xEC\xA0\x64\x1D\xFC\x46\x02\x20\x00\x00\x03\x00\x20\x00\x00\x06\x41"
                                "\xE2\xC5\xB2\xC0",
                                25));
    VideoArrives(2, std::string("\x67\x42\xC0\x0B\xD9\x02\xC4\xEC\x04\x40\x00\x00\x03\x00\x40\x00\x00\x0C\x83\xC5\x0A"
                                "\x92",
                                22));
    const Json h264 = RunJson("stream --seconds 1")["h264"];
    EXPECT_EQ(h264["width"], 176);
    EXPECT_EQ(h264["profileLevelId"], "42C00B");
    EXPECT_EQ(h264["changes"], 1);
}

TEST_F(StreamCommands, TheFileBeginsWithTheAnnouncedSets)
{
    CTemporaryFolder folder;
    const std::string path = (folder / "video.h264").string();
    VideoArrives(1, "\x41too early");
    VideoArrives(2, "\x65key");
    const Json json = RunJson("stream --seconds 1 --out " + path);
    const std::string start("\0\0\0\1", 4);
    EXPECT_EQ(ReadFileBytes(path), start + "\x67\x4D\x40\x1F" + start + "\x68\xEE" + start + "\x65key");
    EXPECT_EQ(json["out"]["path"], path);
    EXPECT_EQ(json["out"]["bytes"], 22);
}

TEST_F(StreamCommands, WithoutVideoTheStreamHasFailed)
{
    ExpectFailure("stream --seconds 1", "no video arrived in 1 s: check that the camera reaches UDP port 6000");
    EXPECT_EQ(m_host.camera.calls.back(), "StopStreaming");
}

TEST_F(StreamCommands, FailuresOnTheWayAreOneLineAndTheCameraIsStopped)
{
    struct Row
    {
        const char* call;
        const char* text;
    };
    const Row rows[] = {{"ConnectToRtspServer", "ConnectToRtspServer failed with E_FAIL"},
                        {"GetH264Parameters", "GetH264Parameters failed with E_FAIL"},
                        {"SetupVideo", "SetupTransport failed with E_FAIL"},
                        {"StartVideo", "StartMpeg4Video2 failed with E_FAIL"},
                        {"StopStreaming", "StopStreaming failed with E_FAIL"}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.call);
        m_host.camera.results = {{row.call, HResults::kFail}};
        VideoArrives(1, "\x65key");
        ExpectFailure("stream --seconds 1", row.text);
        EXPECT_EQ(m_host.camera.calls.back(),
                  std::string(row.call) == "ConnectToRtspServer" ? "ConnectToRtspServer 1" : "StopStreaming");
    }
}

TEST_F(StreamCommands, ABadFileIsFoundBeforeTheCameraStreams)
{
    ExpectFailure("stream --out /missing/folder/v.h264", "cannot write to '/missing/folder/v.h264'");
    EXPECT_THAT(m_host.camera.calls, ElementsAre("OpenConnection", "ConnectToCamera"));
    EXPECT_EQ(Run("stream --json --out /missing/folder/v.h264"), 1);
    EXPECT_EQ(Json::parse(m_out.str())["error"]["advice"], "cannot write to '/missing/folder/v.h264'");
}

TEST_F(StreamCommands, CameraWithoutAudioStreamsItsVideo)
{
    m_host.camera.results = {{"SetupAudio", HResults::kFail}};
    VideoArrives(1, "\x65key");
    EXPECT_TRUE(RunJson("stream --seconds 1")["audio"].is_null());
    VideoArrives(1, "\x65key");
    EXPECT_EQ(Run("stream --seconds 1"), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("Audio: the camera gives none\n"));
}

TEST_F(StreamCommands, MulticastUsesTheGroupThatTheCameraGrants)
{
    VideoArrives(1, "\x65key");
    EXPECT_EQ(RunJson("stream --seconds 1 --multicast --no-audio")["video"]["udpPort"], 5000);
    EXPECT_THAT(m_media.groups, ElementsAre("239.0.0.1:5000"));
    EXPECT_THAT(m_host.camera.calls, testing::Contains("SetupVideo 1 0"));
}

TEST_F(StreamCommands, CameraWithoutRtspIsStartedByItsRequests)
{
    m_host.camera.isRtsp = false;
    VideoArrives(1, "\x65key");
    const Json json = RunJson("stream --seconds 1");
    EXPECT_EQ(json["family"], "IPELA");
    EXPECT_EQ(json["video"]["codec"], "h264");
    EXPECT_TRUE(json["h264"].is_null()) << "nothing announced, nothing in the stream";
    VideoArrives(1, std::string("\x67\x42\xC0\x0B\xD9\x02\xC4\xEC\x04\x40\x00\x00\x03\x00\x40\x00\x00\x0C\x83\xC5\x0A"
                                "\x92",
                                22));
    EXPECT_TRUE(RunJson("stream --seconds 1")["h264"]["packetizationMode"].is_null()) << "the stream does not tell it";
    EXPECT_THAT(m_host.camera.calls,
                ElementsAre("OpenConnection", "ConnectToCamera", "ConnectToRtspServer 1", "GetSettings",
                            "StartVideo 0 6000", "StartAudio 0 6002", "CloseConnection"));
    VideoArrives(1, "\x65key");
    EXPECT_EQ(Run("stream --seconds 1 --multicast"), 0);
    EXPECT_THAT(m_media.groups, ElementsAre("239.0.0.1:2000", "239.0.0.1:2002"));
}

TEST_F(StreamCommands, OnlyH264GoesToAFile)
{
    CTemporaryFolder folder;
    m_host.camera.isRtsp = false;
    m_host.camera.settings.picture.codec = StreamCodec::kMpeg4;
    VideoArrives(1, "MPEG-4");
    EXPECT_EQ(RunJson("stream --seconds 1")["video"]["codec"], "mpeg4");
    ExpectFailure("stream --out " + (folder / "v.h264").string(), "--codec h264");
}

TEST_F(StreamCommands, InterruptionEndsTheStreamProperly)
{
    m_media.onReceive = [this] {
        VideoArrives(1, "\x65key");
        m_isInterrupted = true;
    };
    const Json json = RunJson("stream --seconds 100");
    EXPECT_EQ(json["endedBy"], "interrupt");
    EXPECT_EQ(json["seconds"], 0.1);
    EXPECT_THAT(m_host.camera.calls, testing::Contains("StopStreaming"));
}

TEST_F(StreamCommands, AnotherProcessMayStopIt)
{
    m_media.onReceive = [this] { m_running->pending = StreamRequest::kStop; };
    m_host.camera.onSuccess = [this](const std::string& call) {
        EXPECT_TRUE(call != "StopStreaming" || m_running->done.empty()) << "the other one is told afterwards";
    };
    EXPECT_EQ(RunJson("stream --seconds 100")["endedBy"], "stop");
    EXPECT_THAT(m_running->done, ElementsAre(StreamRequest::kStop));
}

TEST_F(StreamCommands, WhilePausedNothingCountsAndNothingIsLost)
{
    int slice = 0;
    m_media.onReceive = [&] {
        VideoArrives(static_cast<std::uint16_t>(++slice), "\x65key");
        if (slice == 3)
            m_running->pending = StreamRequest::kPause;
        if (slice == 7)
            m_running->pending = StreamRequest::kResume;
    };
    const Json json = RunJson("stream --seconds 1");
    EXPECT_EQ(json["video"]["packets"], 6);
    EXPECT_EQ(json["video"]["lost"], 0);
    EXPECT_THAT(m_running->done, ElementsAre(StreamRequest::kPause, StreamRequest::kResume));
    EXPECT_EQ(std::ranges::count(m_host.camera.calls, "PauseStreaming"), 1);
    EXPECT_EQ(std::ranges::count(m_host.camera.calls, "StartVideo 0 6000"), 2);
}

TEST_F(StreamCommands, StopAndPauseReachTheProcessThatStreams)
{
    m_running->answer = {2, 2};
    EXPECT_EQ(RunJson("stop"), Json::parse(R"({"command": "stop", "streams": 2, "done": "stopped"})"));
    EXPECT_EQ(m_running->asked, StreamRequest::kStop);
    EXPECT_EQ(m_running->askedCamera, "cam:80");
    EXPECT_TRUE(m_host.camera.calls.empty()) << "the camera is the other process's business";
    m_running->answer = {1, 1};
    EXPECT_EQ(Run("pause"), 0);
    EXPECT_EQ(m_out.str(), "1 stream from cam:80 paused\n");
    EXPECT_EQ(m_running->asked, StreamRequest::kPause);
    EXPECT_EQ(Run("pause --resume"), 0);
    EXPECT_EQ(m_out.str(), "1 stream from cam:80 resumed\n");
    m_running->answer = {2, 1};
    ExpectFailure("stop", "1 of 2 running streams from cam:80 did not answer");
}

TEST_F(StreamCommands, WithoutAStreamTheComponentIsAsked)
{
    EXPECT_EQ(Run("stop"), 0);
    EXPECT_EQ(m_out.str(), "No 'avcommand stream' from cam:80 is running here; nothing to stop\n");
    EXPECT_THAT(m_host.camera.calls, ElementsAre("OpenConnection", "ConnectToCamera", "ConnectToRtspServer 0",
                                                 "StopStreaming", "CloseConnection"));
    EXPECT_EQ(RunJson("pause"), Json::parse(R"({"command": "pause", "streams": 0})"));
    EXPECT_THAT(m_host.camera.calls, testing::Contains("PauseStreaming"));
    ExpectFailure("pause --resume", "nothing streams from cam:80");
    m_host.camera.isRtsp = false;
    ExpectFailure("stop", "StopStreaming failed with E_NOTIMPL");
    ExpectFailure("pause", "PauseStreaming failed with E_NOTIMPL");
}

TEST_F(StreamCommands, H264ShowsTheAnnouncedSets)
{
    EXPECT_EQ(Run("h264"), 0);
    EXPECT_EQ(m_out.str(), "H.264             profile-level-id 4D401F, packetization mode 1\n"
                           "Profile-level-id  4D401F\n"
                           "SPS               4 bytes\n"
                           "  hex             67 4D 40 1F\n"
                           "  base64          Z01AHw==\n"
                           "PPS               2 bytes\n"
                           "  hex             68 EE\n"
                           "  base64          aO4=\n");
    m_host.camera.h264.parameterSet1 =
        std::string("\x67\x42\xC0\x0B\xD9\x02\xC4\xEC\x04\x40\x00\x00\x03\x00\x40\x00\x00\x0C\x83\xC5\x0A\x92", 22);
    const Json json = RunJson("h264");
    EXPECT_EQ(json["profile"], "constrained baseline");
    EXPECT_EQ(json["level"], "1.1");
    EXPECT_EQ(json["width"], 176);
    EXPECT_EQ(json["height"], 144);
    EXPECT_EQ(json["packetizationMode"], 1);
    EXPECT_EQ(json["parameterSets"][0]["kind"], "SPS");
    EXPECT_EQ(json["parameterSets"][0]["bytes"], 22);
    EXPECT_EQ(json["parameterSets"][1]["base64"], "aO4=");
    EXPECT_THAT(m_host.camera.calls, ElementsAre("OpenConnection", "ConnectToCamera", "ConnectToRtspServer 0",
                                                 "GetH264Parameters", "CloseConnection"));
    m_host.camera.isRtsp = false;
    ExpectFailure("h264", "does not stream over RTSP");
}
} // namespace
