#pragma once

#include "CameraSim/Camera/CameraFamily.h"

#include <span>
#include <string_view>
#include <vector>

enum class IpelaCodec
{
    Mpeg4,
    H264
};

/// One picture size that a model offers; `maxRate` in frames per second.
struct IpelaSize
{
    int width;
    int height;
    int maxRate;
    IpelaCodec codec;

    bool operator==(const IpelaSize&) const = default;
};

/// Under which names, and in which form, a model keeps its picture size.
enum class IpelaSizeKey
{
    M4ImageSize, ///< "640,0": the height follows from the width
    ImageSize,   ///< "640,2"
    ImageSize1   ///< "1280,720"
};

/// One row of the model list. Names are matched by their beginning, as real cameras append letters for variants.
struct IpelaModel
{
    std::string_view name; ///< empty: the camera nobody knows, which speaks the MPEG-4 commands
    bool isH264Family;
    IpelaSizeKey sizeKey;
    std::span<const IpelaSize> ntscSizes;
    std::span<const IpelaSize> palSizes;

    std::span<const IpelaSize> Sizes(VideoStandard standard) const noexcept
    {
        return standard == VideoStandard::Ntsc ? ntscSizes : palSizes;
    }
};

namespace IpelaModels
{

/// The models that have a name of their own.
std::span<const IpelaModel> Known() noexcept;
/// The row for a model name in any case; the nameless row for a name that nothing matches.
const IpelaModel& Find(std::string_view modelName) noexcept;
/// Frame rates in ascending order.
std::span<const int> FrameRates(VideoStandard standard) noexcept;
/// Bit rates in kbit/s, in ascending order.
std::span<const int> BitRates() noexcept;

} // namespace IpelaModels
