#pragma once

#include "CameraSim/H264/H264Format.h"

#include <string>

/// What a decoder must know before the first picture: two NAL units without start codes.
struct H264ParameterSets
{
    std::string sequence;
    std::string picture;

    /// RFC 6184, 8.1: profile_idc, the constraint flags and level_idc in six hexadecimal digits.
    std::string ProfileLevelId() const;
    /// RFC 6184, 8.1: both in base64, joined by a comma.
    std::string SpropParameterSets() const;
};

namespace ParameterSets
{

/// log2_max_frame_num and the quantisers that the slices depend on; see CH264Encoder.
inline constexpr unsigned kFrameNumBits = 8;
inline constexpr int kLumaQuantiser = 28;
inline constexpr int kChromaQuantiserOffset = -6;

H264ParameterSets Write(const H264Format& format);

/// level_idc of the lowest level of table A-1 whose limits hold the format.
unsigned LevelFor(const H264Format& format);

} // namespace ParameterSets
