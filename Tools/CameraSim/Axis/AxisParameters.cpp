#include "CameraSim/Axis/AxisParameters.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>

namespace
{

constexpr std::string_view kRoot = "root.";
constexpr std::string_view kMaker = "AXIS";
// Key pictures a little over a second apart.
constexpr int kGroupAt60Hz = 31;
constexpr int kGroupAt50Hz = 26;
constexpr int kFactoryGroup = 61;

std::string_view WithoutRoot(std::string_view name)
{
    return name.starts_with(kRoot) ? name.substr(kRoot.size()) : name;
}

std::function<bool(std::string_view)> OneOf(std::vector<std::string> words)
{
    return [words = std::move(words)](std::string_view text) {
        return std::find(words.begin(), words.end(), text) != words.end();
    };
}

std::function<bool(std::string_view)> Range(int first, int last)
{
    return [=](std::string_view text) {
        const auto number = Ascii::Number<int>(text);
        return number && *number >= first && *number <= last;
    };
}

std::string Text(const AxisSize& size)
{
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

} // namespace

CAxisParameters::CAxisParameters(std::string_view modelName, VideoStandard standard, bool factory)
{
    const AxisModel& model = AxisModels::Find(modelName);
    AddIdentity(modelName);
    AddSources(model, standard, factory);
    AddPicture(model, standard, factory);
    AddNetwork(factory);
    AddProperties(model);
}

void CAxisParameters::AddIdentity(std::string_view modelName)
{
    std::string_view number = modelName;
    if (Ascii::EqualNoCase(number.substr(0, kMaker.size()), kMaker))
        number = Ascii::Trim(number.substr(kMaker.size()));
    const std::string shortName = std::string(kMaker) + " " + std::string(number);
    Add("Brand.Brand", std::string(kMaker));
    Add("Brand.ProdFullName", shortName + " Network Camera");
    Add("Brand.ProdNbr", std::string(number));
    Add("Brand.ProdShortName", shortName);
    Add("Brand.ProdType", "Network Camera");
}

void CAxisParameters::AddSources(const AxisModel& model, VideoStandard standard, bool factory)
{
    Add("AudioSource.A0.AudioEncoding", factory ? "g726" : "g711", OneOf({"g711", "g726", "aac"}));
    Add("AudioSource.A0.InputGain", "0", Range(-100, 100));
    Add("AudioSource.A0.InputType", factory ? "line" : "mic", OneOf({"mic", "line"}));
    Add("AudioSource.A0.SampleRate", "8000", OneOf({"8000", "16000", "32000"}));
    Add("ImageSource.I0.Name", "Camera");
    // A switch on the camera, not a parameter that clients may change.
    Add("ImageSource.I0.Sensor.CaptureFrequency", standard == VideoStandard::Ntsc ? "60Hz" : "50Hz");
    if (model.hasLowLatencyMode)
        Add("ImageSource.I0.Sensor.LowLatencyMode", factory ? "off" : "on", OneOf({"on", "off"}));
}

void CAxisParameters::AddPicture(const AxisModel& model, VideoStandard standard, bool factory)
{
    const int rate = AxisModels::HighestRate(standard);
    const int group = standard == VideoStandard::Ntsc ? kGroupAt60Hz : kGroupAt50Hz;
    std::vector<std::string> resolutions;
    for (const AxisSize& size : model.sizes)
        resolutions.push_back(Text(size));
    const auto mode = OneOf({"fixed", "dynamic"});
    Add("Image.I0.Appearance.Resolution", "1280x720", OneOf(std::move(resolutions)));
    Add("Image.I0.MPEG.H264.Profile", factory ? "high" : "main", OneOf({"baseline", "main", "high"}));
    Add("Image.I0.MPEG.PCount", std::to_string(factory ? kFactoryGroup : group), Range(0, 1022));
    Add("Image.I0.MPEG.ZFpsMode", factory ? "dynamic" : "fixed", mode);
    Add("Image.I0.MPEG.ZGopMode", factory ? "dynamic" : "fixed", mode);
    Add("Image.I0.RateControl.Mode", factory ? "vbr" : "cbr", OneOf({"vbr", "cbr"}));
    Add("Image.I0.RateControl.TargetBitrate", "2048", Range(1, 50000));
    // 0 is as many as the camera can.
    Add("Image.I0.Stream.FPS", factory ? "0" : std::to_string(rate), Range(0, rate));
}

void CAxisParameters::AddNetwork(bool factory)
{
    const auto answer = OneOf({"yes", "no"});
    Add("Network.RTSP.AuthenticateRTSPOverHTTP", factory ? "no" : "yes", answer);
    Add("Network.RTSP.Enabled", factory ? "no" : "yes", answer);
    Add("Network.RTSP.Port", "554", Range(1, 65535));
}

void CAxisParameters::AddProperties(const AxisModel& model)
{
    std::string resolutions;
    for (auto size = model.sizes.rbegin(); size != model.sizes.rend(); ++size)
        resolutions += (resolutions.empty() ? "" : ",") + Text(*size);
    Add("Properties.API.HTTP.Version", "3");
    Add("Properties.API.RTSP.RTSPAuth", "yes");
    Add("Properties.API.RTSP.Version", "2.01");
    Add("Properties.Audio.Audio", "yes");
    Add("Properties.Firmware.BuildDate", "Jan 20 2016 10:04");
    Add("Properties.Firmware.Version", "6.10.1");
    Add("Properties.Image.Format", "h264");
    Add("Properties.Image.Resolution", resolutions);
    Add("Properties.PTZ.PTZ", "yes");
}

void CAxisParameters::Add(std::string name, std::string value, Rule rule)
{
    m_entries.push_back({std::move(name), std::move(value), std::move(rule)});
}

std::string CAxisParameters::List(std::string_view group) const
{
    if (const Entry* entry = Find(group))
        return std::string(group) + "=" + entry->value + "\r\n";
    const std::string below = std::string(WithoutRoot(group)) + ".";
    const bool isAll = group.empty() || group == "root";
    std::string lines;
    for (const Entry& entry : m_entries)
    {
        if (isAll || entry.name.starts_with(below))
            lines += std::string(kRoot) + entry.name + "=" + entry.value + "\r\n";
    }
    return lines;
}

bool CAxisParameters::Update(std::string_view name, std::string_view value)
{
    Entry* entry = Find(name);
    if (!entry || !entry->rule || !entry->rule(value))
        return false;
    entry->value = value;
    return true;
}

void CAxisParameters::Force(std::string_view name, std::optional<std::string> value)
{
    Entry* entry = Find(name);
    if (!value)
        std::erase_if(m_entries, [&](const Entry& e) { return e.name == WithoutRoot(name); });
    else if (entry)
        entry->value = std::move(*value);
    else
        Add(std::string(WithoutRoot(name)), std::move(*value), [](std::string_view) { return true; });
}

std::vector<CameraSetting> CAxisParameters::All() const
{
    std::vector<CameraSetting> all;
    for (const Entry& entry : m_entries)
        all.push_back({entry.name, entry.value});
    return all;
}

std::string CAxisParameters::Get(std::string_view name) const
{
    const Entry* entry = Find(name);
    return entry ? entry->value : std::string();
}

int CAxisParameters::Number(std::string_view name) const
{
    return Ascii::Number<int>(Get(name)).value_or(0);
}

AxisSize CAxisParameters::Resolution() const
{
    const std::string text = Get("Image.I0.Appearance.Resolution");
    const std::size_t separator = text.find('x');
    if (separator == std::string::npos)
        return {};
    const auto width = Ascii::Number<int>(std::string_view(text).substr(0, separator));
    const auto height = Ascii::Number<int>(std::string_view(text).substr(separator + 1));
    return width && height ? AxisSize{*width, *height} : AxisSize{};
}

CAxisParameters::Entry* CAxisParameters::Find(std::string_view name)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry& entry) { return entry.name == WithoutRoot(name); });
    return found == m_entries.end() ? nullptr : &*found;
}

const CAxisParameters::Entry* CAxisParameters::Find(std::string_view name) const
{
    return const_cast<CAxisParameters*>(this)->Find(name);
}
