#pragma once

#include "CameraSim/Camera/PtzHead.h"
#include "CameraSim/Text/QueryString.h"

#include <string>
#include <vector>

/// The commands of ptzf.cgi.
///   Relative=DDNN     one step. DD: 01..09 without 05, the direction as on a numeric keypad; 10 wide, 11 tele.
///                     NN: 01..10, the step in parts of the picture (10, 15, 20, 25, 30, 40, 60, 66.7, 83.3, 100 %).
///   AreaZoom=x,y,w,h  looks at the middle of a rectangle of the picture and zooms until it fills the picture.
///                     Pixels from the upper left corner; a width or height of 0 only moves.
///   Move=DIRECTION,N  goes on moving: up, down, left, right, up-left, ... with N 0..24; wide, tele with N 0..8.
///   Move=stop,motor and Move=stop,zoom
namespace IpelaPtz
{

/// Degrees per second for each speed number; magnification per second for each zoom speed number.
inline constexpr double kDegreesPerSecond = 4;
inline constexpr double kZoomPerSecond = 0.5;

/// The picture that AreaZoom's numbers are about, in pixels.
struct Picture
{
    int width = 0;
    int height = 0;
};

/// Empty when carried out; else why not, and nothing has moved.
std::string Apply(const std::vector<QueryString::Parameter>& parameters, const Picture& picture, CPtzHead& head);

} // namespace IpelaPtz
