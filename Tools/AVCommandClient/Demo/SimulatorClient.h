#pragma once

#include "Demo/Simulator.h"

#include <cstdint>
#include <string>

/// The simulator by way of its control endpoint (JSON over HTTP). Keeps no connection open.
class CSimulatorClient final : public ISimulator
{
public:
    /// Asks at once, so that a wrong address shows here.
    CSimulatorClient(std::string host, std::uint16_t port);

    CameraAddress Address() override;
    SimulatedCamera Camera() override;
    std::vector<ReceivedRequest> TakeRequests() override;

    /// The address of this machine that the simulator sees.
    [[nodiscard]] const std::string& LocalAddress() const noexcept
    {
        return m_localAddress;
    }

private:
    std::string Get(const std::string& path);
    template <class Reader>
    auto Read(const std::string& path, Reader&& reader);

    std::string m_host;
    std::uint16_t m_port;
    std::string m_localAddress;
    std::uint64_t m_lastRequest = 0;
};
