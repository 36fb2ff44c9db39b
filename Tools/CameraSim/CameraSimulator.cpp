#include "CameraSim/CameraSimulator.h"

#include "CameraSim/Camera/CameraService.h"
#include "CameraSim/Control/ControlEndpoint.h"
#include "CameraSim/Http/HttpServer.h"
#include "CameraSim/Rtp/RtpSender.h"
#include "CameraSim/Rtsp/RtspServer.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

// Whoever reaches the control interface can do anything to the simulator: never from outside.
constexpr const char* kControlAddress = "127.0.0.1";

CameraServiceOptions ServiceOptions(const CameraSimulatorOptions& options)
{
    return {options.model,          options.standard, options.factorySettings, options.requireStreamSettings,
            options.authentication, options.rtsp,     options.clock,           options.nonceSource,
            options.onRequest};
}

} // namespace

struct CCameraSimulator::Parts
{
    explicit Parts(CameraSimulatorOptions given)
        : options(std::move(given)), streams(context, options.streamTimeLimit),
          camera(ServiceOptions(options), streams), rtsp(context, camera, camera, options.clock),
          control(
              camera, streams, rtsp.Service(),
              [this] {
                  return ControlPorts{port, controlPort};
              },
              [this] { RequestStop(); })
    {
        camera.AddFaults(options.faults);
    }

    void CloseEverything() noexcept
    {
        streams.StopAll();
        server->Close();
        rtsp.Close();
        if (controlServer)
            controlServer->Close();
    }

    void RequestStop()
    {
        const std::lock_guard lock(stopMutex);
        stopRequested = true;
        stopChanged.notify_all();
    }

    CameraSimulatorOptions options;
    asio::io_context context{1};
    CRtpSender streams;
    CCameraService camera;
    CRtspServer rtsp;
    CControlEndpoint control;
    std::unique_ptr<CHttpServer> server;
    std::unique_ptr<CHttpServer> controlServer;
    std::thread thread;
    // Written before the thread starts.
    std::uint16_t port = 0;
    std::uint16_t controlPort = 0;
    std::mutex stopMutex;
    std::condition_variable stopChanged;
    bool stopRequested = false;
};

CCameraSimulator::CCameraSimulator(CameraSimulatorOptions options)
    : m_parts(std::make_unique<Parts>(std::move(options)))
{
}

CCameraSimulator::~CCameraSimulator()
{
    Stop();
}

std::uint16_t CCameraSimulator::Start()
{
    Parts& parts = *m_parts;
    if (parts.thread.joinable())
        return parts.port;
    parts.context.restart();
    const CameraSimulatorOptions& options = parts.options;
    const auto listen = [&](IHttpHandler& handler, const std::string& address, std::uint16_t last,
                            std::uint16_t wanted) {
        return std::make_unique<CHttpServer>(parts.context, handler, address, last != 0 ? last : wanted, HttpLimits{});
    };
    auto server = listen(parts.rtsp, options.bindAddress, parts.port, options.port);
    if (options.controlPort)
        parts.controlServer = listen(parts.control, kControlAddress, parts.controlPort, *options.controlPort);
    parts.server = std::move(server);
    parts.port = parts.server->Port();
    parts.controlPort = parts.controlServer ? parts.controlServer->Port() : std::uint16_t{0};
    parts.server->Start();
    if (parts.controlServer)
        parts.controlServer->Start();
    parts.thread = std::thread([&parts] { parts.context.run(); });
    return parts.port;
}

void CCameraSimulator::Stop()
{
    Parts& parts = *m_parts;
    if (!parts.thread.joinable())
        return;
    // With every socket closed and every timer cancelled the context runs out of work and its thread ends.
    asio::post(parts.context, [&parts] { parts.CloseEverything(); });
    parts.thread.join();
    parts.server.reset();
    parts.controlServer.reset();
}

std::uint16_t CCameraSimulator::Port() const noexcept
{
    return m_parts->port;
}

std::uint16_t CCameraSimulator::ControlPort() const noexcept
{
    return m_parts->controlPort;
}

CameraState CCameraSimulator::State() const
{
    return m_parts->camera.State();
}

std::string CCameraSimulator::Setting(std::string_view name) const
{
    for (const CameraSetting& setting : State().settings)
    {
        if (setting.name == name)
            return setting.value;
    }
    return "";
}

void CCameraSimulator::Change(const CameraChange& change)
{
    m_parts->camera.Change(change);
}

void CCameraSimulator::SetSetting(std::string name, std::string value)
{
    CameraChange change;
    change.settings.emplace_back(std::move(name), std::move(value));
    Change(change);
}

void CCameraSimulator::SetAuthentication(AuthenticationOptions options)
{
    CameraChange change;
    change.authentication = std::move(options);
    Change(change);
}

void CCameraSimulator::AddFault(Fault fault)
{
    m_parts->camera.AddFaults({std::move(fault)});
}

void CCameraSimulator::AddFault(std::string_view text)
{
    AddFault(FaultText::Parse(text));
}

void CCameraSimulator::OverrideBody(std::string path, std::string body, unsigned count)
{
    Fault fault = FaultText::WithDefaults(FaultKind::Body);
    fault.path = std::move(path);
    fault.text = std::move(body);
    fault.count = count;
    AddFault(std::move(fault));
}

void CCameraSimulator::ClearFaults()
{
    m_parts->camera.ClearFaults();
}

std::vector<JournalEntry> CCameraSimulator::Journal() const
{
    return m_parts->camera.Journal().Entries();
}

void CCameraSimulator::ClearJournal()
{
    m_parts->camera.Journal().Clear();
}

bool CCameraSimulator::WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const
{
    return m_parts->camera.Journal().WaitForEntries(count, timeout);
}

std::vector<StreamStatus> CCameraSimulator::Streams() const
{
    return m_parts->streams.Streams();
}

void CCameraSimulator::StopStreams()
{
    m_parts->streams.StopAll();
}

std::vector<RtspSessionStatus> CCameraSimulator::RtspSessions() const
{
    return m_parts->rtsp.Service().Sessions();
}

void CCameraSimulator::ExpireRtspSessions()
{
    m_parts->rtsp.Service().ExpireAll();
}

bool CCameraSimulator::WaitForStopRequest(std::chrono::milliseconds timeout) const
{
    Parts& parts = *m_parts;
    std::unique_lock lock(parts.stopMutex);
    return parts.stopChanged.wait_for(lock, timeout, [&] { return parts.stopRequested; });
}
