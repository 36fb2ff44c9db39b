#pragma once

#include "CameraSim/Camera/RtspConfiguration.h"
#include "CameraSim/H264/H264Format.h"
#include "CameraSim/Rtsp/RtspUrl.h"

#include <optional>
#include <string>
#include <string_view>

/// What one presentation URL stands for: the camera's present settings, but for what the URL's query names itself.
struct RtspMedia
{
    static constexpr std::string_view kPath = "axis-media/media.amp";
    static constexpr unsigned kVideoTrack = 1;
    static constexpr unsigned kAudioTrack = 2;

    H264Format video;
    bool hasAudio = false;

    bool operator==(const RtspMedia&) const = default;

    /// Nothing when the camera has no such presentation; `why` then says so. Queries know videocodec, audio,
    /// resolution and fps, as an Axis camera's do; what else they name is ignored.
    static std::optional<RtspMedia> Resolve(const RtspConfiguration& configuration, const RtspUrl& url,
                                            std::string& why);

    bool HasTrack(unsigned track) const noexcept
    {
        return track == kVideoTrack || (track == kAudioTrack && hasAudio);
    }
};
