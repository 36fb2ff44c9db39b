#pragma once

#include "Protocol/CameraTypes.h"
#include "Protocol/Log.h"
#include "Quorvane.h"

#include <windows.h>

#include <span>

class CAsyncHttpRequest;

/// A camera family's command set: turns the operations of the automation interface into requests to one camera.
/// Owned by the command object, which lends it the HTTP request object for as long as it lives.
/// One caller at a time; an operation may block for as long as its requests may take.
/// What a family lacks answers E_NOTIMPL. Operations log a failure before they return it and throw nothing but
/// std::bad_alloc. Out parameters stay untouched on failure, unless the operation says otherwise.
class CCgiCommandBase
{
public:
    /// Sends nothing.
    explicit CCgiCommandBase(CAsyncHttpRequest* httpRequest) noexcept;
    virtual ~CCgiCommandBase() = default;
    CCgiCommandBase(const CCgiCommandBase&) = delete;
    CCgiCommandBase& operator=(const CCgiCommandBase&) = delete;

    /// Brings the camera to a usable state and learns its video standard.
    [[nodiscard]] virtual HRESULT ConnectToCamera();
    /// S_FALSE: the family does not stream over RTSP. The texts are those of the open connection.
    [[nodiscard]] virtual HRESULT ConnectToRtspServer(const wchar_t* serverName, WORD port, const wchar_t* userName,
                                                      const wchar_t* password, bool joinRtspSession);
    [[nodiscard]] virtual HRESULT SetupTransport(LONG streamId, TransportParameters* parameters);
    [[nodiscard]] virtual HRESULT StartVideo(bool isMulticast, WORD udpPort);
    [[nodiscard]] virtual HRESULT StartAudio(bool isMulticast, WORD udpPort);
    [[nodiscard]] virtual HRESULT PauseStreaming();
    [[nodiscard]] virtual HRESULT StopStreaming();
    /// The array is task memory of the caller's; null when memory is short. A null `sizes` asks for the count alone.
    [[nodiscard]] virtual HRESULT GetSupportedImageSizes(ImageSize2** sizes, LONG* count);
    /// S_OK or S_FALSE.
    [[nodiscard]] virtual HRESULT IsImageSizeSupported(LONG width, LONG height, LONG frameRate,
                                                       VideoCodec videoEncoding);
    /// The address in the record is a new BSTR of the caller's.
    [[nodiscard]] virtual HRESULT GetCameraSettings(CameraSettings3* settings);
    /// The array is task memory of the caller's; null when memory is short.
    [[nodiscard]] virtual HRESULT GetSupportedFrameRates(LONG** rates, LONG* count);
    [[nodiscard]] virtual HRESULT GetCameraImageSize(ImageSize2* imageSize);
    /// S_FALSE for a null record; an empty record for families without H.264.
    [[nodiscard]] virtual HRESULT GetH264Parameters(H264Parameters* parameters);
    [[nodiscard]] virtual HRESULT SetImageSize(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding);
    /// kbit/s
    [[nodiscard]] virtual HRESULT SetBitRate(LONG bitRate);
    [[nodiscard]] virtual HRESULT SetAudioInVolume(LONG volume);
    [[nodiscard]] virtual HRESULT SendPTZCommand(PTZCommand command, PTDistance distance);
    [[nodiscard]] virtual HRESULT SendPTZAreaZoomCommand(LONG x, LONG y, LONG width, LONG height);
    /// `speed` is a percentage.
    [[nodiscard]] virtual HRESULT SendPTZStartCommand(PTZCommand command, LONG speed);
    [[nodiscard]] virtual HRESULT SendPTZStopCommand(PTZCommand command);
    /// Exactly S_OK when the camera is one of this family.
    [[nodiscard]] virtual HRESULT TryTalkToCamera() = 0;
    [[nodiscard]] virtual bool IsFrameRateSupported(LONG frameRate) const;

protected:
    /// What GetSupportedImageSizes answers from a table of formats; `outOfMemory` is logged when memory is short.
    [[nodiscard]] static HRESULT HandOutImageSizes(std::span<const ImageFormat> formats, ImageSize2** sizes,
                                                   LONG* count, LogFormatAt outOfMemory) noexcept;

    CAsyncHttpRequest* m_httpRequest;
    VideoStandard m_videoStandard = VideoStandard::Ntsc60Hz;
};
