#include "Core/Commands.h"
#include "Core/Names.h"
#include "Core/Report.h"

#include <ostream>

namespace PtzCommands
{
namespace
{
using Commands::Check;

void PrintDone(const ClientArguments& arguments, std::ostream& out, const Json& details, const std::string& text)
{
    if (!arguments.isJson)
    {
        out << text << '\n';
        return;
    }
    Json json = {{"command", arguments.verbText}};
    json.update(details);
    Report::Print(out, json);
}
} // namespace

void Step(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    Check(camera.Step(arguments.direction, arguments.stepSize), "SendPTZCommand", Activity::kMove);
    const std::string direction = Names::DirectionText(arguments.direction);
    const std::string distance = Names::StepSizeText(arguments.stepSize);
    PrintDone(arguments, out, {{"direction", direction}, {"distance", distance}},
              "Moved one step: " + direction + ", distance " + distance);
}

void Start(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    Check(camera.StartMove(arguments.direction, arguments.number), "SendPTZStartCommand", Activity::kMove);
    const std::string direction = Names::DirectionText(arguments.direction);
    PrintDone(arguments, out, {{"direction", direction}, {"speedPercent", arguments.number}},
              "Moving: " + direction + ", speed " + std::to_string(arguments.number));
}

void Stop(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    Check(camera.StopMove(arguments.direction), "SendPTZStopCommand", Activity::kMove);
    const bool isZoom =
        arguments.direction == MoveDirection::kZoomWide || arguments.direction == MoveDirection::kZoomTele;
    const std::string what = isZoom ? "zoom" : "motor";
    PrintDone(arguments, out, {{"stopped", what}}, "Stopped: " + what);
}

void Area(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    const PictureArea& area = arguments.area;
    Check(camera.ZoomToArea(area), "SendPTZAreaZoomCommand", Activity::kArea);
    PrintDone(arguments, out, {{"x", area.x}, {"y", area.y}, {"width", area.width}, {"height", area.height}},
              "Zoomed to the rectangle at " + std::to_string(area.x) + "," + std::to_string(area.y) + ", " +
                  std::to_string(area.width) + "x" + std::to_string(area.height));
}
} // namespace PtzCommands
