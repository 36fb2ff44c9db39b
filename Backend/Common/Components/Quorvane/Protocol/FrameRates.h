#pragma once

#include "Protocol/CameraTypes.h"

#include <cstdint>
#include <span>

/// The frame rates (frames per second) that clients may ask for, the same for all camera families.
namespace FrameRates
{
/// Ascending, 12 entries in either standard.
std::span<const std::int32_t> Supported(VideoStandard standard) noexcept;

bool IsFrameRateSupported(VideoStandard standard, std::int32_t rate) noexcept;
} // namespace FrameRates
