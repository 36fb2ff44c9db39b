#include "Core/Commands.h"

#include "Core/ExitCode.h"
#include "Core/Report.h"

#include <ostream>
#include <stdexcept>

namespace Commands
{
namespace
{
using CameraCommand = void (*)(ICamera&, const ClientArguments&, std::ostream&);

CameraCommand CameraCommandOf(Verb verb) noexcept
{
    switch (verb)
    {
    case Verb::kInfo:
        return &SettingsCommands::Info;
    case Verb::kSettings:
        return &SettingsCommands::Settings;
    case Verb::kSizes:
        return &SettingsCommands::Sizes;
    case Verb::kSetSize:
        return &SettingsCommands::SetSize;
    case Verb::kSetBitRate:
        return &SettingsCommands::SetBitRate;
    case Verb::kSetVolume:
        return &SettingsCommands::SetVolume;
    case Verb::kPtzStep:
        return &PtzCommands::Step;
    case Verb::kPtzStart:
        return &PtzCommands::Start;
    case Verb::kPtzStop:
        return &PtzCommands::Stop;
    case Verb::kPtzArea:
        return &PtzCommands::Area;
    case Verb::kStartVideo:
        return &StreamCommands::StartVideo;
    case Verb::kStartAudio:
        return &StreamCommands::StartAudio;
    case Verb::kH264:
        return &StreamCommands::H264;
    case Verb::kPause:
        return &StreamCommands::PauseOwn;
    case Verb::kStop:
        return &StreamCommands::StopOwn;
    case Verb::kStream:
    case Verb::kRegister:
    case Verb::kUnregister:
    case Verb::kDemo:
        break;
    }
    return nullptr;
}

template <class Command>
void RunOnCamera(IComponentHost& host, const ClientArguments& arguments, Command&& command)
{
    std::unique_ptr<ICamera> camera;
    Check(host.CreateCamera(camera), "Creating the component", Activity::kCreate);
    Check(camera->OpenConnection(arguments.camera), "OpenConnection", Activity::kOpen);
    Check(camera->ConnectToCamera(), "ConnectToCamera", Activity::kConnect);
    command(*camera);
    Check(camera->CloseConnection(), "CloseConnection", Activity::kOther);
}

void ChangeRegistration(const ClientArguments& arguments, IComponentHost& host, std::ostream& out)
{
    const bool isRegister = arguments.verb == Verb::kRegister;
    Check(isRegister ? host.Register() : host.Unregister(), isRegister ? "DllRegisterServer" : "DllUnregisterServer",
          isRegister ? Activity::kRegister : Activity::kUnregister);
    if (arguments.isJson)
        Report::Print(out, Json{{"command", arguments.verbText}, {"library", host.LibraryPath()}});
    else
        out << (isRegister ? "Registered " : "Unregistered ") << host.LibraryPath() << '\n';
}

void Carry(const ClientArguments& arguments, IComponentHost& host, std::ostream& out,
           const StreamSurroundings& surroundings)
{
    const bool isRequest = arguments.verb == Verb::kPause || arguments.verb == Verb::kStop;
    if (isRequest && StreamCommands::AskRunningStreams(arguments, out, surroundings))
        return;
    if (arguments.verb == Verb::kStream)
        RunOnCamera(host, arguments,
                    [&](ICamera& camera) { StreamCommands::Stream(camera, arguments, out, surroundings); });
    else if (const CameraCommand command = CameraCommandOf(arguments.verb))
        RunOnCamera(host, arguments, [&](ICamera& camera) { command(camera, arguments, out); });
    else
        ChangeRegistration(arguments, host, out);
}

void ReportFailure(const CallFailure& failure, const ClientArguments& arguments, const ClientStreams& streams)
{
    const std::string advice = Advice::For(failure.hr, failure.activity, AddressText(arguments.camera));
    streams.err << "avcommand: " << failure.call << " failed with " << HResults::Describe(failure.hr) << ": " << advice
                << '\n';
    if (!arguments.isJson)
        return;
    const Json error = {{"call", failure.call},
                        {"hresult", HResults::Hex(failure.hr)},
                        {"name", HResults::Name(failure.hr)},
                        {"advice", advice}};
    Report::Print(streams.out, Json{{"error", error}});
}

void ReportFailure(const std::exception& failure, const ClientArguments& arguments, const ClientStreams& streams)
{
    streams.err << "avcommand: " << failure.what() << '\n';
    if (arguments.isJson)
        Report::Print(streams.out, Json{{"error", {{"advice", failure.what()}}}});
}
} // namespace

int Run(const ClientArguments& arguments, IComponentHost& host, const ClientStreams& streams,
        const StreamSurroundings& surroundings)
{
    try
    {
        Carry(arguments, host, streams.out, surroundings);
        return ExitCode::kSuccess;
    }
    catch (const CallFailure& failure)
    {
        ReportFailure(failure, arguments, streams);
        return ExitCode::kFailure;
    }
    catch (const std::runtime_error& failure)
    {
        ReportFailure(failure, arguments, streams);
        return ExitCode::kFailure;
    }
}

std::string AddressText(const CameraAddress& address)
{
    return address.host + ":" + std::to_string(address.port);
}

void Check(HResult hr, const char* call, Activity activity)
{
    if (!HResults::Succeeded(hr))
        throw CallFailure{call, activity, hr};
}
} // namespace Commands
