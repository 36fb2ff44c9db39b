#include "Core/Names.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace Names
{
namespace
{
template <class Value>
struct Word
{
    Value value;
    std::string_view text;
};

constexpr std::array kCodecs{
    Word{StreamCodec::kMpeg4, "mpeg4"},
    Word{StreamCodec::kH264, "h264"},
};

constexpr std::array kDirections{
    Word{MoveDirection::kUpper, "up"},
    Word{MoveDirection::kLower, "down"},
    Word{MoveDirection::kLeft, "left"},
    Word{MoveDirection::kRight, "right"},
    Word{MoveDirection::kUpperLeft, "up-left"},
    Word{MoveDirection::kUpperRight, "up-right"},
    Word{MoveDirection::kLowerLeft, "down-left"},
    Word{MoveDirection::kLowerRight, "down-right"},
    Word{MoveDirection::kZoomWide, "wide"},
    Word{MoveDirection::kZoomTele, "tele"},
};

constexpr std::array kStepSizes{
    Word{StepSize::k10, "10"},   Word{StepSize::k15, "15"},   Word{StepSize::k20, "20"}, Word{StepSize::k25, "25"},
    Word{StepSize::k30, "30"},   Word{StepSize::k40, "40"},   Word{StepSize::k60, "60"}, Word{StepSize::k667, "667"},
    Word{StepSize::k833, "833"}, Word{StepSize::k100, "100"},
};

char LowerAscii(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) noexcept
{
    return std::ranges::equal(left, right, {}, LowerAscii, LowerAscii);
}

template <class Value, std::size_t Count>
std::optional<Value> Find(const std::array<Word<Value>, Count>& words, std::string_view text)
{
    for (const Word<Value>& word : words)
    {
        if (EqualsIgnoringCase(word.text, text))
            return word.value;
    }
    return std::nullopt;
}

template <class Value, std::size_t Count>
std::string TextOf(const std::array<Word<Value>, Count>& words, Value value)
{
    for (const Word<Value>& word : words)
    {
        if (word.value == value)
            return std::string(word.text);
    }
    return std::to_string(static_cast<std::int32_t>(value));
}

std::optional<std::int32_t> ParsePositive(std::string_view text)
{
    const std::optional<std::int32_t> number = ParseNumber(text);
    return number && *number > 0 ? number : std::nullopt;
}
} // namespace

std::optional<PictureFormat> ParsePictureFormat(std::string_view text)
{
    const std::size_t cross = text.find_first_of("xX");
    const std::size_t at = text.find('@');
    if (cross == std::string_view::npos || at == std::string_view::npos || at < cross)
        return std::nullopt;
    const auto width = ParsePositive(text.substr(0, cross));
    const auto height = ParsePositive(text.substr(cross + 1, at - cross - 1));
    const auto frameRate = ParsePositive(text.substr(at + 1));
    if (!width || !height || !frameRate)
        return std::nullopt;
    return PictureFormat{*width, *height, *frameRate, StreamCodec::kNone};
}

std::string PictureFormatText(const PictureFormat& format)
{
    return std::to_string(format.width) + "x" + std::to_string(format.height) + "@" + std::to_string(format.frameRate);
}

std::optional<StreamCodec> ParseCodec(std::string_view text)
{
    return Find(kCodecs, text);
}

std::string CodecText(StreamCodec codec)
{
    return codec == StreamCodec::kNone ? "none" : TextOf(kCodecs, codec);
}

std::optional<MoveDirection> ParseDirection(std::string_view text)
{
    return Find(kDirections, text);
}

std::string DirectionText(MoveDirection direction)
{
    return direction == MoveDirection::kNone ? "none" : TextOf(kDirections, direction);
}

std::optional<MoveDirection> ParseStop(std::string_view text)
{
    // Every direction that is no zoom stops pan and tilt together; "no direction" says so without naming one.
    if (EqualsIgnoringCase(text, "motor"))
        return MoveDirection::kNone;
    if (EqualsIgnoringCase(text, "zoom"))
        return MoveDirection::kZoomTele;
    return ParseDirection(text);
}

std::optional<StepSize> ParseStepSize(std::string_view text)
{
    return Find(kStepSizes, text);
}

std::string StepSizeText(StepSize size)
{
    return TextOf(kStepSizes, size);
}

std::optional<std::int32_t> ParseNumber(std::string_view text)
{
    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<std::uint16_t> ParsePort(std::string_view text)
{
    const std::optional<std::int32_t> number = ParseNumber(text);
    if (!number || *number < 1 || *number > 65535)
        return std::nullopt;
    return static_cast<std::uint16_t>(*number);
}
} // namespace Names
