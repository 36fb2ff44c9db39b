#include "Core/CommandLine.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace
{
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> Split(const std::string& line)
{
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

ParseOutcome Parse(const std::string& line, const std::optional<std::string>& environmentPassword = std::nullopt,
                   const std::string& input = {})
{
    std::istringstream standardInput(input);
    return CommandLine::Parse(Split(line), environmentPassword, standardInput);
}

ClientArguments ParseGood(const std::string& line)
{
    const ParseOutcome outcome = Parse(line);
    EXPECT_TRUE(outcome.arguments) << line << ": " << outcome.message;
    return outcome.arguments.value_or(ClientArguments{});
}

TEST(CommandLine, EveryVerbIsUnderstood)
{
    struct Row
    {
        const char* line;
        Verb verb;
        const char* text;
    };
    const Row rows[] = {
        {"info --host c", Verb::kInfo, "info"},
        {"stream --host c", Verb::kStream, "stream"},
        {"h264 --host c", Verb::kH264, "h264"},
        {"pause --host c", Verb::kPause, "pause"},
        {"stop --host c", Verb::kStop, "stop"},
        {"settings --host c", Verb::kSettings, "settings"},
        {"sizes --host c", Verb::kSizes, "sizes"},
        {"set-size 640x480@5 --host c", Verb::kSetSize, "set-size"},
        {"set-bitrate 512 --host c", Verb::kSetBitRate, "set-bitrate"},
        {"set-volume 1 --host c", Verb::kSetVolume, "set-volume"},
        {"ptz step up --host c", Verb::kPtzStep, "ptz step"},
        {"ptz start up --speed 5 --host c", Verb::kPtzStart, "ptz start"},
        {"ptz stop motor --host c", Verb::kPtzStop, "ptz stop"},
        {"ptz area 1 2 3 4 --host c", Verb::kPtzArea, "ptz area"},
        {"start-video --host c", Verb::kStartVideo, "start-video"},
        {"start-audio --host c", Verb::kStartAudio, "start-audio"},
        {"register", Verb::kRegister, "register"},
        {"unregister", Verb::kUnregister, "unregister"},
        {"demo --sim-control 127.0.0.1:9000", Verb::kDemo, "demo"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.line);
        const ClientArguments arguments = ParseGood(row.line);
        EXPECT_EQ(arguments.verb, row.verb);
        EXPECT_EQ(arguments.verbText, row.text);
    }
}

TEST(CommandLine, GlobalOptionsStandBeforeOrBehindTheVerb)
{
    for (const char* line : {"--host c --port 8080 --user u --password p --json --verbose --unregistered --dll d info",
                             "info --host c --port 8080 --user u --password p --json --verbose --unregistered --dll d"})
    {
        SCOPED_TRACE(line);
        const ClientArguments arguments = ParseGood(line);
        EXPECT_EQ(arguments.camera.host, "c");
        EXPECT_EQ(arguments.camera.port, 8080);
        EXPECT_EQ(arguments.camera.userName, "u");
        EXPECT_EQ(arguments.camera.password, "p");
        EXPECT_TRUE(arguments.isJson);
        EXPECT_TRUE(arguments.isVerbose);
        EXPECT_TRUE(arguments.isUnregistered);
        EXPECT_EQ(arguments.dllPath, "d");
    }
}

TEST(CommandLine, PortIs80UnlessGiven)
{
    EXPECT_EQ(ParseGood("info --host c").camera.port, 80);
}

TEST(CommandLine, StreamHasDefaultsAndOptions)
{
    const ClientArguments plain = ParseGood("stream --host c");
    EXPECT_EQ(plain.seconds, 10);
    EXPECT_EQ(plain.outPath, "");
    EXPECT_TRUE(plain.withAudio);
    const ClientArguments all = ParseGood("stream --seconds 3 --out v.h264 --no-audio --multicast --host c");
    EXPECT_EQ(all.seconds, 3);
    EXPECT_EQ(all.outPath, "v.h264");
    EXPECT_FALSE(all.withAudio);
    EXPECT_TRUE(all.isMulticast);
    EXPECT_FALSE(plain.isMulticast);
    EXPECT_FALSE(ParseGood("pause --host c").isResume);
    EXPECT_TRUE(ParseGood("pause --resume --host c").isResume);
}

TEST(CommandLine, ValuesReachTheArguments)
{
    const ClientArguments size = ParseGood("set-size 1280x720@15 --codec h264 --host c");
    EXPECT_EQ(size.picture, (PictureFormat{1280, 720, 15, StreamCodec::kNone}));
    EXPECT_EQ(size.codec, StreamCodec::kH264);
    EXPECT_EQ(ParseGood("set-size 1280x720@15 --host c").codec, std::nullopt);
    EXPECT_EQ(ParseGood("set-bitrate 9000 --host c").number, 9000);
    EXPECT_EQ(ParseGood("set-volume -5 --host c").number, -5);
    EXPECT_TRUE(ParseGood("sizes --rates --host c").withRates);
    EXPECT_FALSE(ParseGood("sizes --host c").withRates);

    const ClientArguments step = ParseGood("ptz step up-left --distance 833 --host c");
    EXPECT_EQ(step.direction, MoveDirection::kUpperLeft);
    EXPECT_EQ(step.stepSize, StepSize::k833);
    EXPECT_EQ(ParseGood("ptz step up --host c").stepSize, StepSize::k10);
    EXPECT_EQ(ParseGood("ptz start tele --speed 70 --host c").number, 70);
    EXPECT_EQ(ParseGood("ptz stop zoom --host c").direction, MoveDirection::kZoomTele);

    const ClientArguments area = ParseGood("ptz area -1 2 30 40 --host c");
    EXPECT_EQ(area.area.x, -1);
    EXPECT_EQ(area.area.y, 2);
    EXPECT_EQ(area.area.width, 30);
    EXPECT_EQ(area.area.height, 40);

    const ClientArguments demo = ParseGood("demo --sim-control localhost:9000");
    EXPECT_EQ(demo.simHost, "localhost");
    EXPECT_EQ(demo.simPort, 9000);
}

TEST(CommandLine, StreamsAreMulticastUnlessUnicastIsAskedFor)
{
    EXPECT_TRUE(ParseGood("start-video --host c").target.isMulticast);
    EXPECT_TRUE(ParseGood("start-audio --multicast --host c").target.isMulticast);
    const ClientArguments unicast = ParseGood("start-audio --unicast 5004 --host c");
    EXPECT_FALSE(unicast.target.isMulticast);
    EXPECT_EQ(unicast.target.udpPort, 5004);
}

TEST(CommandLine, PasswordOptionWinsOverTheEnvironment)
{
    EXPECT_EQ(Parse("info --host c", "from environment").arguments->camera.password, "from environment");
    EXPECT_EQ(Parse("info --host c --password typed", "from environment").arguments->camera.password, "typed");
    EXPECT_EQ(Parse("info --host c").arguments->camera.password, "");
}

TEST(CommandLine, PasswordFromStandardInputIsItsFirstLine)
{
    struct Row
    {
        const char* reason;
        const char* input;
        const char* expected;
    };
    const Row rows[] = {
        {"one line", "secret\n", "secret"},
        {"no line end", "secret", "secret"},
        {"a Windows line end", "secret\r\n", "secret"},
        {"more lines", "first\nsecond\n", "first"},
        {"spaces belong to it", " a b \n", " a b "},
        {"UTF-8 stays as it is", "p\xC3\xA4ss\n", "p\xC3\xA4ss"},
        {"an empty line is an empty password", "\n", ""},
    };
    for (const Row& row : rows)
    {
        const ParseOutcome outcome = Parse("info --host c --password-stdin", "from environment", row.input);
        ASSERT_TRUE(outcome.arguments) << row.reason;
        EXPECT_EQ(outcome.arguments->camera.password, row.expected) << row.reason;
    }
}

TEST(CommandLine, WrongUsageIsOneClearLineAndExitCode2)
{
    struct Row
    {
        const char* reason;
        const char* line;
        const char* hint;
    };
    const Row rows[] = {
        {"no command", "", "no command given"},
        {"options alone", "--host c", "no command given"},
        {"unknown command", "dance --host c", "'dance'"},
        {"unknown option", "info --host c --frob", "--frob"},
        {"unknown option before the command", "--frob info --host c", "--frob"},
        {"word too many", "info more --host c", "more"},
        {"no host", "info", "'info' needs --host"},
        {"no host for a nested command", "ptz step up", "'ptz step' needs --host"},
        {"empty host", "settings --host=", "--host"},
        {"port 0", "info --host c --port 0", "'0' is not a port (1 to 65535)"},
        {"port 65536", "info --host c --port 65536", "'65536' is not a port"},
        {"port as text", "info --host c --port http", "'http' is not a port"},
        {"port without a number", "info --host c --port", "--port"},
        {"address as a URL", "info --host http://c/", "is not a host name"},
        {"port inside the host", "info --host c:81", "--port"},
        {"both passwords", "info --host c --password p --password-stdin", "--password"},
        {"empty standard input", "info --host c --password-stdin", "standard input is empty"},
        {"no size", "set-size --host c", "SIZE"},
        {"bad size", "set-size 640x480 --host c", "'640x480' is not a size such as 1280x720@30"},
        {"bad codec", "set-size 640x480@5 --codec vp8 --host c", "'vp8' is not a codec"},
        {"bit rate 0", "set-bitrate 0 --host c", "'0' is not a bit rate"},
        {"bit rate as text", "set-bitrate fast --host c", "'fast' is not a bit rate"},
        {"volume as text", "set-volume loud --host c", "'loud' is not a number"},
        {"ptz alone", "ptz --host c", "subcommand"},
        {"bad direction", "ptz step sideways --host c", "'sideways' is not a direction"},
        {"bad distance", "ptz step up --distance 11 --host c", "'11' is not a step"},
        {"no speed", "ptz start up --host c", "--speed"},
        {"three numbers for an area", "ptz area 1 2 3 --host c", "HEIGHT"},
        {"no time to stream", "stream --seconds 0 --host c", "'0' is not a number of seconds (1 to 86400)"},
        {"more than a day", "stream --seconds 86401 --host c", "'86401' is not a number of seconds"},
        {"no number of seconds", "stream --seconds soon --host c", "'soon' is not a number of seconds"},
        {"no file name", "stream --host c --out=", "--out"},
        {"a stream without a camera", "stream", "'stream' needs --host"},
        {"resuming a stop", "stop --resume --host c", "--resume"},
        {"both targets", "start-video --multicast --unicast 5 --host c", "--multicast"},
        {"unicast to port 0", "start-video --unicast 0 --host c", "'0' is not a port"},
        {"demo without a simulator", "demo", "--sim-control"},
        {"simulator without a port", "demo --sim-control localhost", "'localhost' is not HOST:PORT"},
        {"simulator without a host", "demo --sim-control :90", "':90' is not HOST:PORT"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const ParseOutcome outcome = Parse(row.line);
        EXPECT_FALSE(outcome.arguments);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_THAT(outcome.message, StartsWith("avcommand: "));
        EXPECT_THAT(outcome.message, HasSubstr(row.hint));
        EXPECT_EQ(std::ranges::count(outcome.message, '\n'), 0) << outcome.message;
    }
}

TEST(CommandLine, LineEndsInWhatWasTypedDoNotBreakTheMessage)
{
    std::istringstream nothing;
    const ParseOutcome outcome = CommandLine::Parse({"info", "--port", "8\r\n0"}, std::nullopt, nothing);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.message.find_first_of("\r\n"), std::string::npos);
}

TEST(CommandLine, HelpIsASuccessWithText)
{
    for (const char* line : {"--help", "set-size --help", "ptz --help", "ptz step -h"})
    {
        SCOPED_TRACE(line);
        const ParseOutcome outcome = Parse(line);
        EXPECT_FALSE(outcome.arguments);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_THAT(outcome.message, HasSubstr("Usage:"));
    }
    EXPECT_THAT(Parse("set-size --help").message, HasSubstr("--codec"));
}
} // namespace
