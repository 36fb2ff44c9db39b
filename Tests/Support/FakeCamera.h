#pragma once

#include "Core/ComponentHost.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What a fake camera holds and has been asked, kept outside of it so that a test can look after the camera has gone.
struct FakeCameraState
{
    std::vector<std::string> calls;
    /// The result of a call by its name here; S_OK for those that are not listed.
    std::map<std::string, HResult> results;
    CameraAddress address;
    bool isOpen = false;
    /// Whether it streams over RTSP, and what it announces then.
    bool isRtsp = false;
    H264Description h264{"4D401F", 1, "\x67\x4D\x40\x1F", "\x68\xEE"};
    /// What it grants of a multicast transport.
    std::string multicastGroup = "239.0.0.1";
    std::uint16_t multicastPort = 5000;
    StreamSettings settings{.multicastAddress = "239.0.0.1",
                            .multicastVideoPort = 2000,
                            .multicastAudioPort = 2002,
                            .unicastVideoPort = 3000,
                            .unicastAudioPort = 3002,
                            .bitRateKbps = 2048,
                            .audioInVolume = -2,
                            .picture = {1280, 720, 30, StreamCodec::kH264}};
    std::vector<PictureFormat> sizes{{1920, 1080, 30, StreamCodec::kH264}, {640, 480, 30, StreamCodec::kMpeg4}};
    std::vector<std::int32_t> rates{1, 5, 10, 15, 30};
    /// Called for every call that got S_OK, with its text; lets a fake simulator see it.
    std::function<void(const std::string& call)> onSuccess;
};

/// A camera without a camera: remembers each call as text, "SetBitRate 1000", and answers from its state. Refuses
/// sizes that it does not list, as the component does.
class CFakeCamera final : public ICamera
{
public:
    explicit CFakeCamera(FakeCameraState& state) noexcept : m_state(state) {}

    HResult OpenConnection(const CameraAddress& address) override
    {
        m_state.address = address;
        m_state.isOpen = true;
        return Record("OpenConnection");
    }
    HResult CloseConnection() override
    {
        m_state.isOpen = false;
        return Record("CloseConnection");
    }
    HResult IsConnected() override
    {
        return m_state.isOpen ? HResults::kOk : HResults::kFalse;
    }
    HResult ConnectToCamera() override
    {
        return Record("ConnectToCamera");
    }
    HResult GetSettings(StreamSettings& settings) override
    {
        return Read("GetSettings", settings, m_state.settings);
    }
    HResult GetCameraImageSize(PictureFormat& format) override
    {
        return Read("GetCameraImageSize", format, m_state.settings.picture);
    }
    HResult GetSupportedImageSizes(std::vector<PictureFormat>& sizes) override
    {
        return Read("GetSupportedImageSizes", sizes, m_state.sizes);
    }
    HResult GetSupportedFrameRates(std::vector<std::int32_t>& rates) override
    {
        return Read("GetSupportedFrameRates", rates, m_state.rates);
    }
    HResult ConnectToRtspServer(bool joins) override
    {
        const HResult hr = Record("ConnectToRtspServer", {joins});
        return hr == HResults::kOk && !m_state.isRtsp ? HResults::kFalse : hr;
    }
    HResult SetupTransport(MediaStream stream, MediaTransport& transport) override
    {
        const HResult hr = Record(stream == MediaStream::kVideo ? "SetupVideo" : "SetupAudio",
                                  {transport.isMulticast, transport.clientPort});
        if (!HResults::Succeeded(hr))
            return hr;
        transport.rtpPort = 7000;
        if (!transport.isMulticast)
            return hr;
        transport.multicastAddress = m_state.multicastGroup;
        transport.rtpPort = m_state.multicastPort;
        return hr;
    }
    HResult GetH264Parameters(H264Description& description) override
    {
        return Read("GetH264Parameters", description, m_state.h264);
    }
    HResult SetImageSize(const PictureFormat& format) override
    {
        const auto isOffered = [&format](const PictureFormat& size) {
            return size.width == format.width && size.height == format.height && size.codec == format.codec;
        };
        if (std::ranges::none_of(m_state.sizes, isOffered))
            m_state.results["SetImageSize"] = HResults::kInvalidArgument;
        else
            m_state.results.erase("SetImageSize");
        return Record("SetImageSize", {format.width, format.height, format.frameRate, Number(format.codec)});
    }
    HResult SetBitRate(std::int32_t bitRateKbps) override
    {
        return Record("SetBitRate", {bitRateKbps});
    }
    HResult SetAudioInVolume(std::int32_t volume) override
    {
        return Record("SetAudioInVolume", {volume});
    }
    HResult Step(MoveDirection direction, StepSize size) override
    {
        return Record("Step", {Number(direction), Number(size)});
    }
    HResult StartMove(MoveDirection direction, std::int32_t speedPercent) override
    {
        return Record("StartMove", {Number(direction), speedPercent});
    }
    HResult StopMove(MoveDirection direction) override
    {
        return Record("StopMove", {Number(direction)});
    }
    HResult ZoomToArea(const PictureArea& area) override
    {
        return Record("ZoomToArea", {area.x, area.y, area.width, area.height});
    }
    HResult StartVideo(const StreamTarget& target) override
    {
        return Record("StartVideo", {target.isMulticast, target.udpPort});
    }
    HResult StartAudio(const StreamTarget& target) override
    {
        return Record("StartAudio", {target.isMulticast, target.udpPort});
    }
    HResult PauseStreaming() override
    {
        return m_state.isRtsp ? Record("PauseStreaming") : HResults::kNotImplemented;
    }
    HResult StopStreaming() override
    {
        return m_state.isRtsp ? Record("StopStreaming") : HResults::kNotImplemented;
    }

private:
    template <class Enumeration>
    static std::int32_t Number(Enumeration value) noexcept
    {
        return static_cast<std::int32_t>(value);
    }

    HResult Record(const std::string& name, const std::vector<std::int32_t>& values = {})
    {
        std::string text = name;
        for (const std::int32_t value : values)
            text += " " + std::to_string(value);
        m_state.calls.push_back(text);
        const auto result = m_state.results.find(name);
        const HResult hr = result == m_state.results.end() ? HResults::kOk : result->second;
        if (hr == HResults::kOk && m_state.onSuccess)
            m_state.onSuccess(text);
        return hr;
    }

    template <class Value>
    HResult Read(const std::string& name, Value& out, const Value& value)
    {
        const HResult hr = Record(name);
        if (HResults::Succeeded(hr))
            out = value;
        return hr;
    }

    FakeCameraState& m_state;
};

/// What a fake component host does and has been asked.
struct FakeHostState
{
    FakeCameraState camera;
    HResult createResult = HResults::kOk;
    HResult registerResult = HResults::kOk;
    int countRegistered = 0;
    int countUnregistered = 0;
};

/// Hands out fake cameras that share one state. Borrows it.
class CFakeComponentHost final : public IComponentHost
{
public:
    explicit CFakeComponentHost(FakeHostState& state) noexcept : m_state(state) {}

    HResult CreateCamera(std::unique_ptr<ICamera>& camera) override
    {
        if (HResults::Succeeded(m_state.createResult))
            camera = std::make_unique<CFakeCamera>(m_state.camera);
        return m_state.createResult;
    }
    HResult Register() override
    {
        ++m_state.countRegistered;
        return m_state.registerResult;
    }
    HResult Unregister() override
    {
        ++m_state.countUnregistered;
        return m_state.registerResult;
    }
    std::string Source() const override
    {
        return "Fake.AVCommand";
    }
    std::string LibraryPath() const override
    {
        return "C:\\fake\\Quorvane.dll";
    }

private:
    FakeHostState& m_state;
};
