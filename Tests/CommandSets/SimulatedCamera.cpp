#include "Tests/CommandSets/SimulatedCamera.h"

#include "CameraSim/CameraSimulator.h"

CSimulatedCamera::CSimulatedCamera() : m_simulator(std::make_unique<CCameraSimulator>())
{
    m_simulator->Start();
}

CSimulatedCamera::~CSimulatedCamera() = default;

void CSimulatedCamera::Become(const std::string& model, bool is60Hz, bool hasFactorySettings)
{
    CameraChange change;
    change.model = model;
    change.standard = is60Hz ? VideoStandard::Ntsc : VideoStandard::Pal;
    change.factorySettings = hasFactorySettings;
    m_simulator->Change(change);
    m_simulator->StopStreams();
    m_simulator->ClearJournal();
}

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

std::string CSimulatedCamera::Setting(const std::string& name) const
{
    return m_simulator->Setting(name);
}

std::tuple<double, double, bool> CSimulatedCamera::Movement() const
{
    const PtzSpeed speed = m_simulator->State().speed;
    return {speed.pan, speed.tilt, speed.zoom > 0};
}
