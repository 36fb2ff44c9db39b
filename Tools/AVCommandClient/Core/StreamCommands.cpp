#include "Core/Commands.h"
#include "Core/Report.h"
#include "Core/StreamRun.h"

#include <ostream>
#include <stdexcept>

namespace StreamCommands
{
namespace
{
using Commands::Check;

/// Longer than a camera takes to answer TEARDOWN or PLAY.
constexpr std::chrono::seconds kAskLimit{15};

void PrintStarted(const ClientArguments& arguments, std::ostream& out, const std::string& stream)
{
    const StreamTarget& target = arguments.target;
    if (arguments.isJson)
    {
        Json json = {{"command", arguments.verbText}, {"multicast", target.isMulticast}};
        if (!target.isMulticast)
            json["udpPort"] = target.udpPort;
        Report::Print(out, json);
        return;
    }
    out << stream << " started, "
        << (target.isMulticast ? "multicast (the settings show group and port)"
                               : "unicast to UDP port " + std::to_string(target.udpPort))
        << '\n';
}

/// A camera without RTSP says E_NOTIMPL to what follows, and that is what the user is to see.
void ConnectForOwn(ICamera& camera)
{
    Check(camera.ConnectToRtspServer(false), "ConnectToRtspServer", Activity::kStream);
}

void PrintOwn(const ClientArguments& arguments, std::ostream& out)
{
    if (arguments.isJson)
        Report::Print(out, Json{{"command", arguments.verbText}, {"streams", 0}});
    else
        out << "No 'avcommand stream' from " << Commands::AddressText(arguments.camera)
            << " is running here; nothing to " << arguments.verbText << '\n';
}
} // namespace

void StartVideo(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    Check(camera.StartVideo(arguments.target), "StartMpeg4Video2", Activity::kStream);
    PrintStarted(arguments, out, "Video");
}

void StartAudio(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    Check(camera.StartAudio(arguments.target), "StartAudio2", Activity::kStream);
    PrintStarted(arguments, out, "Audio");
}

void H264(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    const HResult hr = camera.ConnectToRtspServer(false);
    Check(hr, "ConnectToRtspServer", Activity::kStream);
    if (hr == HResults::kFalse)
        throw std::runtime_error("this camera does not stream over RTSP and announces no H.264 parameters; 'avcommand "
                                 "stream' shows those in its stream");
    H264Description description;
    Check(camera.GetH264Parameters(description), "GetH264Parameters", Activity::kRead);
    if (arguments.isJson)
        Report::Print(out, Report::ToJson(description));
    else
        Report::Print(out, description);
}

void Stream(ICamera& camera, const ClientArguments& arguments, std::ostream& out, const StreamSurroundings& around)
{
    CStreamRun(camera, arguments, out, around).Run();
}

bool AskRunningStreams(const ClientArguments& arguments, std::ostream& out, const StreamSurroundings& around)
{
    if (!around.runningStreams)
        return false;
    const std::string camera = Commands::AddressText(arguments.camera);
    const bool isStop = arguments.verb == Verb::kStop;
    const StreamRequest request = isStop               ? StreamRequest::kStop
                                  : arguments.isResume ? StreamRequest::kResume
                                                       : StreamRequest::kPause;
    const IRunningStreams::Answer answer = around.runningStreams->Ask(camera, request, kAskLimit);
    if (answer.asked == 0)
        return false;
    if (answer.done < answer.asked)
        throw std::runtime_error(std::to_string(answer.asked - answer.done) + " of " + std::to_string(answer.asked) +
                                 " running streams from " + camera + " did not answer");
    const char* const done = isStop ? "stopped" : arguments.isResume ? "resumed" : "paused";
    if (arguments.isJson)
        Report::Print(out, Json{{"command", arguments.verbText}, {"streams", answer.done}, {"done", done}});
    else
        out << answer.done << (answer.done == 1 ? " stream" : " streams") << " from " << camera << ' ' << done << '\n';
    return true;
}

void PauseOwn(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    if (arguments.isResume)
        throw std::runtime_error("nothing streams from " + Commands::AddressText(arguments.camera) +
                                 " that could be resumed");
    ConnectForOwn(camera);
    Check(camera.PauseStreaming(), "PauseStreaming", Activity::kStream);
    PrintOwn(arguments, out);
}

void StopOwn(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    ConnectForOwn(camera);
    Check(camera.StopStreaming(), "StopStreaming", Activity::kStream);
    PrintOwn(arguments, out);
}
} // namespace StreamCommands
