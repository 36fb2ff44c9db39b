#include "Tests/Faults/Method.h"

#include "Win32/ComMemory.h"

#include <initializer_list>

namespace
{
// What a method hands out belongs to the caller.
HRESULT GetCameraSettings(Client& client)
{
    CameraSettings settings = {};
    const HRESULT hr = client.command->GetCameraSettings(&settings);
    const CBstr address(settings.MulticastAddress);
    return hr;
}

HRESULT GetCameraSettings2(Client& client)
{
    CameraSettings2 settings = {};
    const HRESULT hr = client.command->GetCameraSettings2(&settings);
    const CBstr address(settings.MulticastAddress);
    return hr;
}

HRESULT GetCameraSettings3(Client& client)
{
    CameraSettings3 settings = {};
    const HRESULT hr = client.command->GetCameraSettings3(&settings);
    const CBstr address(settings.MulticastAddress);
    return hr;
}

HRESULT GetCameraImageSize(Client& client)
{
    ImageSize2 size = {};
    return client.command->GetCameraImageSize(&size);
}

HRESULT SetupTransport(Client& client, LONG streamId)
{
    TransportParameters transport = {};
    transport.Protocol = MakeBstr(L"RTP/AVP").release();
    transport.ClientPort = Methods::kUdpPort;
    const HRESULT hr = client.command->SetupTransport(streamId, &transport);
    for (const BSTR text : {transport.Protocol, transport.MulticastAddress, transport.Ssrc})
        const CBstr owned(text);
    return hr;
}

HRESULT SetupAudio(Client& client)
{
    return SetupTransport(client, 1);
}

HRESULT GetH264Parameters(Client& client)
{
    H264Parameters parameters = {};
    const HRESULT hr = client.command->GetH264Parameters(&parameters);
    const CBstr profile(parameters.ProfileLeveId);
    const CTaskMemory<BYTE> sets(parameters.ParameterSets);
    return hr;
}

HRESULT GetSupportedImageSizes(Client& client)
{
    CTaskMemory<ImageSize> sizes;
    long count = 0;
    return client.command->GetSupportedImageSizes(sizes.put(), &count);
}

HRESULT GetSupportedImageSizes2(Client& client)
{
    CTaskMemory<ImageSize2> sizes;
    long count = 0;
    return client.command->GetSupportedImageSizes2(sizes.put(), &count);
}

HRESULT GetSupportedFrameRates(Client& client)
{
    CTaskMemory<long> rates;
    long count = 0;
    return client.command->GetSupportedFrameRates(rates.put(), &count);
}

HRESULT ConnectToRtspServer(Client& client)
{
    return client.command->ConnectToRtspServer(TRUE);
}

/// Whether the POST works shows with the first request that goes through it.
HRESULT ConnectAndSetUp(Client& client)
{
    const HRESULT hr = ConnectToRtspServer(client);
    return hr == S_OK ? Methods::SetupVideo(client) : hr;
}

/// Sends nothing itself: it waits for what is under way and for the tunnel's end.
HRESULT CloseAndOpen(Client& client)
{
    const HRESULT hr = client.command->CloseConnection();
    return hr == S_OK ? Methods::Open(client) : hr;
}

HRESULT Release(Client& client)
{
    return client.command.release()->Release() == 0 ? S_OK : E_UNEXPECTED;
}

/// While the request that was given up is still dying.
HRESULT GiveUpCloseAndOpen(Client& client)
{
    static_cast<void>(client.command->SetAudioInVolume(1));
    return CloseAndOpen(client);
}

HRESULT IsConnected(Client& client)
{
    return client.command->IsConnected();
}

HRESULT ConnectToCamera(Client& client)
{
    return client.command->ConnectToCamera();
}

HRESULT IsImageSizeSupported(Client& client)
{
    return client.command->IsImageSizeSupported(1, 1, 1);
}

HRESULT IsImageSizeSupported2(Client& client)
{
    return client.command->IsImageSizeSupported2(1280, 720, 30, VC_H264);
}

HRESULT SetImageSizeOfIpela(Client& client)
{
    return client.command->SetImageSize(1280, 720, 15);
}

HRESULT SetImageSizeOfAxis(Client& client)
{
    return client.command->SetImageSize2(480, 270, 15, VC_H264);
}

HRESULT SetImageSize2OfIpela(Client& client)
{
    return client.command->SetImageSize2(1280, 720, 15, VC_H264);
}

HRESULT SetMpeg4SizeOfAxis(Client& client)
{
    return client.command->SetImageSize(480, 270, 15);
}

HRESULT SetBitRate(Client& client)
{
    return client.command->SetBitRate(512);
}

HRESULT SetAudioInVolume(Client& client)
{
    return client.command->SetAudioInVolume(3);
}

HRESULT SendPTZCommand(Client& client)
{
    return client.command->SendPTZCommand(PTZ_LEFT, PT_10);
}

HRESULT SendPTZAreaZoomCommand(Client& client)
{
    return client.command->SendPTZAreaZoomCommand(10, 10, 20, 20);
}

HRESULT SendPTZStartCommand(Client& client)
{
    return client.command->SendPTZStartCommand(PTZ_UPPER, 10);
}

HRESULT SendPTZStopCommand(Client& client)
{
    return client.command->SendPTZStopCommand(PTZ_UPPER);
}

HRESULT StartMpeg4Video(Client& client)
{
    return client.command->StartMpeg4Video();
}

HRESULT StartAudio(Client& client)
{
    return client.command->StartAudio();
}

HRESULT StartAudio2(Client& client)
{
    return client.command->StartAudio2(FALSE, Methods::kUdpPort);
}

HRESULT PauseStreaming(Client& client)
{
    return client.command->PauseStreaming();
}

HRESULT StopStreaming(Client& client)
{
    return client.command->StopStreaming();
}

HRESULT StopAndRelease(Client& client)
{
    static_cast<void>(StopStreaming(client));
    return Release(client);
}

struct Answer
{
    HRESULT (*call)(Client& client);
    HRESULT expected;
};

/// S_OK, or the first answer that is another than expected.
HRESULT AnswerAlone(Client& client, std::initializer_list<Answer> answers)
{
    for (const Answer& answer : answers)
    {
        if (const HRESULT hr = answer.call(client); hr != answer.expected)
            return FAILED(hr) ? hr : E_UNEXPECTED;
    }
    return S_OK;
}

HRESULT AnswerAloneAsIpela(Client& client)
{
    return AnswerAlone(client, {{&IsConnected, S_OK},
                                {&GetSupportedImageSizes, S_OK},
                                {&GetSupportedImageSizes2, S_OK},
                                {&IsImageSizeSupported, S_FALSE},
                                {&IsImageSizeSupported2, S_OK},
                                {&GetSupportedFrameRates, S_OK},
                                {&GetH264Parameters, S_OK},
                                {&PauseStreaming, S_OK},
                                {&StopStreaming, S_OK},
                                {&ConnectToRtspServer, S_FALSE}});
}

HRESULT AnswerAloneAsAxis(Client& client)
{
    return AnswerAlone(client, {{&IsConnected, S_OK},
                                {&GetSupportedImageSizes, S_OK},
                                {&GetSupportedImageSizes2, S_OK},
                                {&IsImageSizeSupported, S_FALSE},
                                {&IsImageSizeSupported2, S_OK},
                                {&GetSupportedFrameRates, S_OK},
                                {&SendPTZCommand, E_NOTIMPL},
                                {&SendPTZAreaZoomCommand, E_NOTIMPL},
                                {&SetMpeg4SizeOfAxis, E_INVALIDARG}});
}

constexpr Cost kNothing{};
constexpr Cost kProbe{.isProbe = true};

constexpr Cost Requests(unsigned count)
{
    return {.cgiRequests = count};
}

constexpr Cost Exchanges(unsigned count)
{
    return {.rtspExchanges = count};
}

Method ByCgi(const char* name, const char* column, Cost cost, HRESULT (*call)(Client&), HRESULT well = S_OK,
             Stage stage = Stage::Connected)
{
    return {name, column, kCgi, "", stage, cost, call, well};
}

/// Its result does not depend on the camera.
Method Alone(Method method)
{
    method.tells = Tells::Nothing;
    return method;
}

Method ByRtsp(const char* name, const char* column, const char* path, Stage stage, Cost cost, HRESULT (*call)(Client&))
{
    return {name, column, kRtsp, path, stage, cost, call};
}

Method Describing(const char* name, HRESULT (*call)(Client&))
{
    Method method = ByRtsp(name, "DESCRIBE", "rtsp:DESCRIBE", Stage::Session, Exchanges(2), call);
    method.spoiled |= kDescribe;
    return method;
}

/// Called while a beat of the keep-alive is under way, which is spoiled.
Method BehindKeepAlive(const char* name, const char* column, Stage stage, Cost cost, HRESULT (*call)(Client&),
                       Tells tells)
{
    Method method = ByRtsp(name, column, "rtsp:OPTIONS", stage, cost, call);
    method.firstWaitsFor = "OPTIONS ";
    method.tells = tells;
    return method;
}
} // namespace

HRESULT Methods::Open(Client& client)
{
    return client.command->OpenConnection(MakeBstr(L"127.0.0.1").get(), client.port, MakeBstr(L"admin").get(),
                                          MakeBstr(L"secret").get());
}

HRESULT Methods::SetupVideo(Client& client)
{
    return SetupTransport(client, 0);
}

HRESULT Methods::StartVideo(Client& client)
{
    return client.command->StartMpeg4Video2(FALSE, kUdpPort);
}

std::vector<Method> Methods::OfIpela()
{
    constexpr const char* kInquiry = "GetCamera...";
    constexpr const char* kSize = "SetImageSize...";
    constexpr const char* kLevel = "SetBitRate, ..Volume";
    constexpr const char* kPtz = "SendPTZ...";
    constexpr const char* kStart = "Start...";
    constexpr const char* kSilent = "no request";
    // A start that is refused with 400 sets the camera up and is sent again.
    constexpr Cost kStartCost = Requests(3);
    return {
        ByCgi("first call", "first call", kProbe, &IsImageSizeSupported, S_FALSE, Stage::Open),
        ByCgi("ConnectToCamera", "ConnectToCamera", Requests(2), &ConnectToCamera),
        ByCgi("GetCameraSettings", kInquiry, Requests(1), &GetCameraSettings),
        ByCgi("GetCameraSettings2", kInquiry, Requests(1), &GetCameraSettings2),
        ByCgi("GetCameraSettings3", kInquiry, Requests(1), &GetCameraSettings3),
        ByCgi("GetCameraImageSize", kInquiry, Requests(1), &GetCameraImageSize),
        ByCgi("SetupTransport", kInquiry, Requests(1), &SetupVideo),
        ByCgi("SetImageSize", kSize, Requests(1), &SetImageSizeOfIpela),
        ByCgi("SetImageSize2", kSize, Requests(1), &SetImageSize2OfIpela),
        ByCgi("SetBitRate", kLevel, Requests(1), &SetBitRate),
        ByCgi("SetAudioInVolume", kLevel, Requests(1), &SetAudioInVolume),
        ByCgi("SendPTZCommand", kPtz, Requests(1), &SendPTZCommand),
        ByCgi("SendPTZAreaZoomCommand", kPtz, Requests(1), &SendPTZAreaZoomCommand),
        ByCgi("SendPTZStartCommand", kPtz, Requests(1), &SendPTZStartCommand),
        ByCgi("SendPTZStopCommand", kPtz, Requests(1), &SendPTZStopCommand),
        ByCgi("StartMpeg4Video", kStart, kStartCost, &StartMpeg4Video),
        ByCgi("StartMpeg4Video2", kStart, kStartCost, &StartVideo),
        ByCgi("StartAudio", kStart, kStartCost, &StartAudio),
        ByCgi("StartAudio2", kStart, kStartCost, &StartAudio2),
        Alone(ByCgi("the ten without a request", kSilent, kNothing, &AnswerAloneAsIpela)),
        Alone(ByCgi("OpenConnection, CloseConnection", "Close, Open", {.cgiRequests = 1, .closes = true},
                    &GiveUpCloseAndOpen)),
    };
}

std::vector<Method> Methods::OfAxis()
{
    constexpr const char* kInquiry = "GetCamera...";
    constexpr const char* kSize = "SetImageSize...";
    constexpr const char* kLevel = "SetBitRate, ..Volume";
    constexpr const char* kPtz = "SendPTZ...";
    constexpr const char* kSilent = "no request";
    // Size, rate, and the rate once more when the camera names none.
    constexpr Cost kInquiryCost = Requests(3);
    return {
        ByCgi("first call", "first call", kProbe, &IsImageSizeSupported, S_FALSE, Stage::Open),
        // Seven lists, and an update after four of them; video has three.
        ByCgi("ConnectToCamera", "ConnectToCamera", Requests(12), &ConnectToCamera),
        ByCgi("GetCameraSettings", kInquiry, kInquiryCost, &GetCameraSettings),
        ByCgi("GetCameraSettings2", kInquiry, kInquiryCost, &GetCameraSettings2),
        ByCgi("GetCameraSettings3", kInquiry, kInquiryCost, &GetCameraSettings3),
        ByCgi("GetCameraImageSize", kInquiry, kInquiryCost, &GetCameraImageSize),
        ByCgi("SetImageSize2", kSize, Requests(2), &SetImageSizeOfAxis),
        ByCgi("SetBitRate", kLevel, Requests(1), &SetBitRate),
        ByCgi("SetAudioInVolume", kLevel, Requests(1), &SetAudioInVolume),
        ByCgi("SendPTZStartCommand", kPtz, Requests(1), &SendPTZStartCommand),
        ByCgi("SendPTZStopCommand", kPtz, Requests(1), &SendPTZStopCommand),
        Alone(ByCgi("the nine without a request", kSilent, kNothing, &AnswerAloneAsAxis)),
        Alone(ByCgi("OpenConnection, CloseConnection", "Close, Open", {.cgiRequests = 1, .closes = true},
                    &GiveUpCloseAndOpen)),
    };
}

std::vector<Method> Methods::OfAxisRtsp()
{
    constexpr const char* kPlay = "PLAY";
    Method get{"ConnectToRtspServer (GET)",      "tunnel GET",        kTunnelGet, "tunnel:GET", Stage::Open,
               {.cgiRequests = 2, .tunnels = 1}, &ConnectToRtspServer};
    Method post{"ConnectToRtspServer (POST)",
                "tunnel POST",
                kTunnelPost,
                "tunnel:POST",
                Stage::Open,
                {.cgiRequests = 2, .tunnels = 1, .rtspExchanges = 2},
                &ConnectAndSetUp};
    Method stream = get;
    stream.name = "ConnectToRtspServer, SetupTransport";
    stream.spoiled = kTunnelStream;
    stream.cost.rtspExchanges = 2;
    stream.call = &ConnectAndSetUp;
    // A method that needs the description and finds it invalid asks for it first.
    return {
        get,
        stream,
        post,
        Describing("SetupTransport (DESCRIBE)", &SetupVideo),
        ByRtsp("SetupTransport (SETUP)", "SETUP", "rtsp:SETUP", Stage::Session, Exchanges(2), &SetupVideo),
        ByRtsp("SetupTransport (second SETUP)", "SETUP", "rtsp:SETUP", Stage::SetUp, Exchanges(2), &SetupAudio),
        Describing("GetH264Parameters", &GetH264Parameters),
        ByRtsp("StartMpeg4Video", kPlay, "rtsp:PLAY", Stage::SetUp, Exchanges(2), &StartMpeg4Video),
        ByRtsp("StartMpeg4Video2", kPlay, "rtsp:PLAY", Stage::SetUp, Exchanges(2), &StartVideo),
        ByRtsp("StartAudio", kPlay, "rtsp:PLAY", Stage::SetUp, Exchanges(2), &StartAudio),
        ByRtsp("StartAudio2", kPlay, "rtsp:PLAY", Stage::Playing, Exchanges(2), &StartAudio2),
        Alone(ByRtsp("PauseStreaming", "no request", "rtsp:", Stage::Playing, kNothing, &PauseStreaming)),
        ByRtsp("StopStreaming", "TEARDOWN", "rtsp:TEARDOWN", Stage::Playing, Exchanges(2), &StopStreaming),
        Alone(ByRtsp("StopStreaming, Release", "TEARDOWN, Release", "rtsp:TEARDOWN", Stage::Playing,
                     {.rtspExchanges = 1, .closes = true}, &StopAndRelease)),
        BehindKeepAlive("keep-alive, StartMpeg4Video2", "OPTIONS", Stage::SetUp, Exchanges(2), &StartVideo,
                        Tells::Another),
        BehindKeepAlive("keep-alive, CloseConnection", "OPTIONS, Close", Stage::Playing, {.closes = true},
                        &CloseAndOpen, Tells::Nothing),
        BehindKeepAlive("keep-alive, Release", "OPTIONS, Close", Stage::Playing, {.closes = true}, &Release,
                        Tells::Nothing),
    };
}
