#include "CameraSim/Ipela/IpelaSettings.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <span>

namespace
{

using Rule = std::function<std::optional<std::string>(std::string_view)>;

Rule OneOf(std::vector<std::string> words)
{
    return [words = std::move(words)](std::string_view text) -> std::optional<std::string> {
        const auto found = std::find(words.begin(), words.end(), Ascii::Lower(text));
        return found == words.end() ? std::nullopt : std::optional(*found);
    };
}

Rule OneOf(std::span<const int> numbers)
{
    return [numbers](std::string_view text) -> std::optional<std::string> {
        const auto number = Ascii::Number<int>(text);
        if (!number || std::find(numbers.begin(), numbers.end(), *number) == numbers.end())
            return std::nullopt;
        return std::to_string(*number);
    };
}

Rule Range(int first, int last)
{
    return [=](std::string_view text) -> std::optional<std::string> {
        const auto number = Ascii::Number<int>(text);
        if (!number || *number < first || *number > last)
            return std::nullopt;
        return std::to_string(*number);
    };
}

std::optional<std::string> MulticastAddress(std::string_view text)
{
    std::array<int, 4> parts{};
    std::string_view rest = text;
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        const auto part = rest.substr(0, rest.find('.'));
        const auto number = Ascii::Number<int>(part);
        if (!number || *number < 0 || *number > 255 || (i < 3) != (part.size() < rest.size()))
            return std::nullopt;
        parts[i] = *number;
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    }
    // 224.0.0.0/4, RFC 5771.
    if (parts[0] < 224 || parts[0] > 239)
        return std::nullopt;
    return std::string(text);
}

const Rule kPort = Range(1024, 65534);
constexpr int kDefaultWidth = 1280;

} // namespace

CIpelaSettings::CIpelaSettings(const IpelaModel& model, VideoStandard standard, bool factory)
    : m_model(model), m_standard(standard)
{
    AddVideo(factory);
    if (m_model.isH264Family)
        AddSecondStream();
    AddNetworkAndAudio(factory);
    Reconcile(false);
}

void CIpelaSettings::AddVideo(bool factory)
{
    const auto sizes = m_model.Sizes(m_standard);
    const IpelaCodec codec = m_model.isH264Family ? IpelaCodec::H264 : IpelaCodec::Mpeg4;
    std::vector<std::string> codecs{"jpeg"};
    const auto hasCodec = [&](IpelaCodec wanted) {
        return std::any_of(sizes.begin(), sizes.end(), [=](const IpelaSize& size) { return size.codec == wanted; });
    };
    if (hasCodec(IpelaCodec::Mpeg4))
        codecs.push_back("mpeg4");
    if (hasCodec(IpelaCodec::H264))
        codecs.push_back("h264");
    auto size = std::find_if(sizes.begin(), sizes.end(),
                             [=](const IpelaSize& row) { return row.codec == codec && row.width <= kDefaultWidth; });
    if (size == sizes.end())
        size = sizes.begin();

    Add(CodecName(), factory ? "jpeg" : codec == IpelaCodec::H264 ? "h264" : "mpeg4", OneOf(std::move(codecs)));
    Add(SizeName(), FormatSize(*size), [this](std::string_view text) { return NormaliseSize(text); });
    Add(FrameRateName(), std::to_string(size->maxRate), OneOf(IpelaModels::FrameRates(m_standard)));
    Add(BitRateName(), "2048", OneOf(IpelaModels::BitRates()));
    Add(RateControlName(), factory ? "on" : "off", OneOf({"on", "off"}));
    if (m_model.isH264Family)
        Add("AspectRatioConversion", "squeeze", OneOf({"squeeze", "letterbox", "crop"}));
}

void CIpelaSettings::AddSecondStream()
{
    Add("ImageCodec2", "jpeg", OneOf({"jpeg"}));
    Add("ImageSize2", "320,240", {});
    Add("FrameRate2", "5", OneOf(IpelaModels::FrameRates(m_standard)));
    Add("McAddress2", "239.192.0.2", MulticastAddress);
    Add("McVideoPort2", "60020", kPort);
    Add("UcVideoPort2", "50020", kPort);
}

void CIpelaSettings::AddNetworkAndAudio(bool factory)
{
    Add(StreamName("McAddress"), "239.192.0.1", MulticastAddress);
    Add(StreamName("McVideoPort"), "60000", kPort);
    Add(StreamName("UcVideoPort"), "50000", kPort);
    Add("McAudioPort", "60010", kPort);
    Add("UcAudioPort", "50010", kPort);
    // Before AudioInVolume, as clients may look for the first name that begins with AudioIn.
    Add("AudioIn", factory ? "off" : "on", OneOf({"on", "off"}));
    Add("AudInCodec", factory ? "g726_40" : "g711_64", OneOf({"g711_64", "g726_16", "g726_24", "g726_32", "g726_40"}));
    Add("AudioInVolume", "0", Range(-10, 10));
    Add("VideoStd", m_standard == VideoStandard::Ntsc ? "ntsc" : "pal", {});
}

void CIpelaSettings::Add(std::string name, std::string value, Rule rule)
{
    m_entries.push_back({std::move(name), std::move(value), std::move(rule)});
}

std::string CIpelaSettings::Change(const std::vector<QueryString::Parameter>& parameters)
{
    if (parameters.empty())
        return "no setting was named";
    const std::vector<Entry> before = m_entries;
    std::string refusal;
    for (const auto& parameter : parameters)
    {
        Entry* entry = Find(parameter.name);
        if (!entry)
            refusal = "this camera has no setting " + parameter.name;
        else if (!entry->rule)
            refusal = parameter.name + " cannot be changed";
        else if (auto value = entry->rule(parameter.value))
            entry->value = std::move(*value);
        else
            refusal = "impossible value " + parameter.name + "=" + parameter.value;
        if (!refusal.empty())
            break;
    }
    const bool sizeWasAskedFor = std::any_of(parameters.begin(), parameters.end(),
                                             [&](const auto& parameter) { return parameter.name == SizeName(); });
    if (refusal.empty() && !Reconcile(sizeWasAskedFor))
        refusal = "the codec does not have the size " + Get(SizeName());
    if (!refusal.empty())
        m_entries = before;
    return refusal;
}

void CIpelaSettings::Force(std::string_view name, std::optional<std::string> value)
{
    Entry* entry = Find(name);
    if (!value)
        std::erase_if(m_entries, [&](const Entry& e) { return e.name == name; });
    else if (entry)
        entry->value = std::move(*value);
    else
        Add(std::string(name), std::move(*value), [](std::string_view text) { return std::string(text); });
}

std::vector<CameraSetting> CIpelaSettings::All() const
{
    std::vector<CameraSetting> all;
    for (const Entry& entry : m_entries)
        all.push_back({entry.name, entry.value});
    return all;
}

std::string CIpelaSettings::Get(std::string_view name) const
{
    const Entry* entry = Find(name);
    return entry ? entry->value : std::string();
}

std::string CIpelaSettings::InquiryLine() const
{
    std::string line;
    for (const Entry& entry : m_entries)
        line += (line.empty() ? "" : "&") + entry.name + "=" + entry.value;
    return line;
}

std::string CIpelaSettings::WhyNotStreaming() const
{
    const std::string codec = Get(CodecName());
    if (codec != "mpeg4" && codec != "h264")
        return CodecName() + " is " + codec;
    if (Get(RateControlName()) != "off")
        return RateControlName() + " is not off";
    if (Get("AudioIn") != "on")
        return "AudioIn is not on";
    if (Get("AudInCodec") != "g711_64")
        return "AudInCodec is not g711_64";
    return "";
}

unsigned CIpelaSettings::FrameRate() const
{
    return Ascii::Number<unsigned>(Get(FrameRateName())).value_or(0);
}

unsigned CIpelaSettings::BitRate() const
{
    return Ascii::Number<unsigned>(Get(BitRateName())).value_or(0);
}

std::string CIpelaSettings::CodecName() const
{
    return StreamName("ImageCodec");
}

std::string CIpelaSettings::RateControlName() const
{
    return m_model.isH264Family ? "AutoRateCtrl1" : "M4AutoRateCtrl";
}

std::string CIpelaSettings::FrameRateName() const
{
    return m_model.isH264Family ? "FrameRate1" : "M4FrameRate";
}

std::string CIpelaSettings::BitRateName() const
{
    return m_model.isH264Family ? "BitRate1" : "M4BitRate";
}

std::string CIpelaSettings::SizeName() const
{
    switch (m_model.sizeKey)
    {
    case IpelaSizeKey::M4ImageSize:
        return "M4ImageSize";
    case IpelaSizeKey::ImageSize:
        return "ImageSize";
    case IpelaSizeKey::ImageSize1:
        break;
    }
    return "ImageSize1";
}

std::string CIpelaSettings::StreamName(std::string_view name) const
{
    return std::string(name) + (m_model.isH264Family ? "1" : "");
}

CIpelaSettings::Entry* CIpelaSettings::Find(std::string_view name)
{
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) { return entry.name == name; });
    return found == m_entries.end() ? nullptr : &*found;
}

const CIpelaSettings::Entry* CIpelaSettings::Find(std::string_view name) const
{
    return const_cast<CIpelaSettings*>(this)->Find(name);
}

bool CIpelaSettings::Reconcile(bool sizeWasAskedFor)
{
    const IpelaSize* size = CurrentSize();
    if (!size && sizeWasAskedFor)
        return false;
    Entry* sizeEntry = Find(SizeName());
    if (!size && sizeEntry)
    {
        for (const IpelaSize& candidate : m_model.Sizes(m_standard))
        {
            if (!size && CodecAllows(candidate))
                size = &candidate;
        }
        if (size)
            sizeEntry->value = FormatSize(*size);
    }
    Entry* rate = Find(FrameRateName());
    if (size && rate && Ascii::Number<int>(rate->value).value_or(0) > size->maxRate)
        rate->value = std::to_string(size->maxRate);
    return true;
}

std::optional<std::string> CIpelaSettings::NormaliseSize(std::string_view text) const
{
    const auto comma = text.find(',');
    const auto width = Ascii::Number<int>(text.substr(0, comma));
    // The older cameras take a mode behind the comma, not a height, and do without it, too.
    const auto second = comma == text.npos ? std::optional<int>(0) : Ascii::Number<int>(text.substr(comma + 1));
    if (!width || !second)
        return std::nullopt;
    for (const IpelaSize& size : m_model.Sizes(m_standard))
    {
        const bool hasHeight = m_model.sizeKey == IpelaSizeKey::ImageSize1;
        if (size.width == *width && (!hasHeight || size.height == *second))
            return FormatSize(size);
    }
    return std::nullopt;
}

std::string CIpelaSettings::FormatSize(const IpelaSize& size) const
{
    const std::string width = std::to_string(size.width);
    switch (m_model.sizeKey)
    {
    case IpelaSizeKey::M4ImageSize:
        return width + ",0";
    case IpelaSizeKey::ImageSize:
        return width + ",2";
    case IpelaSizeKey::ImageSize1:
        break;
    }
    return width + "," + std::to_string(size.height);
}

const IpelaSize* CIpelaSettings::CurrentSize() const
{
    for (const IpelaSize& size : m_model.Sizes(m_standard))
    {
        if (CodecAllows(size) && FormatSize(size) == Get(SizeName()))
            return &size;
    }
    return nullptr;
}

bool CIpelaSettings::CodecAllows(const IpelaSize& size) const
{
    const std::string codec = Get(CodecName());
    if (codec == "mpeg4")
        return size.codec == IpelaCodec::Mpeg4;
    if (codec == "h264")
        return size.codec == IpelaCodec::H264;
    return true;
}
