// avcommand.exe as its user meets it: a process with a command line, two output streams and an exit code, in front of
// the built DLL and a simulated camera in this process.

#include "CameraSim/CameraSimulator.h"
#include "Tests/Module/PortableExecutable.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/TemporaryFolder.h"

#include <winsock2.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <future>
#include <string>
#include <vector>

namespace
{
using testing::AllOf;
using testing::HasSubstr;
using testing::IsSubsetOf;
using testing::StartsWith;
using Json = nlohmann::json;

constexpr const char* kUser = "j\xC3\xBCrgen";
constexpr const char* kPassword = "p\xC3\xA4ss \xE2\x82\xAC";
constexpr wchar_t kUserWide[] = L"j\u00FCrgen";
constexpr wchar_t kPasswordWide[] = L"p\u00E4ss \u20AC";

std::filesystem::path BinFolder()
{
    return std::filesystem::path(ComponentPath()).parent_path();
}

ChildResult RunProgram(const std::wstring& arguments, const std::string& input = {})
{
    return CChildProcess::Run(BinFolder() / "avcommand.exe", arguments, input);
}

/// One line on standard error, nothing on standard output.
void ExpectComplaint(const ChildResult& result, DWORD exitCode, const std::vector<std::string>& hints)
{
    EXPECT_EQ(result.exitCode, exitCode);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("avcommand: "));
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
    for (const std::string& hint : hints)
        EXPECT_THAT(result.err, HasSubstr(hint));
}

Json ParseGood(const ChildResult& result)
{
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_EQ(result.err, "");
    return Json::parse(result.out);
}

/// The walk-through against `camera`.
Json RunDemo(const CCameraSimulator& camera)
{
    const ChildResult result =
        RunProgram(L"demo --unregistered --json --sim-control 127.0.0.1:" + std::to_wstring(camera.ControlPort()));
    const Json demo = Json::parse(result.out);
    EXPECT_EQ(result.exitCode == 0, demo["passed"].get<bool>());
    return demo;
}

/// The steps that were not as expected, behind the verdict.
std::string ProblemText(const Json& demo)
{
    std::string text = demo["verdict"];
    for (const Json& step : demo["steps"])
    {
        if (!step["ok"])
            text += '\n' + step.dump(2);
    }
    return text;
}

/// The password variable for programs that are started meanwhile.
class CPasswordVariable
{
public:
    explicit CPasswordVariable(const wchar_t* value)
    {
        ::SetEnvironmentVariableW(L"AVCOMMAND_PASSWORD", value);
    }
    ~CPasswordVariable()
    {
        ::SetEnvironmentVariableW(L"AVCOMMAND_PASSWORD", nullptr);
    }
    CPasswordVariable(const CPasswordVariable&) = delete;
    CPasswordVariable& operator=(const CPasswordVariable&) = delete;
};

/// A simulated camera with Digest authentication and credentials that need UTF-8 on their whole way.
class Program : public testing::Test
{
protected:
    static CameraSimulatorOptions Options()
    {
        CameraSimulatorOptions options;
        options.authentication.scheme = AuthenticationScheme::Digest;
        options.authentication.user = kUser;
        options.authentication.password = kPassword;
        options.controlPort = 0;
        return options;
    }

    Program()
    {
        m_camera.Start();
    }

    std::wstring Address() const
    {
        return L" --unregistered --host 127.0.0.1 --port " + std::to_wstring(m_camera.Port()) + L" --user " + kUserWide;
    }

    ChildResult Ask(const std::wstring& verb) const
    {
        return RunProgram(verb + Address() + L" --password \"" + kPasswordWide + L"\"");
    }

    CCameraSimulator m_camera{Options()};
};

TEST_F(Program, NeedsOnlyWhatEveryWindowsHas)
{
    EXPECT_THAT(ReadPortableExecutable(ReadFileBytes(BinFolder() / "avcommand.exe")).importedLibraries,
                IsSubsetOf({"advapi32.dll", "kernel32.dll", "msvcrt.dll", "mswsock.dll", "ole32.dll", "oleaut32.dll",
                            "shell32.dll", "user32.dll", "wininet.dll", "ws2_32.dll"}));
}

TEST_F(Program, WrongUsageEndsWith2)
{
    struct Row
    {
        const wchar_t* arguments;
        const char* hint;
    };
    const Row rows[] = {
        {L"", "no command given"},
        {L"info --host 127.0.0.1 --frob", "--frob"},
        {L"info --host 127.0.0.1 --port 0", "'0' is not a port"},
        {L"info --host 127.0.0.1 --port 65536", "'65536' is not a port"},
        {L"info --host 127.0.0.1 --port b\u00E4d", "'b\xC3\xA4"
                                                   "d' is not a port"},
        {L"info", "needs --host"},
        {L"set-size 1280 --host 127.0.0.1", "'1280' is not a size"},
        {L"info --host 127.0.0.1 --password-stdin", "standard input is empty"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.hint);
        ExpectComplaint(RunProgram(row.arguments), 2, {row.hint});
    }
}

TEST_F(Program, HelpEndsWith0)
{
    const ChildResult result = RunProgram(L"--help");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_THAT(result.out, HasSubstr("start-video"));
    EXPECT_EQ(result.err, "");
}

TEST_F(Program, MissingDllIsSaidSo)
{
    const CTemporaryFolder folder;
    std::filesystem::copy_file(BinFolder() / "avcommand.exe", folder / "avcommand.exe");
    const auto runAlone = [&](const std::wstring& arguments) {
        return CChildProcess::Run(folder / "avcommand.exe", arguments);
    };
    ExpectComplaint(runAlone(L"info --unregistered --host 127.0.0.1"), 1, {"ERROR_MOD_NOT_FOUND", "--dll"});
    ExpectComplaint(runAlone(L"register"), 1, {"ERROR_MOD_NOT_FOUND", "--dll"});
    ExpectComplaint(RunProgram(L"info --dll no-such.dll --host 127.0.0.1"), 1, {"ERROR_MOD_NOT_FOUND", "--dll"});
}

TEST_F(Program, RegisteredDllThatHasGoneIsSaidSo)
{
    const CTemporaryFolder folder;
    const std::filesystem::path copy = folder / "Quorvane.dll";
    std::filesystem::copy_file(ComponentPath(), copy);
    ASSERT_EQ(RunProgram(L"register --dll \"" + copy.wstring() + L"\"").exitCode, 0u);
    std::filesystem::remove(copy);
    ExpectComplaint(RunProgram(L"info --host 127.0.0.1"), 1, {"DLL is missing or cannot be read", "register again"});
    // A registration whose file has gone cannot be removed whole; one that is put right first can.
    EXPECT_EQ(RunProgram(L"register").exitCode, 0u);
    EXPECT_EQ(RunProgram(L"unregister").exitCode, 0u);
}

TEST_F(Program, FileThatIsNoComponentIsSaidSo)
{
    const CTemporaryFolder folder;
    std::ofstream(folder / "text.dll") << "this is no program";
    ExpectComplaint(RunProgram(L"info --host 127.0.0.1 --dll \"" + (folder / "text.dll").wstring() + L"\""), 1,
                    {"ERROR_BAD_EXE_FORMAT", "not a 32-bit Windows DLL"});
    ExpectComplaint(RunProgram(L"register --dll version.dll"), 1, {"ERROR_MOD_NOT_FOUND"});
    wchar_t system[MAX_PATH] = {};
    ::GetSystemDirectoryW(system, MAX_PATH);
    ExpectComplaint(RunProgram(L"register --dll \"" + std::wstring(system) + L"\\version.dll\""), 1,
                    {"ERROR_PROC_NOT_FOUND", "not the AVCommand component"});
}

TEST_F(Program, RegistrationMakesTheProgIdUsable)
{
    const std::wstring info = L"info --json --host 127.0.0.1 --port " + std::to_wstring(m_camera.Port()) + L" --user " +
                              kUserWide + L" --password \"" + kPasswordWide + L"\"";
    ASSERT_EQ(RunProgram(L"register").exitCode, 0u);
    EXPECT_EQ(ParseGood(RunProgram(info))["family"], "IPELA");
    EXPECT_THAT(RunProgram(L"unregister").out, AllOf(StartsWith("Unregistered "), HasSubstr("Quorvane.dll")));
    const ChildResult unknown = RunProgram(info);
    EXPECT_EQ(unknown.exitCode, 1u);
    EXPECT_THAT(unknown.err, AllOf(HasSubstr("CO_E_CLASSSTRING (0x800401F3)"), HasSubstr("avcommand register")));
    EXPECT_EQ(Json::parse(unknown.out)["error"]["name"], "CO_E_CLASSSTRING");
}

TEST_F(Program, UnreachableCameraIsOneLine)
{
    const std::wstring address = Address();
    m_camera.Stop();
    ExpectComplaint(RunProgram(L"settings" + address), 1,
                    {"ConnectToCamera failed with E_FAIL (0x80004005)", "nothing answers at 127.0.0.1:"});
}

TEST_F(Program, WrongPasswordIsOneLineAndTwoRequests)
{
    ExpectComplaint(RunProgram(L"settings" + Address() + L" --password wrong"), 1,
                    {"ConnectToCamera failed with E_FAIL (0x80004005)", "refuses the user name and password"});
    const auto journal = m_camera.Journal();
    ASSERT_GE(journal.size(), 2u);
    EXPECT_EQ(journal[0].status, 401u);
    EXPECT_EQ(journal[1].status, 401u);
    EXPECT_NE(journal[1].request.Header("Authorization"), nullptr);
}

TEST_F(Program, PasswordComesFromOptionEnvironmentOrInput)
{
    EXPECT_EQ(Ask(L"settings").exitCode, 0u);
    {
        const CPasswordVariable variable(kPasswordWide);
        EXPECT_EQ(RunProgram(L"settings" + Address()).exitCode, 0u);
    }
    EXPECT_EQ(RunProgram(L"settings" + Address() + L" --password-stdin", std::string(kPassword) + "\r\n").exitCode, 0u);
    EXPECT_EQ(RunProgram(L"settings" + Address()).exitCode, 1u);
}

TEST_F(Program, InfoDescribesTheCamera)
{
    const Json info = ParseGood(Ask(L"info --json"));
    EXPECT_EQ(info["camera"], "127.0.0.1:" + std::to_string(m_camera.Port()));
    EXPECT_EQ(info["connected"], true);
    EXPECT_EQ(info["family"], "IPELA");
    EXPECT_EQ(info["generation"], "H.264");
    EXPECT_EQ(info["videoStandard"], "NTSC (60 Hz)");
    EXPECT_EQ(info["frameRates"], Json::parse("[1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30]"));
    EXPECT_EQ(info["settings"]["picture"]["codec"], "h264");
    EXPECT_THAT(Ask(L"info").out, HasSubstr("Family             IPELA, H.264 models\n"));
}

TEST_F(Program, SettingsAreThoseOfTheCamera)
{
    for (const auto& [name, value] :
         {std::pair("ImageSize1", "640,480"), std::pair("FrameRate1", "15"), std::pair("BitRate1", "512"),
          std::pair("AudioInVolume", "-4"), std::pair("McAddress1", "239.1.2.3"), std::pair("McVideoPort1", "2001"),
          std::pair("McAudioPort", "2002"), std::pair("UcVideoPort1", "2003"), std::pair("UcAudioPort", "2004")})
        m_camera.SetSetting(name, value);
    EXPECT_EQ(ParseGood(Ask(L"settings --json")), Json::parse(R"({
        "picture": {"width": 640, "height": 480, "frameRate": 15, "codec": "h264"},
        "bitRateKbps": 512, "audioInVolume": -4, "multicastAddress": "239.1.2.3",
        "multicastVideoPort": 2001, "multicastAudioPort": 2002,
        "unicastVideoPort": 2003, "unicastAudioPort": 2004})"));
}

TEST_F(Program, SizesAreThoseOfTheModel)
{
    const Json json = ParseGood(Ask(L"sizes --rates --json"));
    ASSERT_EQ(json["sizes"].size(), 7u);
    EXPECT_EQ(json["sizes"][0], Json::parse(R"({"width": 1920, "height": 1080, "frameRate": 30, "codec": "h264"})"));
    EXPECT_EQ(json["frameRates"].size(), 12u);
    EXPECT_THAT(Ask(L"sizes").out, StartsWith("Width  Height  Max rate  Codec\n 1920    1080        30  h264\n"));
}

TEST_F(Program, ChangesReachTheCamera)
{
    EXPECT_EQ(Ask(L"set-size 640x480@15 --codec mpeg4").out, "Picture set to 640x480@15 mpeg4\n");
    EXPECT_EQ(m_camera.Setting("ImageSize1"), "640,480");
    EXPECT_EQ(m_camera.Setting("FrameRate1"), "15");
    EXPECT_EQ(m_camera.Setting("ImageCodec1"), "mpeg4");
    EXPECT_EQ(Ask(L"set-bitrate 100").out, "Bit rate is now 128 kbit/s (asked for 100)\n");
    EXPECT_EQ(m_camera.Setting("BitRate1"), "128");
    EXPECT_EQ(ParseGood(Ask(L"set-volume -7 --json"))["audioInVolume"], -7);
    EXPECT_EQ(m_camera.Setting("AudioInVolume"), "-7");
}

TEST_F(Program, ValuesThatTheCameraDoesNotTakeAreExplained)
{
    ExpectComplaint(Ask(L"set-size 123x45@30"), 1,
                    {"SetImageSize2 failed with E_INVALIDARG (0x80070057)", "avcommand sizes"});
    ExpectComplaint(Ask(L"set-volume 11"), 1, {"E_INVALIDARG", "between -10 and 10"});
    ExpectComplaint(Ask(L"ptz area 0 0 -1 5"), 1, {"E_INVALIDARG", "must not be negative"});
}

TEST_F(Program, PtzCommandsMoveTheCamera)
{
    const auto targetOfLast = [this] { return m_camera.Journal().back().request.target; };
    EXPECT_EQ(Ask(L"ptz step left --distance 20").exitCode, 0u);
    EXPECT_EQ(targetOfLast(), "/command/ptzf.cgi?Relative=0403");
    EXPECT_LT(m_camera.State().position.pan, 0);
    EXPECT_EQ(Ask(L"ptz start up-right --speed 50").exitCode, 0u);
    EXPECT_EQ(targetOfLast(), "/command/ptzf.cgi?Move=up-right,12");
    EXPECT_EQ(Ask(L"ptz stop motor").exitCode, 0u);
    EXPECT_EQ(targetOfLast(), "/command/ptzf.cgi?Move=stop,motor");
    EXPECT_EQ(m_camera.State().speed, PtzSpeed{});
    EXPECT_EQ(Ask(L"ptz stop zoom").exitCode, 0u);
    EXPECT_EQ(targetOfLast(), "/command/ptzf.cgi?Move=stop,zoom");
    EXPECT_EQ(Ask(L"ptz area 80 60 160 120").exitCode, 0u);
    EXPECT_EQ(targetOfLast(), "/command/ptzf.cgi?AreaZoom=80,60,160,120");
}

TEST_F(Program, StreamsAreStartedWhereTheyWereAskedFor)
{
    EXPECT_EQ(ParseGood(Ask(L"start-video --unicast 5004 --json"))["udpPort"], 5004);
    EXPECT_EQ(m_camera.Journal().back().request.target, "/image1?UdpMode=unicast&UdpPort=5004");
    EXPECT_EQ(Ask(L"start-audio").exitCode, 0u);
    EXPECT_EQ(m_camera.Journal().back().request.target, "/audio?udpMode=multicast");
    m_camera.StopStreams();
}

TEST_F(Program, VerboseShowsEachCallAndNoPassword)
{
    const ChildResult result = Ask(L"set-volume 1 --verbose");
    EXPECT_EQ(result.exitCode, 0u);
    for (const char* call : {"LoadLibraryExW", "DllGetClassObject", "IClassFactory::CreateInstance",
                             "IAVCommand::OpenConnection -> S_OK (0x00000000), ", "IAVCommand::ConnectToCamera",
                             "IAVCommand2::SetAudioInVolume", "IAVCommand::CloseConnection"})
        EXPECT_THAT(result.err, HasSubstr(call));
    EXPECT_THAT(result.err, Not(HasSubstr("p\xC3\xA4ss")));
    EXPECT_EQ(result.out, "Microphone volume set to 1\n");
}

TEST_F(Program, DemoPassesAgainstASoundCamera)
{
    const Json demo = RunDemo(m_camera);
    EXPECT_EQ(demo["passed"], true) << ProblemText(demo);
    EXPECT_EQ(demo["steps"].size(), 18u);
}

TEST_F(Program, DemoPassesWithEveryGenerationOfCameras)
{
    struct Row
    {
        const char* reason;
        const char* model;
        VideoStandard standard;
        AuthenticationScheme scheme;
    };
    const Row rows[] = {
        {"height follows from width, 50 Hz", "SNC-RZ25", VideoStandard::Pal, AuthenticationScheme::Basic},
        {"MPEG-4 with a size of two numbers", "SNC-RH124", VideoStandard::Ntsc, AuthenticationScheme::DigestSession},
        {"a model that nobody knows", "SNC-XX1", VideoStandard::Ntsc, AuthenticationScheme::None},
        {"H.264 only", "SNC-WR600", VideoStandard::Ntsc, AuthenticationScheme::Digest},
        {"RTSP, 50 Hz", "AXIS M5526-E", VideoStandard::Pal, AuthenticationScheme::Digest},
        {"RTSP without credentials", "AXIS V5915", VideoStandard::Ntsc, AuthenticationScheme::None},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CameraSimulatorOptions options = Options();
        options.model = row.model;
        options.standard = row.standard;
        options.authentication.scheme = row.scheme;
        options.factorySettings = true;
        CCameraSimulator camera(options);
        camera.Start();
        const Json demo = RunDemo(camera);
        EXPECT_EQ(demo["passed"], true) << ProblemText(demo);
    }
}

/// The same in front of a camera that streams over RTSP.
class StreamingProgram : public Program
{
protected:
    StreamingProgram()
    {
        CameraChange change;
        change.model = "AXIS P5635-E";
        m_camera.Change(change);
    }
};

TEST_F(StreamingProgram, StreamReceivesAndWritesVideo)
{
    const CTemporaryFolder folder;
    const std::filesystem::path path = folder / L"v\u00EFdeo.h264";
    const Json json = ParseGood(Ask(L"stream --seconds 2 --json --out \"" + path.wstring() + L"\""));
    EXPECT_GT(json["video"]["packets"], 0);
    EXPECT_GT(json["audio"]["packets"], 0);
    EXPECT_EQ(json["h264"]["width"], 1280);
    EXPECT_EQ(json["h264"]["packetizationMode"], 1);
    const std::string bytes = ReadFileBytes(path);
    EXPECT_EQ(json["out"]["bytes"], bytes.size());
    EXPECT_THAT(bytes, StartsWith(std::string("\0\0\0\x01\x67", 5)));
    EXPECT_TRUE(m_camera.Streams().empty()) << "the camera was told to stop";
}

TEST_F(StreamingProgram, StreamIsStoppedByAnotherProcess)
{
    auto stream = std::async(std::launch::async, [this] { return Ask(L"stream --seconds 50 --json"); });
    int reached = 0;
    // Until the stream is there to be found there is nothing to stop, which is no failure.
    for (int attempt = 0; attempt < 50 && reached == 0; ++attempt)
        reached = ParseGood(Ask(L"stop --json"))["streams"];
    EXPECT_EQ(reached, 1);
    EXPECT_EQ(ParseGood(stream.get())["endedBy"], "stop");
    EXPECT_EQ(ParseGood(Ask(L"stop --json"))["streams"], 0) << "it has gone";
}

TEST_F(Program, DemoFailsAgainstACameraThatRefusesToMove)
{
    m_camera.AddFault("status:503@command/ptzf.cgi");
    const ChildResult result =
        RunProgram(L"demo --unregistered --sim-control 127.0.0.1:" + std::to_wstring(m_camera.ControlPort()));
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.out, HasSubstr("\nDemo FAILED: 14 of 18 steps as expected; step 12 (SendPTZCommand): "
                                      "expected S_OK (0x00000000)\n"));
}

TEST_F(Program, DemoWithoutASimulatorFails)
{
    const std::wstring port = std::to_wstring(m_camera.ControlPort());
    m_camera.Stop();
    const ChildResult result = RunProgram(L"demo --unregistered --sim-control 127.0.0.1:" + port);
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, HasSubstr("the simulator's control endpoint 127.0.0.1:"));
    EXPECT_THAT(result.out, StartsWith("Demo FAILED: 0 of 0 steps as expected"));
}
} // namespace
