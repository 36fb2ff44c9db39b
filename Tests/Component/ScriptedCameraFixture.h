#pragma once

#include "Tests/Component/ComponentFixture.h"
#include "Tests/Support/ScriptedCamera.h"

inline std::vector<std::string> RequestHeads(const CScriptedCamera& camera)
{
    return camera.Requests();
}

/// The answer to the probe.
inline ScriptedReply ProbeReply(const std::string& model = "SNC-EP580")
{
    return HttpAnswer(200, "ModelName=" + model + "&Serial=4711&SoftVersion=1.10");
}

/// A test of the component with a camera that plays a script.
class ScriptedCameraTest : public CameraTest<CScriptedCamera>
{
protected:
    void Start(std::vector<ScriptedReply> script, const wchar_t* userName = L"", const wchar_t* password = L"")
    {
        m_command.reset();
        m_camera.emplace(std::move(script));
        m_seen = 0;
        m_command = CreateCommand();
        ASSERT_EQ(S_OK, Open(m_command, m_camera->Port(), userName, password));
        Forget();
    }
    /// ... and whose family is found before the script begins.
    void StartProbed(std::vector<ScriptedReply> script, const std::string& model = "SNC-EP580")
    {
        script.insert(script.begin(), ProbeReply(model));
        Start(std::move(script));
        ASSERT_EQ(S_FALSE, m_command->IsImageSizeSupported(1, 1, 1));
        ASSERT_EQ(1u, m_camera->Requests().size());
        Forget();
    }
};
