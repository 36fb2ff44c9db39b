#pragma once

#include <string>

/// What a camera would stream over RTSP now, as its settings have it. A copy: ask again for every new stream.
struct RtspConfiguration
{
    bool isEnabled = false; ///< a disabled RTSP server answers 503
    /// RTSP requests need credentials, those of the camera's web server; none when that asks for none.
    bool needsCredentials = true;
    int width = 0;
    int height = 0;
    int framesPerSecond = 0; ///< never 0
    int framesPerGroup = 0;  ///< from one key picture to the next, at least 1
    std::string h264Profile; ///< "baseline", "main" or "high"
    int kilobitsPerSecond = 0;
    bool hasPcmuAudio = false; ///< G.711 mu-law at 8 kHz; false: the audio is set to something else
};
