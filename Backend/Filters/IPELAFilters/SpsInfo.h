#pragma once

#include <cstdint>

class CNalBitStream;

/// The fields of an H.264 sequence parameter set, under their names in ITU-T H.264, 7.3.2.1.
/// Zero where the set does not carry a field. The VUI is not read.
struct SpsInfo
{
    std::uint32_t profile_idc = 0;
    std::uint32_t level_idc = 0;
    std::uint32_t seq_parameter_set_id = 0;
    std::uint32_t constraint_set0_flag = 0;
    std::uint32_t constraint_set1_flag = 0;
    std::uint32_t constraint_set2_flag = 0;
    std::uint32_t constraint_set3_flag = 0;
    std::uint32_t constraint_set4_flag = 0;
    std::uint32_t constraint_set5_flag = 0;
    std::uint32_t chroma_format_idc = 0;
    std::uint32_t separate_colour_plane_flag = 0;
    std::uint32_t bit_depth_luma_minus8 = 0;
    std::uint32_t bit_depth_chroma_minus8 = 0;
    std::uint32_t qpprime_y_zero_transform_bypass_flag = 0;
    std::uint32_t seq_scaling_matrix_present_flag = 0;
    std::uint32_t seq_scaling_list_present_flag[12] = {}; ///< never filled
    std::uint32_t log2_max_frame_num_minus4 = 0;
    std::uint32_t pic_order_cnt_type = 0;
    std::uint32_t log2_max_pic_order_cnt_lsb_minus4 = 0;
    std::uint32_t max_num_ref_frames = 0;
    std::uint32_t gaps_in_frame_num_value_allowed_flag = 0;
    std::uint32_t pic_width_in_mbs_minus1 = 0;
    std::uint32_t pic_height_in_map_units_minus1 = 0;
    std::uint32_t frame_mbs_only_flag = 0;
    std::uint32_t mb_adaptive_frame_field_flag = 0;
    std::uint32_t direct_8x8_inference_flag = 0;
    std::uint32_t frame_cropping_flag = 0;
    std::uint32_t frame_crop_left_offset = 0;
    std::uint32_t frame_crop_right_offset = 0;
    std::uint32_t frame_crop_top_offset = 0;
    std::uint32_t frame_crop_bottom_offset = 0;
    std::uint32_t vui_parameters_present_flag = 0;

    /// Reads the set that starts at the reader's position, behind the NAL header. False, logged, when it is cut short;
    /// the fields up to there are filled. Throws nothing and allocates nothing.
    /// Scaling lists and the fields of picture order count type 1 are not understood: a set that has them is logged
    /// and read on, and what follows them may be wrong. Cameras send neither.
    bool Deserialize(CNalBitStream& reader);

private:
    void ReadProfile(CNalBitStream& reader);
    void ReadChroma(CNalBitStream& reader);
    void ReadPictureOrder(CNalBitStream& reader);
    void ReadPicture(CNalBitStream& reader);
};
