#include "CgiCommandRtsp.h"

#include "Protocol/Log.h"

CCgiCommandRtsp::CCgiCommandRtsp(CAsyncHttpRequest* httpRequest) noexcept : CCgiCommandBase(httpRequest) {}

CCgiCommandRtsp::~CCgiCommandRtsp() = default;

HRESULT CCgiCommandRtsp::TryTalkToCamera()
{
    return S_OK;
}

HRESULT CCgiCommandRtsp::ConnectToCamera()
{
    const HRESULT hr = CheckPrerequisites();
    if (FAILED(hr))
        Log(LogLevel::Debug, L"CCgiCommandRtsp::ConnectToCamera, CheckPrerequistes failed");
    return hr;
}

HRESULT CCgiCommandRtsp::ConnectToRtspServer(const wchar_t*, WORD, const wchar_t*, const wchar_t*, bool)
{
    return E_FAIL;
}

HRESULT CCgiCommandRtsp::SetupTransport(LONG, TransportParameters* parameters)
{
    return parameters == nullptr ? E_INVALIDARG : E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::StartVideo(bool, WORD)
{
    return E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::StartAudio(bool, WORD)
{
    return E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::PauseStreaming()
{
    return E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::StopStreaming()
{
    return E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::GetSupportedImageSizes(ImageSize2**, LONG* count)
{
    return count == nullptr ? E_INVALIDARG : E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::IsImageSizeSupported(LONG, LONG, LONG, VideoCodec)
{
    return E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::GetCameraSettings(CameraSettings3* settings)
{
    return settings == nullptr ? E_INVALIDARG : E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::GetCameraImageSize(ImageSize2* imageSize)
{
    return imageSize == nullptr ? E_INVALIDARG : E_UNEXPECTED;
}

HRESULT CCgiCommandRtsp::GetH264Parameters(H264Parameters* parameters)
{
    return parameters == nullptr ? E_INVALIDARG : E_UNEXPECTED;
}

std::wstring CCgiCommandRtsp::RtspPath() const
{
    return {};
}

HRESULT CCgiCommandRtsp::CheckPrerequisites()
{
    return S_OK;
}
