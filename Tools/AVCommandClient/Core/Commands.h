#pragma once

#include "Core/Advice.h"
#include "Core/CommandLine.h"
#include "Core/ComponentHost.h"
#include "Core/StreamSurroundings.h"

#include <iosfwd>
#include <string>

/// The two ends of the client's conversation with its user.
struct ClientStreams
{
    std::ostream& out;
    std::ostream& err;
};

/// A call that failed, on its way to the one place that reports it.
struct CallFailure
{
    std::string call;
    Activity activity = Activity::kOther;
    HResult hr = HResults::kFail;
};

namespace Commands
{
/// Carries out any verb but the demo and reports its failure: one line on `err`, with --json also an object on `out`.
/// Returns the exit code.
int Run(const ClientArguments& arguments, IComponentHost& host, const ClientStreams& streams,
        const StreamSurroundings& surroundings);

/// "host:port"
std::string AddressText(const CameraAddress& address);

/// Throws CallFailure unless `hr` is a success code.
void Check(HResult hr, const char* call, Activity activity);
} // namespace Commands

/// The verbs that need a connected camera, by topic. They throw CallFailure, and std::runtime_error with a text for the
/// user for what is no call's failure.
namespace SettingsCommands
{
void Info(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void Settings(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void Sizes(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void SetSize(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void SetBitRate(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void SetVolume(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
} // namespace SettingsCommands

namespace PtzCommands
{
void Step(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void Start(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void Stop(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void Area(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
} // namespace PtzCommands

namespace StreamCommands
{
void StartVideo(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void StartAudio(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void H264(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void Stream(ICamera& camera, const ClientArguments& arguments, std::ostream& out, const StreamSurroundings& around);

/// Carries out `pause` and `stop` where another run of this program streams from the camera; false when none does.
bool AskRunningStreams(const ClientArguments& arguments, std::ostream& out, const StreamSurroundings& around);
/// The same for this process's own session, in which nothing streams: what the component says to that.
void PauseOwn(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
void StopOwn(ICamera& camera, const ClientArguments& arguments, std::ostream& out);
} // namespace StreamCommands
