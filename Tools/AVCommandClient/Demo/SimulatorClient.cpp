#include "Demo/SimulatorClient.h"

#include "Core/Names.h"
#include "Demo/HttpFetch.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <utility>

namespace
{
constexpr std::chrono::milliseconds kControlLimit{5000};
constexpr int kHttpOk = 200;

using StateJson = nlohmann::json;

/// The camera's own settings are texts under names that differ between its generations.
class CSettingTexts
{
public:
    explicit CSettingTexts(const StateJson& settings) : m_settings(settings) {}

    /// The first of the names that the camera has.
    std::string Text(std::initializer_list<const char*> names) const
    {
        for (const char* name : names)
        {
            if (m_settings.contains(name))
                return m_settings[name].get<std::string>();
        }
        return {};
    }

    std::int32_t Number(std::initializer_list<const char*> names) const
    {
        return Names::ParseNumber(Text(names)).value_or(0);
    }

    std::uint16_t Port(std::initializer_list<const char*> names) const
    {
        return Names::ParsePort(Text(names)).value_or(0);
    }

private:
    const StateJson& m_settings;
};

PictureFormat ReadPicture(const CSettingTexts& settings)
{
    if (const std::string resolution = settings.Text({"Image.I0.Appearance.Resolution"}); !resolution.empty())
    {
        const std::string rate = settings.Text({"Image.I0.Stream.FPS"});
        PictureFormat format = Names::ParsePictureFormat(resolution + "@" + rate).value_or(PictureFormat());
        format.codec = StreamCodec::kH264;
        return format;
    }
    PictureFormat picture;
    const std::string size = settings.Text({"ImageSize1", "M4ImageSize", "ImageSize"});
    const std::size_t comma = size.find(',');
    picture.width = Names::ParseNumber(std::string_view(size).substr(0, comma)).value_or(0);
    // Older cameras have no height there: it follows from the width.
    const bool hasHeight = comma != std::string::npos && !settings.Text({"ImageSize1"}).empty();
    picture.height = hasHeight ? Names::ParseNumber(std::string_view(size).substr(comma + 1)).value_or(0) : 0;
    picture.frameRate = settings.Number({"FrameRate1", "M4FrameRate"});
    picture.codec = Names::ParseCodec(settings.Text({"ImageCodec1", "ImageCodec"})).value_or(StreamCodec::kNone);
    return picture;
}

StreamSettings ReadSettings(const StateJson& json)
{
    const CSettingTexts texts(json);
    StreamSettings settings;
    settings.multicastAddress = texts.Text({"McAddress1", "McAddress"});
    settings.multicastVideoPort = texts.Port({"McVideoPort1", "McVideoPort"});
    settings.multicastAudioPort = texts.Port({"McAudioPort"});
    settings.unicastVideoPort = texts.Port({"UcVideoPort1", "UcVideoPort"});
    settings.unicastAudioPort = texts.Port({"UcAudioPort"});
    settings.bitRateKbps = texts.Number({"BitRate1", "M4BitRate", "Image.I0.RateControl.TargetBitrate"});
    settings.audioInVolume = texts.Number({"AudioInVolume", "AudioSource.A0.InputGain"});
    settings.picture = ReadPicture(texts);
    return settings;
}

ReceivedRequest ReadRequest(const StateJson& entry)
{
    ReceivedRequest request;
    request.method = entry.at("method");
    request.target = entry.at("target");
    request.status = entry.at("answer").at("status");
    request.isAuthorized = std::ranges::any_of(
        entry.at("headers"), [](const StateJson& header) { return header.at("name") == "Authorization"; });
    return request;
}
} // namespace

std::string CSimulatorClient::Get(const std::string& path)
{
    const HttpFetch::Reply reply = HttpFetch::Get(m_host, m_port, path, kControlLimit);
    if (reply.status != kHttpOk)
        throw std::runtime_error("the simulator answers " + path + " with status " + std::to_string(reply.status) +
                                 "; is that its control endpoint?");
    m_localAddress = reply.localAddress;
    return reply.body;
}

template <class Reader>
auto CSimulatorClient::Read(const std::string& path, Reader&& reader)
{
    const std::string text = Get(path);
    try
    {
        return reader(StateJson::parse(text));
    }
    catch (const StateJson::exception& error)
    {
        throw std::runtime_error("the simulator's answer to " + path + " cannot be understood: " + error.what());
    }
}

CSimulatorClient::CSimulatorClient(std::string host, std::uint16_t port) : m_host(std::move(host)), m_port(port)
{
    (void)Get("/state");
}

CameraAddress CSimulatorClient::Address()
{
    return Read("/state", [this](const StateJson& state) {
        const StateJson& authentication = state.at("authentication");
        CameraAddress address{m_host, state.at("ports").at("camera"), {}, {}};
        if (authentication.at("scheme") != "none")
        {
            address.userName = authentication.at("user");
            address.password = authentication.at("password");
        }
        return address;
    });
}

SimulatedCamera CSimulatorClient::Camera()
{
    return Read("/state", [](const StateJson& state) {
        const StateJson& position = state.at("position");
        return SimulatedCamera{state.at("model"),
                               ReadSettings(state.at("settings")),
                               {position.at("pan"), position.at("tilt"), position.at("zoom")},
                               state.value("family", std::string()) == "axis"};
    });
}

std::vector<ReceivedRequest> CSimulatorClient::TakeRequests()
{
    return Read("/journal", [this](const StateJson& journal) {
        std::vector<ReceivedRequest> requests;
        for (const StateJson& entry : journal)
        {
            const std::uint64_t number = entry.at("number");
            if (number <= m_lastRequest)
                continue;
            m_lastRequest = number;
            requests.push_back(ReadRequest(entry));
        }
        return requests;
    });
}
