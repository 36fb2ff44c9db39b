#pragma once

#include "CameraSim/CameraSimulator.h"
#include "Rtsp/TunnelClient.h"

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

/// A running Axis camera whose clock a test moves.
class CRtspCamera
{
public:
    explicit CRtspCamera(CameraSimulatorOptions options = {})
        : camera(WithClock(std::move(options))), port(camera.Start())
    {
    }

    void Advance(std::chrono::seconds by)
    {
        m_ahead += by.count();
    }

    /// The journal's last entry of that method.
    JournalEntry Last(std::string_view method) const
    {
        JournalEntry found;
        for (JournalEntry& entry : camera.Journal())
        {
            if (entry.request.method == method)
                found = std::move(entry);
        }
        return found;
    }

    bool WaitForSessions(std::size_t count) const
    {
        return WaitUntil([&] { return camera.RtspSessions().size() == count; });
    }

    /// False when it does not become true in time.
    template <class Condition>
    bool WaitUntil(Condition condition) const
    {
        const auto deadline = std::chrono::steady_clock::now() + CTestClient::kPatience;
        CTestClient other(port);
        while (!condition())
        {
            // A round trip, so that the camera gets on with what it does meanwhile.
            if (other.Get("/axis-cgi/param.cgi").status == 0 || std::chrono::steady_clock::now() > deadline)
                return false;
        }
        return true;
    }

private:
    CameraSimulatorOptions WithClock(CameraSimulatorOptions options)
    {
        options.model = "AXIS M5525-E";
        options.clock = [this] { return m_started + std::chrono::seconds(m_ahead.load()); };
        return options;
    }

    // Before the camera, which asks for the time.
    const std::chrono::steady_clock::time_point m_started = std::chrono::steady_clock::now();
    std::atomic<std::int64_t> m_ahead{0};

public:
    CCameraSimulator camera;
    const std::uint16_t port;
};
