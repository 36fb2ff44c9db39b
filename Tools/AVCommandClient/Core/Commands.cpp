#include "Core/Commands.h"

#include "Core/ExitCode.h"
#include "Core/Report.h"

#include <ostream>

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
    case Verb::kRegister:
    case Verb::kUnregister:
    case Verb::kDemo:
        break;
    }
    return nullptr;
}

void RunOnCamera(CameraCommand command, const ClientArguments& arguments, IComponentHost& host, std::ostream& out)
{
    std::unique_ptr<ICamera> camera;
    Check(host.CreateCamera(camera), "Creating the component", Activity::kCreate);
    Check(camera->OpenConnection(arguments.camera), "OpenConnection", Activity::kOpen);
    Check(camera->ConnectToCamera(), "ConnectToCamera", Activity::kConnect);
    command(*camera, arguments, out);
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
} // namespace

int Run(const ClientArguments& arguments, IComponentHost& host, const ClientStreams& streams)
{
    try
    {
        if (const CameraCommand command = CameraCommandOf(arguments.verb))
            RunOnCamera(command, arguments, host, streams.out);
        else
            ChangeRegistration(arguments, host, streams.out);
        return ExitCode::kSuccess;
    }
    catch (const CallFailure& failure)
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
