#include "CameraSim/Axis/AxisPtz.h"

#include "CameraSim/Text/Ascii.h"

#include <array>
#include <cstdio>
#include <optional>

namespace AxisPtz
{

namespace
{

constexpr int kMaxSpeed = 100;

Outcome Refused(std::string why)
{
    return {false, std::move(why)};
}

std::optional<int> Speed(std::string_view text)
{
    const auto number = Ascii::Number<int>(text);
    return number && *number >= -kMaxSpeed && *number <= kMaxSpeed ? number : std::nullopt;
}

Outcome PanTilt(std::string_view value, CPtzHead& head)
{
    const auto comma = value.find(',');
    const auto pan = Speed(value.substr(0, comma));
    const auto tilt = comma == value.npos ? std::nullopt : Speed(value.substr(comma + 1));
    if (!pan || !tilt)
        return Refused("continuouspantiltmove needs two speeds from -100 to 100");
    head.SetPanTiltSpeed(*pan * kDegreesPerSecond, *tilt * kDegreesPerSecond);
    return {true, ""};
}

Outcome Zoom(std::string_view value, CPtzHead& head)
{
    const auto speed = Speed(value);
    if (!speed)
        return Refused("continuouszoommove needs a speed from -100 to 100");
    head.SetZoomSpeed(*speed * kZoomPerSecond);
    return {true, ""};
}

std::string PositionLines(const PtzPosition& position)
{
    std::array<char, 120> lines{};
    std::snprintf(lines.data(), lines.size(), "pan=%.4f\r\ntilt=%.4f\r\nzoom=%.4f\r\n", position.pan, position.tilt,
                  position.zoom);
    return lines.data();
}

} // namespace

Outcome Apply(const std::vector<QueryString::Parameter>& parameters, std::string_view cameraName, CPtzHead& head)
{
    if (parameters.size() != 1)
        return Refused("ptz.cgi takes one command at a time");
    const auto& [name, value] = parameters.front();
    if (name == "whoami")
        return {true, std::string(cameraName) + "\r\n"};
    if (name == "query" && value == "position")
        return {true, PositionLines(head.Position())};
    if (name == "continuouspantiltmove")
        return PanTilt(value, head);
    if (name == "continuouszoommove")
        return Zoom(value, head);
    return Refused("ptz.cgi does not know " + name + "=" + value);
}

} // namespace AxisPtz
