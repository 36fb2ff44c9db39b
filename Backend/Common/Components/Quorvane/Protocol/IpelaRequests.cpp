#include "Protocol/IpelaRequests.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr wchar_t kSetCommand[] = L"command/camera.cgi?";

/// At least two digits, as %02d prints it.
std::wstring TwoDigits(std::int32_t number)
{
    const std::wstring text = std::to_wstring(number);
    return text.size() < 2 ? L"0" + text : text;
}

/// "ImageSize1=1280%2C720", the comma in its URL form.
std::wstring SizeOfStream1(std::int32_t width, std::int32_t height)
{
    return L"ImageSize1=" + std::to_wstring(width) + L"%2C" + std::to_wstring(height);
}

std::wstring CodecOfStream1(Compression compression)
{
    return compression == Compression::Mpeg4 ? L"ImageCodec1=mpeg4" : L"ImageCodec1=h264";
}

bool IsZoom(PtzDirection direction) noexcept
{
    return direction == PtzDirection::ZoomWide || direction == PtzDirection::ZoomTele;
}

std::wstring StartStream(const wchar_t* multicast, const wchar_t* unicast, bool isMulticast, std::uint16_t udpPort)
{
    return isMulticast ? std::wstring(multicast) : unicast + std::to_wstring(udpPort);
}
} // namespace

std::wstring IpelaRequests::RequiredSettings(IpelaModel model, bool withCodec)
{
    if (!IpelaModels::IsH264Family(model))
        return L"command/camera.cgi?ImageCodec=mpeg4&AudioIn=on&AudInCodec=g711_64&M4AutoRateCtrl=off";
    if (withCodec || model == IpelaModel::SncWr600)
        return L"command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    return L"command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
}

const wchar_t* IpelaRequests::RequiredSettingsOverride(IpelaModel model) noexcept
{
    return model == IpelaModel::SncWr600 ? L"CameraSetupCGICommand_WR600" : L"CameraSetupCGICommand";
}

std::wstring IpelaRequests::SetImageSize(IpelaModel model, std::int32_t width, std::int32_t height,
                                         std::int32_t frameRate, Compression compression)
{
    const std::wstring rate = std::to_wstring(frameRate);
    switch (model)
    {
    case IpelaModel::Unknown:
    case IpelaModel::SncRx550:
        return kSetCommand + (L"M4ImageSize=" + std::to_wstring(width)) + L",0&M4FrameRate=" + rate;
    case IpelaModel::SncRz25:
        return kSetCommand + (L"ImageSize=" + std::to_wstring(width)) + L",2&M4FrameRate=" + rate;
    case IpelaModel::SncRh124:
    case IpelaModel::SncEr550:
    case IpelaModel::SncEr580:
        return kSetCommand + SizeOfStream1(width, height) + L"&M4FrameRate=" + rate;
    case IpelaModel::SncEp550:
        // A size of another shape than the sensor's shows the whole picture, squeezed, instead of a part of it.
        return kSetCommand + CodecOfStream1(compression) + L"&AspectRatioConversion=squeeze&" +
               SizeOfStream1(width, height) + L"&FrameRate1=" + rate;
    case IpelaModel::SncEp520:
    case IpelaModel::SncWr600:
    case IpelaModel::SncEp580:
        break;
    }
    return kSetCommand + CodecOfStream1(compression) + L"&" + SizeOfStream1(width, height) + L"&FrameRate1=" + rate;
}

std::uint32_t IpelaRequests::SetImageSizeTimeoutMs(IpelaModel model) noexcept
{
    return model == IpelaModel::SncRz25 ? 10000 : 5000;
}

std::int32_t IpelaRequests::RoundBitRate(std::int32_t bitRate) noexcept
{
    const auto steps = IpelaModels::BitRateSteps();
    const auto step = std::ranges::lower_bound(steps, bitRate);
    return step == steps.end() ? steps.back() : *step;
}

std::wstring IpelaRequests::SetBitRate(IpelaModel model, std::int32_t roundedBitRate)
{
    const wchar_t* key = IpelaModels::IsH264Family(model) ? L"BitRate1=" : L"M4BitRate=";
    return kSetCommand + (key + std::to_wstring(roundedBitRate));
}

std::wstring IpelaRequests::SetAudioInVolume(std::int32_t volume)
{
    return kSetCommand + (L"AudioInVolume=" + std::to_wstring(volume));
}

std::wstring IpelaRequests::StartVideo(IpelaModel model, bool isMulticast, std::uint16_t udpPort)
{
    if (IpelaModels::IsH264Family(model))
        return StartStream(L"image1?UdpMode=multicast", L"image1?UdpMode=unicast&UdpPort=", isMulticast, udpPort);
    // The key of the multicast forms is spelled with a small u, here and for audio.
    return StartStream(L"mpeg4?udpMode=multicast", L"mpeg4?UdpMode=unicast&UdpPort=", isMulticast, udpPort);
}

std::wstring IpelaRequests::StartAudio(bool isMulticast, std::uint16_t udpPort)
{
    return StartStream(L"audio?udpMode=multicast", L"audio?UdpMode=unicast&UdpPort=", isMulticast, udpPort);
}

std::wstring IpelaRequests::PtzStep(std::int32_t command, std::int32_t distance)
{
    return L"command/ptzf.cgi?Relative=" + TwoDigits(command) + TwoDigits(distance);
}

std::wstring IpelaRequests::PtzAreaZoom(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height)
{
    return L"command/ptzf.cgi?AreaZoom=" + std::to_wstring(x) + L"," + std::to_wstring(y) + L"," +
           std::to_wstring(width) + L"," + std::to_wstring(height);
}

const wchar_t* IpelaRequests::PtzDirectionWord(PtzDirection direction) noexcept
{
    switch (direction)
    {
    case PtzDirection::LowerLeft:
        return L"down-left";
    case PtzDirection::Lower:
        return L"down";
    case PtzDirection::LowerRight:
        return L"down-right";
    case PtzDirection::Left:
        return L"left";
    case PtzDirection::Right:
        return L"right";
    case PtzDirection::UpperLeft:
        return L"up-left";
    case PtzDirection::Upper:
        return L"up";
    case PtzDirection::UpperRight:
        return L"up-right";
    case PtzDirection::ZoomWide:
        return L"wide";
    case PtzDirection::ZoomTele:
        return L"tele";
    case PtzDirection::None:
        break;
    }
    return nullptr;
}

std::int32_t IpelaRequests::PtzSpeed(PtzDirection direction, std::int32_t speedPercent) noexcept
{
    const double fastest = IsZoom(direction) ? 8 : 24;
    return static_cast<std::int32_t>(std::ceil(speedPercent / 100.0 * fastest));
}

std::wstring IpelaRequests::PtzStart(PtzDirection direction, std::int32_t speedPercent)
{
    return std::wstring(L"command/ptzf.cgi?Move=") + PtzDirectionWord(direction) + L"," +
           std::to_wstring(PtzSpeed(direction, speedPercent));
}

std::wstring IpelaRequests::PtzStop(PtzDirection direction)
{
    return IsZoom(direction) ? L"command/ptzf.cgi?Move=stop,zoom" : L"command/ptzf.cgi?Move=stop,motor";
}
