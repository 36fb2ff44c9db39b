#include "Core/CommandLine.h"

#include "Core/ExitCode.h"
#include "Core/Names.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <istream>
#include <sstream>

namespace CommandLine
{
namespace
{
/// The parser's own state: the arguments under construction and what must be looked at after all words are read.
struct Draft
{
    ClientArguments arguments;
    bool readsPassword = false;
    CLI::Option* password = nullptr;
};

/// An option or positional whose text `parse` turns into the target's type; anything else is a usage error that names
/// the option, the text and what was expected.
template <class Target, class Parse>
CLI::Option* AddParsed(CLI::App& app, const std::string& name, Target& target, Parse parse, const std::string& expected,
                       const std::string& description)
{
    const auto store = [&target, parse, name, expected](const std::string& text) {
        const auto value = parse(text);
        if (!value)
            throw CLI::ValidationError(name, "'" + text + "' is not " + expected);
        target = *value;
    };
    return app.add_option_function<std::string>(name, store, description);
}

CLI::App* AddVerb(CLI::App& parent, Draft& draft, Verb verb, const std::string& name, const std::string& description)
{
    CLI::App* const app = parent.add_subcommand(name, description);
    const std::string text = parent.get_parent() ? parent.get_name() + " " + name : name;
    app->callback([&draft, verb, text] {
        draft.arguments.verb = verb;
        draft.arguments.verbText = text;
    });
    return app;
}

void AddGlobalOptions(CLI::App& app, Draft& draft)
{
    ClientArguments& arguments = draft.arguments;
    app.add_option("--host", arguments.camera.host, "The camera's name or address");
    AddParsed(app, "--port", arguments.camera.port, Names::ParsePort, "a port (1 to 65535)",
              "The camera's HTTP port (80)");
    app.add_option("--user", arguments.camera.userName, "User name for the camera");
    draft.password = app.add_option("--password", arguments.camera.password,
                                    "Password; other users can read it in the process list, so prefer the environment "
                                    "variable AVCOMMAND_PASSWORD or --password-stdin");
    app.add_flag("--password-stdin", draft.readsPassword, "Read the password from the first line of standard input")
        ->excludes(draft.password);
    app.add_flag("--json", arguments.isJson, "Print one JSON object instead of text");
    app.add_flag("--verbose", arguments.isVerbose, "Show each COM call with its result and duration (standard error)");
    app.add_flag("--unregistered", arguments.isUnregistered,
                 "Use the component's DLL beside this program, registered or not");
    app.add_option("--dll", arguments.dllPath, "Use this DLL of the component, registered or not");
}

void AddSettingsVerbs(CLI::App& app, Draft& draft)
{
    ClientArguments& arguments = draft.arguments;
    AddVerb(app, draft, Verb::kInfo, "info", "Connect and show what the camera is and how it is set");
    AddVerb(app, draft, Verb::kSettings, "settings", "Show the streaming settings");
    AddVerb(app, draft, Verb::kSizes, "sizes", "List the supported image sizes")
        ->add_flag("--rates", arguments.withRates, "List the supported frame rates too");

    CLI::App* const setSize = AddVerb(app, draft, Verb::kSetSize, "set-size", "Select image size and frame rate");
    AddParsed(*setSize, "SIZE", arguments.picture, Names::ParsePictureFormat, "a size such as 1280x720@30",
              "WIDTHxHEIGHT@RATE")
        ->required();
    AddParsed(*setSize, "--codec", arguments.codec, Names::ParseCodec, "a codec (mpeg4 or h264)",
              "mpeg4 or h264 (the one in use)");

    const auto parseBitRate = [](std::string_view text) {
        const auto number = Names::ParseNumber(text);
        return number && *number > 0 ? number : std::nullopt;
    };
    CLI::App* const setBitRate = AddVerb(app, draft, Verb::kSetBitRate, "set-bitrate", "Select the video bit rate");
    AddParsed(*setBitRate, "KBPS", arguments.number, parseBitRate, "a bit rate in kbit/s",
              "kbit/s; raised to the camera's next step")
        ->required();

    CLI::App* const setVolume = AddVerb(app, draft, Verb::kSetVolume, "set-volume", "Set the microphone volume");
    AddParsed(*setVolume, "VOLUME", arguments.number, Names::ParseNumber, "a number", "-10 to 10")->required();
}

void AddPtzVerbs(CLI::App& app, Draft& draft)
{
    ClientArguments& arguments = draft.arguments;
    const std::string directions = "up, down, left, right, up-left, up-right, down-left, down-right, wide or tele";
    CLI::App* const ptz = app.add_subcommand("ptz", "Move the camera");
    ptz->require_subcommand(1);

    CLI::App* const step = AddVerb(*ptz, draft, Verb::kPtzStep, "step", "Move one step");
    AddParsed(*step, "DIRECTION", arguments.direction, Names::ParseDirection, "a direction (" + directions + ")",
              directions)
        ->required();
    AddParsed(*step, "--distance", arguments.stepSize, Names::ParseStepSize,
              "a step (10, 15, 20, 25, 30, 40, 60, 667, 833 or 100)",
              "10, 15, 20, 25, 30, 40, 60, 667, 833 or 100 (10)");

    CLI::App* const start = AddVerb(*ptz, draft, Verb::kPtzStart, "start", "Start a continuous movement");
    AddParsed(*start, "DIRECTION", arguments.direction, Names::ParseDirection, "a direction (" + directions + ")",
              directions)
        ->required();
    AddParsed(*start, "--speed", arguments.number, Names::ParseNumber, "a number", "Per cent of full speed, 0 to 100")
        ->required();

    CLI::App* const stop = AddVerb(*ptz, draft, Verb::kPtzStop, "stop", "Stop a movement");
    AddParsed(*stop, "WHAT", arguments.direction, Names::ParseStop,
              "something that moves (motor, zoom or a direction: " + directions + ")", "motor, zoom or a direction")
        ->required();

    CLI::App* const area = AddVerb(*ptz, draft, Verb::kPtzArea, "area", "Zoom onto a rectangle of the image");
    AddParsed(*area, "X", arguments.area.x, Names::ParseNumber, "a number", "Left edge")->required();
    AddParsed(*area, "Y", arguments.area.y, Names::ParseNumber, "a number", "Upper edge")->required();
    AddParsed(*area, "WIDTH", arguments.area.width, Names::ParseNumber, "a number", "Width")->required();
    AddParsed(*area, "HEIGHT", arguments.area.height, Names::ParseNumber, "a number", "Height")->required();
}

void AddStreamVerb(CLI::App& app, Draft& draft, Verb verb, const std::string& name, const std::string& description)
{
    StreamTarget& target = draft.arguments.target;
    CLI::App* const stream = AddVerb(app, draft, verb, name, description);
    CLI::Option* const unicast = AddParsed(
        *stream, "--unicast", target,
        [](std::string_view text) -> std::optional<StreamTarget> {
            const auto port = Names::ParsePort(text);
            return port ? std::optional(StreamTarget{false, *port}) : std::nullopt;
        },
        "a port (1 to 65535)", "Send to this UDP port of this machine");
    const std::string help = "Send to the camera's multicast group (default)";
    stream->add_flag("--multicast", help)->excludes(unicast);
}

/// A day at most, so that a forgotten stream ends.
std::optional<std::int32_t> ParseSeconds(std::string_view text)
{
    constexpr std::int32_t kMost = 24 * 60 * 60;
    const auto number = Names::ParseNumber(text);
    return number && *number >= 1 && *number <= kMost ? number : std::nullopt;
}

void AddStreamingVerbs(CLI::App& app, Draft& draft)
{
    ClientArguments& arguments = draft.arguments;
    CLI::App* const stream =
        AddVerb(app, draft, Verb::kStream, "stream", "Let the camera stream to this program, and show what arrives");
    AddParsed(*stream, "--seconds", arguments.seconds, ParseSeconds, "a number of seconds (1 to 86400)",
              "How long; Ctrl+C and 'avcommand stop' end it earlier (10)");
    stream->add_option("--out", arguments.outPath, "Write the H.264 video to this file (Annex B)")
        ->check([](const std::string& path) { return path.empty() ? "needs a file name" : ""; });
    stream->add_flag("!--no-audio", arguments.withAudio, "Video only");
    stream->add_flag("--multicast", arguments.isMulticast, "From the camera's multicast group");

    AddVerb(app, draft, Verb::kH264, "h264", "Show the H.264 profile, packetization mode and parameter sets");
    AddVerb(app, draft, Verb::kPause, "pause", "Pause what 'avcommand stream' receives from the camera")
        ->add_flag("--resume", arguments.isResume, "Go on instead");
    AddVerb(app, draft, Verb::kStop, "stop", "Stop what 'avcommand stream' receives from the camera");
}

void AddOtherVerbs(CLI::App& app, Draft& draft)
{
    ClientArguments& arguments = draft.arguments;
    AddStreamVerb(app, draft, Verb::kStartVideo, "start-video", "Let the camera send video");
    AddStreamVerb(app, draft, Verb::kStartAudio, "start-audio", "Let the camera send audio");
    AddVerb(app, draft, Verb::kRegister, "register", "Register the component (as administrator)");
    AddVerb(app, draft, Verb::kUnregister, "unregister", "Remove the component's registration (as administrator)");

    CLI::App* const demo = AddVerb(app, draft, Verb::kDemo, "demo", "Walk through the main job against camerasim");
    const auto storeEndpoint = [&arguments](const std::string& text) {
        const std::size_t colon = text.rfind(':');
        const auto port = colon == std::string::npos || colon == 0
                              ? std::nullopt
                              : Names::ParsePort(std::string_view(text).substr(colon + 1));
        if (!port)
            throw CLI::ValidationError("--sim-control", "'" + text + "' is not HOST:PORT");
        arguments.simHost = text.substr(0, colon);
        arguments.simPort = *port;
    };
    demo->add_option_function<std::string>("--sim-control", storeEndpoint,
                                           "HOST:PORT of the simulator's control endpoint")
        ->required();
}

bool NeedsHost(Verb verb) noexcept
{
    return verb != Verb::kRegister && verb != Verb::kUnregister && verb != Verb::kDemo;
}

ParseOutcome WrongUsage(const std::string& problem)
{
    // One line, whatever the texts that were typed contain.
    std::string line = "avcommand: " + problem;
    std::ranges::replace_if(
        line, [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return {std::nullopt, ExitCode::kUsage, line + " (see 'avcommand --help')"};
}

/// Checks what no single option can check, and fetches the password from where the options say. The problem, if any.
std::optional<std::string> Complete(Draft& draft, const std::optional<std::string>& environmentPassword,
                                    std::istream& standardInput)
{
    CameraAddress& camera = draft.arguments.camera;
    if (NeedsHost(draft.arguments.verb) && camera.host.empty())
        return "'" + draft.arguments.verbText + "' needs --host";
    if (camera.host.find_first_of("/:@? \t") != std::string::npos)
        return "--host: '" + camera.host + "' is not a host name (give the port with --port)";
    if (draft.readsPassword)
    {
        if (!std::getline(standardInput, camera.password))
            return "--password-stdin: standard input is empty";
        if (camera.password.ends_with('\r'))
            camera.password.pop_back();
    }
    else if (draft.password->count() == 0 && environmentPassword)
        camera.password = *environmentPassword;
    return std::nullopt;
}

/// What is wrong, in this program's words where the library's would puzzle.
std::string ProblemOf(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> extras = app.remaining();
    if (app.get_subcommands().empty())
        return extras.empty() ? "no command given" : "unknown command or option '" + extras.front() + "'";
    return error.what();
}
} // namespace

ParseOutcome Parse(const std::vector<std::string>& words, const std::optional<std::string>& environmentPassword,
                   std::istream& standardInput)
{
    Draft draft;
    CLI::App app("Drives a network camera through the AVCommand component.", "avcommand");
    app.footer("'avcommand COMMAND --help' explains a command. Exit codes: 0 done, 1 it failed, 2 wrong usage.");
    app.fallthrough();
    app.require_subcommand(1);
    AddGlobalOptions(app, draft);
    AddSettingsVerbs(app, draft);
    AddPtzVerbs(app, draft);
    AddStreamingVerbs(app, draft);
    AddOtherVerbs(app, draft);
    try
    {
        // The library takes the words from the back of the vector.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    }
    catch (const CLI::Success& help)
    {
        std::ostringstream text;
        app.exit(help, text, text);
        return {std::nullopt, ExitCode::kSuccess, text.str()};
    }
    catch (const CLI::ParseError& error)
    {
        return WrongUsage(ProblemOf(app, error));
    }
    if (const auto problem = Complete(draft, environmentPassword, standardInput))
        return WrongUsage(*problem);
    return {std::move(draft.arguments), ExitCode::kSuccess, {}};
}
} // namespace CommandLine
