#pragma once

#include "CameraSim/Camera/PtzHead.h"
#include "CameraSim/Text/QueryString.h"

#include <string>
#include <string_view>
#include <vector>

/// The commands of ptz.cgi.
///   whoami=yes                 names the camera
///   query=position             pan, tilt and zoom, a line each
///   continuouspantiltmove=P,T  goes on moving; -100 to 100 each, positive is right and up, 0,0 stops
///   continuouszoommove=Z       goes on zooming; -100 (wide) to 100 (tele), 0 stops
namespace AxisPtz
{

/// Degrees per second for each speed number; magnification per second for each zoom speed number.
inline constexpr double kDegreesPerSecond = 1;
inline constexpr double kZoomPerSecond = 0.04;

struct Outcome
{
    bool isDone = false;
    std::string text; ///< what was asked for, if anything; when not done, why not, and nothing has moved
};

Outcome Apply(const std::vector<QueryString::Parameter>& parameters, std::string_view cameraName, CPtzHead& head);

} // namespace AxisPtz
