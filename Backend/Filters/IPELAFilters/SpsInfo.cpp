#include "IPELAFilters/SpsInfo.h"

#include "IPELAFilters/NalBitStream.h"
#include "Protocol/Log.h"

namespace
{
constexpr std::uint32_t kMaxLog2MaxFrameNumMinus4 = 12;
constexpr std::uint32_t kChromaFormat444 = 3;

/// The profiles whose sets carry the chroma fields (ITU-T H.264, 7.3.2.1.1).
bool HasChromaFields(std::uint32_t profileIdc) noexcept
{
    switch (profileIdc)
    {
    case 100:
    case 110:
    case 122:
    case 244:
    case 44:
    case 83:
    case 86:
    case 118:
    case 128:
    case 138:
    case 139:
    case 134:
    case 135:
        return true;
    default:
        return false;
    }
}
} // namespace

bool SpsInfo::Deserialize(CNalBitStream& reader)
{
    try
    {
        ReadProfile(reader);
        if (HasChromaFields(profile_idc))
            ReadChroma(reader);
        ReadPictureOrder(reader);
        ReadPicture(reader);
        return true;
    }
    catch (const CEndOfNalBitStreamException& exception)
    {
        return LogFailure(false, LogLevel::Debug, L"SpsInfo::Deserialize, CEndOfNalBitStreamException, %s",
                          exception.what());
    }
}

void SpsInfo::ReadProfile(CNalBitStream& reader)
{
    profile_idc = reader.ReadBits(8);
    constraint_set0_flag = reader.ReadBits(1);
    constraint_set1_flag = reader.ReadBits(1);
    constraint_set2_flag = reader.ReadBits(1);
    constraint_set3_flag = reader.ReadBits(1);
    constraint_set4_flag = reader.ReadBits(1);
    constraint_set5_flag = reader.ReadBits(1);
    reader.ReadBits(2); // reserved
    level_idc = reader.ReadBits(8);
    seq_parameter_set_id = reader.ReadUe();
}

void SpsInfo::ReadChroma(CNalBitStream& reader)
{
    chroma_format_idc = reader.ReadUe();
    if (chroma_format_idc == kChromaFormat444)
        separate_colour_plane_flag = reader.ReadBits(1);
    bit_depth_luma_minus8 = reader.ReadUe();
    bit_depth_chroma_minus8 = reader.ReadUe();
    qpprime_y_zero_transform_bypass_flag = reader.ReadBits(1);
    seq_scaling_matrix_present_flag = reader.ReadBits(1);
    if (seq_scaling_matrix_present_flag != 0)
        Log(LogLevel::Debug, L"SpsInfo::Deserialize, !!!seq_scaling_matrix_present_flag (%d) is set.",
            seq_scaling_matrix_present_flag);
}

void SpsInfo::ReadPictureOrder(CNalBitStream& reader)
{
    log2_max_frame_num_minus4 = reader.ReadUe();
    if (log2_max_frame_num_minus4 > kMaxLog2MaxFrameNumMinus4)
        Log(LogLevel::Debug, L"SpsInfo::Deserialize, !!!log2_max_frame_num_minus4 (%d) > 12.",
            log2_max_frame_num_minus4);
    pic_order_cnt_type = reader.ReadUe();
    if (pic_order_cnt_type == 0)
        log2_max_pic_order_cnt_lsb_minus4 = reader.ReadUe();
    else if (pic_order_cnt_type == 1)
        Log(LogLevel::Debug, L"SpsInfo::Deserialize, !!!pic_order_cnt_type is 1.");
}

void SpsInfo::ReadPicture(CNalBitStream& reader)
{
    max_num_ref_frames = reader.ReadUe();
    gaps_in_frame_num_value_allowed_flag = reader.ReadBits(1);
    pic_width_in_mbs_minus1 = reader.ReadUe();
    pic_height_in_map_units_minus1 = reader.ReadUe();
    frame_mbs_only_flag = reader.ReadBits(1);
    if (frame_mbs_only_flag == 0)
        mb_adaptive_frame_field_flag = reader.ReadBits(1);
    direct_8x8_inference_flag = reader.ReadBits(1);
    frame_cropping_flag = reader.ReadBits(1);
    if (frame_cropping_flag != 0)
    {
        frame_crop_left_offset = reader.ReadUe();
        frame_crop_right_offset = reader.ReadUe();
        frame_crop_top_offset = reader.ReadUe();
        frame_crop_bottom_offset = reader.ReadUe();
    }
    vui_parameters_present_flag = reader.ReadBits(1);
}
