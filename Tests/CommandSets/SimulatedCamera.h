#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CCameraSimulator;

/// The camera simulator behind a narrow door: its own types (it has a VideoStandard too) stay out of the tests of the
/// command sets.
class CSimulatedCamera
{
public:
    /// With factory settings a client must set the camera up before it can stream.
    CSimulatedCamera(const std::string& model, bool is60Hz, bool hasFactorySettings);
    ~CSimulatedCamera();
    CSimulatedCamera(const CSimulatedCamera&) = delete;
    CSimulatedCamera& operator=(const CSimulatedCamera&) = delete;

    std::uint16_t Port() const;
    std::size_t CountOfStreams() const;
    /// What was asked so far, with the leading slash.
    std::vector<std::string> Targets() const;

private:
    std::unique_ptr<CCameraSimulator> m_simulator;
};
