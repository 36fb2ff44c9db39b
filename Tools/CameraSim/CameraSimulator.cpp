#include "CameraSim/CameraSimulator.h"

#include "CameraSim/Camera/CameraService.h"
#include "CameraSim/Http/HttpServer.h"
#include "CameraSim/Rtp/RtpSender.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

CameraServiceOptions ServiceOptions(const CameraSimulatorOptions& options)
{
    return {options.model,          options.standard, options.factorySettings, options.requireStreamSettings,
            options.authentication, options.clock,    options.nonceSource,     options.onRequest};
}

} // namespace

struct CCameraSimulator::Parts
{
    explicit Parts(CameraSimulatorOptions given)
        : options(std::move(given)), streams(context, options.streamTimeLimit), camera(ServiceOptions(options), streams)
    {
        camera.AddFaults(options.faults);
    }

    void CloseEverything() noexcept
    {
        streams.StopAll();
        server->Close();
    }

    CameraSimulatorOptions options;
    asio::io_context context{1};
    CRtpSender streams;
    CCameraService camera;
    std::unique_ptr<CHttpServer> server;
    std::thread thread;
    std::uint16_t port = 0;
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
    const std::uint16_t wanted = parts.port != 0 ? parts.port : parts.options.port;
    parts.server =
        std::make_unique<CHttpServer>(parts.context, parts.camera, parts.options.bindAddress, wanted, HttpLimits{});
    parts.port = parts.server->Port();
    parts.server->Start();
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
}

std::uint16_t CCameraSimulator::Port() const noexcept
{
    return m_parts->port;
}

std::uint16_t CCameraSimulator::ControlPort() const noexcept
{
    return 0;
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

bool CCameraSimulator::WaitForStopRequest(std::chrono::milliseconds timeout) const
{
    static_cast<void>(timeout);
    return false;
}
