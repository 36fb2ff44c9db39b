#include "Protocol/AxisRequests.h"

#include <algorithm>

namespace
{
constexpr wchar_t kList[] = L"/axis-cgi/param.cgi?action=list&group=";
constexpr wchar_t kUpdate[] = L"/axis-cgi/param.cgi?action=update&";
constexpr wchar_t kMovePanTilt[] = L"/axis-cgi/com/ptz.cgi?continuouspantiltmove=";
constexpr wchar_t kMoveZoom[] = L"/axis-cgi/com/ptz.cgi?continuouszoommove=";
constexpr std::int32_t kDefaultSpeed = 24;

/// Signs of the speeds: right, up and tele are positive.
struct Movement
{
    PtzDirection direction;
    std::int32_t pan;
    std::int32_t tilt;
    std::int32_t zoom;
};

constexpr Movement kMovements[] = {
    {PtzDirection::LowerLeft, -1, -1, 0}, {PtzDirection::Lower, 0, -1, 0},     {PtzDirection::LowerRight, 1, -1, 0},
    {PtzDirection::Left, -1, 0, 0},       {PtzDirection::Right, 1, 0, 0},      {PtzDirection::UpperLeft, -1, 1, 0},
    {PtzDirection::Upper, 0, 1, 0},       {PtzDirection::UpperRight, 1, 1, 0}, {PtzDirection::ZoomWide, 0, 0, -1},
    {PtzDirection::ZoomTele, 0, 0, 1},
};

std::wstring Update(const wchar_t* name, std::int32_t value)
{
    return kUpdate + (name + std::to_wstring(value));
}
} // namespace

std::wstring AxisRequests::List(std::wstring_view group)
{
    return std::wstring(kList).append(group);
}

std::wstring AxisRequests::SetPFrameCount(std::int32_t count)
{
    return Update(L"Image.I0.MPEG.PCount=", count);
}

std::wstring AxisRequests::SetResolution(std::int32_t width, std::int32_t height)
{
    return Update(L"Image.I0.Appearance.Resolution=", width) + L"x" + std::to_wstring(height);
}

std::wstring AxisRequests::SetFrameRate(std::int32_t frameRate)
{
    return Update(L"Image.I0.Stream.FPS=", frameRate);
}

std::wstring AxisRequests::SetBitRate(std::int32_t bitRate)
{
    return Update(L"Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=", bitRate);
}

std::wstring AxisRequests::SetAudioInputGain(std::int32_t gain)
{
    return Update(L"AudioSource.A0.InputGain=", gain);
}

std::optional<std::wstring> AxisRequests::PtzStart(PtzDirection direction, std::int32_t speed)
{
    const auto* const movement = std::ranges::find(kMovements, direction, &Movement::direction);
    if (movement == std::end(kMovements))
        return std::nullopt;
    // Wide enough for the lowest speed turned round.
    const std::int64_t step = speed == 0 ? kDefaultSpeed : speed;
    if (movement->zoom != 0)
        return kMoveZoom + std::to_wstring(movement->zoom * step);
    return kMovePanTilt + std::to_wstring(movement->pan * step) + L"," + std::to_wstring(movement->tilt * step);
}

std::wstring AxisRequests::PtzStop(PtzDirection direction)
{
    const bool isZoom = direction == PtzDirection::ZoomWide || direction == PtzDirection::ZoomTele;
    return isZoom ? kMoveZoom + std::wstring(L"0") : kMovePanTilt + std::wstring(L"0,0");
}
