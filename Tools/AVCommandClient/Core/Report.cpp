#include "Core/Report.h"

#include "Core/ByteText.h"
#include "Core/Names.h"
#include "Core/TextTable.h"
#include "Media/NalUnit.h"
#include "Media/SequenceParameterSet.h"

#include <algorithm>
#include <ostream>

namespace Report
{
namespace
{
using Align = CTextTable::Align;

CTextTable MakePairs()
{
    return CTextTable({Align::kLeft, Align::kLeft}, {});
}

std::string JoinNumbers(const std::vector<std::int32_t>& numbers)
{
    std::string text;
    for (const std::int32_t number : numbers)
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    return text.empty() ? "none" : text;
}

void AddSettings(CTextTable& table, const StreamSettings& settings)
{
    table.AddRow(
        {"Picture", Names::PictureFormatText(settings.picture) + " " + Names::CodecText(settings.picture.codec)});
    if (Report::IsPictureAlone(settings))
    {
        table.AddRow({"Streams", "over RTSP; this camera tells no bit rate, volume or ports here"});
        return;
    }
    table.AddRow({"Bit rate", std::to_string(settings.bitRateKbps) + " kbit/s"});
    table.AddRow({"Microphone volume", std::to_string(settings.audioInVolume)});
    table.AddRow({"Multicast", settings.multicastAddress + ", video port " +
                                   std::to_string(settings.multicastVideoPort) + ", audio port " +
                                   std::to_string(settings.multicastAudioPort)});
    table.AddRow({"Unicast", "video port " + std::to_string(settings.unicastVideoPort) + ", audio port " +
                                 std::to_string(settings.unicastAudioPort)});
}

std::optional<SequenceInfo> SequenceOf(const H264Description& description)
{
    const auto info = SequenceParameterSet::Parse(description.parameterSet1);
    return info ? info : SequenceParameterSet::Parse(description.parameterSet2);
}

std::string SetName(const std::string& set)
{
    switch (const unsigned type = NalUnits::TypeOf(set))
    {
    case NalUnits::kSequenceParameterSet:
        return "SPS";
    case NalUnits::kPictureParameterSet:
        return "PPS";
    default:
        return "NAL unit of type " + std::to_string(type);
    }
}

Json SetsToJson(const H264Description& description)
{
    Json sets = Json::array();
    for (const std::string& set : {description.parameterSet1, description.parameterSet2})
    {
        if (!set.empty())
            sets.push_back({{"kind", SetName(set)},
                            {"bytes", set.size()},
                            {"hex", ByteText::Hex(set)},
                            {"base64", ByteText::Base64(set)}});
    }
    return sets;
}
} // namespace

std::string FamilyText(const CameraSummary& summary)
{
    return summary.isRtsp ? "RTSP" : "IPELA";
}

std::string GenerationText(const CameraSummary& summary)
{
    const bool hasH264 = std::ranges::any_of(
        summary.sizes, [](const PictureFormat& format) { return format.codec == StreamCodec::kH264; });
    return hasH264 ? "H.264" : "MPEG-4";
}

std::string VideoStandardText(const CameraSummary& summary)
{
    return std::ranges::find(summary.frameRates, 30) != summary.frameRates.end() ? "NTSC (60 Hz)" : "PAL (50 Hz)";
}

bool IsPictureAlone(const StreamSettings& settings) noexcept
{
    return settings.bitRateKbps == 0 && settings.multicastAddress.empty() && settings.multicastVideoPort == 0 &&
           settings.unicastVideoPort == 0;
}

std::string H264Text(const H264Description& description)
{
    std::string text;
    if (const auto info = SequenceOf(description))
        text = SequenceParameterSet::ProfileText(*info) + " profile, level " + SequenceParameterSet::LevelText(*info) +
               ", " + std::to_string(info->width) + "x" + std::to_string(info->height);
    else
        text = "profile-level-id " + description.profileLevelId;
    if (description.packetizationMode >= 0)
        text += ", packetization mode " + std::to_string(description.packetizationMode);
    return text;
}

Json ToJson(const H264Description& description)
{
    Json json = {{"profileLevelId", description.profileLevelId}, {"packetizationMode", description.packetizationMode}};
    if (description.packetizationMode < 0)
        json["packetizationMode"] = nullptr;
    if (const auto info = SequenceOf(description))
    {
        json["profile"] = SequenceParameterSet::ProfileText(*info);
        json["level"] = SequenceParameterSet::LevelText(*info);
        json["width"] = info->width;
        json["height"] = info->height;
    }
    json["parameterSets"] = SetsToJson(description);
    return json;
}

Json ToJson(const PictureFormat& format)
{
    return {{"width", format.width},
            {"height", format.height},
            {"frameRate", format.frameRate},
            {"codec", Names::CodecText(format.codec)}};
}

Json ToJson(const StreamSettings& settings)
{
    return {{"picture", ToJson(settings.picture)},
            {"bitRateKbps", settings.bitRateKbps},
            {"audioInVolume", settings.audioInVolume},
            {"multicastAddress", settings.multicastAddress},
            {"multicastVideoPort", settings.multicastVideoPort},
            {"multicastAudioPort", settings.multicastAudioPort},
            {"unicastVideoPort", settings.unicastVideoPort},
            {"unicastAudioPort", settings.unicastAudioPort}};
}

Json ToJson(const CameraSummary& summary)
{
    Json json = {{"camera", summary.address},
                 {"connected", summary.isConnected},
                 {"family", FamilyText(summary)},
                 {"generation", GenerationText(summary)},
                 {"videoStandard", VideoStandardText(summary)},
                 {"settings", ToJson(summary.settings)},
                 {"frameRates", summary.frameRates}};
    if (summary.h264)
        json["h264"] = ToJson(*summary.h264);
    return json;
}

Json SizesToJson(const std::vector<PictureFormat>& sizes, const std::optional<std::vector<std::int32_t>>& frameRates)
{
    Json json;
    json["sizes"] = Json::array();
    for (const PictureFormat& format : sizes)
        json["sizes"].push_back(ToJson(format));
    if (frameRates)
        json["frameRates"] = *frameRates;
    return json;
}

void Print(std::ostream& out, const StreamSettings& settings)
{
    CTextTable table = MakePairs();
    AddSettings(table, settings);
    table.Print(out);
}

void Print(std::ostream& out, const CameraSummary& summary)
{
    CTextTable table = MakePairs();
    table.AddRow({"Camera", summary.address});
    table.AddRow({"Connected", summary.isConnected ? "yes" : "no"});
    table.AddRow({"Family", FamilyText(summary) + ", " + GenerationText(summary) + " models"});
    table.AddRow({"Video standard", VideoStandardText(summary)});
    AddSettings(table, summary.settings);
    table.AddRow({"Frame rates", JoinNumbers(summary.frameRates)});
    if (summary.h264)
        table.AddRow({"H.264", H264Text(*summary.h264)});
    table.Print(out);
}

void Print(std::ostream& out, const H264Description& description)
{
    CTextTable table = MakePairs();
    table.AddRow({"H.264", H264Text(description)});
    table.AddRow({"Profile-level-id", description.profileLevelId});
    for (const std::string& set : {description.parameterSet1, description.parameterSet2})
    {
        if (set.empty())
            continue;
        table.AddRow({SetName(set), std::to_string(set.size()) + " bytes"});
        table.AddRow({"  hex", ByteText::Hex(set)});
        table.AddRow({"  base64", ByteText::Base64(set)});
    }
    table.Print(out);
}

void PrintSizes(std::ostream& out, const std::vector<PictureFormat>& sizes,
                const std::optional<std::vector<std::int32_t>>& frameRates)
{
    CTextTable table({Align::kRight, Align::kRight, Align::kRight, Align::kLeft},
                     {"Width", "Height", "Max rate", "Codec"});
    for (const PictureFormat& format : sizes)
    {
        table.AddRow({std::to_string(format.width), std::to_string(format.height), std::to_string(format.frameRate),
                      Names::CodecText(format.codec)});
    }
    table.Print(out);
    if (frameRates)
        out << "Frame rates: " << JoinNumbers(*frameRates) << '\n';
}

void Print(std::ostream& out, const Json& json)
{
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}
} // namespace Report
