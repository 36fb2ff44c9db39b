#pragma once

#include "Core/Camera.h"

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// Members stay in the order in which they were added, for people who read the output.
using Json = nlohmann::ordered_json;

/// What `info` found out. The interface does not name the camera; its answers tell some cameras apart.
struct CameraSummary
{
    std::string address;
    bool isConnected = false;
    bool isRtsp = false;
    /// Of a camera that streams over RTSP and could be asked.
    std::optional<H264Description> h264;
    StreamSettings settings;
    std::vector<PictureFormat> sizes;
    std::vector<std::int32_t> frameRates;
};

/// The same data for people and for programs.
namespace Report
{
/// "IPELA" when the camera does not stream over RTSP, else "RTSP".
std::string FamilyText(const CameraSummary& summary);
/// The best codec among the sizes that the camera offers: "H.264" or "MPEG-4".
std::string GenerationText(const CameraSummary& summary);
/// "NTSC (60 Hz)" or "PAL (50 Hz)": only 60 Hz cameras offer 30 frames per second.
std::string VideoStandardText(const CameraSummary& summary);

/// What a camera that streams over RTSP tells: no bit rate, no address and no ports.
bool IsPictureAlone(const StreamSettings& settings) noexcept;

/// "main profile, level 3.1, 1280x720, packetization mode 1"; without a readable sequence parameter set only the mode
/// and the profile-level-id.
std::string H264Text(const H264Description& description);

Json ToJson(const PictureFormat& format);
Json ToJson(const StreamSettings& settings);
Json ToJson(const H264Description& description);
Json ToJson(const CameraSummary& summary);
/// "frameRates" is there only when `frameRates` is.
Json SizesToJson(const std::vector<PictureFormat>& sizes, const std::optional<std::vector<std::int32_t>>& frameRates);

void Print(std::ostream& out, const StreamSettings& settings);
void Print(std::ostream& out, const CameraSummary& summary);
void Print(std::ostream& out, const H264Description& description);
void PrintSizes(std::ostream& out, const std::vector<PictureFormat>& sizes,
                const std::optional<std::vector<std::int32_t>>& frameRates);

/// One object and a line end. Bytes that are no UTF-8 come out as U+FFFD, so that the output always parses.
void Print(std::ostream& out, const Json& json);
} // namespace Report
