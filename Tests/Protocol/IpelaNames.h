#pragma once

#include "Protocol/IpelaModels.h"

// Short names for the tables of the tests.

inline constexpr auto k60Hz = VideoStandard::Ntsc60Hz;
inline constexpr auto k50Hz = VideoStandard::Pal50Hz;
inline constexpr auto kMpeg4 = Compression::Mpeg4;
inline constexpr auto kH264 = Compression::H264;

/// As a camera's number that is in no table.
inline IpelaModel Model(int number)
{
    return static_cast<IpelaModel>(number);
}
