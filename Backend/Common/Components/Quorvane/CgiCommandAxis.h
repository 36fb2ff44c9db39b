#pragma once

#include "CgiCommandRtsp.h"
#include "Protocol/AxisModels.h"
#include "Protocol/AxisReply.h"
#include "Protocol/Log.h"

#include <string>
#include <string_view>
#include <vector>

/// Command set of Axis cameras: streams over RTSP as the base does; what is particular is the parameter and PTZ CGI, by
/// which the camera is brought into a state that the RTSP client can stream from.
/// Ownership, threads and failures as for the base. Requests fail as CAsyncHttpRequest returned it, a reply that makes
/// no sense as E_FAIL.
/// Hazard: what is written to the camera stays there after the connection has closed, and asking for the image size
/// writes, too, when the camera has no frame rate of its own.
class CCgiCommandAxis : public CCgiCommandRtsp
{
public:
    explicit CCgiCommandAxis(CAsyncHttpRequest* httpRequest) noexcept;

    HRESULT GetSupportedImageSizes(ImageSize2** sizes, LONG* count) override;
    HRESULT IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override;
    /// The picture alone; address, ports, bit rate and volume are not known.
    HRESULT GetCameraSettings(CameraSettings3* settings) override;
    HRESULT GetCameraImageSize(ImageSize2* imageSize) override;
    HRESULT SetImageSize(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override;
    HRESULT SetBitRate(LONG bitRate) override;
    /// `volume` is the camera's input gain and not checked.
    HRESULT SetAudioInVolume(LONG volume) override;
    /// `speed` goes to the camera as it is; 0 stands for 24.
    HRESULT SendPTZStartCommand(PTZCommand command, LONG speed) override;
    HRESULT SendPTZStopCommand(PTZCommand command) override;
    HRESULT TryTalkToCamera() override;
    std::wstring RtspPath() const override;
    /// E_FAIL for a camera whose interface or firmware is too old. What can be corrected is corrected; what cannot is
    /// left for streaming to show.
    HRESULT CheckPrerequisites() override;

protected:
    /// The sizes that the camera itself lists. Clients are offered those of the model table instead, which were tried.
    [[nodiscard]] HRESULT GetImageResolutions(std::vector<AxisPictureSize>& sizes);

private:
    /// Sends a request; a failure is logged with request, status and result, in this order.
    [[nodiscard]] HRESULT Send(const std::wstring& request, LogLevel level, LogFormatAt failed);
    [[nodiscard]] HRESULT Query(const std::wstring& request, std::wstring& reply, LogLevel level, LogFormatAt failed);

    [[nodiscard]] HRESULT ListForPrerequisites(std::wstring_view group, std::wstring& reply);
    void IdentifyCamera();
    [[nodiscard]] HRESULT CheckInterface();
    [[nodiscard]] HRESULT CheckFirmware();
    [[nodiscard]] HRESULT GetVideoStandard(VideoStandard& standard);
    // True when the camera is, or now should be, as the next check needs it.
    bool CheckRtspSettings();
    bool CheckAudioSettings();
    bool CheckVideoSettings();
    [[nodiscard]] AxisModel GetCameraModel(std::wstring_view productNumber) const noexcept;
    [[nodiscard]] HRESULT GetImageSize(AxisPictureSize& size);
    [[nodiscard]] HRESULT GetCameraFrameRate(LONG& frameRate);

    AxisModel m_model = AxisModel::Unknown;
    LONG m_pFrameLimit;
};
