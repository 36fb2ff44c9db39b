#include "CgiCommandIpela.h"

#include "HttpRequest.h"
#include "Protocol/IpelaReply.h"
#include "Protocol/IpelaRequests.h"
#include "Protocol/IpelaSettings.h"
#include "Protocol/TextUtil.h"
#include "Win32/ComMemory.h"
#include "Win32/RegistryKey.h"

using IpelaReply::GetValue;
using IpelaRequests::kTimeoutMs;

namespace
{
constexpr wchar_t kRegistryKey[] = L"Software\\Orbell\\Video";
constexpr DWORD kCacheLifeMs = 10000;
constexpr DWORD kBadRequest = 400;
constexpr LONG kLowestVolume = -10;
constexpr LONG kHighestVolume = 10;

bool IsCacheEnabled() noexcept
{
    return CRegistryKey::OpenMachine(kRegistryKey).ReadDword(L"IPELAUseCachedCameraSettings").value_or(1) != 0;
}
} // namespace

CCgiCommandIpela::CCgiCommandIpela(CAsyncHttpRequest* httpRequest, TickSource tickCount) noexcept
    : CCgiCommandBase(httpRequest), m_tickCount(tickCount)
{
}

HRESULT CCgiCommandIpela::TryTalkToCamera()
{
    const std::wstring request = IpelaRequests::kSystemInquiry;
    const Answer answer = Send(request, kTimeoutMs);
    if (FAILED(answer.hr))
        return LogFailure(answer.hr, LogLevel::Debug,
                          L"CCgiCommandIpela::TryTalkToCamera, failed to send request: '%s', hr = 0x%x", request,
                          answer.hr);

    m_model = GetCameraModel(answer.body);
    Log(LogLevel::Debug,
        L"CCgiCommandIpela::TryTalkToCamera, IPELA ModelName = '%s', Serial = '%s', SoftVersion = '%s'",
        GetValue(answer.body, L"ModelName"), GetValue(answer.body, L"Serial"), GetValue(answer.body, L"SoftVersion"));
    return S_OK;
}

HRESULT CCgiCommandIpela::ConnectToCamera()
{
    std::wstring content;
    if (const HRESULT hr = QueryCameraSettings(content); FAILED(hr))
        return LogFailure(hr, LogLevel::Error,
                          L"CCgiCommandIpela::ConnectToCamera, failed to QueryCameraSettings, hr = 0x%x", hr);

    m_videoStandard = IpelaSettings::ReadVideoStandard(content);
    Log(LogLevel::Debug, L"CCgiCommandIpela::ConnectToCamera, VideoStd = %s", GetValue(content, L"VideoStd"));

    const bool isCodecWrong = GetImageCodec(content) == VC_None;
    if (!isCodecWrong && IpelaSettings::HasRequiredStreamSettings(content, m_model))
        return S_OK;

    Log(LogLevel::Information, L"CCgiCommandIpela::ConnectToCamera, SetRequiredSettings called");
    if (const HRESULT hr = SetRequiredSettings(isCodecWrong); FAILED(hr))
        return LogFailure(hr, LogLevel::Error,
                          L"CCgiCommandIpela::ConnectToCamera, failed to SetRequiredSettings, hr = 0x%x", hr);
    return S_OK;
}

HRESULT CCgiCommandIpela::SetupTransport(LONG streamId, TransportParameters* parameters)
{
    if (parameters == nullptr)
        return E_INVALIDARG;
    std::wstring content;
    if (const HRESULT hr = QueryCameraSettings(content); FAILED(hr))
        return LogFailure(hr, LogLevel::Error,
                          L"CCgiCommandIpela::SetupTransport, failed to QueryCameraSettings, hr = 0x%x", hr);

    IpelaStreamTargets targets;
    switch (IpelaSettings::ReadStreamTargets(content, m_model, targets))
    {
    case IpelaReading::EmptySettings:
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandIpela::SetupTransport, empty setting(s), strContent = %s", content);
    case IpelaReading::InvalidNumbers:
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandIpela::SetupTransport, invalid number(s), strContent = %s", content);
    case IpelaReading::Ok:
        break;
    }

    const bool isMulticast = parameters->Multicast != FALSE;
    const bool isAudio = streamId != 0;
    parameters->MulticastAddress = isMulticast ? MakeBstr(targets.multicastAddress).release() : nullptr;
    parameters->RtpPort = targets.RtpPort(isMulticast, isAudio);
    parameters->RtcpPort = 0;
    return S_OK;
}

HRESULT CCgiCommandIpela::StartVideo(bool isMulticast, WORD udpPort)
{
    if (!isMulticast && udpPort == 0)
        return E_INVALIDARG;
    return StartStream(IpelaRequests::StartVideo(m_model, isMulticast, udpPort),
                       L"CCgiCommandIpela::StartVideo, request (%s) failed, dwStatusCode = %d, hr = 0x%x",
                       L"CCgiCommandIpela::StartVideo, SetRequiredSettings failed, hr = 0x%x");
}

HRESULT CCgiCommandIpela::StartAudio(bool isMulticast, WORD udpPort)
{
    if (!isMulticast && udpPort == 0)
        return E_INVALIDARG;
    return StartStream(IpelaRequests::StartAudio(isMulticast, udpPort),
                       L"CCgiCommandIpela::StartAudio, request (%s) failed, dwStatusCode = %d, hr = 0x%x",
                       L"CCgiCommandIpela::StartAudio, SetRequiredSettings failed, hr = 0x%x");
}

HRESULT CCgiCommandIpela::PauseStreaming()
{
    return S_OK;
}

HRESULT CCgiCommandIpela::StopStreaming()
{
    return S_OK;
}

HRESULT CCgiCommandIpela::GetSupportedImageSizes(ImageSize2** sizes, LONG* count)
{
    return HandOutImageSizes(IpelaModels::ImageSizes(m_model, m_videoStandard), sizes, count,
                             L"CCgiCommandIpela::GetSupportedImageSizes, out of memory");
}

HRESULT CCgiCommandIpela::IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding)
{
    const bool isSizeSupported = IpelaModels::IsImageSizeSupported(m_model, m_videoStandard, width, height,
                                                                   static_cast<Compression>(videoEncoding));
    return isSizeSupported && IsFrameRateSupported(frameRate) ? S_OK : S_FALSE;
}

HRESULT CCgiCommandIpela::GetCameraSettings(CameraSettings3* settings)
{
    if (settings == nullptr)
        return E_INVALIDARG;
    std::wstring content;
    if (const HRESULT hr = QueryCameraSettings(content); FAILED(hr))
        return LogFailure(hr, LogLevel::Error,
                          L"CCgiCommandIpela::GetCameraSettings, failed to QueryCameraSettings, hr = 0x%x", hr);
    Log(LogLevel::Debug, L"CCgiCommandIpela::GetCameraSettings, returned strContent = %s", content);

    IpelaCameraSettings read;
    switch (IpelaSettings::ReadCameraSettings(content, m_model, m_videoStandard, read))
    {
    case IpelaReading::EmptySettings:
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandIpela::GetCameraSettings, empty setting(s), strContent = %s", content);
    case IpelaReading::InvalidNumbers:
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandIpela::GetCameraSettings, invalid number(s), strContent = %s", content);
    case IpelaReading::Ok:
        break;
    }

    *settings = {.MulticastAddress = MakeBstr(read.targets.multicastAddress).release(),
                 .MulticastVideoPort = read.targets.multicastVideoPort,
                 .MulticastAudioPort = read.targets.multicastAudioPort,
                 .ImageWidth = read.picture.size.width,
                 .ImageHeight = read.picture.size.height,
                 .FrameRate = read.picture.frameRate,
                 .BitRate = read.bitRate,
                 .UnicastVideoPort = read.targets.unicastVideoPort,
                 .UnicastAudioPort = read.targets.unicastAudioPort,
                 .AudioInVolume = read.audioInVolume,
                 .VideoEncoding = GetImageCodec(content)};
    return S_OK;
}

HRESULT CCgiCommandIpela::GetCameraImageSize(ImageSize2* imageSize)
{
    if (imageSize == nullptr)
        return E_INVALIDARG;
    std::wstring content;
    if (const HRESULT hr = QueryCameraSettings(content); FAILED(hr))
        return LogFailure(hr, LogLevel::Error,
                          L"CCgiCommandIpela::GetCameraImageSize, failed to QueryCameraSettings, hr = 0x%x", hr);

    IpelaPicture picture;
    if (IpelaSettings::ReadPicture(content, m_model, m_videoStandard, picture) != IpelaReading::Ok)
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandIpela::GetCameraImageSize, invalid number(s), strContent = %s", content);
    *imageSize = {picture.size.width, picture.size.height, picture.frameRate, GetImageCodec(content)};
    return S_OK;
}

HRESULT CCgiCommandIpela::GetH264Parameters(H264Parameters* parameters)
{
    if (parameters == nullptr)
        return S_FALSE;
    // The parameter sets come in the stream itself; -1 tells the client so.
    *parameters = {.ProfileLeveId = nullptr,
                   .PacketizationMode = -1,
                   .ParameterSet1Size = 0,
                   .ParameterSet2Size = 0,
                   .ParameterSets = nullptr};
    return S_OK;
}

HRESULT CCgiCommandIpela::SetImageSize(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding)
{
    if (IsImageSizeSupported(width, height, frameRate, videoEncoding) != S_OK)
        return E_INVALIDARG;
    const HRESULT hr = SendCommand(
        IpelaRequests::SetImageSize(m_model, width, height, frameRate, static_cast<Compression>(videoEncoding)),
        IpelaRequests::SetImageSizeTimeoutMs(m_model),
        L"CCgiCommandIpela::SetImageSize, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
    if (SUCCEEDED(hr))
        m_cachedSettings.clear();
    return hr;
}

HRESULT CCgiCommandIpela::SetBitRate(LONG bitRate)
{
    const LONG rounded = IpelaRequests::RoundBitRate(bitRate);
    Log(LogLevel::Debug, L"CCgiCommandIpela::SetBitRate, change bitRate from %d to %d", bitRate, rounded);
    const HRESULT hr = SendCommand(IpelaRequests::SetBitRate(m_model, rounded), kTimeoutMs,
                                   L"CCgiCommandIpela::SetBitRate, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
    if (SUCCEEDED(hr))
        m_cachedSettings.clear();
    return hr;
}

HRESULT CCgiCommandIpela::SetAudioInVolume(LONG volume)
{
    if (volume < kLowestVolume || volume > kHighestVolume)
        return E_INVALIDARG;
    // The cache stays: settings that are read within its life still show the old volume.
    return SendCommand(IpelaRequests::SetAudioInVolume(volume), kTimeoutMs,
                       L"CCgiCommandIpela::SetAudioInVolume, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandIpela::SendPTZCommand(PTZCommand command, PTDistance distance)
{
    return SendCommand(IpelaRequests::PtzStep(command, distance), kTimeoutMs,
                       L"CCgiCommandIpela::SendPTZCommand, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandIpela::SendPTZAreaZoomCommand(LONG x, LONG y, LONG width, LONG height)
{
    if (width < 0 || height < 0)
        return E_INVALIDARG;
    return SendCommand(IpelaRequests::PtzAreaZoom(x, y, width, height), kTimeoutMs,
                       L"CCgiCommandIpela::SendPTZAreaZoomCommand, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandIpela::SendPTZStartCommand(PTZCommand command, LONG speed)
{
    if (command == PTZ_None)
        return S_OK;
    const auto direction = static_cast<PtzDirection>(command);
    if (IpelaRequests::PtzDirectionWord(direction) == nullptr)
        return LogFailure(E_UNEXPECTED, LogLevel::Error,
                          L"CCgiCommandIpela::SendPTZStartCommand, unexpected command (%d)", command);
    return SendCommand(IpelaRequests::PtzStart(direction, speed), kTimeoutMs,
                       L"CCgiCommandIpela::SendPTZStartCommand, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

HRESULT CCgiCommandIpela::SendPTZStopCommand(PTZCommand command)
{
    return SendCommand(IpelaRequests::PtzStop(static_cast<PtzDirection>(command)), kTimeoutMs,
                       L"CCgiCommandIpela::SendPTZStopCommand, request (%s) failed, dwStatusCode = %d, hr = 0x%x");
}

CCgiCommandIpela::Answer CCgiCommandIpela::Send(const std::wstring& request, DWORD timeoutMs)
{
    Answer answer;
    answer.hr = m_httpRequest->SendRequest(request, answer.statusCode, answer.body, L"GET", timeoutMs);
    return answer;
}

HRESULT CCgiCommandIpela::SendCommand(const std::wstring& request, DWORD timeoutMs, LogFormatAt failed,
                                      DWORD* statusCode)
{
    const Answer answer = Send(request, timeoutMs);
    if (statusCode != nullptr)
        *statusCode = answer.statusCode;
    if (FAILED(answer.hr))
        return LogFailure(answer.hr, LogLevel::Error, failed, request, answer.statusCode, answer.hr);
    return S_OK;
}

HRESULT CCgiCommandIpela::StartStream(const std::wstring& request, LogFormatAt failed, LogFormatAt settingsFailed)
{
    DWORD statusCode = 0;
    const HRESULT started = SendCommand(request, kTimeoutMs, failed, &statusCode);
    if (SUCCEEDED(started) || statusCode != kBadRequest)
        return started;
    if (const HRESULT hr = SetRequiredSettings(false); FAILED(hr))
        return LogFailure(hr, LogLevel::Error, settingsFailed, hr);
    return SendCommand(request, kTimeoutMs, failed);
}

HRESULT CCgiCommandIpela::QueryCameraSettings(std::wstring& content)
{
    if (IsCacheEnabled() && !m_cachedSettings.empty() && m_tickCount() - m_cacheTimeMs < kCacheLifeMs)
    {
        Log(LogLevel::Debug, L"CCgiCommandIpela::QueryCameraSettings from cache");
        content = m_cachedSettings;
        return S_OK;
    }

    Log(LogLevel::Debug, L"CCgiCommandIpela::QueryCameraSettings from camera");
    const std::wstring request = IpelaRequests::kCameraInquiry;
    Answer answer = Send(request, IpelaRequests::kCameraInquiryTimeoutMs);
    if (FAILED(answer.hr))
        return LogFailure(answer.hr, LogLevel::Debug,
                          L"CCgiCommandIpela::QueryCameraSettings, request (%s) failed, dwStatusCode = %d, hr = 0x%x",
                          request, answer.statusCode, answer.hr);
    if (answer.body.empty())
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CCgiCommandIpela::QueryCameraSettings, request (%s) returns 0 byte", request);
    m_cachedSettings = answer.body;
    m_cacheTimeMs = m_tickCount();
    content = std::move(answer.body);
    return S_OK;
}

HRESULT CCgiCommandIpela::QuerySystemSettings(std::wstring& content)
{
    const std::wstring request = IpelaRequests::kSystemInquiry;
    Answer answer = Send(request, kTimeoutMs);
    if (FAILED(answer.hr))
        return LogFailure(answer.hr, LogLevel::Debug,
                          L"CCgiCommandIpela::QuerySystemSettings, failed to send request (%s), hr = 0x%x", request,
                          answer.hr);
    if (answer.body.empty())
        return LogFailure(E_FAIL, LogLevel::Error,
                          L"CCgiCommandIpela::QuerySystemSettings, request (%s) returns 0 byte", request);
    content = std::move(answer.body);
    return S_OK;
}

HRESULT CCgiCommandIpela::SetRequiredSettings(bool withCodec)
{
    const auto request = CRegistryKey::OpenMachine(kRegistryKey)
                             .ReadText(IpelaRequests::RequiredSettingsOverride(m_model))
                             .value_or(IpelaRequests::RequiredSettings(m_model, withCodec));
    const Answer answer = Send(request, kTimeoutMs);
    if (FAILED(answer.hr))
        return LogFailure(answer.hr, LogLevel::Debug,
                          L"CCgiCommandIpela::SetRequiredSettings, request (%s), dwStatusCode = %d, hr = 0x%x", request,
                          answer.statusCode, answer.hr);
    m_cachedSettings.clear();
    return S_OK;
}

IpelaModel CCgiCommandIpela::GetCameraModel(std::wstring_view content) const
{
    const std::wstring name = TextUtil::ToUpper(GetValue(content, L"ModelName"));
    const IpelaModel model = IpelaModels::FromModelName(name);
    if (model == IpelaModel::Unknown)
        Log(LogLevel::Debug, L"CCgiCommandIpela::GetCameraModel, unknown camera model: %s", name);
    return model;
}

VideoCodec CCgiCommandIpela::GetImageCodec(std::wstring_view content) const noexcept
{
    const Compression codec = IpelaSettings::ReadImageCodec(content, m_model);
    if (codec == Compression::None)
        Log(LogLevel::Debug, L"CCgiCommandIpela::GetImageCodec, unexpected video codec: %s",
            IpelaReply::Read(content, IpelaModels::Keys(m_model).codec));
    return static_cast<VideoCodec>(codec);
}
