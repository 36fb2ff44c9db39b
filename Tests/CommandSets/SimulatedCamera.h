#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

class CCameraSimulator;

/// The camera simulator behind a narrow door: its own types (it has a VideoStandard too) stay out of the tests of the
/// command sets.
class CSimulatedCamera
{
public:
    CSimulatedCamera();
    ~CSimulatedCamera();
    CSimulatedCamera(const CSimulatedCamera&) = delete;
    CSimulatedCamera& operator=(const CSimulatedCamera&) = delete;

    /// Replaces the camera by a new one, with an empty journal and no streams. With factory settings a client must set
    /// it up before it can stream.
    void Become(const std::string& model, bool is60Hz, bool hasFactorySettings);

    std::uint16_t Port() const;
    std::size_t CountOfStreams() const;
    /// What this camera was asked so far, with the leading slash.
    std::vector<std::string> Targets() const;
    /// Empty when the camera has no such setting.
    std::string Setting(const std::string& name) const;
    /// The speeds of pan and tilt in degrees a second, and whether the camera zooms in.
    std::tuple<double, double, bool> Movement() const;

private:
    std::unique_ptr<CCameraSimulator> m_simulator;
};
