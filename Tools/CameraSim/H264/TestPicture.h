#pragma once

#include "CameraSim/H264/BlockPicture.h"
#include "CameraSim/H264/H264Format.h"

#include <cstdint>

/// What the simulated camera films: colour bars, a clock (minutes, seconds, picture of the second) in digits that are
/// legible at any size, and a white mark that runs along below it. No two consecutive pictures of more than
/// one column are equal.
/// Immutable after construction; any thread.
class CTestPicture
{
public:
    explicit CTestPicture(const H264Format& format);

    BlockPicture Draw(std::uint64_t frame) const;

private:
    unsigned m_framesPerSecond;
    BlockPicture m_background;
};
