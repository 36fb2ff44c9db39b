#pragma once

#include "CameraSim/Camera/CameraState.h"
#include "CameraSim/Camera/MediaStreams.h"
#include "CameraSim/Journal/JournalEntry.h"
#include "CameraSim/Rtsp/RtspSessionStatus.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct CameraSimulatorOptions
{
    /// Any name. One of an Axis model, or one that begins with "AXIS", makes an Axis camera; any other makes an IPELA
    /// one, and what begins like no known model is an older camera of unknown model.
    std::string model = "SNC-EP580";
    VideoStandard standard = VideoStandard::Ntsc;
    bool factorySettings = false;      ///< as out of the box: a client must set the camera up before it can stream
    bool requireStreamSettings = true; ///< with those settings a stream start is refused
    AuthenticationOptions authentication = {};
    RtspOptions rtsp = {};

    std::string bindAddress = "127.0.0.1";
    std::uint16_t port = 0;                        ///< 0: chosen by the system
    std::optional<std::uint16_t> controlPort = {}; ///< JSON control on 127.0.0.1; 0: chosen; no value: none
    std::chrono::seconds streamTimeLimit{600};     ///< a stream ends by itself after so long

    std::vector<Fault> faults = {};
    std::function<std::chrono::steady_clock::time_point()> clock = {}; ///< moves the camera and ends RTSP
                                                                       ///< sessions; empty: the steady clock
    std::function<std::string()> nonceSource = {};                     ///< of Digest challenges; empty: random
    std::function<void(const JournalEntry&)> onRequest = {};           ///< called on the simulator's thread
};

/// A network camera in this process: a web server on 127.0.0.1 that behaves like the camera, misbehaves on demand,
/// and keeps a journal of every request. For tests and for the camerasim program.
///
///     CCameraSimulator camera({.model = "SNC-EP580"});
///     const std::uint16_t port = camera.Start();
///     ... let the client talk to 127.0.0.1:port ...
///     EXPECT_EQ("/command/inquiry.cgi?inq=system", camera.Journal().at(0).request.target);
///
/// Owns one thread, which serves everything; any thread may call any method, but Start and Stop not at the same time.
/// Start, Change and AddFault throw std::runtime_error or std::invalid_argument with a text for the user.
/// A journal entry exists before the first byte of its answer leaves, so whoever holds the answer finds the entry.
class CCameraSimulator
{
public:
    explicit CCameraSimulator(CameraSimulatorOptions options = {});
    /// Stops.
    ~CCameraSimulator();
    CCameraSimulator(const CCameraSimulator&) = delete;
    CCameraSimulator& operator=(const CCameraSimulator&) = delete;

    /// Listens and serves; returns the port. After a Stop it takes the same ports again, like a camera that restarts.
    std::uint16_t Start();
    /// Closes every connection and ends every stream; state and journal stay. Harmless when not started.
    void Stop();

    std::uint16_t Port() const noexcept;
    /// 0 when there is no control interface.
    std::uint16_t ControlPort() const noexcept;

    CameraState State() const;
    /// The value of one setting; empty when the camera has none of that name.
    std::string Setting(std::string_view name) const;
    void Change(const CameraChange& change);
    /// Short for the most frequent changes.
    void SetSetting(std::string name, std::string value);
    void SetAuthentication(AuthenticationOptions options);

    void AddFault(Fault fault);
    /// As the --fault option writes it, for instance "delay:1500@command/inquiry.cgi*2".
    void AddFault(std::string_view text);
    /// Answers requests whose target begins so with 200 and this body instead of the camera's own answer.
    void OverrideBody(std::string path, std::string body, unsigned count = 0);
    void ClearFaults();

    std::vector<JournalEntry> Journal() const;
    void ClearJournal();
    /// False when the journal does not hold so many entries in time.
    bool WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;

    std::vector<StreamStatus> Streams() const;
    void StopStreams();

    std::vector<RtspSessionStatus> RtspSessions() const;
    /// Ends them all, as if their time were over.
    void ExpireRtspSessions();

    /// Waits until the control interface was told to stop; false when the time is over first.
    bool WaitForStopRequest(std::chrono::milliseconds timeout) const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};
