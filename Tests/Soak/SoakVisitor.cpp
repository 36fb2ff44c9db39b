#include "Tests/Soak/SoakVisitor.h"

#include "Win32/ComMemory.h"
#include "Win32/Handles.h"

#include <string>
#include <utility>

namespace
{
constexpr LONG kVideo = 0;
constexpr LONG kAudio = 1;
// A few only: WinInet keeps something for each URL that it has seen, as long as the process lives.
constexpr LONG kBitRates[] = {64, 256, 512};
constexpr LONG kVolumes[] = {-6, 0, 6};
constexpr int kLongestStreamMs = 4000;
} // namespace

CSoakVisitor::CSoakVisitor(Maker make, std::span<const SoakCamera> cameras, CCallBook& book, const CallLimits& limits,
                           WORD rtpPort, unsigned seed)
    : m_make(std::move(make)), m_cameras(cameras), m_book(book), m_limits(limits), m_rtpPort(rtpPort), m_random(seed)
{
}

template <class Operation>
HRESULT CSoakVisitor::Call(const char* name, DWORD requests, DWORD exchanges, Operation operation)
{
    CCallBook::COpen call(m_book, name, m_limits.Call(requests, exchanges));
    return call.Done(operation());
}

void CSoakVisitor::Visit(int longestStayMs)
{
    m_command = m_make();
    const SoakCamera& camera = RandomElement(m_random, m_cameras);
    Open(camera);
    if (camera.family == SoakFamily::Axis)
        UseAxis();
    else
        UseIpela();
    if (longestStayMs != 0)
        Wait(RandomNumber(m_random, 0, longestStayMs));
    if (RandomChance(m_random, 50))
    {
        CCallBook::COpen call(m_book, "CloseConnection", m_limits.Leave());
        call.Done(m_command->CloseConnection());
    }
    CCallBook::COpen call(m_book, "Release", m_limits.Leave());
    m_command.reset();
    call.Done(S_OK);
}

void CSoakVisitor::Open(const SoakCamera& camera)
{
    const CBstr server = MakeBstr(camera.name);
    const CBstr user = MakeBstr(camera.hasPassword ? L"admin" : L"");
    // Now and then a wrong one.
    const CBstr password = MakeBstr(RandomChance(m_random, 90) ? L"secret" : L"wrong");
    CCallBook::COpen call(m_book, "OpenConnection", m_limits.Leave());
    call.Done(m_command->OpenConnection(server.get(), camera.port, user.get(), password.get()));
}

void CSoakVisitor::UseIpela()
{
    if (RandomChance(m_random, 80))
        Call("ConnectToCamera", 2, 0, [&] { return m_command->ConnectToCamera(); });
    const int calls = RandomNumber(m_random, 1, 8);
    for (int i = 0; i < calls; ++i)
        CallAny();
}

void CSoakVisitor::UseAxis()
{
    if (RandomChance(m_random, 70))
        Call("ConnectToCamera", 12, 0, [&] { return m_command->ConnectToCamera(); });
    if (RandomChance(m_random, 80))
    {
        CCallBook::COpen call(m_book, "ConnectToRtspServer", m_limits.Call(0, 0) + m_limits.Leave());
        call.Done(m_command->ConnectToRtspServer(RandomChance(m_random, 80) ? TRUE : FALSE));
    }
    const int rounds = RandomNumber(m_random, 1, 3);
    for (int round = 0; round < rounds; ++round)
    {
        Stream();
        CallAny();
    }
}

void CSoakVisitor::Stream()
{
    for (const LONG streamId : {kVideo, kAudio})
    {
        if (RandomChance(m_random, 25))
            continue;
        TransportParameters transport = {
            MakeBstr(L"RTP/AVP").release(), RandomChance(m_random, 20), m_rtpPort, nullptr, 0, 0, 0, nullptr};
        Call("SetupTransport", 0, 2, [&] { return m_command->SetupTransport(streamId, &transport); });
        for (const BSTR text : {transport.Protocol, transport.MulticastAddress, transport.Ssrc})
            const CBstr owned(text);
    }
    const bool isPlaying =
        Call("StartMpeg4Video2", 0, 2, [&] { return m_command->StartMpeg4Video2(FALSE, m_rtpPort); }) == S_OK;
    if (isPlaying)
        Wait(RandomNumber(m_random, 0, kLongestStreamMs)); // the keep-alive's turn
    if (RandomChance(m_random, 50))
    {
        H264Parameters parameters = {};
        Call("GetH264Parameters", 3, 2, [&] { return m_command->GetH264Parameters(&parameters); });
        const CBstr profile(parameters.ProfileLeveId);
        const CTaskMemory<BYTE> sets(parameters.ParameterSets);
    }
    if (RandomChance(m_random, 20))
        Call("PauseStreaming", 0, 1, [&] { return m_command->PauseStreaming(); });
    if (RandomChance(m_random, 40))
        Call("StopStreaming", 0, 2, [&] { return m_command->StopStreaming(); });
}

void CSoakVisitor::CallAny()
{
    switch (RandomNumber(m_random, 0, 11))
    {
    case 0: {
        CameraSettings3 settings = {};
        Call("GetCameraSettings3", 3, 0, [&] { return m_command->GetCameraSettings3(&settings); });
        const CBstr address(settings.MulticastAddress);
        break;
    }
    case 1: {
        ImageSize2* sizes = nullptr;
        LONG count = 0;
        Call("GetSupportedImageSizes2", 0, 0, [&] { return m_command->GetSupportedImageSizes2(&sizes, &count); });
        const CTaskMemory<ImageSize2> owned(sizes);
        break;
    }
    case 2: {
        LONG* rates = nullptr;
        LONG count = 0;
        Call("GetSupportedFrameRates", 0, 0, [&] { return m_command->GetSupportedFrameRates(&rates, &count); });
        const CTaskMemory<LONG> owned(rates);
        break;
    }
    case 3: {
        ImageSize2 size = {};
        Call("GetCameraImageSize", 3, 0, [&] { return m_command->GetCameraImageSize(&size); });
        break;
    }
    case 4:
        // The smallest picture of either family: encoding larger ones is not what this run is about.
        Call("SetImageSize2", 2, 0, [&, isWide = RandomChance(m_random, 50)] {
            return isWide ? m_command->SetImageSize2(480, 270, 5, VC_H264)
                          : m_command->SetImageSize2(320, 240, 5, VC_H264);
        });
        break;
    case 5:
        Call("SetBitRate", 1, 0, [&] { return m_command->SetBitRate(RandomElement(m_random, kBitRates)); });
        break;
    case 6:
        Call("SetAudioInVolume", 1, 0, [&] { return m_command->SetAudioInVolume(RandomElement(m_random, kVolumes)); });
        break;
    case 7:
        Call("SendPTZCommand", 1, 0, [&] { return m_command->SendPTZCommand(PTZ_LEFT, PT_20); });
        break;
    case 8:
        Call("SendPTZStartCommand", 1, 0, [&] { return m_command->SendPTZStartCommand(PTZ_UPPER, 40); });
        Call("SendPTZStopCommand", 1, 0, [&] { return m_command->SendPTZStopCommand(PTZ_UPPER); });
        break;
    case 9:
        Call("StartAudio2", 3, 2, [&] { return m_command->StartAudio2(FALSE, m_rtpPort); });
        break;
    case 10:
        Call("IsConnected", 0, 0, [&] { return m_command->IsConnected(); });
        break;
    default:
        Call("IsImageSizeSupported2", 0, 0, [&] { return m_command->IsImageSizeSupported2(480, 270, 30, VC_H264); });
        break;
    }
}

void CSoakVisitor::Wait(int milliseconds) const
{
    const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ::WaitForSingleObject(never.get(), static_cast<DWORD>(milliseconds));
}
