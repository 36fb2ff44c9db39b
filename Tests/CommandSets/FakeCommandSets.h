#pragma once

#include "CommandSetFamilies.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What the fake command sets are told to do, and what was done with them. One for the whole program, since families
/// are made by plain functions; a test starts it anew.
struct FakeCommandSets
{
    /// What the probes of the first and of the second family answer, one after the other; the last one for good.
    std::vector<HRESULT> firstFamily = {S_OK};
    std::vector<HRESULT> secondFamily = {S_OK};
    HRESULT result = S_OK;          ///< of every operation
    std::function<void()> onCreate; ///< may throw, as the next two
    std::function<void()> onProbe;
    std::function<void()> onOperation;

    std::vector<std::string> families;   ///< "create 1", "probe 1", "destroy 1" and so on, in order
    std::vector<std::string> operations; ///< "SetBitRate 64"

    static FakeCommandSets& Get()
    {
        static FakeCommandSets fakes;
        return fakes;
    }
};

inline std::string ShowArgument(std::int64_t number)
{
    return " " + std::to_string(number);
}
inline std::string ShowArgument(const wchar_t* text)
{
    std::string shown = " '";
    for (; *text != L'\0'; ++text)
        shown.push_back(static_cast<char>(*text));
    return shown + "'";
}
inline std::string ShowArgument(const void* pointer)
{
    return " *" + std::to_string(reinterpret_cast<std::uintptr_t>(pointer));
}

/// Writes down each operation with its arguments and touches none of them.
class CFakeCommandSet final : public CCgiCommandBase
{
public:
    CFakeCommandSet(CAsyncHttpRequest& httpRequest, int family) : CCgiCommandBase(&httpRequest), m_family(family)
    {
        if (m_fakes.onCreate)
            m_fakes.onCreate();
        NoteLife("create");
    }
    ~CFakeCommandSet() override
    {
        NoteLife("destroy");
    }

    HRESULT TryTalkToCamera() override
    {
        NoteLife("probe");
        if (m_fakes.onProbe)
            m_fakes.onProbe();
        std::vector<HRESULT>& results = m_family == 1 ? m_fakes.firstFamily : m_fakes.secondFamily;
        const HRESULT result = results.front();
        if (results.size() > 1)
            results.erase(results.begin());
        return result;
    }
    HRESULT ConnectToCamera() override
    {
        return Operation("ConnectToCamera");
    }
    HRESULT ConnectToRtspServer(const wchar_t* serverName, WORD port, const wchar_t* userName, const wchar_t* password,
                                bool joinRtspSession) override
    {
        return Operation("ConnectToRtspServer", serverName, port, userName, password, joinRtspSession);
    }
    HRESULT SetupTransport(LONG streamId, TransportParameters* parameters) override
    {
        return Operation("SetupTransport", streamId, parameters);
    }
    HRESULT StartVideo(bool isMulticast, WORD udpPort) override
    {
        return Operation("StartVideo", isMulticast, udpPort);
    }
    HRESULT StartAudio(bool isMulticast, WORD udpPort) override
    {
        return Operation("StartAudio", isMulticast, udpPort);
    }
    HRESULT PauseStreaming() override
    {
        return Operation("PauseStreaming");
    }
    HRESULT StopStreaming() override
    {
        return Operation("StopStreaming");
    }
    HRESULT GetSupportedImageSizes(ImageSize2** sizes, LONG* count) override
    {
        return Operation("GetSupportedImageSizes", sizes, count);
    }
    HRESULT IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override
    {
        return Operation("IsImageSizeSupported", width, height, frameRate, videoEncoding);
    }
    HRESULT GetCameraSettings(CameraSettings3* settings) override
    {
        return Operation("GetCameraSettings", settings);
    }
    HRESULT GetSupportedFrameRates(LONG** rates, LONG* count) override
    {
        return Operation("GetSupportedFrameRates", rates, count);
    }
    HRESULT GetCameraImageSize(ImageSize2* imageSize) override
    {
        return Operation("GetCameraImageSize", imageSize);
    }
    HRESULT GetH264Parameters(H264Parameters* parameters) override
    {
        return Operation("GetH264Parameters", parameters);
    }
    HRESULT SetImageSize(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override
    {
        return Operation("SetImageSize", width, height, frameRate, videoEncoding);
    }
    HRESULT SetBitRate(LONG bitRate) override
    {
        return Operation("SetBitRate", bitRate);
    }
    HRESULT SetAudioInVolume(LONG volume) override
    {
        return Operation("SetAudioInVolume", volume);
    }
    HRESULT SendPTZCommand(PTZCommand command, PTDistance distance) override
    {
        return Operation("SendPTZCommand", command, distance);
    }
    HRESULT SendPTZAreaZoomCommand(LONG x, LONG y, LONG width, LONG height) override
    {
        return Operation("SendPTZAreaZoomCommand", x, y, width, height);
    }
    HRESULT SendPTZStartCommand(PTZCommand command, LONG speed) override
    {
        return Operation("SendPTZStartCommand", command, speed);
    }
    HRESULT SendPTZStopCommand(PTZCommand command) override
    {
        return Operation("SendPTZStopCommand", command);
    }

private:
    void NoteLife(const char* event)
    {
        m_fakes.families.push_back(event + ShowArgument(m_family));
    }
    template <class... Arguments>
    HRESULT Operation(std::string name, Arguments... arguments)
    {
        ((name += ShowArgument(arguments)), ...);
        m_fakes.operations.push_back(std::move(name));
        if (m_fakes.onOperation)
            m_fakes.onOperation();
        return m_fakes.result;
    }

    FakeCommandSets& m_fakes = FakeCommandSets::Get();
    const int m_family;
};
