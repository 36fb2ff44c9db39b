#pragma once

#include "CameraSim/Camera/CameraFamily.h"

#include <span>
#include <string_view>

struct AxisSize
{
    int width;
    int height;

    bool operator==(const AxisSize&) const = default;
};

/// One row of the model list. Names are found anywhere in a model name, as maker's name and variant surround them.
struct AxisModel
{
    std::string_view name; ///< empty: a model that no client knows
    std::span<const AxisSize> sizes;
    bool hasLowLatencyMode;
};

namespace AxisModels
{

/// The models that have a name of their own.
std::span<const AxisModel> Known() noexcept;
/// The row for a model name in any case; the nameless row for a name that nothing matches.
const AxisModel& Find(std::string_view modelName) noexcept;
/// A known model, or a name that begins with "AXIS".
bool IsAxis(std::string_view modelName) noexcept;
/// Frames per second; every size can be had at that rate.
int HighestRate(VideoStandard standard) noexcept;

} // namespace AxisModels
