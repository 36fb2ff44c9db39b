#pragma once

#include <string_view>

/// NAL units without start codes, as far as a receiver looks at them (ITU-T H.264, table 7-1).
namespace NalUnits
{
inline constexpr unsigned kSlice = 1;
inline constexpr unsigned kIdrSlice = 5;
inline constexpr unsigned kSequenceParameterSet = 7;
inline constexpr unsigned kPictureParameterSet = 8;

/// 0, which is no type in use, for an empty unit.
constexpr unsigned TypeOf(std::string_view unit) noexcept
{
    return unit.empty() ? 0 : static_cast<unsigned char>(unit.front()) & 0x1Fu;
}

/// Slices and their partitions: what pictures are made of.
constexpr bool IsSlice(unsigned type) noexcept
{
    return type >= kSlice && type <= kIdrSlice;
}
} // namespace NalUnits
