#pragma once

#include "Protocol/CameraTypes.h"
#include "Protocol/IpelaModels.h"

#include <cstdint>
#include <string_view>

/// How far a reply could be understood.
enum class IpelaReading
{
    Ok,
    EmptySettings, ///< a setting that every camera has is missing
    InvalidNumbers ///< a number is missing, zero or out of range
};

/// Where the camera sends its streams. Borrows the address from the reply.
struct IpelaStreamTargets
{
    std::wstring_view multicastAddress;
    std::uint16_t multicastVideoPort = 0;
    std::uint16_t multicastAudioPort = 0;
    std::uint16_t unicastVideoPort = 0;
    std::uint16_t unicastAudioPort = 0;

    std::uint16_t RtpPort(bool isMulticast, bool isAudio) const noexcept
    {
        if (isMulticast)
            return isAudio ? multicastAudioPort : multicastVideoPort;
        return isAudio ? unicastAudioPort : unicastVideoPort;
    }
};

struct IpelaImageSize
{
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct IpelaPicture
{
    IpelaImageSize size;
    std::int32_t frameRate = 0;
};

struct IpelaCameraSettings
{
    IpelaStreamTargets targets;
    IpelaPicture picture;
    std::int32_t bitRate = 0; ///< kbit/s
    std::int32_t audioInVolume = 0;
};

/// Turns the reply to the camera inquiry into settings. Pure functions; nothing allocates or throws.
/// A reading other than Ok leaves the out parameter untouched.
namespace IpelaSettings
{
IpelaReading ReadStreamTargets(std::wstring_view content, IpelaModel model, IpelaStreamTargets& targets) noexcept;

IpelaReading ReadPicture(std::wstring_view content, IpelaModel model, VideoStandard standard,
                         IpelaPicture& picture) noexcept;

IpelaReading ReadCameraSettings(std::wstring_view content, IpelaModel model, VideoStandard standard,
                                IpelaCameraSettings& settings) noexcept;

/// Both numbers are 0 when the reply does not tell.
IpelaImageSize ReadImageSize(std::wstring_view content, IpelaModel model, VideoStandard standard) noexcept;

/// None for a codec that is neither MPEG-4 nor H.264, JPEG for instance.
Compression ReadImageCodec(std::wstring_view content, IpelaModel model) noexcept;

VideoStandard ReadVideoStandard(std::wstring_view content) noexcept;

/// True when the camera sends G.711 audio and does not change the video bit rate by itself.
bool HasRequiredStreamSettings(std::wstring_view content, IpelaModel model) noexcept;
} // namespace IpelaSettings
