#pragma once

#include "CameraSim/Auth/AuthenticationOptions.h"
#include "CameraSim/Camera/CameraFamily.h"
#include "CameraSim/Camera/PtzHead.h"
#include "CameraSim/Faults/Fault.h"
#include "CameraSim/Rtsp/RtspOptions.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A picture of the whole camera at one moment.
struct CameraState
{
    std::string family;
    std::string model;
    VideoStandard standard = VideoStandard::Ntsc;
    bool requireStreamSettings = true;
    AuthenticationOptions authentication;
    RtspOptions rtsp;
    std::vector<CameraSetting> settings;
    PtzPosition position;
    PtzSpeed speed;
    std::vector<Fault> faults;
    std::uint64_t requests = 0; ///< since the start
};

/// What to change of it; what is not named stays.
/// A model, a standard or factory settings make a new camera with default settings before the settings are changed.
struct CameraChange
{
    std::optional<std::string> model;
    std::optional<VideoStandard> standard;
    std::optional<bool> factorySettings;
    std::optional<bool> requireStreamSettings;
    std::optional<AuthenticationOptions> authentication;
    std::optional<RtspOptions> rtsp;
    /// Put in place without asking whether the camera has such a setting or value; no value takes a setting away.
    std::vector<std::pair<std::string, std::optional<std::string>>> settings;
    std::optional<PtzPosition> position;
};
