#pragma once

#include <cstdint>

/// Words that every camera family shares. Their numbers are those of the automation interface's enumerations, so that
/// the command sets convert by a cast.

/// Selects the frame-rate and image-size tables. 60 Hz is what a camera counts as until it has said otherwise.
enum class VideoStandard : bool
{
    Pal50Hz = false,
    Ntsc60Hz = true
};

enum class Compression : std::int32_t
{
    None = 0,
    Mpeg4 = 1,
    H264 = 2
};

/// Numbered as on a numeric keypad, 1 lower left to 9 upper right; there is no 5.
enum class PtzDirection : std::int32_t
{
    None = 0,
    LowerLeft = 1,
    Lower = 2,
    LowerRight = 3,
    Left = 4,
    Right = 6,
    UpperLeft = 7,
    Upper = 8,
    UpperRight = 9,
    ZoomWide = 10,
    ZoomTele = 11
};

/// One image format that a camera can deliver; the frame rate is the highest one.
struct ImageFormat
{
    std::int32_t width;
    std::int32_t height;
    std::int32_t frameRate;
    Compression compression;

    bool operator==(const ImageFormat&) const = default;
};
