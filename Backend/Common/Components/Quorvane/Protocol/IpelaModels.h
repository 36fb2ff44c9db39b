#pragma once

#include "Protocol/CameraTypes.h"
#include "Protocol/IpelaReply.h"

#include <cstdint>
#include <span>
#include <string_view>

/// Unknown models are treated as MPEG-4 cameras.
enum class IpelaModel : std::int32_t
{
    Unknown = 0,
    SncRx550 = 1,
    SncRz25 = 2,
    SncRh124 = 3,
    SncEr550 = 4,
    SncEr580 = 5,
    SncEp550 = 6,
    SncEp520 = 7,
    SncWr600 = 8,
    SncEp580 = 9
};

/// What the settings are called in the camera inquiry of one family.
struct IpelaKeySet
{
    IpelaReply::Key codec;
    IpelaReply::Key imageSize;
    IpelaReply::Key frameRate;
    IpelaReply::Key bitRate;
    IpelaReply::Key autoRateControl;
    IpelaReply::Key multicastAddress;
    IpelaReply::Key multicastVideoPort;
    IpelaReply::Key unicastVideoPort;
    IpelaReply::Key multicastAudioPort;
    IpelaReply::Key unicastAudioPort;
    IpelaReply::Key audioInVolume;
};

/// What is known about the models. Program constants: nothing allocates or throws.
namespace IpelaModels
{
/// By prefix; the model name is in upper case.
IpelaModel FromModelName(std::wstring_view modelName) noexcept;

/// The H.264 family has settings per stream, numbered from 1, and encodes MPEG-4 too (but for SNC-WR600).
bool IsH264Family(IpelaModel model) noexcept;

const IpelaKeySet& Keys(IpelaModel model) noexcept;

/// The formats offered to clients, in the order in which they are offered.
std::span<const ImageFormat> ImageSizes(IpelaModel model, VideoStandard standard) noexcept;

bool IsImageSizeSupported(IpelaModel model, VideoStandard standard, std::int32_t width, std::int32_t height,
                          Compression compression) noexcept;

/// The height in the first format of that width; 0 when there is none.
std::int32_t HeightForWidth(IpelaModel model, VideoStandard standard, std::int32_t width) noexcept;

/// kbit/s, ascending.
std::span<const std::int32_t> BitRateSteps() noexcept;
} // namespace IpelaModels
