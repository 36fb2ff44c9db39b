#include "CgiCommandRtsp.h"

#include "Protocol/Log.h"
#include "Protocol/MediaFormats.h"
#include "Protocol/UrlCombining.h"
#include "RtspSessionManager.h"
#include "TextEncoding/Encoding.h"
#include "Win32/ComMemory.h"

#include <wininet.h>

#include <algorithm>
#include <utility>

namespace
{
constexpr LONG kVideoStream = 0;
constexpr LONG kAudioStream = 1;

/// Texts on their way between the automation interface, the session and the camera: the client sends UTF-8, so that
/// what a camera has named goes back to it unchanged.
std::wstring Widen(std::string_view text)
{
    return CUTF8Encoding().DecodeString(text);
}

std::string Narrow(const BSTR text)
{
    return text != nullptr ? CUTF8Encoding().EncodeString(text) : std::string();
}

/// Null for an empty text.
CBstr MakeBstrOrNull(std::string_view text)
{
    return text.empty() ? CBstr() : MakeBstr(Widen(text));
}
} // namespace

CCgiCommandRtsp::CCgiCommandRtsp(CAsyncHttpRequest* httpRequest) noexcept : CCgiCommandBase(httpRequest) {}

CCgiCommandRtsp::~CCgiCommandRtsp()
{
    LeaveRtspSession();
}

void CCgiCommandRtsp::LeaveRtspSession() noexcept
{
    // Releasing may close the session; whatever comes of that must find it gone.
    CRtspSessionManager::Get().ReleaseRtspSession(std::exchange(m_session, nullptr), m_participant);
}

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

HRESULT CCgiCommandRtsp::ConnectToRtspServer(const wchar_t* serverName, WORD port, const wchar_t* userName,
                                             const wchar_t* password, bool joinRtspSession)
{
    // First: a participation that nobody can use any more would keep the others from playing, and the session open.
    LeaveRtspSession();
    const RtspParticipantState state = joinRtspSession ? RtspParticipantState::Init : RtspParticipantState::None;
    m_session = CRtspSessionManager::Get().JoinRtspSession(serverName, port, RtspPath().c_str(), userName, password,
                                                           m_participant, state);
    return m_session != nullptr ? S_OK : E_FAIL;
}

HRESULT CCgiCommandRtsp::SetupTransport(LONG streamId, TransportParameters* parameters)
{
    if (parameters == nullptr)
        return E_INVALIDARG;
    if (m_session == nullptr)
        return E_UNEXPECTED;
    const std::wstring url = GetMediaStreamUrl(streamId);
    if (url.empty())
        // The session decides what becomes of it.
        Log(LogLevel::Debug, L"CCgiCommandRtsp::SetupTransport, empty media url for stream: %d", streamId);

    RtspTransport transport;
    transport.protocol = Narrow(parameters->Protocol);
    transport.isMulticast = parameters->Multicast != FALSE;
    transport.clientPort = parameters->ClientPort;
    const std::string requestedProtocol = transport.protocol;
    if (!m_session->SetupTransport(m_participant, url.c_str(), transport))
        return LogFailure(E_FAIL, LogLevel::Debug, L"CCgiCommandRtsp::SetupTransport, failed");
    if (transport.isGranted)
        WriteBack(transport, requestedProtocol, *parameters);
    return S_OK;
}

void CCgiCommandRtsp::WriteBack(const RtspTransport& granted, const std::string& requestedProtocol,
                                TransportParameters& parameters)
{
    CBstr multicastAddress = MakeBstrOrNull(granted.destination);
    CBstr ssrc = MakeBstrOrNull(granted.ssrc);
    if (granted.protocol != requestedProtocol)
    {
        CBstr protocol = MakeBstr(Widen(granted.protocol));
        const CBstr requested(std::exchange(parameters.Protocol, protocol.release()));
    }
    parameters.Multicast = granted.isMulticast ? TRUE : FALSE;
    parameters.ClientPort = granted.clientPort;
    parameters.MulticastAddress = multicastAddress.release();
    parameters.RtpPort = granted.serverRtpPort;
    parameters.RtcpPort = granted.serverRtcpPort;
    parameters.Ssrc = ssrc.release();
}

HRESULT CCgiCommandRtsp::StartVideo(bool, WORD)
{
    return StartStreaming();
}

HRESULT CCgiCommandRtsp::StartAudio(bool, WORD)
{
    return StartStreaming();
}

HRESULT CCgiCommandRtsp::StartStreaming()
{
    if (m_session == nullptr)
        return E_UNEXPECTED;
    if (!m_session->StartPlay(m_participant, GetAggregateControlUrl().c_str()))
        return LogFailure(E_FAIL, LogLevel::Debug, L"CCgiCommandRtsp::StartStreaming, failed");
    return S_OK;
}

HRESULT CCgiCommandRtsp::PauseStreaming()
{
    if (m_session == nullptr)
        return E_UNEXPECTED;
    if (!m_session->PausePlay(m_participant, GetAggregateControlUrl().c_str()))
        return LogFailure(E_FAIL, LogLevel::Debug, L"CCgiCommandRtsp::PauseStreaming, failed");
    return S_OK;
}

HRESULT CCgiCommandRtsp::StopStreaming()
{
    if (m_session == nullptr)
        return E_UNEXPECTED;
    if (!m_session->StopPlay(m_participant, GetAggregateControlUrl().c_str()))
        return LogFailure(E_FAIL, LogLevel::Debug, L"CCgiCommandRtsp::StopStreaming, failed");
    return S_OK;
}

HRESULT CCgiCommandRtsp::GetSupportedImageSizes(ImageSize2** sizes, LONG* count)
{
    if (count == nullptr)
        return E_INVALIDARG;
    if (m_session == nullptr)
        return E_UNEXPECTED;
    if (sizes != nullptr)
    {
        PictureSize size;
        if (!GetPictureSize(size))
            return E_FAIL;
        *sizes = AllocateTaskMemory<ImageSize2>(1).release();
        if (*sizes == nullptr)
            return LogFailure(E_OUTOFMEMORY, LogLevel::Error,
                              L"CCgiCommandRtsp::GetSupportedImageSizes, out of memory");
        **sizes = {size.width, size.height, m_frameRate, m_videoEncoding};
    }
    *count = 1;
    return S_OK;
}

HRESULT CCgiCommandRtsp::IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding)
{
    if (m_session == nullptr)
        return E_UNEXPECTED;
    PictureSize size;
    if (!GetPictureSize(size))
        return E_FAIL;
    const bool isCurrent =
        size == PictureSize{width, height} && frameRate == m_frameRate && videoEncoding == m_videoEncoding;
    return isCurrent ? S_OK : S_FALSE;
}

HRESULT CCgiCommandRtsp::GetCameraSettings(CameraSettings3* settings)
{
    if (settings == nullptr)
        return E_INVALIDARG;
    if (m_session == nullptr)
        return E_UNEXPECTED;
    PictureSize size;
    if (!GetPictureSize(size))
        return E_FAIL;
    *settings = {};
    settings->ImageWidth = size.width;
    settings->ImageHeight = size.height;
    settings->FrameRate = m_frameRate;
    settings->VideoEncoding = m_videoEncoding;
    return S_OK;
}

HRESULT CCgiCommandRtsp::GetCameraImageSize(ImageSize2* imageSize)
{
    if (imageSize == nullptr)
        return E_INVALIDARG;
    if (m_session == nullptr)
        return E_UNEXPECTED;
    PictureSize size;
    if (!GetPictureSize(size))
        return E_FAIL;
    *imageSize = {size.width, size.height, m_frameRate, m_videoEncoding};
    return S_OK;
}

HRESULT CCgiCommandRtsp::GetH264Parameters(H264Parameters* parameters)
{
    if (parameters == nullptr)
        return E_INVALIDARG;
    if (m_session == nullptr)
        return E_UNEXPECTED;

    H264FormatParameters format;
    bool hasFormat = GetH264FormatParameters(format, false);
    if (hasFormat && IsOutdated(format))
    {
        Log(LogLevel::Debug, L"CCgiCommandRtsp::GetH264Parameters, will force refresh session description");
        format = {};
        hasFormat = GetH264FormatParameters(format, true);
        if (!hasFormat)
            Log(LogLevel::Debug, L"CCgiCommandRtsp::GetH264Parameters, failed to refresh h264 format parameters");
    }
    if (!hasFormat)
        return LogFailure(E_FAIL, LogLevel::Debug,
                          L"CCgiCommandRtsp::GetH264Parameters, failed to get h264 format parameters");

    const std::string sets = format.parameterSet1 + format.parameterSet2;
    CTaskMemory<BYTE> parameterSets;
    if (!sets.empty())
    {
        parameterSets = AllocateTaskMemory<BYTE>(sets.size());
        if (!parameterSets)
            return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CCgiCommandRtsp::GetH264Parameters, out of memory");
        std::ranges::copy(sets, parameterSets.get());
    }
    *parameters = {.ProfileLeveId = MakeBstrOrNull(format.profileLevelId).release(),
                   .PacketizationMode = format.packetizationMode,
                   .ParameterSet1Size = static_cast<LONG>(format.parameterSet1.size()),
                   .ParameterSet2Size = static_cast<LONG>(format.parameterSet2.size()),
                   .ParameterSets = parameterSets.release()};
    return S_OK;
}

std::wstring CCgiCommandRtsp::RtspPath() const
{
    return {};
}

HRESULT CCgiCommandRtsp::CheckPrerequisites()
{
    return S_OK;
}

std::wstring CCgiCommandRtsp::GetAggregateControlUrl() const
{
    const CCriticalSection::Holder holder(m_session->Lock());
    const CSessionDescription& description = m_session->GetSessionDescription(false, holder);
    if (!description.IsValid())
    {
        Log(LogLevel::Debug, L"CCgiCommandRtsp::GetAggregateControlUrl, no session description");
        return {};
    }
    return Widen(MakeAbsolute(description.SessionControl(), description,
                              L"CCgiCommandRtsp::GetAggregateControlUrl, combine base url('%s') and url ('%s'), "
                              L"combined url ('%s')"));
}

std::wstring CCgiCommandRtsp::GetMediaStreamUrl(LONG streamId) const
{
    if (streamId != kVideoStream && streamId != kAudioStream)
        return {};
    const CCriticalSection::Holder holder(m_session->Lock());
    const CSessionDescription& description = m_session->GetSessionDescription(false, holder);
    if (!description.IsValid())
        return {};
    const std::string_view control =
        MediaFormats::MediaControl(description, streamId == kVideoStream ? "video" : "audio");
    if (control.empty())
        return {};
    return Widen(MakeAbsolute(control, description,
                              L"CCgiCommandRtsp::GetMediaStreamUrl, combine base url('%s') and media url ('%s'), "
                              L"combined url ('%s')"));
}

std::string CCgiCommandRtsp::MakeAbsolute(std::string_view control, const CSessionDescription& description,
                                          LogFormatAt combined)
{
    if (MediaFormats::IsAbsoluteUrl(control))
        return std::string(control);
    const std::string url = CombineUrl(std::string(description.Source()), std::string(control));
    Log(LogLevel::Debug, combined, description.Source(), control, url);
    return url;
}

std::string CCgiCommandRtsp::CombineUrl(const std::string& base, const std::string& relative)
{
    std::string url;
    static_assert(UrlCombining::kRoomChars == INTERNET_MAX_URL_LENGTH);
    if (UrlCombining::IsWithinRoom(base, relative))
    {
        DWORD lengthChars = 0;
        // Fails, and reports the room that it needs, the terminating null included.
        ::InternetCombineUrlA(base.c_str(), relative.c_str(), nullptr, &lengthChars, 0);
        url.resize(lengthChars);
        if (lengthChars == 0 || !::InternetCombineUrlA(base.c_str(), relative.c_str(), url.data(), &lengthChars, 0))
            url.clear();
        else
            url.resize(std::min<std::size_t>(url.size(), lengthChars));
    }
    if (url.empty())
        Log(LogLevel::Debug, L"CCgiCommandRtsp::CombineUrl, failed to combine base url('%s') and relative url '(%s')",
            base, relative);
    return url;
}

bool CCgiCommandRtsp::GetH264FormatParameters(H264FormatParameters& formatParameters, bool forceRefresh) const
{
    const CCriticalSection::Holder holder(m_session->Lock());
    const CSessionDescription& description = m_session->GetSessionDescription(forceRefresh, holder);
    if (!description.IsValid())
        return LogFailure(false, LogLevel::Debug, L"CCgiCommandRtsp::GetH264FormatParameters, no session description");
    return MediaFormats::FindH264Video(description, formatParameters);
}

bool CCgiCommandRtsp::GetPictureSize(PictureSize& size) const
{
    H264FormatParameters formatParameters;
    return GetH264FormatParameters(formatParameters, false) &&
           H264PictureSize::GetH264ImageSizeFromSPS(formatParameters, size);
}

bool CCgiCommandRtsp::IsOutdated(const H264FormatParameters& formatParameters)
{
    // Both are asked, whatever the other knows.
    PictureSize described;
    ImageSize2 configured{};
    const bool isDescribed = H264PictureSize::GetH264ImageSizeFromSPS(formatParameters, described);
    const bool isConfigured = GetCameraImageSize(&configured) == S_OK;
    return isDescribed && isConfigured && described != PictureSize{configured.ImageWidth, configured.ImageHeight};
}
