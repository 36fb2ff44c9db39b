#pragma once

#include "CameraSim/CameraSimulator.h"
#include "Tests/Component/ComponentFixture.h"

#include <set>
#include <string>
#include <vector>

/// What changes a setting of an Axis camera.
inline const std::string kUpdate = "axis-cgi/param.cgi?action=update&";

/// What the component sent, without what WinInet adds: the POST of a tunnel once more, with the same cookie, when the
/// camera has ended a connection that had been used before (Microsoft KB 895954).
inline std::vector<std::string> RequestHeads(const CCameraSimulator& camera)
{
    std::vector<std::string> heads;
    std::set<std::string> posted;
    for (const JournalEntry& entry : camera.Journal())
    {
        const std::string* cookie = entry.request.Header("x-sessioncookie");
        const bool isRepeated = cookie && entry.request.method == "POST" && !posted.insert(*cookie).second;
        if (!isRepeated)
            heads.push_back(entry.request.head);
    }
    return heads;
}

/// What a cut or broken answer amounts to differs between the systems' HTTP layers. Settings out of it are a failure
/// in any case; a command may count as done when its status was still to be made out.
inline constexpr HRESULT kFailure = 1;
inline constexpr HRESULT kDoneOrFailed = 2;

/// For answers that come too late, while they are waited for; a camera that is well has the usual limit.
inline constexpr wchar_t kShortLimitMs[] = L"600";

/// A test of the component with the camera simulator.
class SimulatedCameraTest : public CameraTest<CCameraSimulator>
{
protected:
    /// A camera and an object with an open connection to it; nothing is sent yet.
    void Start(CameraSimulatorOptions options = {}, const wchar_t* userName = L"", const wchar_t* password = L"")
    {
        m_command.reset();
        m_camera.emplace(std::move(options));
        m_seen = 0;
        const WORD port = m_camera->Start();
        m_command = CreateCommand();
        ASSERT_EQ(S_OK, Open(m_command, port, userName, password));
        Forget();
    }
    /// ... whose family is found and whose settings are right.
    void StartConnected(CameraSimulatorOptions options = {})
    {
        Start(std::move(options));
        ASSERT_EQ(S_OK, m_command->ConnectToCamera());
        Forget();
    }
};
