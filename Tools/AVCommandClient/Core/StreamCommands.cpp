#include "Core/Commands.h"
#include "Core/Report.h"

#include <ostream>

namespace StreamCommands
{
namespace
{
using Commands::Check;

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
} // namespace StreamCommands
