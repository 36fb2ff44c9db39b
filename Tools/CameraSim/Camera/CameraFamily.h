#pragma once

#include "CameraSim/Camera/RtspConfiguration.h"
#include "CameraSim/Http/HttpMessage.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class VideoStandard
{
    Ntsc, ///< 60 Hz
    Pal   ///< 50 Hz
};

struct CameraSetting
{
    std::string name;
    std::string value;

    bool operator==(const CameraSetting&) const = default;
};

/// What makes a camera family: its requests and its settings. One object per simulated camera, made for one model and
/// one video standard; authentication, faults and the journal are dealt with before it is asked.
/// Not thread-safe; the simulator serialises.
class ICameraFamily
{
public:
    virtual ~ICameraFamily() = default;

    virtual std::string_view FamilyName() const = 0;
    /// As the camera reports it.
    virtual std::string_view ModelName() const = 0;
    virtual VideoStandard Standard() const = 0;

    virtual HttpReply Answer(const HttpRequest& request) = 0;

    /// In the order in which the camera lists them.
    virtual std::vector<CameraSetting> Settings() const = 0;
    /// Puts a value where the camera itself might refuse it, adds an unknown setting, or takes one away (no value):
    /// for tests of what a client makes of strange answers.
    virtual void ForceSetting(std::string_view name, std::optional<std::string> value) = 0;
    /// Whether stream starts are refused while the settings do not fit streaming.
    virtual void RequireStreamSettings(bool require) = 0;

    /// Nothing for a family that has no RTSP server.
    virtual std::optional<RtspConfiguration> Rtsp() const
    {
        return std::nullopt;
    }
};
