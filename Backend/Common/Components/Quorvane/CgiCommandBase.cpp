#include "CgiCommandBase.h"

#include "Protocol/FrameRates.h"
#include "Win32/ComMemory.h"

#include <algorithm>

// The families convert by a cast.
static_assert(static_cast<int>(Compression::None) == VC_None && static_cast<int>(Compression::Mpeg4) == VC_MPEG4 &&
              static_cast<int>(Compression::H264) == VC_H264);
static_assert(static_cast<int>(PtzDirection::None) == PTZ_None &&
              static_cast<int>(PtzDirection::LowerLeft) == PTZ_LOWER_LEFT &&
              static_cast<int>(PtzDirection::Lower) == PTZ_LOWER &&
              static_cast<int>(PtzDirection::LowerRight) == PTZ_LOWER_RIGHT &&
              static_cast<int>(PtzDirection::Left) == PTZ_LEFT && static_cast<int>(PtzDirection::Right) == PTZ_RIGHT &&
              static_cast<int>(PtzDirection::UpperLeft) == PTZ_UPPER_LEFT &&
              static_cast<int>(PtzDirection::Upper) == PTZ_UPPER &&
              static_cast<int>(PtzDirection::UpperRight) == PTZ_UPPER_RIGHT &&
              static_cast<int>(PtzDirection::ZoomWide) == PTZ_ZOOM_WIDE &&
              static_cast<int>(PtzDirection::ZoomTele) == PTZ_ZOOM_TELE);

CCgiCommandBase::CCgiCommandBase(CAsyncHttpRequest* httpRequest) noexcept : m_httpRequest(httpRequest) {}

HRESULT CCgiCommandBase::ConnectToCamera()
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::ConnectToRtspServer(const wchar_t*, WORD, const wchar_t*, const wchar_t*, bool)
{
    return S_FALSE;
}

HRESULT CCgiCommandBase::SetupTransport(LONG, TransportParameters*)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::StartVideo(bool, WORD)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::StartAudio(bool, WORD)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::PauseStreaming()
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::StopStreaming()
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::GetSupportedImageSizes(ImageSize2**, LONG*)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::IsImageSizeSupported(LONG, LONG, LONG, VideoCodec)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::GetCameraSettings(CameraSettings3*)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::GetSupportedFrameRates(LONG** rates, LONG* count)
{
    if (rates == nullptr || count == nullptr)
        return E_INVALIDARG;
    const auto table = FrameRates::Supported(m_videoStandard);
    *rates = AllocateTaskMemory<LONG>(table.size()).release();
    if (*rates == nullptr)
    {
        // The name of another operation in the text is what log readers look for.
        return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CCgiCommandBase::GetSupportedImageSizes, out of memory");
    }
    std::ranges::copy(table, *rates);
    *count = static_cast<LONG>(table.size());
    return S_OK;
}

HRESULT CCgiCommandBase::GetCameraImageSize(ImageSize2*)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::GetH264Parameters(H264Parameters* parameters)
{
    if (parameters == nullptr)
        return S_FALSE;
    *parameters = {};
    return S_OK;
}

HRESULT CCgiCommandBase::SetImageSize(LONG, LONG, LONG, VideoCodec)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::SetBitRate(LONG)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::SetAudioInVolume(LONG)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::SendPTZCommand(PTZCommand, PTDistance)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::SendPTZAreaZoomCommand(LONG, LONG, LONG, LONG)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::SendPTZStartCommand(PTZCommand, LONG)
{
    return E_NOTIMPL;
}

HRESULT CCgiCommandBase::SendPTZStopCommand(PTZCommand)
{
    return E_NOTIMPL;
}

bool CCgiCommandBase::IsFrameRateSupported(LONG frameRate) const
{
    return FrameRates::IsFrameRateSupported(m_videoStandard, frameRate);
}

HRESULT CCgiCommandBase::HandOutImageSizes(std::span<const ImageFormat> formats, ImageSize2** sizes, LONG* count,
                                           LogFormatAt outOfMemory) noexcept
{
    if (count == nullptr)
        return E_INVALIDARG;
    *count = static_cast<LONG>(formats.size());
    if (sizes == nullptr)
        return S_OK;
    *sizes = AllocateTaskMemory<ImageSize2>(formats.size()).release();
    if (*sizes == nullptr)
        return LogFailure(E_OUTOFMEMORY, LogLevel::Error, outOfMemory);
    std::ranges::transform(formats, *sizes, [](const ImageFormat& format) {
        return ImageSize2{format.width, format.height, format.frameRate, static_cast<VideoCodec>(format.compression)};
    });
    return S_OK;
}
