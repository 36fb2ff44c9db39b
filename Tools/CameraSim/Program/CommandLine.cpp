#include "CameraSim/Program/CommandLine.h"

#include "CameraSim/Axis/AxisModel.h"
#include "CameraSim/Control/StateJson.h"
#include "CameraSim/Ipela/IpelaModel.h"
#include "CameraSim/Text/Ascii.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <stdexcept>

namespace CommandLine
{

namespace
{

constexpr const char* kDescription =
    "camerasim - a network camera in software, for people who write capture applications.\n"
    "\n"
    "It answers the HTTP requests of an IPELA or an Axis camera, changes its settings, moves, sends RTP to programs\n"
    "on this machine, and misbehaves when told to. It prints the address it serves; a second port takes JSON commands\n"
    "and shows a journal of everything a client sent.";

constexpr const char* kFooter =
    "IPELA models: SNC-RZ25, SNC-RX550, SNC-RH124, SNC-ER550, SNC-ER580 (MPEG-4 video); SNC-EP550, SNC-EP520,\n"
    "  SNC-WR600, SNC-EP580 (H.264). Letters behind the name are fine.\n"
    "Axis models: M5526-E, M5525-E, P5635-E, V5915, also with AXIS in front.\n"
    "\n"
    "Faults (KIND[:ARGUMENT][@PATH][*COUNT]; without PATH every request, without COUNT for ever):\n"
    "  delay:MS  body-delay:MS  drip:MS  trickle:MS    slow before, inside, or all through the answer\n"
    "  drop  drop-in-headers  drop-after-headers       closes the connection at that point\n"
    "  reset  half-close                               resets instead of closing, ends what it sends and no more\n"
    "  status:N  no-challenge  body:TEXT               answers something else (no-challenge: 401 without a challenge)\n"
    "  redirect:LOCATION  challenge                    302, and 401 whatever the credentials are\n"
    "  truncate  big-body:BYTES  chunked:BYTES         a cut, a huge, a chunked body\n"
    "  interim:N  big-head:BYTES  many-headers:N       a 1xx reply first, a long header, many headers\n"
    "  length:TEXT                                     another Content-Length\n"
    "  garbage  silent                                 no HTTP at all, no answer at all\n"
    "RTSP requests have the PATH rtsp:METHOD URL, their tunnel's two HTTP requests tunnel:METHOD TARGET. For RTSP "
    "only:\n"
    "  drop-get  drop-post                             closes one half; also :reset, and drop-post:answer\n"
    "  split:BYTES  glue  append:TEXT                  pieces, two replies in one, more behind the reply\n"
    "  cseq:TEXT  header:NAME=VALUE                    a wrong CSeq, another header\n"
    "  expire                                          all sessions are over\n"
    "\n"
    "Examples:\n"
    "  camerasim --model SNC-EP580 --auth digest --user admin --password secret --verbose\n"
    "  camerasim --model SNC-RZ25 --standard pal --factory\n"
    "  camerasim --fault delay:5000@command/inquiry.cgi*1 --fault status:503@audio\n"
    "\n"
    "Exit codes: 0 ended as asked, 1 could not start or serve, 2 wrong options.";

/// What the options write to, before it makes sense together.
struct Raw
{
    std::string model = "SNC-EP580";
    std::string standard = "ntsc";
    std::string port = "0";
    std::string controlPort = "0";
    std::string authentication = "none";
    std::string qop = "auth";
    std::string seconds;
    std::vector<std::string> faults;
    std::vector<std::string> settings;
    bool unknownModel = false;
    bool noControl = false;
    bool lenientStreams = false;
    bool relativeControls = false;
};

[[noreturn]] void Complain(const std::string& text)
{
    throw std::invalid_argument(text);
}

std::uint16_t PortOf(const std::string& option, const std::string& text)
{
    const auto port = Ascii::Number<std::uint16_t>(text);
    if (!port)
        Complain(option + ": \"" + text +
                 "\" is no port; give a number from 1 to 65535, or 0 to let the system choose.");
    return *port;
}

std::string KnownModels()
{
    std::string names;
    for (const IpelaModel& model : IpelaModels::Known())
        names += (names.empty() ? "" : ", ") + std::string(model.name);
    for (const AxisModel& model : AxisModels::Known())
        names += ", " + std::string(model.name);
    return names;
}

void TakeCamera(const Raw& raw, ProgramOptions& options)
{
    options.simulator.model = raw.model;
    if (raw.model.empty())
        Complain("--model: the name is empty; known models are " + KnownModels() + ".");
    if (IpelaModels::Find(raw.model).name.empty() && AxisModels::Find(raw.model).name.empty() && !raw.unknownModel)
    {
        Complain("--model: \"" + raw.model + "\" is no model that camerasim knows. Known are " + KnownModels() +
                 ". To simulate a camera that no client knows either, add --unknown-model.");
    }
    const auto standard = StateJson::StandardFromName(raw.standard);
    if (!standard)
        Complain("--standard: \"" + raw.standard + "\" is no video standard; give ntsc (60 Hz) or pal (50 Hz).");
    options.simulator.standard = *standard;
    options.simulator.requireStreamSettings = !raw.lenientStreams;
    options.simulator.rtsp.absoluteControls = !raw.relativeControls;
    for (const std::string& text : raw.settings)
    {
        const auto equals = text.find('=');
        if (equals == std::string::npos || equals == 0)
            Complain("--set: \"" + text + "\" is not NAME=VALUE.");
        options.settings.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
}

void TakeAuthentication(const Raw& raw, AuthenticationOptions& authentication)
{
    const auto scheme = StateJson::SchemeFromName(raw.authentication);
    if (!scheme)
        Complain("--auth: \"" + raw.authentication + "\" is unknown; give none, basic, digest or digest-sess.");
    authentication.scheme = *scheme;
    if (raw.qop != "auth" && raw.qop != "none")
        Complain("--qop: \"" + raw.qop + "\" is unknown; give auth or none.");
    authentication.qop = raw.qop == "auth" ? "auth" : "";
    if (*scheme == AuthenticationScheme::DigestSession && raw.qop == "none")
        Complain("--auth digest-sess needs --qop auth, because its arithmetic uses the client's cnonce.");
}

void TakeFaults(const Raw& raw, ProgramOptions& options)
{
    for (const std::string& text : raw.faults)
    {
        try
        {
            options.simulator.faults.push_back(FaultText::Parse(text));
        }
        catch (const std::invalid_argument& error)
        {
            Complain("--fault: " + std::string(error.what()) + ".");
        }
    }
}

ProgramOptions Make(const Raw& raw, ProgramOptions options)
{
    TakeCamera(raw, options);
    TakeAuthentication(raw, options.simulator.authentication);
    TakeFaults(raw, options);
    options.simulator.port = PortOf("--port", raw.port);
    const std::uint16_t controlPort = PortOf("--control-port", raw.controlPort);
    if (!raw.noControl)
        options.simulator.controlPort = controlPort;
    if (!raw.seconds.empty())
    {
        const auto seconds = Ascii::Number<unsigned>(raw.seconds);
        if (!seconds || *seconds > 7 * 24 * 3600)
            Complain("--seconds: \"" + raw.seconds + "\" is not a number of seconds up to one week.");
        options.duration = std::chrono::seconds(*seconds);
    }
    return options;
}

void Describe(CLI::App& app, Raw& raw, ProgramOptions& options)
{
    CameraSimulatorOptions& simulator = options.simulator;
    const auto add = [&app](const char* name, auto& target, const char* metavariable, const std::string& text) {
        app.add_option(name, target, text)->option_text(metavariable)->group("Options");
    };
    add("--model", raw.model, "NAME", "The camera to be, see below (SNC-EP580)");
    app.add_flag("--unknown-model", raw.unknownModel,
                 "Take any --model name: an Axis camera if it begins with AXIS, else an MPEG-4 camera");
    add("--standard", raw.standard, "ntsc|pal", "Video standard, 60 Hz or 50 Hz (ntsc)");
    app.add_flag("--factory", simulator.factorySettings,
                 "As out of the box: JPEG video, audio input off, rate control on; an Axis camera has RTSP off");
    add("--set", raw.settings, "NAME=VALUE", "Start with this setting, even an impossible one; may be repeated");
    app.add_flag("--lenient-streams", raw.lenientStreams, "Start streams whatever the settings are, never refuse one");
    add("--bind", simulator.bindAddress, "ADDRESS", "Address to listen on (127.0.0.1, this machine only)");
    add("--port", raw.port, "PORT", "HTTP port of the camera (0: a free one, printed)");
    add("--control-port", raw.controlPort, "PORT", "Port of the JSON control interface (0: a free one, printed)");
    app.add_flag("--no-control", raw.noControl, "No control interface");
    add("--auth", raw.authentication, "none|basic|digest|digest-sess",
        "Authentication that the camera asks for (none)");
    add("--user", simulator.authentication.user, "NAME", "User name (admin)");
    add("--password", simulator.authentication.password, "TEXT", "Password (admin)");
    add("--realm", simulator.authentication.realm, "TEXT", "Realm of the challenge (Camera)");
    add("--qop", raw.qop, "auth|none", "Quality of protection offered with Digest (auth)");
    add("--nonce-requests", simulator.authentication.nonceRequests, "N",
        "A Digest nonce is stale after N requests (0: never)");
    add("--challenge", simulator.authentication.challenge, "TEXT",
        "The whole WWW-Authenticate value; {nonce} and {stale} are filled in");
    add("--rtsp-timeout", simulator.rtsp.timeoutSeconds, "SECONDS", "An RTSP session without requests ends then (60)");
    add("--rtsp-session", simulator.rtsp.sessionHeader, "TEXT",
        "Session header of SETUP replies; {id} and {timeout} are filled in");
    app.add_flag("--rtsp-relative", raw.relativeControls, "Relative controls in the session description");
    add("--fault", raw.faults, "FAULT", "Misbehave, see below; may be repeated");
    add("--port-file", options.portFile, "FILE", "Write the chosen ports there as JSON, for scripts");
    app.add_flag("--verbose,-v", options.verbose, "Print each request and its answer");
    add("--seconds", raw.seconds, "N", "End by itself after N seconds");
}

} // namespace

Result Parse(std::vector<std::string> arguments)
{
    Raw raw;
    ProgramOptions options;
    CLI::App app(kDescription, "camerasim");
    app.footer(kFooter);
    app.get_formatter()->column_width(46);
    Describe(app, raw, options);
    try
    {
        std::reverse(arguments.begin(), arguments.end()); // the order in which the parser takes them
        app.parse(std::move(arguments));
        return {Make(raw, std::move(options)), {}, kExitOk};
    }
    catch (const CLI::CallForHelp&)
    {
        return {std::nullopt, app.help(), kExitOk};
    }
    catch (const CLI::ParseError& error)
    {
        return {std::nullopt, std::string("camerasim: ") + error.what() + "\nTry: camerasim --help\n", kExitUsage};
    }
    catch (const std::invalid_argument& error)
    {
        return {std::nullopt, std::string("camerasim: ") + error.what() + "\n", kExitUsage};
    }
}

} // namespace CommandLine
