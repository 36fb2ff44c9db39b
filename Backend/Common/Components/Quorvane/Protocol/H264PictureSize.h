#pragma once

#include "Protocol/H264FormatParameters.h"

#include <cstdint>
#include <string_view>

struct SpsInfo;

struct PictureSize
{
    std::int32_t width = 0;
    std::int32_t height = 0;

    bool operator==(const PictureSize&) const = default;
};

/// The picture size of an H.264 stream, from its parameter sets.
namespace H264PictureSize
{
/// False for no bytes, too.
bool IsSequenceParameterSet(std::string_view nalUnit) noexcept;

/// 16 pixels a macroblock and two a crop unit, in both directions: right for progressive 4:2:0, which is what cameras
/// send. Fields and other chroma formats get the same formula. Numbers wrap, as unsigned ones do.
PictureSize FromSps(const SpsInfo& sps) noexcept;

/// Reads parameter set 1 if that is a sequence parameter set, else parameter set 2.
/// False, logged, when it cannot be read; `size` is untouched then. Throws nothing.
bool GetH264ImageSizeFromSPS(const H264FormatParameters& parameters, PictureSize& size);
} // namespace H264PictureSize
