#include "Windows/CameraClient.h"

#include "Win32/ComMemory.h"
#include "Windows/Text.h"

#include <span>
#include <utility>

namespace
{
static_assert(static_cast<int>(StreamCodec::kMpeg4) == VC_MPEG4 && static_cast<int>(StreamCodec::kH264) == VC_H264);
static_assert(static_cast<int>(MoveDirection::kLowerLeft) == PTZ_LOWER_LEFT);
static_assert(static_cast<int>(MoveDirection::kRight) == PTZ_RIGHT);
static_assert(static_cast<int>(MoveDirection::kZoomTele) == PTZ_ZOOM_TELE);
static_assert(static_cast<int>(StepSize::k10) == PT_10 && static_cast<int>(StepSize::k100) == PT_100);

PictureFormat ToFormat(const ImageSize2& size)
{
    return {size.ImageWidth, size.ImageHeight, size.FrameRate, static_cast<StreamCodec>(size.VideoEncoding)};
}

StreamSettings ToSettings(const CameraSettings3& record, std::wstring_view multicastAddress)
{
    StreamSettings settings;
    settings.multicastAddress = Text::ToUtf8(multicastAddress);
    settings.multicastVideoPort = record.MulticastVideoPort;
    settings.multicastAudioPort = record.MulticastAudioPort;
    settings.unicastVideoPort = record.UnicastVideoPort;
    settings.unicastAudioPort = record.UnicastAudioPort;
    settings.bitRateKbps = record.BitRate;
    settings.audioInVolume = record.AudioInVolume;
    settings.picture = {record.ImageWidth, record.ImageHeight, record.FrameRate,
                        static_cast<StreamCodec>(record.VideoEncoding)};
    return settings;
}

/// Null is the empty text.
std::string ToText(const CBstr& text)
{
    return text ? Text::ToUtf8({text.get(), ::SysStringLen(text.get())}) : std::string();
}

PTZCommand ToCommand(MoveDirection direction) noexcept
{
    return static_cast<PTZCommand>(direction);
}
} // namespace

CCameraClient::CCameraClient(CComPointer<IAVCommand5> object, const CCallTrace& trace) noexcept
    : m_object(std::move(object)), m_trace(trace)
{
}

HResult CCameraClient::OpenConnection(const CameraAddress& address)
{
    const CBstr host = MakeBstr(Text::ToWide(address.host));
    const CBstr user = MakeBstr(Text::ToWide(address.userName));
    const CBstr password = MakeBstr(Text::ToWide(address.password));
    return m_trace.Run("IAVCommand::OpenConnection",
                       [&] { return m_object->OpenConnection(host.get(), address.port, user.get(), password.get()); });
}

HResult CCameraClient::CloseConnection()
{
    return m_trace.Run("IAVCommand::CloseConnection", [&] { return m_object->CloseConnection(); });
}

HResult CCameraClient::IsConnected()
{
    return m_trace.Run("IAVCommand::IsConnected", [&] { return m_object->IsConnected(); });
}

HResult CCameraClient::ConnectToCamera()
{
    return m_trace.Run("IAVCommand::ConnectToCamera", [&] { return m_object->ConnectToCamera(); });
}

HResult CCameraClient::GetSettings(StreamSettings& settings)
{
    settings = {};
    CameraSettings3 record{};
    const HResult hr =
        m_trace.Run("IAVCommand5::GetCameraSettings3", [&] { return m_object->GetCameraSettings3(&record); });
    const CBstr multicastAddress(record.MulticastAddress);
    if (SUCCEEDED(hr))
        settings = ToSettings(record, {multicastAddress.get(), ::SysStringLen(multicastAddress.get())});
    return hr;
}

HResult CCameraClient::GetCameraImageSize(PictureFormat& format)
{
    format = {};
    ImageSize2 size{};
    const HResult hr =
        m_trace.Run("IAVCommand4::GetCameraImageSize", [&] { return m_object->GetCameraImageSize(&size); });
    if (SUCCEEDED(hr))
        format = ToFormat(size);
    return hr;
}

HResult CCameraClient::GetSupportedImageSizes(std::vector<PictureFormat>& sizes)
{
    sizes.clear();
    CTaskMemory<ImageSize2> rows;
    long count = 0;
    const HResult hr = m_trace.Run("IAVCommand3::GetSupportedImageSizes2",
                                   [&] { return m_object->GetSupportedImageSizes2(rows.put(), &count); });
    if (FAILED(hr) || !rows || count <= 0)
        return hr;
    for (const ImageSize2& row : std::span(rows.get(), static_cast<std::size_t>(count)))
        sizes.push_back(ToFormat(row));
    return hr;
}

HResult CCameraClient::GetSupportedFrameRates(std::vector<std::int32_t>& rates)
{
    rates.clear();
    CTaskMemory<long> values;
    long count = 0;
    const HResult hr = m_trace.Run("IAVCommand2::GetSupportedFrameRates",
                                   [&] { return m_object->GetSupportedFrameRates(values.put(), &count); });
    if (SUCCEEDED(hr) && values && count > 0)
        rates.assign(values.get(), values.get() + count);
    return hr;
}

HResult CCameraClient::ConnectToRtspServer(bool joins)
{
    return m_trace.Run("IAVCommand5::ConnectToRtspServer", [&] { return m_object->ConnectToRtspServer(joins); });
}

HResult CCameraClient::SetupTransport(MediaStream stream, MediaTransport& transport)
{
    CBstr protocol = MakeBstr(Text::ToWide(transport.protocol));
    TransportParameters record{};
    // The component may free this string and put another in its place.
    record.Protocol = protocol.release();
    record.Multicast = transport.isMulticast;
    record.ClientPort = transport.clientPort;
    const HResult hr = m_trace.Run("IAVCommand4::SetupTransport",
                                   [&] { return m_object->SetupTransport(static_cast<long>(stream), &record); });
    protocol.reset(record.Protocol);
    const CBstr multicastAddress(record.MulticastAddress);
    const CBstr ssrc(record.Ssrc);
    if (FAILED(hr))
        return hr;
    transport = {.protocol = ToText(protocol),
                 .isMulticast = record.Multicast != 0,
                 .clientPort = record.ClientPort,
                 .multicastAddress = ToText(multicastAddress),
                 .rtpPort = record.RtpPort,
                 .rtcpPort = record.RtcpPort,
                 .ssrc = ToText(ssrc)};
    return hr;
}

HResult CCameraClient::GetH264Parameters(H264Description& description)
{
    description = {};
    H264Parameters record{};
    const HResult hr =
        m_trace.Run("IAVCommand5::GetH264Parameters", [&] { return m_object->GetH264Parameters(&record); });
    const CBstr profile(record.ProfileLeveId);
    const CTaskMemory<unsigned char> parameterSets(record.ParameterSets);
    if (FAILED(hr))
        return hr;
    description.profileLevelId = ToText(profile);
    description.packetizationMode = record.PacketizationMode;
    if (!parameterSets || record.ParameterSet1Size < 0 || record.ParameterSet2Size < 0)
        return hr;
    const unsigned char* const first = parameterSets.get();
    const unsigned char* const second = first + record.ParameterSet1Size;
    description.parameterSet1.assign(first, second);
    description.parameterSet2.assign(second, second + record.ParameterSet2Size);
    return hr;
}

HResult CCameraClient::SetImageSize(const PictureFormat& format)
{
    return m_trace.Run("IAVCommand3::SetImageSize2", [&] {
        return m_object->SetImageSize2(format.width, format.height, format.frameRate,
                                       static_cast<VideoCodec>(format.codec));
    });
}

HResult CCameraClient::SetBitRate(std::int32_t bitRateKbps)
{
    return m_trace.Run("IAVCommand::SetBitRate", [&] { return m_object->SetBitRate(bitRateKbps); });
}

HResult CCameraClient::SetAudioInVolume(std::int32_t volume)
{
    return m_trace.Run("IAVCommand2::SetAudioInVolume", [&] { return m_object->SetAudioInVolume(volume); });
}

HResult CCameraClient::Step(MoveDirection direction, StepSize size)
{
    return m_trace.Run("IAVCommand::SendPTZCommand",
                       [&] { return m_object->SendPTZCommand(ToCommand(direction), static_cast<PTDistance>(size)); });
}

HResult CCameraClient::StartMove(MoveDirection direction, std::int32_t speedPercent)
{
    return m_trace.Run("IAVCommand::SendPTZStartCommand",
                       [&] { return m_object->SendPTZStartCommand(ToCommand(direction), speedPercent); });
}

HResult CCameraClient::StopMove(MoveDirection direction)
{
    return m_trace.Run("IAVCommand::SendPTZStopCommand",
                       [&] { return m_object->SendPTZStopCommand(ToCommand(direction)); });
}

HResult CCameraClient::ZoomToArea(const PictureArea& area)
{
    return m_trace.Run("IAVCommand::SendPTZAreaZoomCommand",
                       [&] { return m_object->SendPTZAreaZoomCommand(area.x, area.y, area.width, area.height); });
}

HResult CCameraClient::StartVideo(const StreamTarget& target)
{
    return m_trace.Run("IAVCommand2::StartMpeg4Video2",
                       [&] { return m_object->StartMpeg4Video2(target.isMulticast, target.udpPort); });
}

HResult CCameraClient::StartAudio(const StreamTarget& target)
{
    return m_trace.Run("IAVCommand2::StartAudio2",
                       [&] { return m_object->StartAudio2(target.isMulticast, target.udpPort); });
}

HResult CCameraClient::PauseStreaming()
{
    return m_trace.Run("IAVCommand5::PauseStreaming", [&] { return m_object->PauseStreaming(); });
}

HResult CCameraClient::StopStreaming()
{
    return m_trace.Run("IAVCommand5::StopStreaming", [&] { return m_object->StopStreaming(); });
}
