#pragma once

enum class H264Profile
{
    Baseline, ///< constrained baseline
    Main,
    High
};

/// What a stream looks like. Sizes are in pixels and even; the encoder takes 16 to 4096 in both directions.
struct H264Format
{
    unsigned width = 1280;
    unsigned height = 720;
    unsigned framesPerSecond = 30;
    H264Profile profile = H264Profile::Main;
    unsigned keyFrameDistance = 60; ///< pictures from one IDR picture to the next
    unsigned kilobitsPerSecond = 0; ///< filled up to that rate; 0: as few as the pictures need

    bool operator==(const H264Format&) const = default;

    unsigned Columns() const noexcept
    {
        return (width + 15) / 16;
    }
    unsigned Rows() const noexcept
    {
        return (height + 15) / 16;
    }
};
