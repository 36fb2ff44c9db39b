#include "CameraSim/Program/CommandLine.h"

#include <gtest/gtest.h>

namespace
{

TEST(CommandLine, WithoutOptionsItIsAnOpenCameraOnThisMachine)
{
    const auto result = CommandLine::Parse({});
    ASSERT_TRUE(result.options) << result.text;
    const CameraSimulatorOptions& simulator = result.options->simulator;
    EXPECT_EQ("SNC-EP580", simulator.model);
    EXPECT_EQ(VideoStandard::Ntsc, simulator.standard);
    EXPECT_EQ("127.0.0.1", simulator.bindAddress);
    EXPECT_EQ(0, simulator.port);
    EXPECT_EQ(std::uint16_t{0}, simulator.controlPort);
    EXPECT_EQ(AuthenticationScheme::None, simulator.authentication.scheme);
    EXPECT_TRUE(simulator.requireStreamSettings);
    EXPECT_FALSE(simulator.factorySettings);
    EXPECT_FALSE(result.options->verbose);
    EXPECT_FALSE(result.options->duration);
}

TEST(CommandLine, TakesEveryOption)
{
    const auto result = CommandLine::Parse({"--model",
                                            "SNC-RZ25N",
                                            "--standard",
                                            "pal",
                                            "--factory",
                                            "--set",
                                            "A=1",
                                            "--set",
                                            "B=",
                                            "--bind",
                                            "0.0.0.0",
                                            "--port",
                                            "8080",
                                            "--control-port",
                                            "8081",
                                            "--auth",
                                            "digest",
                                            "--user",
                                            "u",
                                            "--password",
                                            "p",
                                            "--realm",
                                            "r",
                                            "--qop",
                                            "none",
                                            "--nonce-requests",
                                            "5",
                                            "--challenge",
                                            "Digest x",
                                            "--fault",
                                            "drop*1",
                                            "--fault",
                                            "silent@audio",
                                            "--port-file",
                                            "ports.json",
                                            "-v",
                                            "--seconds",
                                            "7",
                                            "--lenient-streams"});
    ASSERT_TRUE(result.options) << result.text;
    const ProgramOptions& options = *result.options;
    const CameraSimulatorOptions& simulator = options.simulator;
    EXPECT_EQ("SNC-RZ25N", simulator.model);
    EXPECT_EQ(VideoStandard::Pal, simulator.standard);
    EXPECT_TRUE(simulator.factorySettings);
    EXPECT_EQ((std::vector<std::pair<std::string, std::string>>{{"A", "1"}, {"B", ""}}), options.settings);
    EXPECT_EQ("0.0.0.0", simulator.bindAddress);
    EXPECT_EQ(8080, simulator.port);
    EXPECT_EQ(std::uint16_t{8081}, simulator.controlPort);
    EXPECT_EQ(AuthenticationScheme::Digest, simulator.authentication.scheme);
    EXPECT_EQ("u", simulator.authentication.user);
    EXPECT_EQ("p", simulator.authentication.password);
    EXPECT_EQ("r", simulator.authentication.realm);
    EXPECT_EQ("", simulator.authentication.qop);
    EXPECT_EQ(5u, simulator.authentication.nonceRequests);
    EXPECT_EQ("Digest x", simulator.authentication.challenge);
    ASSERT_EQ(2u, simulator.faults.size());
    EXPECT_EQ("audio", simulator.faults[1].path);
    EXPECT_EQ("ports.json", options.portFile);
    EXPECT_TRUE(options.verbose);
    EXPECT_EQ(std::chrono::seconds(7), options.duration);
    EXPECT_FALSE(simulator.requireStreamSettings);
    EXPECT_FALSE(CommandLine::Parse({"--no-control"}).options->simulator.controlPort);
    for (const char* model : {"M5526-E", "AXIS M5525-E", "axis p5635-e", "V5915"})
        EXPECT_EQ(model, CommandLine::Parse({"--model", model}).options->simulator.model);
    EXPECT_EQ("AXIS X", CommandLine::Parse({"--unknown-model", "--model", "AXIS X"}).options->simulator.model);
    EXPECT_EQ("WEBCAM", CommandLine::Parse({"--unknown-model", "--model", "WEBCAM"}).options->simulator.model);
}

TEST(CommandLine, WrongOptionsAreExplained)
{
    struct Row
    {
        const char* why;
        std::vector<std::string> arguments;
        const char* says;
    };
    const Row rows[] = {
        {"unknown option", {"--bogus"}, "--bogus"},
        {"a word that is no option", {"SNC-EP580"}, "SNC-EP580"},
        {"no value", {"--port"}, "--port"},
        {"a port that is too large", {"--port", "65536"}, "--port: \"65536\" is no port"},
        {"a port that is no number", {"--control-port", "http"}, "--control-port: \"http\" is no port"},
        {"a model nobody knows", {"--model", "SNC-X"}, "add --unknown-model"},
        {"an Axis model nobody knows", {"--model", "AXIS X"}, "SNC-EP580, M5526-E, M5525-E, P5635-E, V5915. To"},
        {"an empty model", {"--model", "", "--unknown-model"}, "the name is empty"},
        {"a standard nobody knows", {"--standard", "secam"}, "ntsc (60 Hz) or pal (50 Hz)"},
        {"a scheme nobody knows", {"--auth", "ntlm"}, "none, basic, digest or digest-sess"},
        {"a qop nobody knows", {"--qop", "auth-int"}, "auth or none"},
        {"a session without qop", {"--auth", "digest-sess", "--qop", "none"}, "needs --qop auth"},
        {"a fault nobody knows", {"--fault", "explode"}, "known are delay"},
        {"a setting without a value", {"--set", "AudioIn"}, "is not NAME=VALUE"},
        {"seconds that are no number", {"--seconds", "long"}, "is not a number of seconds"},
    };
    for (const Row& row : rows)
    {
        const auto result = CommandLine::Parse(row.arguments);
        EXPECT_FALSE(result.options) << row.why;
        EXPECT_EQ(CommandLine::kExitUsage, result.exitCode) << row.why;
        EXPECT_TRUE(result.text.starts_with("camerasim: ")) << result.text;
        EXPECT_NE(std::string::npos, result.text.find(row.says)) << row.why << ": " << result.text;
    }
}

TEST(CommandLine, HelpShowsOptionsFaultsAndExamples)
{
    const auto result = CommandLine::Parse({"--help"});
    EXPECT_FALSE(result.options);
    EXPECT_EQ(CommandLine::kExitOk, result.exitCode);
    for (const char* text : {"--model", "--port-file", "drop-in-headers", "Exit codes", "SNC-WR600", "M5526-E"})
        EXPECT_NE(std::string::npos, result.text.find(text)) << text;
}

} // namespace
