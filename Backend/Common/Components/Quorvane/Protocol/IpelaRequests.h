#pragma once

#include "Protocol/CameraTypes.h"
#include "Protocol/IpelaModels.h"

#include <cstdint>
#include <string>

/// The requests that IPELA cameras understand, relative to the camera's root and without a leading slash.
/// Functions throw std::bad_alloc and nothing else; arguments are not checked here.
namespace IpelaRequests
{
inline constexpr wchar_t kCameraInquiry[] = L"command/inquiry.cgi?inq=camera";
inline constexpr wchar_t kSystemInquiry[] = L"command/inquiry.cgi?inq=system";

inline constexpr std::uint32_t kTimeoutMs = 4000;
inline constexpr std::uint32_t kCameraInquiryTimeoutMs = 10000;

/// Audio as G.711, video at a constant rate and, with `withCodec`, in the codec that the family prefers.
std::wstring RequiredSettings(IpelaModel model, bool withCodec);

/// The registry value that replaces the request above, whole.
const wchar_t* RequiredSettingsOverride(IpelaModel model) noexcept;

std::wstring SetImageSize(IpelaModel model, std::int32_t width, std::int32_t height, std::int32_t frameRate,
                          Compression compression);

/// Changing the image size takes cameras longer than other settings, and SNC-RZ25 longest.
std::uint32_t SetImageSizeTimeoutMs(IpelaModel model) noexcept;

/// The next step (kbit/s) that is not below `bitRate`, or the highest one.
std::int32_t RoundBitRate(std::int32_t bitRate) noexcept;

std::wstring SetBitRate(IpelaModel model, std::int32_t roundedBitRate);

std::wstring SetAudioInVolume(std::int32_t volume);

std::wstring StartVideo(IpelaModel model, bool isMulticast, std::uint16_t udpPort);

std::wstring StartAudio(bool isMulticast, std::uint16_t udpPort);

/// `command` and `distance` are the numbers of the automation interface, which are the camera's too.
std::wstring PtzStep(std::int32_t command, std::int32_t distance);

std::wstring PtzAreaZoom(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height);

/// Null for None and for what is no direction.
const wchar_t* PtzDirectionWord(PtzDirection direction) noexcept;

/// The camera's speed (1 to 24 for pan and tilt, 1 to 8 for zoom) from the caller's percentage.
std::int32_t PtzSpeed(PtzDirection direction, std::int32_t speedPercent) noexcept;

/// `direction` has a word.
std::wstring PtzStart(PtzDirection direction, std::int32_t speedPercent);

std::wstring PtzStop(PtzDirection direction);
} // namespace IpelaRequests
