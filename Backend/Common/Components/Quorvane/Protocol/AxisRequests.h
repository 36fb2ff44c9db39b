#pragma once

#include "Protocol/CameraTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Requests to an Axis camera: path and query, as they follow host and port.
namespace AxisRequests
{
inline constexpr std::uint32_t kTimeoutMs = 4000;

inline constexpr wchar_t kWhoAmI[] = L"/axis-cgi/com/ptz.cgi?whoami=yes";
inline constexpr wchar_t kImageSize[] = L"/axis-cgi/imagesize.cgi?camera=1";
/// Of the RTSP stream.
inline constexpr wchar_t kMediaPath[] = L"/axis-media/media.amp?videocodec=h264&audio=1";

inline constexpr wchar_t kEnableRtsp[] = L"/axis-cgi/param.cgi?action=update&Network.RTSP.Enabled=yes";
inline constexpr wchar_t kSetAudioEncoding[] =
    L"/axis-cgi/param.cgi?action=update&AudioSource.A0.AudioEncoding=g711&AudioSource.A0.SampleRate=8000";
inline constexpr wchar_t kFixRateAndGroups[] =
    L"/axis-cgi/param.cgi?action=update&Image.I0.MPEG.ZFpsMode=fixed&Image.I0.MPEG.ZGopMode=fixed";
/// The only name that is sent with its root.
inline constexpr wchar_t kEnableLowLatency[] =
    L"/axis-cgi/param.cgi?action=update&root.ImageSource.I0.Sensor.LowLatencyMode=on";

std::wstring List(std::wstring_view group);
std::wstring SetPFrameCount(std::int32_t count);
std::wstring SetResolution(std::int32_t width, std::int32_t height);
std::wstring SetFrameRate(std::int32_t frameRate);
/// kbit/s
std::wstring SetBitRate(std::int32_t bitRate);
std::wstring SetAudioInputGain(std::int32_t gain);

/// Nothing for None and for what is no direction. `speed` goes to the camera as it is; 0 stands for a speed of
/// medium haste.
std::optional<std::wstring> PtzStart(PtzDirection direction, std::int32_t speed);

/// What is no zoom stops pan and tilt.
std::wstring PtzStop(PtzDirection direction);
} // namespace AxisRequests
