#include "Tests/FailedCalls/KeepAliveDriver.h"
#include "Tests/FailedCalls/Script.h"

#include "Win32/ComMemory.h"

namespace
{
void SetUp(CRecorder& recorder, IAVCommand5& command, const char* step, long stream)
{
    recorder.Step(step, [&](std::ostream& values) {
        TransportParameters transport = {MakeBstr(L"RTP/AVP").release(), FALSE, 9, nullptr, 0, 0, 0, nullptr};
        const HRESULT hr = command.SetupTransport(stream, &transport);
        const bool isSetUp = transport.RtpPort != 0; // another one each time
        const bool hasSource = !ScriptParts::TakeText(transport.Ssrc).empty();
        values << ScriptParts::TakeText(transport.Protocol) << ' ' << ScriptParts::TakeText(transport.MulticastAddress)
               << ' ' << transport.ClientPort << isSetUp << hasSource;
        return hr;
    });
}

void ReadParameterSets(CRecorder& recorder, IAVCommand5& command, const char* step)
{
    recorder.Step(step, [&](std::ostream& values) {
        H264Parameters parameters = {};
        const HRESULT hr = command.GetH264Parameters(&parameters);
        values << ScriptParts::TakeText(parameters.ProfileLeveId) << ' ' << parameters.PacketizationMode << ' '
               << parameters.ParameterSet1Size << ' ' << parameters.ParameterSet2Size;
        ScriptParts::FreeBlock(parameters.ParameterSets);
        return hr;
    });
}

void StreamOverRtsp(CRecorder& recorder, IAVCommand5& command)
{
    recorder.Step("rtsp", [&](std::ostream&) { return command.ConnectToRtspServer(TRUE); });
    SetUp(recorder, command, "set up video", 0);
    SetUp(recorder, command, "set up audio", 1);
    ReadParameterSets(recorder, command, "h264");
    recorder.Step("play", [&](std::ostream&) { return command.StartMpeg4Video2(FALSE, 9); });
    // Whatever comes of a beat, nobody is told; it must end.
    recorder.Step("keep-alive", [](std::ostream&) { return KeepAliveDriver::Beat() ? S_OK : E_FAIL; });
    recorder.Step("pause", [&](std::ostream&) { return command.PauseStreaming(); });
    recorder.Step("play again", [&](std::ostream&) { return command.StartAudio2(FALSE, 9); });
}

/// A client that asks for streams only.
ScriptParts::CommandPointer OpenForStreams(CRecorder& recorder, WORD port)
{
    ScriptParts::CommandPointer command = ScriptParts::Create(recorder);
    if (command)
        ScriptParts::Open(recorder, *command.get(), port);
    return command;
}

/// A second client of the same camera joins the session and leaves first.
void Join(CRecorder& recorder, WORD port)
{
    ScriptParts::CommandPointer command = OpenForStreams(recorder, port);
    if (!command)
        return;
    recorder.Step("join", [&](std::ostream&) { return command->ConnectToRtspServer(FALSE); });
    ReadParameterSets(recorder, *command.get(), "h264 joined");
    ScriptParts::Leave(recorder, command);
}
} // namespace

void RunAxisScript(CRecorder& recorder, const Surroundings& surroundings)
{
    ScriptParts::CommandPointer command = ScriptParts::Create(recorder);
    if (!command)
        return;
    ScriptParts::Open(recorder, *command.get(), surroundings.axisPort);
    ScriptParts::Connect(recorder, *command.get());
    recorder.Step("set size", [&](std::ostream&) { return command->SetImageSize2(480, 270, 30, VC_H264); });
    recorder.Step("set bit rate", [&](std::ostream&) { return command->SetBitRate(1000); });
    ScriptParts::ReadSettings(recorder, *command.get());
    ScriptParts::ReadSizes(recorder, *command.get());
    recorder.Step("size", [&](std::ostream&) { return command->IsImageSizeSupported2(480, 270, 30, VC_H264); });
    ScriptParts::Move(recorder, *command.get());
    ScriptParts::Leave(recorder, command);
}

void RunStreamingScript(CRecorder& recorder, const Surroundings& surroundings)
{
    ScriptParts::CommandPointer command = OpenForStreams(recorder, surroundings.axisPort);
    if (!command)
        return;
    StreamOverRtsp(recorder, *command.get());
    Join(recorder, surroundings.axisPort);
    recorder.Step("stop", [&](std::ostream&) { return command->StopStreaming(); });
    ScriptParts::Leave(recorder, command);
}

void RunRelativeScript(CRecorder& recorder, const Surroundings& surroundings)
{
    ScriptParts::CommandPointer command = OpenForStreams(recorder, surroundings.relativePort);
    if (!command)
        return;
    recorder.Step("rtsp", [&](std::ostream&) { return command->ConnectToRtspServer(TRUE); });
    SetUp(recorder, *command.get(), "set up video", 0);
    SetUp(recorder, *command.get(), "set up audio", 1);
    ScriptParts::Leave(recorder, command);
}
