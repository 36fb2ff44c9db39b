#pragma once

#include "CgiCommandBase.h"
#include "Protocol/IpelaModels.h"
#include "Protocol/Log.h"

#include <string>
#include <string_view>

/// Command set of Sony IPELA cameras: plain HTTP GET requests; the camera itself sends RTP to the UDP port that the
/// caller names. Which request a model needs is decided in Protocol/IpelaRequests, what a reply says in
/// Protocol/IpelaSettings; this class sends, logs, and fills the automation records.
/// Ownership, threads and failures as for the base. Transport failures come back as CAsyncHttpRequest returned them,
/// replies that make no sense as E_UNEXPECTED.
/// Hazard: settings are read from a reply of up to ten seconds ago, unless this object has changed image size, bit
/// rate or the required stream settings since; a changed volume shows late.
class CCgiCommandIpela : public CCgiCommandBase
{
public:
    using TickSource = DWORD(WINAPI*)();

    /// `tickCount` tells the age of the cached settings, in milliseconds.
    explicit CCgiCommandIpela(CAsyncHttpRequest* httpRequest, TickSource tickCount = &::GetTickCount) noexcept;

    HRESULT ConnectToCamera() override;
    HRESULT SetupTransport(LONG streamId, TransportParameters* parameters) override;
    HRESULT StartVideo(bool isMulticast, WORD udpPort) override;
    HRESULT StartAudio(bool isMulticast, WORD udpPort) override;
    HRESULT PauseStreaming() override;
    HRESULT StopStreaming() override;
    HRESULT GetSupportedImageSizes(ImageSize2** sizes, LONG* count) override;
    HRESULT IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override;
    HRESULT GetCameraSettings(CameraSettings3* settings) override;
    HRESULT GetCameraImageSize(ImageSize2* imageSize) override;
    HRESULT GetH264Parameters(H264Parameters* parameters) override;
    HRESULT SetImageSize(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override;
    HRESULT SetBitRate(LONG bitRate) override;
    HRESULT SetAudioInVolume(LONG volume) override;
    HRESULT SendPTZCommand(PTZCommand command, PTDistance distance) override;
    HRESULT SendPTZAreaZoomCommand(LONG x, LONG y, LONG width, LONG height) override;
    HRESULT SendPTZStartCommand(PTZCommand command, LONG speed) override;
    HRESULT SendPTZStopCommand(PTZCommand command) override;
    HRESULT TryTalkToCamera() override;

protected:
    /// The reply to the system inquiry, never empty on success. The probe sends the inquiry itself: a camera that
    /// answers with nothing still counts as one of the family there.
    [[nodiscard]] HRESULT QuerySystemSettings(std::wstring& content);

private:
    struct Answer
    {
        HRESULT hr = E_FAIL;
        DWORD statusCode = 0;
        std::wstring body;
    };
    [[nodiscard]] Answer Send(const std::wstring& request, DWORD timeoutMs);
    /// Sends a request whose reply says nothing; `failed` is logged with request, status and result.
    [[nodiscard]] HRESULT SendCommand(const std::wstring& request, DWORD timeoutMs, LogFormatAt failed,
                                      DWORD* statusCode = nullptr);
    /// Sends a stream start, and once more with the required settings when the camera refused it.
    [[nodiscard]] HRESULT StartStream(const std::wstring& request, LogFormatAt failed, LogFormatAt settingsFailed);

    /// The reply to the camera inquiry, never empty on success.
    [[nodiscard]] HRESULT QueryCameraSettings(std::wstring& content);
    [[nodiscard]] HRESULT SetRequiredSettings(bool withCodec);
    [[nodiscard]] IpelaModel GetCameraModel(std::wstring_view content) const;
    [[nodiscard]] VideoCodec GetImageCodec(std::wstring_view content) const noexcept;

    IpelaModel m_model = IpelaModel::Unknown;
    std::wstring m_cachedSettings; ///< empty: none
    DWORD m_cacheTimeMs = 0;
    TickSource m_tickCount;
};
