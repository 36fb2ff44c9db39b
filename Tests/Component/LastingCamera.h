#pragma once

#include "Tests/Component/ScriptedCameraFixture.h"

#include <deque>

inline const std::string kCantTalk = "8 CAVCommand::ChooseCgiCommandSet, can't talk to camera.";

/// A camera that keeps its port until the program ends: a failure is reported once an hour for the whole process and
/// by the number of the port, so no later test may get it.
inline CScriptedCamera& MakeCamera(std::vector<ScriptedReply> script)
{
    static std::deque<CScriptedCamera> cameras;
    return cameras.emplace_back(std::move(script));
}

inline ScriptedReply Silence()
{
    ScriptedReply reply;
    reply.silentAfter = true;
    return reply;
}

/// How often the camera was asked whether it is an IPELA one.
inline std::size_t CountProbes(const CScriptedCamera& camera)
{
    std::size_t count = 0;
    for (const std::string& head : camera.Requests())
        count += RequestOf(head) == kProbe ? 1 : 0;
    return count;
}

/// A test with cameras that last.
class LastingCameraTest : public ComponentTest
{
protected:
    static CommandPointer OpenTo(const CScriptedCamera& camera, const wchar_t* serverName = L"127.0.0.1")
    {
        CommandPointer command = CreateCommand();
        EXPECT_EQ(S_OK, Open(command, camera.Port(), L"", L"", serverName));
        return command;
    }
};
