#include "Client.h"

#include "Tests/Support/FakeCamera.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// The whole program in front of a fake component.
class ClientTest : public testing::Test
{
protected:
    int Run(const std::string& line)
    {
        std::istringstream words(line);
        std::istringstream nothing;
        m_out.str({});
        m_err.str({});
        m_state.camera.calls.clear();
        const auto makeHost = [this](const ClientArguments&, std::ostream*) {
            return std::make_unique<CFakeComponentHost>(m_state);
        };
        return Client::Run({std::istream_iterator<std::string>(words), {}},
                           {std::nullopt, nothing, {m_out, m_err}, makeHost});
    }

    nlohmann::json RunJson(const std::string& line)
    {
        EXPECT_EQ(Run(line + " --json"), 0) << m_err.str();
        return nlohmann::json::parse(m_out.str());
    }

    void ExpectFailure(const std::string& line, const char* code, const char* hint)
    {
        SCOPED_TRACE(line);
        EXPECT_EQ(Run(line), 1);
        EXPECT_EQ(m_out.str(), "");
        EXPECT_THAT(m_err.str(), StartsWith("avcommand: "));
        EXPECT_THAT(m_err.str(), HasSubstr(code));
        EXPECT_THAT(m_err.str(), HasSubstr(hint));
        EXPECT_EQ(std::ranges::count(m_err.str(), '\n'), 1) << m_err.str();
    }

    FakeHostState m_state;
    std::ostringstream m_out;
    std::ostringstream m_err;
};

TEST_F(ClientTest, EveryCameraCommandOpensConnectsActsAndCloses)
{
    struct Row
    {
        const char* line;
        std::vector<std::string> calls;
    };
    const Row rows[] = {
        {"settings", {"GetSettings"}},
        {"sizes", {"GetSupportedImageSizes"}},
        {"sizes --rates", {"GetSupportedImageSizes", "GetSupportedFrameRates"}},
        {"set-size 640x480@5 --codec mpeg4", {"SetImageSize 640 480 5 1"}},
        {"set-size 1920x1080@5", {"GetCameraImageSize", "SetImageSize 1920 1080 5 2"}},
        {"set-bitrate 512", {"SetBitRate 512", "GetSettings"}},
        {"set-volume -3", {"SetAudioInVolume -3"}},
        {"ptz step up --distance 667", {"Step 8 8"}},
        {"ptz start tele --speed 70", {"StartMove 11 70"}},
        {"ptz stop motor", {"StopMove 0"}},
        {"ptz stop zoom", {"StopMove 11"}},
        {"ptz area 1 2 3 4", {"ZoomToArea 1 2 3 4"}},
        {"start-video", {"StartVideo 1 0"}},
        {"info", {"ConnectToRtspServer 0", "GetSettings", "GetSupportedImageSizes", "GetSupportedFrameRates"}},
        {"start-video --unicast 5004", {"StartVideo 0 5004"}},
        {"start-audio --unicast 5006", {"StartAudio 0 5006"}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(Run(std::string(row.line) + " --host cam --port 81 --user u --password p"), 0) << m_err.str();
        std::vector<std::string> expected{"OpenConnection", "ConnectToCamera"};
        expected.insert(expected.end(), row.calls.begin(), row.calls.end());
        expected.push_back("CloseConnection");
        EXPECT_EQ(m_state.camera.calls, expected);
        EXPECT_EQ(m_err.str(), "");
        EXPECT_NE(m_out.str(), "");
    }
    EXPECT_EQ(m_state.camera.address.host, "cam");
    EXPECT_EQ(m_state.camera.address.port, 81);
    EXPECT_EQ(m_state.camera.address.userName, "u");
    EXPECT_EQ(m_state.camera.address.password, "p");
}

TEST_F(ClientTest, SettingsAsJsonHaveEveryField)
{
    const auto json = RunJson("settings --host cam");
    EXPECT_EQ(json, nlohmann::json::parse(R"({
        "picture": {"width": 1280, "height": 720, "frameRate": 30, "codec": "h264"},
        "bitRateKbps": 2048, "audioInVolume": -2, "multicastAddress": "239.0.0.1",
        "multicastVideoPort": 2000, "multicastAudioPort": 2002,
        "unicastVideoPort": 3000, "unicastAudioPort": 3002})"));
}

TEST_F(ClientTest, SettingsAsTextAreATable)
{
    EXPECT_EQ(Run("settings --host cam"), 0);
    EXPECT_EQ(m_out.str(), "Picture            1280x720@30 h264\n"
                           "Bit rate           2048 kbit/s\n"
                           "Microphone volume  -2\n"
                           "Multicast          239.0.0.1, video port 2000, audio port 2002\n"
                           "Unicast            video port 3000, audio port 3002\n");
}

TEST_F(ClientTest, TextFromTheCameraThatIsNoUtf8StillGivesJson)
{
    m_state.camera.settings.multicastAddress = "bad\xFF";
    EXPECT_EQ(RunJson("settings --host cam")["multicastAddress"], "bad\xEF\xBF\xBD");
}

TEST_F(ClientTest, SizesShowRatesOnlyWhenAskedFor)
{
    const auto sizes = RunJson("sizes --host cam");
    EXPECT_EQ(sizes, nlohmann::json::parse(R"({"sizes": [
        {"width": 1920, "height": 1080, "frameRate": 30, "codec": "h264"},
        {"width": 640, "height": 480, "frameRate": 30, "codec": "mpeg4"}]})"));
    EXPECT_EQ(RunJson("sizes --rates --host cam")["frameRates"], nlohmann::json::parse("[1, 5, 10, 15, 30]"));

    EXPECT_EQ(Run("sizes --rates --host cam"), 0);
    EXPECT_EQ(m_out.str(), "Width  Height  Max rate  Codec\n"
                           " 1920    1080        30  h264\n"
                           "  640     480        30  mpeg4\n"
                           "Frame rates: 1, 5, 10, 15, 30\n");
}

TEST_F(ClientTest, InfoTellsFamilyGenerationAndStandardApart)
{
    auto info = RunJson("info --host cam");
    EXPECT_EQ(info["camera"], "cam:80");
    EXPECT_EQ(info["connected"], true);
    EXPECT_EQ(info["family"], "IPELA");
    EXPECT_EQ(info["generation"], "H.264");
    EXPECT_EQ(info["videoStandard"], "NTSC (60 Hz)");
    EXPECT_EQ(info["settings"]["bitRateKbps"], 2048);

    m_state.camera.isRtsp = true;
    m_state.camera.sizes = {{640, 480, 25, StreamCodec::kMpeg4}};
    m_state.camera.rates = {1, 12, 25};
    info = RunJson("info --host cam");
    EXPECT_EQ(info["family"], "RTSP");
    EXPECT_EQ(info["generation"], "MPEG-4");
    EXPECT_EQ(info["videoStandard"], "PAL (50 Hz)");
}

TEST_F(ClientTest, BitRateShowsWhatTheCameraMadeOfIt)
{
    m_state.camera.settings.bitRateKbps = 128;
    EXPECT_EQ(RunJson("set-bitrate 100 --host cam"),
              nlohmann::json::parse(R"({"command": "set-bitrate", "requestedKbps": 100, "bitRateKbps": 128})"));
}

TEST_F(ClientTest, CameraThatStreamsOverRtspTellsItsPictureAlone)
{
    m_state.camera.settings = {};
    m_state.camera.settings.picture = {1280, 720, 15, StreamCodec::kH264};
    EXPECT_EQ(Run("settings --host cam"), 0);
    EXPECT_EQ(m_out.str(), "Picture  1280x720@15 h264\n"
                           "Streams  over RTSP; this camera tells no bit rate, volume or ports here\n");
    EXPECT_EQ(Run("set-bitrate 700 --host cam"), 0);
    EXPECT_EQ(m_out.str(), "Bit rate set to 700 kbit/s\n");

    // ... and is shown even when its RTSP server fails.
    m_state.camera.isRtsp = true;
    EXPECT_EQ(RunJson("info --host cam")["h264"]["profileLevelId"], "4D401F");
    for (const char* call : {"ConnectToRtspServer", "GetH264Parameters"})
    {
        m_state.camera.results = {{call, HResults::kFail}};
        const auto info = RunJson("info --host cam");
        EXPECT_EQ(info["family"], "RTSP") << call;
        EXPECT_FALSE(info.contains("h264")) << call;
    }
}

TEST_F(ClientTest, ActionsPrintWhatTheyDidAsJson)
{
    EXPECT_EQ(RunJson("ptz step up --host cam"),
              nlohmann::json::parse(R"({"command": "ptz step", "direction": "up", "distance": "10"})"));
    EXPECT_EQ(RunJson("ptz stop left --host cam")["stopped"], "motor");
    EXPECT_EQ(RunJson("ptz stop wide --host cam")["stopped"], "zoom");
    EXPECT_EQ(RunJson("start-video --unicast 5004 --host cam"),
              nlohmann::json::parse(R"({"command": "start-video", "multicast": false, "udpPort": 5004})"));
    EXPECT_EQ(RunJson("set-size 640x480@5 --codec mpeg4 --host cam")["picture"]["codec"], "mpeg4");
}

TEST_F(ClientTest, EachFailureIsOneLineWithCodeAndAdvice)
{
    m_state.camera.results = {{"SetAudioInVolume", HResults::kInvalidArgument},
                              {"Step", HResults::kNotImplemented},
                              {"GetSettings", HResults::kUnexpected},
                              {"StartVideo", HResults::kFail}};
    ExpectFailure("set-size 1x1@1 --host cam", "SetImageSize2 failed with E_INVALIDARG (0x80070057)",
                  "avcommand sizes");
    ExpectFailure("set-volume 11 --host cam", "E_INVALIDARG", "between -10 and 10");
    ExpectFailure("ptz step up --host cam", "E_NOTIMPL (0x80004001)", "family");
    ExpectFailure("settings --host cam", "E_UNEXPECTED (0x8000FFFF)", "ORBELL_LOG_FILE");
    ExpectFailure("start-video --host cam", "E_FAIL", "cam:80");
}

TEST_F(ClientTest, FailedProbeEndsBeforeTheCommand)
{
    m_state.camera.results = {{"ConnectToCamera", HResults::kFail}};
    ExpectFailure("set-volume 1 --host cam --port 8081", "ConnectToCamera failed with E_FAIL", "cam:8081");
    EXPECT_THAT(m_state.camera.calls, ElementsAre("OpenConnection", "ConnectToCamera"));
}

TEST_F(ClientTest, UnregisteredComponentIsSaidSo)
{
    m_state.createResult = HResults::kClassString;
    ExpectFailure("info --host cam", "CO_E_CLASSSTRING", "avcommand register");
    EXPECT_TRUE(m_state.camera.calls.empty());
}

TEST_F(ClientTest, FailureAsJsonGoesToBothStreams)
{
    m_state.camera.results = {{"Step", HResults::kNotImplemented}};
    EXPECT_EQ(Run("ptz step up --host cam --json"), 1);
    EXPECT_THAT(m_err.str(), HasSubstr("E_NOTIMPL"));
    const auto error = nlohmann::json::parse(m_out.str())["error"];
    EXPECT_EQ(error["call"], "SendPTZCommand");
    EXPECT_EQ(error["name"], "E_NOTIMPL");
    EXPECT_EQ(error["hresult"], "0x80004001");
    EXPECT_EQ(error["advice"], "this family of cameras cannot do that");
}

TEST_F(ClientTest, SuccessCodeOtherThanOkIsNoFailure)
{
    m_state.camera.results = {{"SetAudioInVolume", HResults::kFalse}};
    EXPECT_EQ(Run("set-volume 1 --host cam"), 0);
}

TEST_F(ClientTest, RegistrationNeedsNoCamera)
{
    EXPECT_EQ(Run("register"), 0);
    EXPECT_EQ(m_state.countRegistered, 1);
    EXPECT_EQ(m_out.str(), "Registered C:\\fake\\Quorvane.dll\n");
    EXPECT_EQ(RunJson("unregister")["library"], "C:\\fake\\Quorvane.dll");
    EXPECT_EQ(m_state.countUnregistered, 1);
    m_state.registerResult = HResults::kAccessDenied;
    ExpectFailure("register", "DllRegisterServer failed with E_ACCESSDENIED", "administrator");
    ExpectFailure("unregister", "DllUnregisterServer failed with E_ACCESSDENIED", "administrator");
    m_state.registerResult = HResults::kTypeLibRegistry;
    ExpectFailure("unregister", "TYPE_E_REGISTRYACCESS", "most likely it was not registered");
}

TEST_F(ClientTest, WrongUsageReachesNoComponent)
{
    EXPECT_EQ(Run("info --host cam --port 0"), 2);
    EXPECT_EQ(m_out.str(), "");
    EXPECT_THAT(m_err.str(), HasSubstr("'0' is not a port"));
    EXPECT_EQ(std::ranges::count(m_err.str(), '\n'), 1);
    EXPECT_TRUE(m_state.camera.calls.empty());
}

TEST_F(ClientTest, HelpGoesToStandardOutput)
{
    EXPECT_EQ(Run("--help"), 0);
    EXPECT_THAT(m_out.str(), HasSubstr("set-bitrate"));
    EXPECT_EQ(m_err.str(), "");
}
} // namespace
