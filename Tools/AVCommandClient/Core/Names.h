#pragma once

#include "Core/Camera.h"

#include <optional>
#include <string>
#include <string_view>

/// The words that people type and read for the component's numbers. Parsing takes upper and lower case alike.
namespace Names
{
/// "1280x720@30", all three numbers from 1; the codec of the result is kNone.
std::optional<PictureFormat> ParsePictureFormat(std::string_view text);
/// "1280x720@30"
std::string PictureFormatText(const PictureFormat& format);

/// "mpeg4" or "h264".
std::optional<StreamCodec> ParseCodec(std::string_view text);
/// "mpeg4", "h264", "none"; the number for anything else.
std::string CodecText(StreamCodec codec);

/// up, down, left, right, up-left, up-right, down-left, down-right, wide, tele.
std::optional<MoveDirection> ParseDirection(std::string_view text);
std::string DirectionText(MoveDirection direction);
/// As a direction, and also "motor" (pan and tilt) and "zoom".
std::optional<MoveDirection> ParseStop(std::string_view text);

/// 10, 15, 20, 25, 30, 40, 60, 667, 833 or 100.
std::optional<StepSize> ParseStepSize(std::string_view text);
std::string StepSizeText(StepSize size);

/// A whole decimal number with an optional minus sign and nothing behind it.
std::optional<std::int32_t> ParseNumber(std::string_view text);
/// 1 to 65535.
std::optional<std::uint16_t> ParsePort(std::string_view text);
} // namespace Names
