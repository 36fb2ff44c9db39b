#include "Core/Report.h"

#include "Core/Names.h"
#include "Core/TextTable.h"

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
} // namespace

std::string FamilyText(const CameraSummary& summary)
{
    return summary.packetizationMode == -1 ? "IPELA" : "RTSP";
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
    return {{"camera", summary.address},
            {"connected", summary.isConnected},
            {"family", FamilyText(summary)},
            {"generation", GenerationText(summary)},
            {"videoStandard", VideoStandardText(summary)},
            {"settings", ToJson(summary.settings)},
            {"frameRates", summary.frameRates}};
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
