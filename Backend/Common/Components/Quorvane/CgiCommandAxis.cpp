#include "CgiCommandAxis.h"

#include "HttpRequest.h"
#include "Protocol/AxisRequests.h"
#include "Protocol/TextUtil.h"

#include <utility>

using AxisReply::Lines;
using AxisReply::ValueOf;
using TextUtil::EqualsIgnoreCase;

namespace
{
constexpr std::int32_t kLowestHttpVersion = 3;
constexpr AxisVersion kLowestRtspVersion{2, 1};
constexpr std::int32_t kLowestFirmwareVersion = 5;

/// The digits of a result for the two messages that have "0x%s", where a text is due.
std::wstring HexDigits(HRESULT hr)
{
    return COBLogManager::FormatStr(L"%x", hr);
}
} // namespace

CCgiCommandAxis::CCgiCommandAxis(CAsyncHttpRequest* httpRequest) noexcept
    : CCgiCommandRtsp(httpRequest), m_pFrameLimit(AxisModels::PFrameLimit(m_videoStandard))
{
    m_videoEncoding = VC_H264;
    m_frameRate = AxisModels::DefaultFrameRate(m_videoStandard);
}

HRESULT CCgiCommandAxis::TryTalkToCamera()
{
    const std::wstring request = AxisRequests::kWhoAmI;
    std::wstring reply;
    const HRESULT hr = Query(request, reply, LogLevel::Debug,
                             L"CCgiCommandAxis::TryTalkToCamera, failed, request: '%s', dwStatusCode = %d, hr = 0x%x");
    if (SUCCEEDED(hr))
        Log(LogLevel::Debug, L"CCgiCommandAxis::TryTalkToCamera, succeeded, request: '%s', server response: '%s'",
            request, reply);
    return hr;
}

std::wstring CCgiCommandAxis::RtspPath() const
{
    return AxisRequests::kMediaPath;
}

HRESULT CCgiCommandAxis::CheckPrerequisites()
{
    IdentifyCamera();
    if (const HRESULT hr = CheckInterface(); FAILED(hr))
        return hr;
    if (const HRESULT hr = CheckFirmware(); FAILED(hr))
        return hr;
    if (SUCCEEDED(GetVideoStandard(m_videoStandard)))
    {
        m_frameRate = AxisModels::DefaultFrameRate(m_videoStandard);
        m_pFrameLimit = AxisModels::PFrameLimit(m_videoStandard);
    }
    if (CheckRtspSettings() && CheckAudioSettings())
        CheckVideoSettings();
    return S_OK;
}

HRESULT CCgiCommandAxis::ListForPrerequisites(std::wstring_view group, std::wstring& reply)
{
    return Query(AxisRequests::List(group), reply, LogLevel::Debug,
                 L"CCgiCommandAxis::CheckPrerequisites, failed to send request: '%s', dwStatusCode = %d, hr = 0x%x");
}

void CCgiCommandAxis::IdentifyCamera()
{
    std::wstring reply;
    if (FAILED(ListForPrerequisites(L"Brand", reply)))
        return;
    for (const AxisParameter& line : Lines(reply))
    {
        if (line.IsNamed(L"root.Brand.ProdNbr"))
            m_model = GetCameraModel(line.value);
        else if (line.IsNamed(L"root.Brand.ProdFullName"))
            Log(LogLevel::Debug, L"CCgiCommandAxis::CheckPrerequisites, camera name: '%s'", line.value);
    }
}

HRESULT CCgiCommandAxis::CheckInterface()
{
    std::wstring reply;
    if (const HRESULT hr = ListForPrerequisites(L"Properties.API", reply); FAILED(hr))
        return hr;
    for (const AxisParameter& line : Lines(reply))
    {
        if (line.IsNamed(L"root.Properties.api.http.version") &&
            AxisReply::ToVersion(line.value).first < kLowestHttpVersion)
            return LogFailure(E_FAIL, LogLevel::Error,
                              L"CCgiCommandAxis::CheckPrerequisites, incompatible http version: '%s'", line.value);
        if (line.IsNamed(L"root.Properties.api.rtsp.version") && AxisReply::ToVersion(line.value) < kLowestRtspVersion)
            return LogFailure(E_FAIL, LogLevel::Error,
                              L"CCgiCommandAxis::CheckPrerequisites, incompatible rtsp version: '%s'", line.value);
        if (line.IsNamed(L"root.Properties.api.rtsp.rtspauth") && !EqualsIgnoreCase(line.value, L"yes"))
            return LogFailure(E_FAIL, LogLevel::Error,
                              L"CCgiCommandAxis::CheckPrerequisites, incompatible rtsp auth: '%s'", line.value);
    }
    return S_OK;
}

HRESULT CCgiCommandAxis::CheckFirmware()
{
    std::wstring reply;
    if (const HRESULT hr = ListForPrerequisites(L"Properties.Firmware", reply); FAILED(hr))
        return hr;
    for (const AxisParameter& line : Lines(reply))
    {
        if (line.IsNamed(L"root.Properties.Firmware.Version") &&
            AxisReply::ToVersion(line.value).first < kLowestFirmwareVersion)
            return LogFailure(E_FAIL, LogLevel::Error,
                              L"CCgiCommandAxis::CheckPrerequisites, incompatible firmware version: '%s'", line.value);
    }
    return S_OK;
}

HRESULT CCgiCommandAxis::GetVideoStandard(VideoStandard& standard)
{
    std::wstring reply;
    if (const HRESULT hr = Query(AxisRequests::List(L"ImageSource.I0"), reply, LogLevel::Debug,
                                 L"CCgiCommandAxis::GetVideoStandard, failed to send request: '%s', "
                                 L"dwStatusCode = %d, hr = 0x%x");
        FAILED(hr))
        return hr;
    const std::wstring_view text = ValueOf(reply, L".CaptureFrequency");
    const std::int32_t frequencyHz = TextUtil::ToNumber(text);
    if (frequencyHz != 50 && frequencyHz != 60)
        return LogFailure(E_FAIL, LogLevel::Debug,
                          L"CCgiCommandAxis::GetVideoStandard, unexpected capture frequency: %d, '%s'", frequencyHz,
                          text);
    standard = frequencyHz == 60 ? VideoStandard::Ntsc60Hz : VideoStandard::Pal50Hz;
    Log(LogLevel::Debug, L"CCgiCommandAxis::GetVideoStandard, capture frequency: '%s', is '%s'", text,
        standard == VideoStandard::Ntsc60Hz ? L"Ntsc" : L"Pal");
    return S_OK;
}

bool CCgiCommandAxis::CheckRtspSettings()
{
    constexpr const wchar_t* kFailed =
        L"CCgiCommandAxis::CheckRtspSettings, failed to send request: '%s', dwStatusCode = %d, hr = 0x%x";
    std::wstring reply;
    if (FAILED(Query(AxisRequests::List(L"Network.RTSP"), reply, LogLevel::Debug, kFailed)))
        return false;
    if (EqualsIgnoreCase(ValueOf(reply, L".Enabled"), L"yes"))
    {
        if (!EqualsIgnoreCase(ValueOf(reply, L".AuthenticateRTSPOverHTTP"), L"yes"))
            Log(LogLevel::Debug,
                L"CCgiCommandAxis::CheckRtspSettings, authenticateRTSTOverHTTP is not enabled, RTSP settings: '%s'",
                reply);
        return true;
    }
    Log(LogLevel::Debug,
        L"CCgiCommandAxis::CheckRtspSettings, RTSP is not enabled, will enable it, RTSP settings: '%s'", reply);
    return SUCCEEDED(Send(AxisRequests::kEnableRtsp, LogLevel::Debug, kFailed));
}

bool CCgiCommandAxis::CheckAudioSettings()
{
    std::wstring reply;
    if (FAILED(Query(AxisRequests::List(L"AudioSource.A0"), reply, LogLevel::Debug,
                     L"CCgiCommandAxis::CheckAudioSettings, failed to send request: '%s', dwStatusCode = %d, "
                     L"hr = 0x%x")))
        return false;
    const std::wstring_view encoding = ValueOf(reply, L".AudioEncoding");
    const std::wstring_view sampleRate = ValueOf(reply, L".SampleRate");
    if (!EqualsIgnoreCase(encoding, L"g711"))
    {
        Log(LogLevel::Debug,
            L"CCgiCommandAxis::CheckAudioSetting, audio encoding ('%s') is NOT 'g711', will set it to 'g711'",
            encoding);
        if (FAILED(Send(AxisRequests::kSetAudioEncoding, LogLevel::Debug,
                        L"CCgiCommandAxis::CheckAudioSetting, failed to send request: '%s', dwStatusCode = %d, "
                        L"hr = 0x%x")))
            return false;
    }
    else if (sampleRate != L"8000")
        Log(LogLevel::Debug, L"CCgiCommandAxis::CheckAudioSetting, audio sample rate (%s) != 8000", sampleRate);

    const std::wstring_view inputType = ValueOf(reply, L".InputType");
    if (!EqualsIgnoreCase(inputType, L"mic"))
        Log(LogLevel::Debug, L"CCgiCommandAxis::CheckAudioSetting, audio input type ('%s') is NOT 'mic'", inputType);
    return true;
}

bool CCgiCommandAxis::CheckVideoSettings()
{
    std::wstring reply;
    if (FAILED(Query(AxisRequests::List(L"Image.I0.MPEG"), reply, LogLevel::Debug,
                     L"CCgiCommandAxis::CheckVideoSettings, failed to send request: '%s', dwStatusCode = %d, "
                     L"hr = 0x%x")))
        return false;
    const auto update = [this](const std::wstring& request) {
        return SUCCEEDED(Send(request, LogLevel::Debug,
                              L"CCgiCommandAxis::CheckVideoSetting, failed to send request: '%s', "
                              L"dwStatusCode = %d, hr = 0x%x"));
    };
    const auto isDynamic = [&reply](std::wstring_view mode) {
        return EqualsIgnoreCase(ValueOf(reply, mode), L"dynamic");
    };

    if (isDynamic(L".ZFpsMode") || isDynamic(L".ZGopMode"))
    {
        Log(LogLevel::Debug,
            L"CCgiCommandAxis::CheckVideoSetting, dynamic fps or gop, will set them to 'fixed', video settings: '%s'",
            reply);
        if (!update(AxisRequests::kFixRateAndGroups))
            return false;
    }
    if (const std::int32_t count = TextUtil::ToNumber(ValueOf(reply, L".PCount")); count > m_pFrameLimit)
    {
        Log(LogLevel::Debug,
            L"CCgiCommandAxis::CheckVideoSetting, p frame count (%d) is too large, will set it to the default value",
            count);
        if (!update(AxisRequests::SetPFrameCount(m_pFrameLimit)))
            return false;
    }
    if (const std::wstring_view profile = ValueOf(reply, L".H264.Profile"); !EqualsIgnoreCase(profile, L"main"))
        Log(LogLevel::Debug, L"CCgiCommandAxis::CheckVideoSetting, h264 profile: '%s'", profile);
    return !AxisModels::HasLowLatencyMode(m_model) || update(AxisRequests::kEnableLowLatency);
}

AxisModel CCgiCommandAxis::GetCameraModel(std::wstring_view productNumber) const noexcept
{
    const AxisModel model = AxisModels::FromProductNumber(productNumber);
    if (model == AxisModel::Unknown && !productNumber.empty())
        Log(LogLevel::Debug, L"CCgiCommandAxis::GetCameraModel, unknown camera model: %s", productNumber);
    return model;
}

HRESULT CCgiCommandAxis::GetImageSize(AxisPictureSize& size)
{
    std::wstring reply;
    if (const HRESULT hr = Query(AxisRequests::kImageSize, reply, LogLevel::Debug,
                                 L"CCgiCommandAxis::GetCameraImageSize, failed to send request: '%s', "
                                 L"dwStatusCode = %d, hr = 0x%x");
        FAILED(hr))
        return hr;
    const auto read = AxisReply::ReadImageSize(reply);
    if (!read)
        return LogFailure(E_FAIL, LogLevel::Debug, L"CCgiCommandAxis::GetCameraImageSize, failed, http response: %s",
                          reply);
    size = *read;
    return S_OK;
}

HRESULT CCgiCommandAxis::GetCameraFrameRate(LONG& frameRate)
{
    constexpr const wchar_t* kFailed =
        L"CCgiCommandAxis::GetCameraFrameRate, failed to send request: '%s', dwStatusCode = %d, hr = 0x%x";
    std::wstring reply;
    if (const HRESULT hr = Query(AxisRequests::List(L"Image.I0.Stream.FPS"), reply, LogLevel::Debug, kFailed);
        FAILED(hr))
        return hr;
    LONG rate = 0;
    for (const AxisParameter& line : Lines(reply))
    {
        // The one name without its root: that is how a parameter that is asked for by its full name is listed.
        if (line.IsNamed(L"Image.I0.Stream.FPS"))
            rate = TextUtil::ToNumber(line.value);
    }
    if (rate == 0)
    {
        Log(LogLevel::Debug,
            L"CCgiCommandAxis::GetCameraFrameRate, unlimited frame rate, will set it to our default: %d", m_frameRate);
        if (const HRESULT hr = Send(AxisRequests::SetFrameRate(m_frameRate), LogLevel::Debug, kFailed); FAILED(hr))
            return hr;
        rate = m_frameRate;
    }
    frameRate = rate;
    return S_OK;
}

HRESULT CCgiCommandAxis::GetImageResolutions(std::vector<AxisPictureSize>& sizes)
{
    std::wstring reply;
    if (const HRESULT hr = Query(AxisRequests::List(L"Properties.Image.Resolution"), reply, LogLevel::Debug,
                                 L"CCgiCommandAxis::GetImageResolutions, failed to send request: '%s', "
                                 L"dwStatusCode = %d, hr = 0x%x");
        FAILED(hr))
        return hr;
    auto read = AxisReply::ToResolutions(ValueOf(reply, L".Resolution"));
    if (!read)
        return LogFailure(E_FAIL, LogLevel::Debug, L"CCgiCommandAxis::GetImageResolutions, failed, http response: '%s'",
                          reply);
    sizes = std::move(*read);
    return S_OK;
}

HRESULT CCgiCommandAxis::GetCameraImageSize(ImageSize2* imageSize)
{
    if (imageSize == nullptr)
        return E_INVALIDARG;
    AxisPictureSize size;
    if (const HRESULT hr = GetImageSize(size); FAILED(hr))
        return LogFailure(hr, LogLevel::Debug, L"CCgiCommandAxis::GetCameraImageSize, GetImageSize failed, hr = 0x%s",
                          HexDigits(hr));
    LONG frameRate = 0;
    if (const HRESULT hr = GetCameraFrameRate(frameRate); FAILED(hr))
        return LogFailure(hr, LogLevel::Debug, L"CCgiCommandAxis::GetCameraImageSize, GetFrameRate failed, hr = 0x%x",
                          hr);
    *imageSize = {size.width, size.height, frameRate, m_videoEncoding};
    return S_OK;
}

HRESULT CCgiCommandAxis::GetCameraSettings(CameraSettings3* settings)
{
    if (settings == nullptr)
        return E_INVALIDARG;
    ImageSize2 size = {};
    if (const HRESULT hr = GetCameraImageSize(&size); FAILED(hr))
        return LogFailure(hr, LogLevel::Debug,
                          L"CCgiCommandAxis::GetCameraSettings, GetCameraImageSize failed, hr = 0x%s", HexDigits(hr));
    *settings = {};
    settings->ImageWidth = size.ImageWidth;
    settings->ImageHeight = size.ImageHeight;
    settings->FrameRate = size.FrameRate;
    settings->VideoEncoding = size.VideoEncoding;
    return S_OK;
}

HRESULT CCgiCommandAxis::GetSupportedImageSizes(ImageSize2** sizes, LONG* count)
{
    return HandOutImageSizes(AxisModels::ImageSizes(m_model, m_videoStandard), sizes, count,
                             L"CCgiCommandAxis::GetSupportedImageSizes, out of memory");
}

HRESULT CCgiCommandAxis::IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding)
{
    const bool isSizeSupported = AxisModels::IsImageSizeSupported(m_model, m_videoStandard, width, height,
                                                                  static_cast<Compression>(videoEncoding));
    return isSizeSupported && IsFrameRateSupported(frameRate) ? S_OK : S_FALSE;
}

HRESULT CCgiCommandAxis::SetImageSize(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding)
{
    constexpr const wchar_t* kFailed =
        L"CCgiCommandAxis::SetImageSize, failed to send request: '%s', dwStatusCode = %d, hr = 0x%x";
    if (IsImageSizeSupported(width, height, frameRate, videoEncoding) != S_OK)
        return E_INVALIDARG;
    if (const HRESULT hr = Send(AxisRequests::SetResolution(width, height), LogLevel::Error, kFailed); FAILED(hr))
        return hr;
    return Send(AxisRequests::SetFrameRate(frameRate), LogLevel::Error, kFailed);
}

HRESULT CCgiCommandAxis::SetBitRate(LONG bitRate)
{
    return Send(AxisRequests::SetBitRate(bitRate), LogLevel::Error,
                L"CCgiCommandAxis::SetBitRate, failed to send request: '%s', dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandAxis::SetAudioInVolume(LONG volume)
{
    return Send(AxisRequests::SetAudioInputGain(volume), LogLevel::Error,
                L"CCgiCommandAxis::SetAudioInVolume, failed to send request: '%s', dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandAxis::SendPTZStartCommand(PTZCommand command, LONG speed)
{
    if (command == PTZ_None)
        return S_OK;
    const auto request = AxisRequests::PtzStart(static_cast<PtzDirection>(command), speed);
    if (!request)
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandAxis::SendPTZStartCommand, unexpected command (%d)", command);
    return Send(*request, LogLevel::Error,
                L"CCgiCommandAxis::SendPTZStartCommand, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandAxis::SendPTZStopCommand(PTZCommand command)
{
    return Send(AxisRequests::PtzStop(static_cast<PtzDirection>(command)), LogLevel::Error,
                L"CCgiCommandAxis::SendPTZStopCommand, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandAxis::Send(const std::wstring& request, LogLevel level, LogFormatAt failed)
{
    std::wstring ignored;
    return Query(request, ignored, level, failed);
}

HRESULT CCgiCommandAxis::Query(const std::wstring& request, std::wstring& reply, LogLevel level, LogFormatAt failed)
{
    DWORD statusCode = 0;
    const HRESULT hr = m_httpRequest->SendRequest(request, statusCode, reply, L"GET", AxisRequests::kTimeoutMs);
    if (FAILED(hr))
        return LogFailure(hr, level, failed, request, statusCode, hr);
    return hr;
}
