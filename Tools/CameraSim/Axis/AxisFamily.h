#pragma once

#include "CameraSim/Axis/AxisParameters.h"
#include "CameraSim/Camera/CameraFamily.h"
#include "CameraSim/Camera/PtzHead.h"
#include "CameraSim/Text/QueryString.h"

#include <string>
#include <vector>

struct AxisOptions
{
    std::string modelName = "AXIS M5526-E"; ///< the maker's name in front may be left out
    VideoStandard standard = VideoStandard::Ntsc;
    bool factorySettings = false;
    /// The RTSP server is off until it is enabled; otherwise it is on whatever the parameter says.
    bool requireStreamSettings = true;
};

/// The web interface of an Axis camera: axis-cgi/param.cgi, axis-cgi/com/ptz.cgi and axis-cgi/imagesize.cgi.
/// Borrows the head. As on the real ones a refusal is a text, with status 200: "# Error: ..." from param.cgi,
/// "Error: ..." from the others. An unknown path is 404.
/// Streams are not started here: the RTSP server asks for Rtsp() when it is about to describe or send them.
class CAxisFamily final : public ICameraFamily
{
public:
    CAxisFamily(AxisOptions options, CPtzHead& head);

    std::string_view FamilyName() const override;
    std::string_view ModelName() const override;
    VideoStandard Standard() const override;
    HttpReply Answer(const HttpRequest& request) override;
    std::vector<CameraSetting> Settings() const override;
    void ForceSetting(std::string_view name, std::optional<std::string> value) override;
    void RequireStreamSettings(bool require) override;
    std::optional<RtspConfiguration> Rtsp() const override;

private:
    using Parameters = std::vector<QueryString::Parameter>;

    HttpReply Param(const Parameters& parameters);
    HttpReply List(const Parameters& parameters) const;
    HttpReply Update(const Parameters& parameters);
    HttpReply Ptz(const Parameters& parameters);
    HttpReply ImageSize(const Parameters& parameters) const;

    AxisOptions m_options;
    CAxisParameters m_parameters;
    CPtzHead& m_head;
};
