#include "Tests/CommandSets/SimulatedCamera.h"

#include "CameraSim/CameraSimulator.h"

CSimulatedCamera::CSimulatedCamera(const std::string& model, bool is60Hz, bool hasFactorySettings)
{
    CameraSimulatorOptions options;
    options.model = model;
    options.standard = is60Hz ? VideoStandard::Ntsc : VideoStandard::Pal;
    options.factorySettings = hasFactorySettings;
    m_simulator = std::make_unique<CCameraSimulator>(std::move(options));
    m_simulator->Start();
}

CSimulatedCamera::~CSimulatedCamera() = default;

std::uint16_t CSimulatedCamera::Port() const
{
    return m_simulator->Port();
}

std::size_t CSimulatedCamera::CountOfStreams() const
{
    return m_simulator->Streams().size();
}

std::vector<std::string> CSimulatedCamera::Targets() const
{
    std::vector<std::string> result;
    for (const JournalEntry& entry : m_simulator->Journal())
        result.push_back(entry.request.target);
    return result;
}
