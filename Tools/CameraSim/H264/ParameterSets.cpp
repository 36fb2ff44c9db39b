#include "CameraSim/H264/ParameterSets.h"

#include "CameraSim/H264/BitWriter.h"
#include "CameraSim/H264/NalUnit.h"
#include "CameraSim/Text/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace
{

/// ITU-T H.264, table A-1.
struct Level
{
    unsigned idc;
    std::uint32_t maxBlocksPerSecond;
    std::uint32_t maxBlocks;
    std::uint32_t maxKilobitsPerSecond;
};

constexpr std::array kLevels{
    Level{10, 1485, 99, 64},          Level{11, 3000, 396, 192},        Level{12, 6000, 396, 384},
    Level{13, 11880, 396, 768},       Level{20, 11880, 396, 2000},      Level{21, 19800, 792, 4000},
    Level{22, 20250, 1620, 4000},     Level{30, 40500, 1620, 10000},    Level{31, 108000, 3600, 14000},
    Level{32, 216000, 5120, 20000},   Level{40, 245760, 8192, 20000},   Level{41, 245760, 8192, 50000},
    Level{42, 522240, 8704, 50000},   Level{50, 589824, 22080, 135000}, Level{51, 983040, 36864, 240000},
    Level{52, 2073600, 36864, 240000}};

bool Holds(const Level& level, const H264Format& format)
{
    const std::uint32_t columns = format.Columns();
    const std::uint32_t rows = format.Rows();
    const std::uint32_t blocks = columns * rows;
    const std::uint32_t longestSide = std::max(columns, rows);
    return blocks <= level.maxBlocks && blocks * format.framesPerSecond <= level.maxBlocksPerSecond &&
           longestSide * longestSide <= 8 * level.maxBlocks && format.kilobitsPerSecond <= level.maxKilobitsPerSecond;
}

/// profile_idc and the byte of the constraint flags behind it.
struct Profile
{
    std::uint32_t idc;
    std::uint32_t constraints;
};

Profile ProfileOf(H264Profile profile)
{
    switch (profile)
    {
    case H264Profile::Baseline:
        return {66, 0xC0}; // what holds for Main too is constrained baseline
    case H264Profile::Main:
        return {77, 0x40};
    case H264Profile::High:
        break;
    }
    return {100, 0};
}

/// Annex E: the frame rate, and that no picture waits for a later one.
void WriteUsability(CBitWriter& bits, const H264Format& format)
{
    bits.Flag(false); // aspect_ratio_info_present_flag
    bits.Flag(false); // overscan_info_present_flag
    bits.Flag(false); // video_signal_type_present_flag
    bits.Flag(false); // chroma_loc_info_present_flag
    bits.Flag(true);  // timing_info_present_flag
    bits.Bits(1, 32); // num_units_in_tick, of which a frame lasts two
    bits.Bits(2 * format.framesPerSecond, 32);
    bits.Flag(true);  // fixed_frame_rate_flag
    bits.Flag(false); // nal_hrd_parameters_present_flag
    bits.Flag(false); // vcl_hrd_parameters_present_flag
    bits.Flag(false); // pic_struct_present_flag
    bits.Flag(true);  // bitstream_restriction_flag
    bits.Flag(true);  // motion_vectors_over_pic_boundaries_flag
    bits.Unsigned(0); // max_bytes_per_pic_denom: no limit
    bits.Unsigned(0); // max_bits_per_mb_denom: no limit
    bits.Unsigned(16);
    bits.Unsigned(16);
    bits.Unsigned(0); // max_num_reorder_frames
    bits.Unsigned(1); // max_dec_frame_buffering
}

void WriteCropping(CBitWriter& bits, const H264Format& format)
{
    const unsigned right = (16 * format.Columns() - format.width) / 2;
    const unsigned bottom = (16 * format.Rows() - format.height) / 2;
    bits.Flag(right != 0 || bottom != 0);
    if (right == 0 && bottom == 0)
        return;
    bits.Unsigned(0);
    bits.Unsigned(right);
    bits.Unsigned(0);
    bits.Unsigned(bottom);
}

/// 7.3.2.1.1
std::string WriteSequence(const H264Format& format)
{
    const Profile profile = ProfileOf(format.profile);
    CBitWriter bits;
    bits.Bits(profile.idc, 8);
    bits.Bits(profile.constraints, 8);
    bits.Bits(ParameterSets::LevelFor(format), 8);
    bits.Unsigned(0); // seq_parameter_set_id
    if (format.profile == H264Profile::High)
    {
        bits.Unsigned(1); // chroma_format_idc: 4:2:0
        bits.Unsigned(0); // bit_depth_luma_minus8
        bits.Unsigned(0); // bit_depth_chroma_minus8
        bits.Flag(false); // qpprime_y_zero_transform_bypass_flag
        bits.Flag(false); // seq_scaling_matrix_present_flag
    }
    bits.Unsigned(ParameterSets::kFrameNumBits - 4);
    bits.Unsigned(2); // pic_order_cnt_type: shown in the order of decoding
    bits.Unsigned(1); // max_num_ref_frames
    bits.Flag(false); // gaps_in_frame_num_value_allowed_flag
    bits.Unsigned(format.Columns() - 1);
    bits.Unsigned(format.Rows() - 1);
    bits.Flag(true); // frame_mbs_only_flag
    bits.Flag(true); // direct_8x8_inference_flag
    WriteCropping(bits, format);
    bits.Flag(true); // vui_parameters_present_flag
    WriteUsability(bits, format);
    return bits.Finish();
}

/// 7.3.2.2
std::string WritePicture()
{
    CBitWriter bits;
    bits.Unsigned(0); // pic_parameter_set_id
    bits.Unsigned(0); // seq_parameter_set_id
    bits.Flag(false); // entropy_coding_mode_flag: CAVLC
    bits.Flag(false); // bottom_field_pic_order_in_frame_present_flag
    bits.Unsigned(0); // num_slice_groups_minus1
    bits.Unsigned(0); // num_ref_idx_l0_default_active_minus1
    bits.Unsigned(0); // num_ref_idx_l1_default_active_minus1
    bits.Flag(false); // weighted_pred_flag
    bits.Bits(0, 2);  // weighted_bipred_idc
    bits.Signed(ParameterSets::kLumaQuantiser - 26);
    bits.Signed(0); // pic_init_qs_minus26
    bits.Signed(ParameterSets::kChromaQuantiserOffset);
    bits.Flag(true);  // deblocking_filter_control_present_flag
    bits.Flag(false); // constrained_intra_pred_flag
    bits.Flag(false); // redundant_pic_cnt_present_flag
    return bits.Finish();
}

} // namespace

std::string H264ParameterSets::ProfileLevelId() const
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : sequence.substr(1, 3))
    {
        const auto byte = static_cast<std::uint8_t>(c);
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

std::string H264ParameterSets::SpropParameterSets() const
{
    return Base64Text::Encode(sequence) + "," + Base64Text::Encode(picture);
}

namespace ParameterSets
{

H264ParameterSets Write(const H264Format& format)
{
    constexpr unsigned kMostImportant = 3;
    return {NalUnit::Make(kMostImportant, NalType::SequenceParameterSet, WriteSequence(format)),
            NalUnit::Make(kMostImportant, NalType::PictureParameterSet, WritePicture())};
}

unsigned LevelFor(const H264Format& format)
{
    const auto level = std::ranges::find_if(kLevels, [&](const Level& l) { return Holds(l, format); });
    return level != kLevels.end() ? level->idc : kLevels.back().idc;
}

} // namespace ParameterSets
