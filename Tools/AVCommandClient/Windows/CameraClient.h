#pragma once

#include "Core/CallTrace.h"
#include "Core/Camera.h"
#include "Win32/ComPointer.h"

#include <Quorvane.h>

/// One camera by way of the component's newest interface. Owns its reference to the object, and frees what the
/// component hands out. Use it on the thread that created the object.
class CCameraClient final : public ICamera
{
public:
    CCameraClient(CComPointer<IAVCommand5> object, const CCallTrace& trace) noexcept;

    HResult OpenConnection(const CameraAddress& address) override;
    HResult CloseConnection() override;
    HResult IsConnected() override;
    HResult ConnectToCamera() override;
    HResult GetSettings(StreamSettings& settings) override;
    HResult GetCameraImageSize(PictureFormat& format) override;
    HResult GetSupportedImageSizes(std::vector<PictureFormat>& sizes) override;
    HResult GetSupportedFrameRates(std::vector<std::int32_t>& rates) override;
    HResult ConnectToRtspServer(bool joins) override;
    HResult SetupTransport(MediaStream stream, MediaTransport& transport) override;
    HResult GetH264Parameters(H264Description& description) override;
    HResult SetImageSize(const PictureFormat& format) override;
    HResult SetBitRate(std::int32_t bitRateKbps) override;
    HResult SetAudioInVolume(std::int32_t volume) override;
    HResult Step(MoveDirection direction, StepSize size) override;
    HResult StartMove(MoveDirection direction, std::int32_t speedPercent) override;
    HResult StopMove(MoveDirection direction) override;
    HResult ZoomToArea(const PictureArea& area) override;
    HResult StartVideo(const StreamTarget& target) override;
    HResult StartAudio(const StreamTarget& target) override;
    HResult PauseStreaming() override;
    HResult StopStreaming() override;

private:
    CComPointer<IAVCommand5> m_object;
    CCallTrace m_trace;
};
