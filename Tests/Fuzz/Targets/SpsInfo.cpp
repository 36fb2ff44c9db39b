#include "IPELAFilters/SpsInfo.h"
#include "CameraSim/H264/BitWriter.h"
#include "CameraSim/H264/NalUnit.h"
#include "Fuzz/FuzzTarget.h"
#include "IPELAFilters/NalBitStream.h"

#include <algorithm>
#include <cstring>
#include <optional>

using Fuzz::Require;

namespace
{
std::optional<SpsInfo> ReadSps(std::string_view unit)
{
    CNalBitStream reader(reinterpret_cast<const std::uint8_t*>(unit.data()), unit.size());
    if (unit.empty())
        return std::nullopt;
    reader.ReadBits(8); // the header
    SpsInfo sps;
    return sps.Deserialize(reader) ? std::optional(sps) : std::nullopt;
}

bool IsSame(const std::optional<SpsInfo>& left, const SpsInfo& right)
{
    return left && std::memcmp(&*left, &right, sizeof(right)) == 0;
}

void WriteUe(CBitWriter& writer, std::uint32_t value)
{
    if (value != 0xFFFFFFFF)
        return writer.Unsigned(value);
    // One more than the standard's codes can say: 32 zeros and the number itself, in our reader's way.
    writer.Bits(0, 32);
    writer.Flag(true);
    writer.Bits(value, 32);
}

void WriteProfile(CBitWriter& writer, const SpsInfo& sps)
{
    constexpr std::uint32_t kProfilesWithChroma[] = {44, 83, 86, 100, 110, 118, 122, 128, 134, 135, 138, 139, 244};
    writer.Bits(sps.profile_idc, 8);
    for (const std::uint32_t flag : {sps.constraint_set0_flag, sps.constraint_set1_flag, sps.constraint_set2_flag,
                                     sps.constraint_set3_flag, sps.constraint_set4_flag, sps.constraint_set5_flag})
        writer.Bits(flag, 1);
    writer.Bits(0, 2);
    writer.Bits(sps.level_idc, 8);
    WriteUe(writer, sps.seq_parameter_set_id);
    if (std::ranges::find(kProfilesWithChroma, sps.profile_idc) == std::end(kProfilesWithChroma))
        return;
    WriteUe(writer, sps.chroma_format_idc);
    if (sps.chroma_format_idc == 3)
        writer.Bits(sps.separate_colour_plane_flag, 1);
    WriteUe(writer, sps.bit_depth_luma_minus8);
    WriteUe(writer, sps.bit_depth_chroma_minus8);
    writer.Bits(sps.qpprime_y_zero_transform_bypass_flag, 1);
    writer.Bits(sps.seq_scaling_matrix_present_flag, 1);
}

void WritePicture(CBitWriter& writer, const SpsInfo& sps)
{
    WriteUe(writer, sps.log2_max_frame_num_minus4);
    WriteUe(writer, sps.pic_order_cnt_type);
    if (sps.pic_order_cnt_type == 0)
        WriteUe(writer, sps.log2_max_pic_order_cnt_lsb_minus4);
    WriteUe(writer, sps.max_num_ref_frames);
    writer.Bits(sps.gaps_in_frame_num_value_allowed_flag, 1);
    WriteUe(writer, sps.pic_width_in_mbs_minus1);
    WriteUe(writer, sps.pic_height_in_map_units_minus1);
    writer.Bits(sps.frame_mbs_only_flag, 1);
    if (sps.frame_mbs_only_flag == 0)
        writer.Bits(sps.mb_adaptive_frame_field_flag, 1);
    writer.Bits(sps.direct_8x8_inference_flag, 1);
    writer.Bits(sps.frame_cropping_flag, 1);
    if (sps.frame_cropping_flag != 0)
        for (const std::uint32_t offset : {sps.frame_crop_left_offset, sps.frame_crop_right_offset,
                                           sps.frame_crop_top_offset, sps.frame_crop_bottom_offset})
            WriteUe(writer, offset);
    writer.Bits(sps.vui_parameters_present_flag, 1);
}

/// A sequence parameter set, from its NAL header on.
void FeedSps(std::string_view input)
{
    const std::optional<SpsInfo> sps = ReadSps(input);
    if (!sps)
        return;
    Require(IsSame(ReadSps(std::string(input) + "more"), *sps), "what follows an accepted set does not count");
    CBitWriter writer;
    WriteProfile(writer, *sps);
    WritePicture(writer, *sps);
    const std::string payload = writer.Finish();
    // Our reader drops a second 3 behind two zeros, too.
    if (payload.find(std::string_view("\0\0\3", 3)) != std::string::npos)
        return;
    const std::string unit = NalUnit::Make(3, NalType::SequenceParameterSet, payload);
    Require(IsSame(ReadSps(unit), *sps), "an accepted set reads the same when it is written down");
}

const CFuzzTarget kSpsInfo("SpsInfo", FeedSps);
} // namespace
