#include "Protocol/H264PictureSize.h"

#include "IPELAFilters/NalBitStream.h"
#include "IPELAFilters/SpsInfo.h"
#include "Protocol/Log.h"

namespace
{
constexpr unsigned kNalTypeMask = 0x1F;
constexpr unsigned kSequenceParameterSet = 7;
constexpr std::uint32_t kNalHeaderBits = 8;

std::uint32_t Pixels(std::uint32_t macroblocksMinus1, std::uint32_t cropBefore, std::uint32_t cropBehind) noexcept
{
    return (macroblocksMinus1 * 8 + 8 - cropBefore - cropBehind) * 2;
}

/// `nalUnit` has at least its header, so that reading that does not throw.
bool Deserialize(std::string_view nalUnit, SpsInfo& sps)
{
    CNalBitStream reader(reinterpret_cast<const std::uint8_t*>(nalUnit.data()), nalUnit.size());
    reader.ReadBits(kNalHeaderBits);
    return sps.Deserialize(reader);
}
} // namespace

bool H264PictureSize::IsSequenceParameterSet(std::string_view nalUnit) noexcept
{
    return !nalUnit.empty() && (static_cast<unsigned char>(nalUnit.front()) & kNalTypeMask) == kSequenceParameterSet;
}

PictureSize H264PictureSize::FromSps(const SpsInfo& sps) noexcept
{
    return {.width = static_cast<std::int32_t>(
                Pixels(sps.pic_width_in_mbs_minus1, sps.frame_crop_left_offset, sps.frame_crop_right_offset)),
            .height = static_cast<std::int32_t>(
                Pixels(sps.pic_height_in_map_units_minus1, sps.frame_crop_top_offset, sps.frame_crop_bottom_offset))};
}

bool H264PictureSize::GetH264ImageSizeFromSPS(const H264FormatParameters& parameters, PictureSize& size)
{
    const std::string& set =
        IsSequenceParameterSet(parameters.parameterSet1) ? parameters.parameterSet1 : parameters.parameterSet2;
    SpsInfo sps;
    if (set.empty() || !Deserialize(set, sps))
        return LogFailure(false, LogLevel::Information,
                          L"CCgiCommandRtsp::GetH264ImageSizeFromSPS, failed to deserialize sps");
    size = FromSps(sps);
    return true;
}
