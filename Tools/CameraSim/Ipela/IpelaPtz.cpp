#include "CameraSim/Ipela/IpelaPtz.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace IpelaPtz
{

namespace
{

constexpr int kMaxPanTiltSpeed = 24;
constexpr int kMaxZoomSpeed = 8;
constexpr int kWide = 10;
constexpr int kTele = 11;
constexpr std::array<double, 10> kStepShares{0.10, 0.15, 0.20, 0.25, 0.30, 0.40, 0.60, 0.667, 0.833, 1.00};

struct Direction
{
    std::string_view word;
    int pan;
    int tilt;
    int zoom;
};

constexpr std::array<Direction, 10> kDirections{{
    {"down-left", -1, -1, 0},
    {"down", 0, -1, 0},
    {"down-right", 1, -1, 0},
    {"left", -1, 0, 0},
    {"right", 1, 0, 0},
    {"up-left", -1, 1, 0},
    {"up", 0, 1, 0},
    {"up-right", 1, 1, 0},
    {"wide", 0, 0, -1},
    {"tele", 0, 0, 1},
}};

bool AllDigits(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string Relative(std::string_view value, CPtzHead& head)
{
    if (value.size() != 4 || !AllDigits(value))
        return "Relative needs four digits";
    const int direction = *Ascii::Number<int>(value.substr(0, 2));
    const int step = *Ascii::Number<int>(value.substr(2, 2));
    if (step < 1 || step > 10)
        return "the step of Relative is 01 to 10";
    const double share = kStepShares[static_cast<std::size_t>(step - 1)];
    if (direction == kTele)
        head.Step(0, 0, 1 + share);
    else if (direction == kWide)
        head.Step(0, 0, 1 / (1 + share));
    else if (direction >= 1 && direction <= 9 && direction != 5)
    {
        // As on the keypad: columns are left, middle, right, rows are down, middle, up.
        const int pan = (direction - 1) % 3 - 1;
        const int tilt = (direction - 1) / 3 - 1;
        const double zoom = head.Position().zoom;
        head.Step(pan * share * CPtzHead::kFieldWidth / zoom, tilt * share * CPtzHead::kFieldHeight / zoom, 1);
    }
    else
        return "the direction of Relative is 01 to 11 without 05";
    return "";
}

std::optional<std::array<int, 4>> FourNumbers(std::string_view text)
{
    std::array<int, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i)
    {
        const auto part = text.substr(0, text.find(','));
        const auto number = Ascii::Number<int>(part);
        if (!number || (i < 3) != (part.size() < text.size()))
            return std::nullopt;
        numbers[i] = *number;
        text.remove_prefix(std::min(part.size() + 1, text.size()));
    }
    return numbers;
}

std::string AreaZoom(std::string_view value, const Picture& picture, CPtzHead& head)
{
    const auto numbers = FourNumbers(value);
    if (!numbers)
        return "AreaZoom needs four numbers";
    const auto [x, y, width, height] = *numbers;
    if (width < 0 || height < 0)
        return "the width and height of AreaZoom are not negative";
    if (picture.width <= 0 || picture.height <= 0)
        return "the picture has no size";
    const double zoom = head.Position().zoom;
    // The rectangle's middle, as a share of the picture, from the picture's middle; pixels count downwards.
    const double right = (x + width / 2.0) / picture.width - 0.5;
    const double down = (y + height / 2.0) / picture.height - 0.5;
    double factor = 1;
    if (width > 0 && height > 0)
        factor = std::min(double(picture.width) / width, double(picture.height) / height);
    head.Step(right * CPtzHead::kFieldWidth / zoom, -down * CPtzHead::kFieldHeight / zoom, factor);
    return "";
}

std::string Move(std::string_view value, CPtzHead& head)
{
    const auto comma = value.find(',');
    if (comma == value.npos)
        return "Move needs a direction and a speed";
    const auto word = value.substr(0, comma);
    const auto argument = value.substr(comma + 1);
    if (word == "stop" && argument == "motor")
    {
        head.SetPanTiltSpeed(0, 0);
        return "";
    }
    if (word == "stop" && argument == "zoom")
    {
        head.SetZoomSpeed(0);
        return "";
    }
    const auto direction = std::find_if(kDirections.begin(), kDirections.end(),
                                        [&](const Direction& known) { return known.word == word; });
    if (direction == kDirections.end())
        return "Move does not know \"" + std::string(value) + "\"";
    const auto speed = Ascii::Number<int>(argument);
    const int maxSpeed = direction->zoom != 0 ? kMaxZoomSpeed : kMaxPanTiltSpeed;
    if (!speed || *speed < 0 || *speed > maxSpeed)
        return "the speed of Move=" + std::string(word) + " is 0 to " + std::to_string(maxSpeed);
    if (direction->zoom != 0)
        head.SetZoomSpeed(direction->zoom * *speed * kZoomPerSecond);
    else
        head.SetPanTiltSpeed(direction->pan * *speed * kDegreesPerSecond, direction->tilt * *speed * kDegreesPerSecond);
    return "";
}

} // namespace

std::string Apply(const std::vector<QueryString::Parameter>& parameters, const Picture& picture, CPtzHead& head)
{
    if (parameters.size() != 1)
        return "ptzf.cgi takes one command at a time";
    const auto& [name, value] = parameters.front();
    if (name == "Relative")
        return Relative(value, head);
    if (name == "AreaZoom")
        return AreaZoom(value, picture, head);
    if (name == "Move")
        return Move(value, head);
    return "ptzf.cgi does not know " + name;
}

} // namespace IpelaPtz
