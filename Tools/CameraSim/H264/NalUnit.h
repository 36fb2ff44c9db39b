#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// nal_unit_type (ITU-T H.264, table 7-1), as far as the encoder writes it.
enum class NalType : std::uint8_t
{
    Slice = 1,
    IdrSlice = 5,
    SequenceParameterSet = 7,
    PictureParameterSet = 8,
    Filler = 12
};

namespace NalUnit
{

/// Header byte and payload, with emulation prevention bytes and without a start code. `importance` is nal_ref_idc,
/// 0..3.
std::string Make(unsigned importance, NalType type, std::string_view payload);

NalType TypeOf(std::string_view unit);

/// A byte stream as in annex B: each unit behind a four-byte start code.
std::string AnnexB(const std::vector<std::string>& units);

} // namespace NalUnit
