#pragma once

#include "Protocol/CameraTypes.h"

#include <cstdint>
#include <span>
#include <string_view>

/// The numbers do not follow the order in which names are tried.
enum class AxisModel : std::int32_t
{
    Unknown = 0,
    M5525 = 1,
    P5635 = 2,
    V5915 = 3,
    M5526 = 4
};

/// What is known about the models. Program constants: nothing allocates or throws.
namespace AxisModels
{
/// By a part of the product number, wherever it stands; case matters.
AxisModel FromProductNumber(std::wstring_view productNumber) noexcept;

/// The formats offered to clients, in the order in which they are offered; all are H.264.
std::span<const ImageFormat> ImageSizes(AxisModel model, VideoStandard standard) noexcept;

bool IsImageSizeSupported(AxisModel model, VideoStandard standard, std::int32_t width, std::int32_t height,
                          Compression compression) noexcept;

bool HasLowLatencyMode(AxisModel model) noexcept;

/// Frames per second that a stream is set to when the camera has no limit of its own.
std::int32_t DefaultFrameRate(VideoStandard standard) noexcept;

/// The most P frames between two key frames: one more than a second has, so that a client that joins late has a
/// picture soon.
std::int32_t PFrameLimit(VideoStandard standard) noexcept;
} // namespace AxisModels
