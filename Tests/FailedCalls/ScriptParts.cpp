#include "Tests/FailedCalls/Script.h"

#include "Win32/ComMemory.h"

#include <objbase.h>

namespace
{
template <class Record>
void WriteSettings(std::ostream& values, const Record& settings)
{
    values << ScriptParts::TakeText(settings.MulticastAddress) << ' ' << settings.MulticastVideoPort << ' '
           << settings.ImageWidth << 'x' << settings.ImageHeight << '@' << settings.FrameRate << ' ' << settings.BitRate
           << ' ' << settings.UnicastVideoPort << ' ' << settings.AudioInVolume;
}

template <class Size>
void WriteSizes(std::ostream& values, Size* sizes, long count)
{
    for (long i = 0; sizes != nullptr && i < count; ++i)
        values << sizes[i].ImageWidth << 'x' << sizes[i].ImageHeight << '@' << sizes[i].FrameRate << ' ';
    ScriptParts::FreeBlock(sizes);
}

void OpenAs(const char* step, CRecorder& recorder, IAVCommand5& command, WORD port)
{
    const CBstr server = MakeBstr(L"127.0.0.1");
    const CBstr user = MakeBstr(L"admin");
    const CBstr password = MakeBstr(L"secret");
    recorder.Step(
        step, [&](std::ostream&) { return command.OpenConnection(server.get(), port, user.get(), password.get()); });
}
} // namespace

std::string ScriptParts::TakeText(BSTR text)
{
    const CBstr owned(text);
    Owned::GaveBack(Resource::Text, text);
    std::string narrow;
    for (UINT i = 0; i < ::SysStringLen(text); ++i)
        narrow.push_back(static_cast<char>(text[i])); // all of it is ASCII
    return narrow;
}

void ScriptParts::FreeBlock(void* block)
{
    Owned::GaveBack(Resource::TaskMemory, block);
    const CTaskMemory<void> owned(block);
}

ScriptParts::CommandPointer ScriptParts::Create(CRecorder& recorder)
{
    CommandPointer command;
    recorder.Step("create", [&](std::ostream&) {
        return ::CoCreateInstance(CLSID_AVCommand, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, command.putVoid());
    });
    return command;
}

void ScriptParts::Open(CRecorder& recorder, IAVCommand5& command, WORD port)
{
    OpenAs("open", recorder, command, port);
    recorder.Step("probe", [&](std::ostream&) { return command.IsImageSizeSupported(1, 1, 1); });
}

void ScriptParts::Reopen(CRecorder& recorder, IAVCommand5& command, WORD port)
{
    OpenAs("open again", recorder, command, port);
    recorder.Step("probe again", [&](std::ostream&) { return command.IsImageSizeSupported2(1, 1, 1, VC_H264); });
}

void ScriptParts::Connect(CRecorder& recorder, IAVCommand5& command)
{
    recorder.Step("connect", [&](std::ostream&) { return command.ConnectToCamera(); });
    recorder.Step("is connected", [&](std::ostream&) { return command.IsConnected(); });
}

void ScriptParts::ReadSettings(CRecorder& recorder, IAVCommand5& command)
{
    recorder.Step("settings", [&](std::ostream& values) {
        CameraSettings settings = {};
        const HRESULT hr = command.GetCameraSettings(&settings);
        WriteSettings(values, settings);
        return hr;
    });
    recorder.Step("settings 2", [&](std::ostream& values) {
        CameraSettings2 settings = {};
        const HRESULT hr = command.GetCameraSettings2(&settings);
        WriteSettings(values, settings);
        return hr;
    });
    recorder.Step("settings 3", [&](std::ostream& values) {
        CameraSettings3 settings = {};
        const HRESULT hr = command.GetCameraSettings3(&settings);
        WriteSettings(values, settings);
        return hr;
    });
    recorder.Step("image size", [&](std::ostream& values) {
        ImageSize2 size = {};
        const HRESULT hr = command.GetCameraImageSize(&size);
        values << size.ImageWidth << 'x' << size.ImageHeight << '@' << size.FrameRate;
        return hr;
    });
}

void ScriptParts::ReadSizes(CRecorder& recorder, IAVCommand5& command)
{
    long count = 0;
    recorder.Step("sizes", [&](std::ostream& values) {
        ImageSize* sizes = nullptr;
        const HRESULT hr = command.GetSupportedImageSizes(&sizes, &count);
        WriteSizes(values, sizes, count);
        return hr;
    });
    recorder.Step("sizes 2", [&](std::ostream& values) {
        ImageSize2* sizes = nullptr;
        const HRESULT hr = command.GetSupportedImageSizes2(&sizes, &count);
        WriteSizes(values, sizes, count);
        return hr;
    });
    recorder.Step("rates", [&](std::ostream& values) {
        long* rates = nullptr;
        const HRESULT hr = command.GetSupportedFrameRates(&rates, &count);
        for (long i = 0; rates != nullptr && i < count; ++i)
            values << rates[i] << ' ';
        FreeBlock(rates);
        return hr;
    });
}

void ScriptParts::Move(CRecorder& recorder, IAVCommand5& command)
{
    recorder.Step("ptz start", [&](std::ostream&) { return command.SendPTZStartCommand(PTZ_LEFT, 50); });
    recorder.Step("ptz stop", [&](std::ostream&) { return command.SendPTZStopCommand(PTZ_LEFT); });
}

void ScriptParts::Leave(CRecorder& recorder, CommandPointer& command)
{
    recorder.Step("close", [&](std::ostream&) { return command->CloseConnection(); });
    recorder.Step("release", [&](std::ostream&) {
        command.reset();
        return S_OK;
    });
}

const std::vector<Script>& Scripts()
{
    static const std::vector<Script> scripts = {
        {"ipela", &RunIpelaScript, true},
        {"axis streaming", &RunStreamingScript, true, true},
        {"axis", &RunAxisScript, true},
        {"axis, relative URLs", &RunRelativeScript, true, true, "InternetCombineUrlA"},
        {"registration", &RunRegistrationScript, true},
        {"ipela, no log", &RunIpelaScript, false},
        {"axis streaming, no log", &RunStreamingScript, false, true},
        {"axis, no log", &RunAxisScript, false},
        {"registration, no log", &RunRegistrationScript, false},
    };
    return scripts;
}
