#include "Tests/FailedCalls/Script.h"

namespace
{
/// What the camera is set to is what it has been set to before, so that a call that fails changes no later one.
void ChangeSettings(CRecorder& recorder, IAVCommand5& command)
{
    recorder.Step("set size", [&](std::ostream&) { return command.SetImageSize(640, 480, 30); });
    recorder.Step("set bit rate", [&](std::ostream&) { return command.SetBitRate(2048); });
    recorder.Step("set volume", [&](std::ostream&) { return command.SetAudioInVolume(-2); });
}

void StreamOverHttp(CRecorder& recorder, IAVCommand5& command)
{
    recorder.Step("set up", [&](std::ostream& values) {
        TransportParameters transport = {nullptr, TRUE, 0, nullptr, 0, 0, 0, nullptr};
        const HRESULT hr = command.SetupTransport(0, &transport);
        values << ScriptParts::TakeText(transport.MulticastAddress) << ' ' << transport.RtpPort;
        return hr;
    });
    // To the discard port of this machine.
    recorder.Step("video", [&](std::ostream&) { return command.StartMpeg4Video2(FALSE, 9); });
    recorder.Step("audio", [&](std::ostream&) { return command.StartAudio2(FALSE, 9); });
    recorder.Step("video to all", [&](std::ostream&) { return command.StartMpeg4Video(); });
    recorder.Step("audio to all", [&](std::ostream&) { return command.StartAudio(); });
    recorder.Step("h264", [&](std::ostream& values) {
        H264Parameters parameters = {};
        const HRESULT hr = command.GetH264Parameters(&parameters);
        values << parameters.PacketizationMode;
        return hr;
    });
    recorder.Step("pause", [&](std::ostream&) { return command.PauseStreaming(); });
    recorder.Step("stop", [&](std::ostream&) { return command.StopStreaming(); });
}
} // namespace

void RunIpelaScript(CRecorder& recorder, const Surroundings& surroundings)
{
    ScriptParts::CommandPointer command = ScriptParts::Create(recorder);
    if (!command)
        return;
    ScriptParts::Open(recorder, *command.get(), surroundings.ipelaPort);
    ScriptParts::Connect(recorder, *command.get());
    ChangeSettings(recorder, *command.get());
    ScriptParts::ReadSettings(recorder, *command.get());
    ScriptParts::ReadSizes(recorder, *command.get());
    ScriptParts::Move(recorder, *command.get());
    recorder.Step("ptz", [&](std::ostream&) { return command->SendPTZCommand(PTZ_UPPER, PT_10); });
    recorder.Step("ptz area", [&](std::ostream&) { return command->SendPTZAreaZoomCommand(10, 10, 100, 80); });
    StreamOverHttp(recorder, *command.get());
    ScriptParts::Reopen(recorder, *command.get(), surroundings.ipelaPort);
    ScriptParts::Leave(recorder, command);
}
