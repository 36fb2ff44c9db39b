#include "Core/StreamRun.h"

#include "Core/Commands.h"
#include "Core/Report.h"
#include "Core/StreamReport.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>

namespace
{
using Commands::Check;

/// How long a request of the user or of another process may wait.
constexpr std::chrono::milliseconds kSlice{100};
constexpr std::chrono::seconds kLiveInterval{1};
} // namespace

CStreamRun::CStreamRun(ICamera& camera, const ClientArguments& arguments, std::ostream& out,
                       const StreamSurroundings& around)
    : m_camera(camera), m_arguments(arguments), m_out(out), m_around(around), m_receiver(around.makeReceiver())
{
}

void CStreamRun::Run()
{
    // First, so that a bad path does not cost the camera a stream.
    if (!m_arguments.outPath.empty())
        m_file = std::make_unique<CVideoFile>(m_arguments.outPath);
    if (m_around.runningStreams)
        m_ticket = m_around.runningStreams->Announce(Commands::AddressText(m_arguments.camera));
    const HResult rtsp = m_camera.ConnectToRtspServer(true);
    Check(rtsp, "ConnectToRtspServer", Activity::kStream);
    m_isRtsp = rtsp != HResults::kFalse;
    try
    {
        if (m_isRtsp)
            NegotiateRtsp();
        else
            NegotiateCgi();
        Receive();
    }
    catch (...)
    {
        // The failure is the news; what the camera says to this is not.
        if (m_isRtsp)
            (void)m_camera.StopStreaming();
        throw;
    }
    Stop();
    if (m_monitor->Figures(MediaStream::kVideo).packets == 0 && m_endedBy == std::string_view("time"))
        throw std::runtime_error("no video arrived in " + std::to_string(m_arguments.seconds) +
                                 " s: check that the camera reaches UDP port " + std::to_string(m_videoPort) +
                                 " of this machine, and its firewall");
    PrintEnd();
}

void CStreamRun::NegotiateRtsp()
{
    H264Description description;
    Check(m_camera.GetH264Parameters(description), "GetH264Parameters", Activity::kStream);
    m_monitor = std::make_unique<CStreamMonitor>(true, m_file.get());
    m_monitor->Begin(description);
    SetUp(MediaStream::kVideo);
    if (m_arguments.withAudio)
        SetUp(MediaStream::kAudio);
    Check(m_camera.StartVideo({m_arguments.isMulticast, m_videoPort}), "StartMpeg4Video2", Activity::kStream);
}

void CStreamRun::SetUp(MediaStream stream)
{
    const bool isVideo = stream == MediaStream::kVideo;
    MediaTransport transport;
    transport.isMulticast = m_arguments.isMulticast;
    if (!transport.isMulticast)
        transport.clientPort = m_receiver->OpenUnicast(stream);
    const HResult hr = m_camera.SetupTransport(stream, transport);
    // Many cameras have no microphone; their video is worth having all the same.
    if (!isVideo && !HResults::Succeeded(hr))
        return;
    Check(hr, "SetupTransport", Activity::kStream);
    if (transport.isMulticast)
        m_receiver->OpenMulticast(stream, transport.multicastAddress, transport.rtpPort);
    (isVideo ? m_videoPort : m_audioPort) = transport.isMulticast ? transport.rtpPort : transport.clientPort;
    m_hasAudio = m_hasAudio || !isVideo;
}

void CStreamRun::NegotiateCgi()
{
    StreamSettings settings;
    Check(m_camera.GetSettings(settings), "GetCameraSettings3", Activity::kRead);
    m_isH264 = settings.picture.codec == StreamCodec::kH264;
    if (m_file && !m_isH264)
        throw std::runtime_error("--out takes H.264 video only, and this camera is set to another codec: 'avcommand "
                                 "set-size --codec h264' changes that");
    m_monitor = std::make_unique<CStreamMonitor>(m_isH264, m_file.get());
    OpenForCgi(MediaStream::kVideo, settings);
    Check(m_camera.StartVideo({m_arguments.isMulticast, m_videoPort}), "StartMpeg4Video2", Activity::kStream);
    if (!m_arguments.withAudio)
        return;
    OpenForCgi(MediaStream::kAudio, settings);
    m_hasAudio = HResults::Succeeded(m_camera.StartAudio({m_arguments.isMulticast, m_audioPort}));
}

void CStreamRun::OpenForCgi(MediaStream stream, const StreamSettings& settings)
{
    const bool isVideo = stream == MediaStream::kVideo;
    std::uint16_t& port = isVideo ? m_videoPort : m_audioPort;
    if (!m_arguments.isMulticast)
    {
        port = m_receiver->OpenUnicast(stream);
        return;
    }
    port = isVideo ? settings.multicastVideoPort : settings.multicastAudioPort;
    m_receiver->OpenMulticast(stream, settings.multicastAddress, port);
}

void CStreamRun::Receive()
{
    PrintStart();
    m_begin = m_receiver->Now();
    m_shown.when = m_begin;
    Time liveDue = m_begin + kLiveInterval;
    const Time end = m_begin + std::chrono::seconds(m_arguments.seconds);
    while (!IsToEnd())
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - m_receiver->Now());
        if (left.count() <= 0)
            break;
        ReceiveFor(std::min(left, kSlice));
        if (m_receiver->Now() < liveDue)
            continue;
        PrintLive(m_receiver->Now());
        liveDue += kLiveInterval;
    }
    m_seconds = std::chrono::duration<double>(m_receiver->Now() - m_begin).count();
}

void CStreamRun::ReceiveFor(std::chrono::milliseconds slice)
{
    m_receiver->Receive(slice, [this](const IMediaReceiver::Datagram& datagram) {
        // A paused camera may go on sending; what it sends is then not part of the stream.
        if (!m_isPaused)
            m_monitor->Take(datagram);
    });
}

bool CStreamRun::IsToEnd()
{
    if (m_around.isInterrupted && m_around.isInterrupted())
    {
        m_endedBy = "interrupt";
        return true;
    }
    const auto request = m_ticket ? m_ticket->Pending() : std::nullopt;
    return request && !Obey(*request);
}

bool CStreamRun::Obey(StreamRequest request)
{
    if (request == StreamRequest::kStop)
    {
        // The one who asked is told when the camera has been told.
        m_endedBy = "stop";
        return false;
    }
    const bool isPause = request == StreamRequest::kPause;
    if (isPause != m_isPaused)
    {
        const HResult hr =
            isPause ? m_camera.PauseStreaming() : m_camera.StartVideo({m_arguments.isMulticast, m_videoPort});
        // A camera that cannot pause goes on; here it is paused nevertheless.
        if (hr != HResults::kNotImplemented)
            Check(hr, isPause ? "PauseStreaming" : "StartMpeg4Video2", Activity::kStream);
        m_monitor->Interrupt();
        m_isPaused = isPause;
    }
    m_ticket->Done();
    return true;
}

void CStreamRun::Stop()
{
    // Cameras without RTSP have no request that ends a stream.
    if (m_isRtsp)
        Check(m_camera.StopStreaming(), "StopStreaming", Activity::kStream);
    if (m_file)
        m_file->Finish();
    if (m_ticket && m_ticket->Pending() == StreamRequest::kStop)
        m_ticket->Done();
}

void CStreamRun::PrintStart() const
{
    if (m_arguments.isJson)
        return;
    const std::string way = m_arguments.isMulticast ? ", multicast, UDP port " : ", UDP port ";
    m_out << "Video: " << (m_isH264 ? "H.264 " + StreamReport::H264Text(*m_monitor) : "MPEG-4") << way << m_videoPort
          << '\n';
    if (m_hasAudio)
        m_out << "Audio: G.711 mu-law" << way << m_audioPort << '\n';
    else if (m_arguments.withAudio)
        m_out << "Audio: the camera gives none\n";
    m_out << std::flush;
}

void CStreamRun::PrintLive(Time now)
{
    const StreamFigures video = m_monitor->Figures(MediaStream::kVideo);
    const StreamFigures audio = m_monitor->Figures(MediaStream::kAudio);
    if (!m_arguments.isJson)
    {
        const double interval = std::chrono::duration<double>(now - m_shown.when).count();
        if (m_monitor->CountChanges() != m_shown.changes)
            m_out << "Video: now H.264 " << StreamReport::H264Text(*m_monitor) << '\n';
        m_out << StreamReport::LiveText(
                     std::chrono::duration<double>(now - m_begin).count(), m_isPaused, {video, m_shown.video, interval},
                     m_hasAudio ? std::optional(StreamReport::Interval{audio, m_shown.audio, interval}) : std::nullopt)
              << std::endl;
    }
    m_shown = {now, video, audio, m_monitor->CountChanges()};
}

void CStreamRun::PrintEnd() const
{
    const StreamReport::Summary summary{.camera = Commands::AddressText(m_arguments.camera),
                                        .isRtsp = m_isRtsp,
                                        .isH264 = m_isH264,
                                        .hasAudio = m_hasAudio,
                                        .endedBy = m_endedBy,
                                        .seconds = m_seconds,
                                        .videoPort = m_videoPort,
                                        .audioPort = m_audioPort,
                                        .monitor = *m_monitor,
                                        .file = m_file.get()};
    if (m_arguments.isJson)
        Report::Print(m_out, StreamReport::ToJson(summary));
    else
        StreamReport::Print(m_out, summary);
}
