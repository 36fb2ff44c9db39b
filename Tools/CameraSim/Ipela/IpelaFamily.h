#pragma once

#include "CameraSim/Camera/CameraFamily.h"
#include "CameraSim/Camera/MediaStreams.h"
#include "CameraSim/Camera/PtzHead.h"
#include "CameraSim/Ipela/IpelaPtz.h"
#include "CameraSim/Ipela/IpelaSettings.h"

#include <string>

struct IpelaOptions
{
    std::string modelName = "SNC-EP580"; ///< as reported; a name that is not known makes an MPEG-4 camera
    VideoStandard standard = VideoStandard::Ntsc;
    bool factorySettings = false;
    /// A stream start is refused with 400 until codec, rate control and audio input are set as streaming needs them.
    bool requireStreamSettings = true;
};

/// An IPELA camera: command/inquiry.cgi, command/camera.cgi, command/ptzf.cgi and the stream starts mpeg4 (the older
/// family), image1 (the H.264 family) and audio. Borrows the head and the streams.
/// Refusals are 400 with one line of text that says why; an unknown path is 404.
class CIpelaFamily final : public ICameraFamily
{
public:
    CIpelaFamily(IpelaOptions options, CPtzHead& head, IMediaStreams& streams);

    std::string_view FamilyName() const override;
    std::string_view ModelName() const override;
    VideoStandard Standard() const override;
    HttpReply Answer(const HttpRequest& request) override;
    std::vector<CameraSetting> Settings() const override;
    void ForceSetting(std::string_view name, std::optional<std::string> value) override;
    void RequireStreamSettings(bool require) override;

private:
    HttpReply Inquire(const std::vector<QueryString::Parameter>& parameters) const;
    HttpReply Control(bool isCamera, const std::vector<QueryString::Parameter>& parameters);
    HttpReply StartStream(const HttpRequest& request, const std::vector<QueryString::Parameter>& parameters);
    std::string SystemLine() const;
    IpelaPtz::Picture Picture() const;

    IpelaOptions m_options;
    const IpelaModel& m_model;
    CIpelaSettings m_settings;
    CPtzHead& m_head;
    IMediaStreams& m_streams;
};
