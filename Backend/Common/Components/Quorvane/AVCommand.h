#pragma once

#include "CgiCommandBase.h"
#include "HttpRequest.h"
#include "Quorvane.h"
#include "Win32/CriticalSection.h"

#include <memory>
#include <string>

/// The component's one COM object: keeps a camera's address, owns the HTTP connection to it, finds out on first use
/// which family the camera belongs to, and forwards every call to that family's command set.
/// CComObject or CComAggObject supply IUnknown. Any thread may call any method; one call at a time gets in, the others
/// wait, also during a probe (at most two passes of one request per family, with a pause of 5 s between them).
/// Nothing is thrown across an interface method. A method that needs the camera returns E_FAIL when no family
/// recognises it; logged at most once an hour per camera.
class CAVCommand : public IAVCommand5
{
public:
    /// Throws the HRESULT of a failure to create the lock.
    CAVCommand();
    CAVCommand(const CAVCommand&) = delete;
    CAVCommand& operator=(const CAVCommand&) = delete;

    // IAVCommand
    STDMETHODIMP OpenConnection(BSTR serverName, unsigned short port, BSTR userName, BSTR password) override;
    STDMETHODIMP CloseConnection() override;
    STDMETHODIMP IsConnected() override;
    STDMETHODIMP ConnectToCamera() override;
    STDMETHODIMP StartMpeg4Video() override;
    STDMETHODIMP StartAudio() override;
    STDMETHODIMP GetSupportedImageSizes(ImageSize** ppSizes, long* pCount) override;
    STDMETHODIMP IsImageSizeSupported(long width, long height, long FrameRate) override;
    STDMETHODIMP GetCameraSettings(CameraSettings* pSettings) override;
    STDMETHODIMP SetImageSize(long width, long height, long FrameRate) override;
    STDMETHODIMP SetBitRate(long BitRate) override;
    STDMETHODIMP SendPTZCommand(PTZCommand command, PTDistance distance) override;
    STDMETHODIMP SendPTZAreaZoomCommand(long x, long y, long width, long height) override;
    STDMETHODIMP SendPTZStartCommand(PTZCommand command, long speed) override;
    STDMETHODIMP SendPTZStopCommand(PTZCommand command) override;

    // IAVCommand2
    STDMETHODIMP StartMpeg4Video2(BOOL bMulticast, unsigned short udpPort) override;
    STDMETHODIMP StartAudio2(BOOL bMulticast, unsigned short udpPort) override;
    STDMETHODIMP GetSupportedFrameRates(long** ppFrameRate, long* pCount) override;
    STDMETHODIMP SetAudioInVolume(long volume) override;

    // IAVCommand3
    STDMETHODIMP GetCameraSettings2(CameraSettings2* pSettings) override;
    STDMETHODIMP GetSupportedImageSizes2(ImageSize2** ppSizes, long* pCount) override;
    STDMETHODIMP IsImageSizeSupported2(long width, long height, long FrameRate, VideoCodec VideoEncoding) override;
    STDMETHODIMP SetImageSize2(long width, long height, long FrameRate, VideoCodec VideoEncoding) override;

    // IAVCommand4
    STDMETHODIMP SetupTransport(long streamId, TransportParameters* pParameters) override;
    STDMETHODIMP GetCameraImageSize(ImageSize2* pImageSize) override;

    // IAVCommand5
    STDMETHODIMP GetCameraSettings3(CameraSettings3* pSettings) override;
    STDMETHODIMP GetH264Parameters(H264Parameters* pParameters) override;
    STDMETHODIMP PauseStreaming() override;
    STDMETHODIMP StopStreaming() override;
    STDMETHODIMP ConnectToRtspServer(BOOL joinRtspSession) override;

protected:
    ~CAVCommand();

private:
    using Holder = CCriticalSection::Holder;

    /// Runs `operation` on the command set under the object's lock, choosing the set first when there is none.
    template <class Operation>
    HRESULT WithCommandSet(Operation operation) noexcept;

    void CloseConnection(const Holder& holder) noexcept;
    /// True when a command set is held, or one of the families recognised the camera.
    [[nodiscard]] bool ChooseCgiCommandSet(const Holder& holder);
    void ReportSilentCamera(const Holder& holder) noexcept;

    CAsyncHttpRequest m_httpRequest;
    CCriticalSection m_lock{Lifetime::LockRank::Object};
    std::wstring m_serverName;
    WORD m_port = 0;
    std::wstring m_userName;
    std::wstring m_password;
    std::unique_ptr<CCgiCommandBase> m_commandSet;
    int m_serverIndex = -1;
};
