#include "AVCommand.h"

#include "CommandSetFamilies.h"
#include "Protocol/Log.h"
#include "Protocol/ServerTable.h"
#include "Win32/ComMemory.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace
{
constexpr int kProbePasses = 2;
constexpr DWORD kProbePauseMs = 5000;

/// The cameras of this process and when "can't talk to camera" was last logged for each.
constinit CServerTable g_servers;

/// A null BSTR is the empty text, by COM's convention.
const wchar_t* TextOf(BSTR text) noexcept
{
    return text != nullptr ? text : L"";
}
} // namespace

CAVCommand::CAVCommand()
{
    Log(LogLevel::Debug, L"CAVCommand, constructor");
}

CAVCommand::~CAVCommand()
{
    CloseConnection(Holder(m_lock));
    Log(LogLevel::Debug, L"CAVCommand, destructor");
}

template <class Operation>
HRESULT CAVCommand::WithCommandSet(Operation operation) noexcept
try
{
    const Holder holder(m_lock);
    if (!ChooseCgiCommandSet(holder))
        return E_FAIL;
    return operation(*m_commandSet);
}
catch (const std::bad_alloc&)
{
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAVCommand, out of memory");
}
catch (HRESULT hr)
{
    return LogFailure(hr, LogLevel::Error, L"CAVCommand, failed, hr = 0x%x", hr);
}
catch (...)
{
    // Nothing below throws anything else; should that change, the host must not be the one to find out.
    return LogFailure(E_UNEXPECTED, LogLevel::Error, L"CAVCommand, unexpected exception");
}

bool CAVCommand::ChooseCgiCommandSet(const Holder& holder)
{
    holder.CheckIsOf(m_lock);
    if (m_commandSet)
        return true;
    int tryCount = kProbePasses;
    for (;;)
    {
        bool timedOut = false;
        for (const CommandSetFamily& family : CommandSetFamilies())
        {
            std::unique_ptr<CCgiCommandBase> candidate = family.create(m_httpRequest);
            const HRESULT hr = candidate->TryTalkToCamera();
            if (hr == S_OK)
            {
                m_commandSet = std::move(candidate);
                Log(LogLevel::Debug, L"CAVCommand::ChooseCgiCommandSet, camera is %s.", family.name);
                return true;
            }
            timedOut = timedOut || hr == kRequestTimeout;
        }
        if (!timedOut || --tryCount == 0)
            break;
        ::Sleep(kProbePauseMs);
        Log(LogLevel::Debug, L"CAVCommand::ChooseCgiCommandSet, talk to camera timeout, will try again, tryCount = %d.",
            tryCount);
    }
    ReportSilentCamera(holder);
    return false;
}

void CAVCommand::ReportSilentCamera(const Holder&) noexcept
{
    if (g_servers.ShouldReport(m_serverIndex, ::GetTickCount()))
        Log(LogLevel::Error, L"CAVCommand::ChooseCgiCommandSet, can't talk to camera.");
}

STDMETHODIMP CAVCommand::OpenConnection(BSTR serverName, unsigned short port, BSTR userName, BSTR password)
try
{
    const Holder holder(m_lock);
    CloseConnection(holder);
    // What can fail for want of memory comes before the connection, so that a failure leaves nothing half done.
    std::wstring newServerName = TextOf(serverName);
    std::wstring newUserName = TextOf(userName);
    std::wstring newPassword = TextOf(password);
    const int serverIndex = g_servers.FindOrAppend(newServerName, port);
    const HRESULT hr =
        m_httpRequest.OpenConnection(newServerName.c_str(), port, newUserName.c_str(), newPassword.c_str());
    if (FAILED(hr))
    {
        Log(LogLevel::Error, L"CAVCommand::OpenConnection, failed to OpenConnection, hr = 0x%x", hr);
        return hr;
    }
    m_serverIndex = serverIndex;
    m_serverName = std::move(newServerName);
    m_port = port;
    m_userName = std::move(newUserName);
    m_password = std::move(newPassword);
    return S_OK;
}
catch (const std::bad_alloc&)
{
    return LogFailure(E_OUTOFMEMORY, LogLevel::Error, L"CAVCommand::OpenConnection, out of memory");
}

STDMETHODIMP CAVCommand::CloseConnection()
{
    CloseConnection(Holder(m_lock));
    return S_OK;
}

void CAVCommand::CloseConnection(const Holder& holder) noexcept
{
    holder.CheckIsOf(m_lock);
    m_commandSet.reset();
    m_httpRequest.Close();
}

STDMETHODIMP CAVCommand::IsConnected()
{
    const Holder holder(m_lock);
    return m_httpRequest.IsOpen() ? S_OK : S_FALSE;
}

STDMETHODIMP CAVCommand::ConnectToCamera()
{
    return WithCommandSet([](CCgiCommandBase& commandSet) { return commandSet.ConnectToCamera(); });
}

STDMETHODIMP CAVCommand::StartMpeg4Video()
{
    return StartMpeg4Video2(TRUE, 0);
}

STDMETHODIMP CAVCommand::StartAudio()
{
    return StartAudio2(TRUE, 0);
}

STDMETHODIMP CAVCommand::GetSupportedImageSizes(ImageSize** ppSizes, long* pCount)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) {
        CTaskMemory<ImageSize2> sizes;
        const HRESULT hr = commandSet.GetSupportedImageSizes(sizes.put(), pCount);
        if (FAILED(hr) || ppSizes == nullptr)
            return hr;
        const std::size_t count = static_cast<std::size_t>(*pCount);
        CTaskMemory<ImageSize> older = AllocateTaskMemory<ImageSize>(count);
        *ppSizes = older.get();
        if (!older)
        {
            Log(LogLevel::Error, L"CAVCommand::GetSupportedImageSizes, out of memory");
            return E_OUTOFMEMORY;
        }
        std::transform(sizes.get(), sizes.get() + count, older.release(), [](const ImageSize2& size) {
            return ImageSize{size.ImageWidth, size.ImageHeight, size.FrameRate};
        });
        return hr;
    });
}

STDMETHODIMP CAVCommand::IsImageSizeSupported(long width, long height, long FrameRate)
{
    return IsImageSizeSupported2(width, height, FrameRate, VC_MPEG4);
}

STDMETHODIMP CAVCommand::GetCameraSettings(CameraSettings* pSettings)
{
    if (pSettings == nullptr)
        return E_INVALIDARG;
    return WithCommandSet([=](CCgiCommandBase& commandSet) {
        CameraSettings3 settings = {};
        const HRESULT hr = commandSet.GetCameraSettings(&settings);
        // The older record is the beginning of the newer one; the string changes hands.
        if (SUCCEEDED(hr))
            std::memcpy(pSettings, &settings, sizeof(*pSettings));
        return hr;
    });
}

STDMETHODIMP CAVCommand::SetImageSize(long width, long height, long FrameRate)
{
    return SetImageSize2(width, height, FrameRate, VC_MPEG4);
}

STDMETHODIMP CAVCommand::SetBitRate(long BitRate)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.SetBitRate(BitRate); });
}

STDMETHODIMP CAVCommand::SendPTZCommand(PTZCommand command, PTDistance distance)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.SendPTZCommand(command, distance); });
}

STDMETHODIMP CAVCommand::SendPTZAreaZoomCommand(long x, long y, long width, long height)
{
    return WithCommandSet(
        [=](CCgiCommandBase& commandSet) { return commandSet.SendPTZAreaZoomCommand(x, y, width, height); });
}

STDMETHODIMP CAVCommand::SendPTZStartCommand(PTZCommand command, long speed)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) {
        return commandSet.SendPTZStartCommand(command, std::clamp(speed, 0L, 100L));
    });
}

STDMETHODIMP CAVCommand::SendPTZStopCommand(PTZCommand command)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.SendPTZStopCommand(command); });
}

STDMETHODIMP CAVCommand::StartMpeg4Video2(BOOL bMulticast, unsigned short udpPort)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.StartVideo(bMulticast, udpPort); });
}

STDMETHODIMP CAVCommand::StartAudio2(BOOL bMulticast, unsigned short udpPort)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.StartAudio(bMulticast, udpPort); });
}

STDMETHODIMP CAVCommand::GetSupportedFrameRates(long** ppFrameRate, long* pCount)
{
    return WithCommandSet(
        [=](CCgiCommandBase& commandSet) { return commandSet.GetSupportedFrameRates(ppFrameRate, pCount); });
}

STDMETHODIMP CAVCommand::SetAudioInVolume(long volume)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.SetAudioInVolume(volume); });
}

STDMETHODIMP CAVCommand::GetCameraSettings2(CameraSettings2* pSettings)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) {
        // A null record is the command set's to refuse, as for the newest method.
        CameraSettings3 settings = {};
        const HRESULT hr = commandSet.GetCameraSettings(pSettings != nullptr ? &settings : nullptr);
        static_assert(sizeof(*pSettings) == sizeof(settings), "two names for one layout");
        if (SUCCEEDED(hr) && pSettings != nullptr)
            std::memcpy(pSettings, &settings, sizeof(*pSettings));
        return hr;
    });
}

STDMETHODIMP CAVCommand::GetSupportedImageSizes2(ImageSize2** ppSizes, long* pCount)
{
    return WithCommandSet(
        [=](CCgiCommandBase& commandSet) { return commandSet.GetSupportedImageSizes(ppSizes, pCount); });
}

STDMETHODIMP CAVCommand::IsImageSizeSupported2(long width, long height, long FrameRate, VideoCodec VideoEncoding)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) {
        return commandSet.IsImageSizeSupported(width, height, FrameRate, VideoEncoding);
    });
}

STDMETHODIMP CAVCommand::SetImageSize2(long width, long height, long FrameRate, VideoCodec VideoEncoding)
{
    return WithCommandSet(
        [=](CCgiCommandBase& commandSet) { return commandSet.SetImageSize(width, height, FrameRate, VideoEncoding); });
}

STDMETHODIMP CAVCommand::SetupTransport(long streamId, TransportParameters* pParameters)
{
    return WithCommandSet(
        [=](CCgiCommandBase& commandSet) { return commandSet.SetupTransport(streamId, pParameters); });
}

STDMETHODIMP CAVCommand::GetCameraImageSize(ImageSize2* pImageSize)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.GetCameraImageSize(pImageSize); });
}

STDMETHODIMP CAVCommand::GetCameraSettings3(CameraSettings3* pSettings)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.GetCameraSettings(pSettings); });
}

STDMETHODIMP CAVCommand::GetH264Parameters(H264Parameters* pParameters)
{
    return WithCommandSet([=](CCgiCommandBase& commandSet) { return commandSet.GetH264Parameters(pParameters); });
}

STDMETHODIMP CAVCommand::PauseStreaming()
{
    return WithCommandSet([](CCgiCommandBase& commandSet) { return commandSet.PauseStreaming(); });
}

STDMETHODIMP CAVCommand::StopStreaming()
{
    return WithCommandSet([](CCgiCommandBase& commandSet) { return commandSet.StopStreaming(); });
}

STDMETHODIMP CAVCommand::ConnectToRtspServer(BOOL joinRtspSession)
{
    return WithCommandSet([=, this](CCgiCommandBase& commandSet) {
        return commandSet.ConnectToRtspServer(m_serverName.c_str(), m_port, m_userName.c_str(), m_password.c_str(),
                                              joinRtspSession != FALSE);
    });
}
