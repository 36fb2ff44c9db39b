#include "Demo/DemoWalk.h"

#include "Core/CallTrace.h"
#include "Core/Commands.h"
#include "Core/Names.h"
#include "Core/Report.h"
#include "Demo/DemoChecks.h"
#include "Media/SequenceParameterSet.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr std::chrono::milliseconds kPollInterval{50};
constexpr int kMostPolls = 60;
constexpr std::size_t kPacketsAwaited = 5;
constexpr std::chrono::milliseconds kStreamLimit{5000};
constexpr std::size_t kManyPackets = 100000;
constexpr std::chrono::milliseconds kQuietTime{400};
constexpr std::int32_t kSpeedPercent = 50;
const PictureFormat kUnknownFormat{123, 45, 30, StreamCodec::kMpeg4};

const std::string kAnything = "*";

/// Where each family takes changes and movements.
std::string ChangePath(bool isAxis)
{
    return isAxis ? "axis-cgi/param.cgi" : "command/camera.cgi";
}

std::string MotorPath(bool isAxis)
{
    return isAxis ? "axis-cgi/com/ptz.cgi" : "command/ptzf.cgi";
}

/// A bit rate between two steps of an IPELA camera's table, so that the rounding shows; an Axis camera has no steps.
struct BitRate
{
    std::int32_t askedKbps;
    std::int32_t expectedKbps;
};

/// Values that the camera does not have yet: setting what is there already would prove nothing.
BitRate ChooseBitRate(std::int32_t currentKbps, bool isAxis)
{
    if (isAxis)
        return currentKbps == 1000 ? BitRate{1500, 1500} : BitRate{1000, 1000};
    return currentKbps == 1024 ? BitRate{2000, 2048} : BitRate{1000, 1024};
}

std::int32_t ChooseVolume(std::int32_t current)
{
    return current == 3 ? 4 : 3;
}

void Append(std::vector<std::string>& to, std::vector<std::string> lines)
{
    std::ranges::move(lines, std::back_inserter(to));
}

void ExpectMovement(DemoStep& step, const CameraPosition& from, const CameraPosition& to)
{
    step.returned.push_back("position: " + DemoChecks::PositionText(from) + " -> " + DemoChecks::PositionText(to));
    if (from == to)
        step.problems.push_back("the camera has not moved");
}

const auto kNothingToLookAt = [](DemoStep&) {};
} // namespace

CDemoWalk::CDemoWalk(const Surroundings& surroundings, CDemoReport& report) : m_around(surroundings), m_report(report)
{
}

void CDemoWalk::Run()
{
    m_address = m_around.simulator.Address();
    m_isAxis = m_around.simulator.Camera().isAxis;
    // What others have asked before is not ours to check.
    (void)m_around.simulator.TakeRequests();
    Open();
    ReadSettings();
    ReadFormats();
    ChangeSettings();
    RefuseUnknownSize();
    ReadSettings();
    Move();
    MoveContinuously();
    if (m_isAxis)
    {
        ConnectToRtsp();
        SetUpTransport(MediaStream::kVideo);
        SetUpTransport(MediaStream::kAudio);
        PlayAndStop();
    }
    else
    {
        StartStreams();
    }
    Close();
}

template <class Call, class Look>
void CDemoWalk::Step(const std::string& title, const std::string& asked, const Expectation& expected, Call&& call,
                     Look&& look)
{
    DemoStep step{.title = title, .asked = asked, .received = {}, .hr = {}, .returned = {}, .problems = {}};
    const auto start = std::chrono::steady_clock::now();
    step.hr = call();
    step.durationMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    Collect(step, expected);
    // After a failed call there is nothing to look at that would say more than the failure does.
    if (step.problems.empty())
        look(step);
    m_report.Add(step);
}

void CDemoWalk::Collect(DemoStep& step, const Expectation& expected)
{
    step.received = m_around.simulator.TakeRequests();
    if (*step.hr != expected.hr)
        step.problems.push_back("expected " + HResults::Describe(expected.hr));
    Append(step.problems, DemoChecks::Requests(step.received, expected.paths, !m_address.userName.empty()));
}

void CDemoWalk::Open()
{
    using Commands::Check;
    const std::string source = m_around.host.Source();
    Step(
        "Create the component", source, {}, [&] { return m_around.host.CreateCamera(m_camera); },
        [&](DemoStep& step) {
            if (m_camera->IsConnected() != HResults::kFalse)
                step.problems.push_back("IsConnected is not S_FALSE before a connection is opened");
        });
    if (!m_camera)
        throw CallFailure{"Creating the component", Activity::kCreate, HResults::kFail};

    const std::string who = m_address.userName.empty() ? "nobody" : "user " + m_address.userName;
    Step(
        "OpenConnection", Commands::AddressText(m_address) + ", " + who, {},
        [&] { return m_camera->OpenConnection(m_address); },
        [&](DemoStep& step) {
            if (m_camera->IsConnected() != HResults::kOk)
                step.problems.push_back("IsConnected is not S_OK after the connection was opened");
        });

    HResult connected = HResults::kFail;
    // One inquiry to find the family, one for the settings, and a change when the camera is not set up yet.
    Step(
        "ConnectToCamera", "find the camera's family, make it ready", {HResults::kOk, {kAnything}},
        [&] { return connected = m_camera->ConnectToCamera(); },
        [&](DemoStep& step) {
            step.returned.push_back("the camera is an " + m_around.simulator.Camera().model);
            if (step.received.empty())
                step.problems.push_back("the camera was not asked anything");
        });
    Check(connected, "ConnectToCamera", Activity::kConnect);
}

void CDemoWalk::ReadSettings()
{
    StreamSettings settings;
    Step(
        "GetCameraSettings3", "the current settings (may come from a cache that is at most 10 s old)",
        {HResults::kOk, {kAnything}}, [&] { return m_camera->GetSettings(settings); },
        [&](DemoStep& step) {
            const SimulatedCamera camera = m_around.simulator.Camera();
            if (m_isAxis)
            {
                // The component tells the picture alone of a camera that streams over RTSP.
                step.returned.push_back(Names::PictureFormatText(settings.picture) + " " +
                                        Names::CodecText(settings.picture.codec));
                Append(step.problems, DemoChecks::Format(settings.picture, camera.settings.picture));
                return;
            }
            step.returned.push_back(Names::PictureFormatText(settings.picture) + " " +
                                    Names::CodecText(settings.picture.codec) + ", " +
                                    std::to_string(settings.bitRateKbps) + " kbit/s, microphone volume " +
                                    std::to_string(settings.audioInVolume));
            step.returned.push_back("multicast " + settings.multicastAddress + ":" +
                                    std::to_string(settings.multicastVideoPort) +
                                    " and :" + std::to_string(settings.multicastAudioPort));
            Append(step.problems, DemoChecks::Settings(settings, camera.settings));
        });
}

void CDemoWalk::ReadFormats()
{
    Step(
        "GetSupportedImageSizes2", "the sizes that this model can deliver", {},
        [&] { return m_camera->GetSupportedImageSizes(m_sizes); },
        [&](DemoStep& step) {
            for (const PictureFormat& size : m_sizes)
                step.returned.push_back(Names::PictureFormatText(size) + " " + Names::CodecText(size.codec));
            if (m_sizes.size() < 2)
                step.problems.push_back("fewer than two sizes");
        });
    Step(
        "GetSupportedFrameRates", "the frame rates of its video standard", {},
        [&] { return m_camera->GetSupportedFrameRates(m_rates); },
        [&](DemoStep& step) {
            std::string text;
            for (const std::int32_t rate : m_rates)
                text += (text.empty() ? "" : ", ") + std::to_string(rate);
            step.returned.push_back(text);
            if (m_rates.size() < 2)
                step.problems.push_back("fewer than two rates");
        });
}

PictureFormat CDemoWalk::ChooseFormat(const PictureFormat& current) const
{
    const auto differs = [&current](const PictureFormat& size) {
        return size.width != current.width || size.height != current.height || size.codec != current.codec;
    };
    const auto size = std::ranges::find_if(m_sizes, differs);
    const auto rate = std::ranges::find_if(m_rates, [&](std::int32_t r) { return r >= 10 && r != current.frameRate; });
    if (size == m_sizes.end() || rate == m_rates.end())
        throw std::runtime_error("the camera offers no size and rate to change to");
    return {size->width, size->height, *rate, size->codec};
}

void CDemoWalk::ChangeSettings()
{
    const StreamSettings before = m_around.simulator.Camera().settings;
    const PictureFormat format = ChooseFormat(before.picture);
    const std::string change = ChangePath(m_isAxis);
    // An Axis camera takes size and rate one by one.
    const std::vector<std::string> changes(m_isAxis ? 2 : 1, change);
    Step(
        "SetImageSize2", Names::PictureFormatText(format) + " " + Names::CodecText(format.codec),
        {HResults::kOk, changes}, [&] { return m_camera->SetImageSize(format); },
        [&](DemoStep& step) {
            const PictureFormat now = m_around.simulator.Camera().settings.picture;
            step.returned.push_back("camera has " + Names::PictureFormatText(now) + " " + Names::CodecText(now.codec));
            Append(step.problems, DemoChecks::Format(format, now));
        });
    const BitRate bitRate = ChooseBitRate(before.bitRateKbps, m_isAxis);
    Step(
        "SetBitRate",
        std::to_string(bitRate.askedKbps) + " kbit/s" +
            (m_isAxis ? "" : " (the next step is " + std::to_string(bitRate.expectedKbps) + ")"),
        {HResults::kOk, {change}}, [&] { return m_camera->SetBitRate(bitRate.askedKbps); },
        [&](DemoStep& step) {
            const std::int32_t now = m_around.simulator.Camera().settings.bitRateKbps;
            step.returned.push_back("camera has " + std::to_string(now) + " kbit/s");
            if (now != bitRate.expectedKbps)
                step.problems.push_back("the camera's bit rate is not " + std::to_string(bitRate.expectedKbps));
        });
    const std::int32_t volume = ChooseVolume(before.audioInVolume);
    Step(
        "SetAudioInVolume", std::to_string(volume), {HResults::kOk, {change}},
        [&] { return m_camera->SetAudioInVolume(volume); },
        [&](DemoStep& step) {
            const std::int32_t now = m_around.simulator.Camera().settings.audioInVolume;
            step.returned.push_back("camera has volume " + std::to_string(now));
            if (now != volume)
                step.problems.push_back("the camera's volume is not " + std::to_string(volume));
        });
}

void CDemoWalk::RefuseUnknownSize()
{
    Step(
        "SetImageSize2", Names::PictureFormatText(kUnknownFormat) + ", which no camera offers: to be refused",
        {HResults::kInvalidArgument, {}}, [&] { return m_camera->SetImageSize(kUnknownFormat); }, kNothingToLookAt);
}

void CDemoWalk::Move()
{
    if (m_isAxis)
    {
        Step(
            "SendPTZCommand", "one step up: this family moves continuously only", {HResults::kNotImplemented, {}},
            [&] { return m_camera->Step(MoveDirection::kUpper, StepSize::k100); }, kNothingToLookAt);
        return;
    }
    const std::vector<std::string> motor{MotorPath(m_isAxis)};
    const CameraPosition before = m_around.simulator.Camera().position;
    Step(
        "SendPTZCommand", "one step up, distance 100", {HResults::kOk, motor},
        [&] { return m_camera->Step(MoveDirection::kUpper, StepSize::k100); },
        [&](DemoStep& step) { ExpectMovement(step, before, m_around.simulator.Camera().position); });

    const CameraPosition beforeArea = m_around.simulator.Camera().position;
    Step(
        "SendPTZAreaZoomCommand", "zoom to 160x120 at 80,60", {HResults::kOk, motor},
        [&] {
            return m_camera->ZoomToArea({80, 60, 160, 120});
        },
        [&](DemoStep& step) { ExpectMovement(step, beforeArea, m_around.simulator.Camera().position); });
}

bool CDemoWalk::WaitForMovement(const CameraPosition& from) const
{
    for (int i = 0; i < kMostPolls; ++i)
    {
        if (m_around.simulator.Camera().position != from)
            return true;
        m_around.pause(kPollInterval);
    }
    return false;
}

void CDemoWalk::MoveContinuously()
{
    const std::vector<std::string> motor{MotorPath(m_isAxis)};
    const CameraPosition before = m_around.simulator.Camera().position;
    Step(
        "SendPTZStartCommand", "right at " + std::to_string(kSpeedPercent) + " % of full speed", {HResults::kOk, motor},
        [&] { return m_camera->StartMove(MoveDirection::kRight, kSpeedPercent); },
        [&](DemoStep& step) {
            (void)WaitForMovement(before);
            ExpectMovement(step, before, m_around.simulator.Camera().position);
        });
    Step(
        "SendPTZStopCommand", "stop", {HResults::kOk, motor}, [&] { return m_camera->StopMove(MoveDirection::kRight); },
        [&](DemoStep& step) {
            const CameraPosition stopped = m_around.simulator.Camera().position;
            m_around.pause(4 * kPollInterval);
            const CameraPosition later = m_around.simulator.Camera().position;
            step.returned.push_back("position: " + DemoChecks::PositionText(later));
            if (later != stopped)
                step.problems.push_back("the camera still moves");
        });
}

void CDemoWalk::StartStreams()
{
    StartStream(true);
    StartStream(false);
}

void CDemoWalk::StartStream(bool isVideo)
{
    IStreamReceiver& receiver = isVideo ? m_around.video : m_around.audio;
    const StreamTarget target{false, receiver.Port()};
    // The path is the family's business (mpeg4, image1 or audio); what matters is the packets.
    Step(
        isVideo ? "StartMpeg4Video2" : "StartAudio2", "unicast to UDP port " + std::to_string(target.udpPort),
        {HResults::kOk, {kAnything}},
        [&] { return isVideo ? m_camera->StartVideo(target) : m_camera->StartAudio(target); },
        [&](DemoStep& step) {
            std::size_t countForeign = 0;
            const auto packets = receiver.Receive(kPacketsAwaited, kStreamLimit, countForeign);
            step.returned.push_back(std::to_string(packets.size()) + " RTP packets arrived");
            if (!packets.empty())
                step.returned.push_back("payload type " + std::to_string(packets[0].payloadType) + ", numbers " +
                                        std::to_string(packets.front().sequenceNumber) + " to " +
                                        std::to_string(packets.back().sequenceNumber));
            if (step.received.empty())
                step.problems.push_back("the camera was not asked anything");
            Append(step.problems, DemoChecks::Stream(packets, kPacketsAwaited, countForeign));
        });
}

void CDemoWalk::ConnectToRtsp()
{
    HResult connected = HResults::kFail;
    Step(
        "ConnectToRtspServer", "RTSP in an HTTP tunnel, taking part in the streaming", {HResults::kOk, {kAnything}},
        [&] { return connected = m_camera->ConnectToRtspServer(true); }, kNothingToLookAt);
    Commands::Check(connected, "ConnectToRtspServer", Activity::kStream);
    H264Description h264;
    Step(
        "GetH264Parameters", "what a decoder needs before the first picture", {HResults::kOk, {kAnything}},
        [&] { return m_camera->GetH264Parameters(h264); },
        [&](DemoStep& step) {
            step.returned.push_back(Report::H264Text(h264));
            const auto info = SequenceParameterSet::Parse(h264.parameterSet1);
            const PictureFormat camera = m_around.simulator.Camera().settings.picture;
            if (!info)
                step.problems.push_back("there is no sequence parameter set that can be read");
            else if (std::cmp_not_equal(info->width, camera.width) || std::cmp_not_equal(info->height, camera.height))
                step.problems.push_back("the camera's picture is " + Names::PictureFormatText(camera));
        });
}

void CDemoWalk::SetUpTransport(MediaStream stream)
{
    const bool isVideo = stream == MediaStream::kVideo;
    MediaTransport transport;
    transport.clientPort = (isVideo ? m_around.video : m_around.audio).Port();
    Step(
        "SetupTransport",
        std::string(isVideo ? "video" : "audio") + ", unicast to UDP port " + std::to_string(transport.clientPort),
        {HResults::kOk, {kAnything}}, [&] { return m_camera->SetupTransport(stream, transport); },
        [&](DemoStep& step) {
            step.returned.push_back(transport.protocol + ", from port " + std::to_string(transport.rtpPort) +
                                    ", RTCP from port " + std::to_string(transport.rtcpPort));
            if (transport.rtpPort == 0)
                step.problems.push_back("the camera names no port of its own");
        });
}

void CDemoWalk::PlayAndStop()
{
    const StreamTarget target{false, m_around.video.Port()};
    const auto look = [](DemoStep& step, const char* name, IStreamReceiver& receiver) {
        std::size_t countForeign = 0;
        const auto packets = receiver.Receive(kPacketsAwaited, kStreamLimit, countForeign);
        step.returned.push_back(std::to_string(packets.size()) + " " + name + " RTP packets arrived");
        Append(step.problems, DemoChecks::Stream(packets, kPacketsAwaited, countForeign));
    };
    Step(
        "StartMpeg4Video2", "play both streams", {HResults::kOk, {kAnything}},
        [&] { return m_camera->StartVideo(target); },
        [&](DemoStep& step) {
            look(step, "video", m_around.video);
            look(step, "audio", m_around.audio);
        });
    Step(
        "StopStreaming", "end the session", {HResults::kOk, {kAnything}}, [&] { return m_camera->StopStreaming(); },
        [&](DemoStep& step) {
            // What was sent before is waiting in the socket: more than that must not come.
            std::size_t countForeign = 0;
            const auto before = m_around.video.Receive(kManyPackets, kQuietTime, countForeign);
            const auto after = m_around.video.Receive(1, kQuietTime, countForeign);
            step.returned.push_back(std::to_string(before.size()) + " packets had been on their way");
            if (!after.empty())
                step.problems.push_back("the camera still sends");
        });
}

void CDemoWalk::Close()
{
    Step(
        "CloseConnection", "drop the connection", {}, [&] { return m_camera->CloseConnection(); },
        [&](DemoStep& step) {
            if (m_camera->IsConnected() != HResults::kFalse)
                step.problems.push_back("IsConnected is not S_FALSE after the connection was closed");
        });
}
