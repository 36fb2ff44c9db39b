#include "IPELAFilters/SpsInfo.h"

#include "IPELAFilters/NalBitStream.h"
#include "Tests/IPELAFilters/BitWriter.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/CountedAllocations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace
{
using Bytes = std::vector<std::uint8_t>;

bool Deserialize(const Bytes& bytes, SpsInfo& sps)
{
    CNalBitStream reader(bytes.data(), bytes.size());
    return sps.Deserialize(reader);
}

/// Profile, the six flags, two reserved bits, level and id.
CBitWriter Profile(std::uint32_t profileIdc, std::uint32_t flags = 0)
{
    return CBitWriter().Bits(profileIdc, 8).Bits(flags, 6).Bits(3, 2).Bits(31, 8).Ue(0);
}

/// From log2_max_frame_num_minus4 on: 1280x720, progressive, not cropped.
CBitWriter& Tail(CBitWriter& writer)
{
    return writer.Ue(0).Ue(0).Ue(2).Ue(4).Bits(0, 1).Ue(79).Ue(44).Bits(1, 1).Bits(1, 1).Bits(0, 1).Bits(0, 1);
}

CBitWriter BaselineSet()
{
    CBitWriter writer = Profile(66);
    return Tail(writer);
}
} // namespace

TEST(SpsInfo, IsZeroBeforeParsing)
{
    const SpsInfo sps;
    const auto* words = reinterpret_cast<const std::uint32_t*>(&sps);
    for (std::size_t index = 0; index < sizeof(sps) / sizeof(std::uint32_t); ++index)
        EXPECT_EQ(words[index], 0u) << index;
}

TEST(SpsInfo, BaselineSetHasNoChromaFields)
{
    SpsInfo sps;
    const CLogCapture log;
    ASSERT_TRUE(Deserialize(BaselineSet().Bytes(), sps));
    EXPECT_EQ(sps.profile_idc, 66u);
    EXPECT_EQ(sps.level_idc, 31u);
    EXPECT_EQ(sps.chroma_format_idc, 0u);
    EXPECT_EQ(sps.log2_max_pic_order_cnt_lsb_minus4, 2u);
    EXPECT_EQ(sps.max_num_ref_frames, 4u);
    EXPECT_EQ(sps.pic_width_in_mbs_minus1, 79u);
    EXPECT_EQ(sps.pic_height_in_map_units_minus1, 44u);
    EXPECT_EQ(sps.frame_mbs_only_flag, 1u);
    EXPECT_EQ(sps.direct_8x8_inference_flag, 1u);
    EXPECT_EQ(sps.frame_cropping_flag, 0u);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SpsInfo, ReadsEveryFieldIntoItsPlace)
{
    // Values that differ from field to field, so that none can stand for another.
    CBitWriter writer = CBitWriter().Bits(100, 8).Bits(0b101101, 6).Bits(0, 2).Bits(41, 8).Ue(5);
    writer.Ue(3).Bits(1, 1).Ue(6).Ue(7).Bits(1, 1).Bits(0, 1);
    writer.Ue(8).Ue(0).Ue(9).Ue(10).Bits(1, 1).Ue(11).Ue(12).Bits(0, 1).Bits(1, 1).Bits(1, 1);
    writer.Bits(1, 1).Ue(13).Ue(14).Ue(15).Ue(16).Bits(1, 1);
    SpsInfo sps;
    ASSERT_TRUE(Deserialize(writer.Bytes(), sps));
    EXPECT_EQ(sps.profile_idc, 100u);
    EXPECT_EQ(sps.constraint_set0_flag, 1u);
    EXPECT_EQ(sps.constraint_set1_flag, 0u);
    EXPECT_EQ(sps.constraint_set2_flag, 1u);
    EXPECT_EQ(sps.constraint_set3_flag, 1u);
    EXPECT_EQ(sps.constraint_set4_flag, 0u);
    EXPECT_EQ(sps.constraint_set5_flag, 1u);
    EXPECT_EQ(sps.level_idc, 41u);
    EXPECT_EQ(sps.seq_parameter_set_id, 5u);
    EXPECT_EQ(sps.chroma_format_idc, 3u);
    EXPECT_EQ(sps.separate_colour_plane_flag, 1u);
    EXPECT_EQ(sps.bit_depth_luma_minus8, 6u);
    EXPECT_EQ(sps.bit_depth_chroma_minus8, 7u);
    EXPECT_EQ(sps.qpprime_y_zero_transform_bypass_flag, 1u);
    EXPECT_EQ(sps.seq_scaling_matrix_present_flag, 0u);
    EXPECT_EQ(sps.log2_max_frame_num_minus4, 8u);
    EXPECT_EQ(sps.pic_order_cnt_type, 0u);
    EXPECT_EQ(sps.log2_max_pic_order_cnt_lsb_minus4, 9u);
    EXPECT_EQ(sps.max_num_ref_frames, 10u);
    EXPECT_EQ(sps.gaps_in_frame_num_value_allowed_flag, 1u);
    EXPECT_EQ(sps.pic_width_in_mbs_minus1, 11u);
    EXPECT_EQ(sps.pic_height_in_map_units_minus1, 12u);
    EXPECT_EQ(sps.frame_mbs_only_flag, 0u);
    EXPECT_EQ(sps.mb_adaptive_frame_field_flag, 1u);
    EXPECT_EQ(sps.direct_8x8_inference_flag, 1u);
    EXPECT_EQ(sps.frame_cropping_flag, 1u);
    EXPECT_EQ(sps.frame_crop_left_offset, 13u);
    EXPECT_EQ(sps.frame_crop_right_offset, 14u);
    EXPECT_EQ(sps.frame_crop_top_offset, 15u);
    EXPECT_EQ(sps.frame_crop_bottom_offset, 16u);
    EXPECT_EQ(sps.vui_parameters_present_flag, 1u);
}

TEST(SpsInfo, ChromaFieldsBelongToTheHighProfilesAlone)
{
    const std::uint32_t high[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    for (std::uint32_t profile = 0; profile < 256; ++profile)
    {
        SCOPED_TRACE(profile);
        const bool isHigh = std::ranges::find(high, profile) != std::end(high);
        CBitWriter writer = Profile(profile);
        if (isHigh)
            writer.Ue(1).Ue(2).Ue(0).Bits(0, 1).Bits(0, 1);
        SpsInfo sps;
        ASSERT_TRUE(Deserialize(Tail(writer).Bytes(), sps));
        EXPECT_EQ(sps.chroma_format_idc, isHigh ? 1u : 0u);
        EXPECT_EQ(sps.bit_depth_luma_minus8, isHigh ? 2u : 0u);
        EXPECT_EQ(sps.pic_width_in_mbs_minus1, 79u);
    }
}

TEST(SpsInfo, SeparateColourPlanesAreAskedForAtChromaFormat3Alone)
{
    for (std::uint32_t chroma = 0; chroma <= 4; ++chroma)
    {
        SCOPED_TRACE(chroma);
        CBitWriter writer = Profile(244);
        writer.Ue(chroma);
        if (chroma == 3)
            writer.Bits(1, 1);
        writer.Ue(0).Ue(0).Bits(0, 1).Bits(0, 1);
        SpsInfo sps;
        ASSERT_TRUE(Deserialize(Tail(writer).Bytes(), sps));
        EXPECT_EQ(sps.separate_colour_plane_flag, chroma == 3 ? 1u : 0u);
        EXPECT_EQ(sps.pic_width_in_mbs_minus1, 79u);
    }
}

// The three leniencies: cameras send none of this, and a set that does is reported and read on.
TEST(SpsInfo, ScalingMatrixIsLoggedAndItsListsAreNotRead)
{
    CBitWriter writer = Profile(100);
    writer.Ue(1).Ue(0).Ue(0).Bits(0, 1).Bits(1, 1);
    SpsInfo sps;
    const CLogCapture log;
    EXPECT_TRUE(Deserialize(Tail(writer).Bytes(), sps));
    EXPECT_EQ(sps.seq_scaling_matrix_present_flag, 1u);
    EXPECT_EQ(sps.pic_width_in_mbs_minus1, 79u) << "the next field stands right behind the flag";
    for (const std::uint32_t flag : sps.seq_scaling_list_present_flag)
        EXPECT_EQ(flag, 0u);
    EXPECT_THAT(log.Lines(), ElementsAre(L"1 SpsInfo::Deserialize, !!!seq_scaling_matrix_present_flag (1) is set."));
}

TEST(SpsInfo, FrameNumberLengthAbove12IsLoggedAndReadOn)
{
    for (const std::uint32_t length : {12u, 13u})
    {
        CBitWriter writer = Profile(66);
        writer.Ue(length).Ue(2).Ue(4).Bits(0, 1).Ue(19).Ue(14).Bits(1, 1).Bits(1, 1).Bits(0, 1).Bits(0, 1);
        SpsInfo sps;
        const CLogCapture log;
        EXPECT_TRUE(Deserialize(writer.Bytes(), sps));
        EXPECT_EQ(sps.pic_width_in_mbs_minus1, 19u);
        if (length > 12)
            EXPECT_THAT(log.Lines(), ElementsAre(L"1 SpsInfo::Deserialize, !!!log2_max_frame_num_minus4 (13) > 12."));
        else
            EXPECT_THAT(log.Lines(), IsEmpty());
    }
}

TEST(SpsInfo, PictureOrderCountOfType1IsLoggedAndItsFieldsAreNotRead)
{
    for (const std::uint32_t type : {1u, 2u, 3u})
    {
        CBitWriter writer = Profile(77);
        writer.Ue(0).Ue(type).Ue(4).Bits(0, 1).Ue(19).Ue(14).Bits(1, 1).Bits(1, 1).Bits(0, 1).Bits(0, 1);
        SpsInfo sps;
        const CLogCapture log;
        EXPECT_TRUE(Deserialize(writer.Bytes(), sps));
        EXPECT_EQ(sps.max_num_ref_frames, 4u) << "type " << type;
        if (type == 1)
            EXPECT_THAT(log.Lines(), ElementsAre(L"1 SpsInfo::Deserialize, !!!pic_order_cnt_type is 1."));
        else
            EXPECT_THAT(log.Lines(), IsEmpty());
    }
}

TEST(SpsInfo, SetCutShortAnywhereFails)
{
    const Bytes whole = BaselineSet().Bytes();
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        SpsInfo sps;
        EXPECT_FALSE(Deserialize(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)), sps))
            << length << " bytes";
    }
}

TEST(SpsInfo, SetCutShortIsLoggedAndKeepsWhatWasRead)
{
    SpsInfo sps;
    const CLogCapture log;
    EXPECT_FALSE(Deserialize({66, 0xC0, 31, 0xF5}, sps));
    EXPECT_EQ(sps.profile_idc, 66u);
    EXPECT_EQ(sps.constraint_set1_flag, 1u);
    EXPECT_EQ(sps.level_idc, 31u);
    // 1111 0101: four codes of 0, one of 1 (010), then a flag's place is taken by the last 1.
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"1 CNalBitStream::ReadBits, end of stream encountered, bitsToRead = 1, head = 0",
                            L"1 SpsInfo::Deserialize, CEndOfNalBitStreamException, bitsGot = 0, bitsToGet = 1"));
}

TEST(SpsInfo, AllocatesNothing)
{
    const Bytes whole = BaselineSet().Bytes();
    const Bytes cut(whole.begin(), whole.begin() + 4);
    SpsInfo sps;
    const unsigned before = CountedAllocations::Count();
    CNalBitStream reader(whole.data(), whole.size());
    const bool isRead = sps.Deserialize(reader);
    CNalBitStream cutReader(cut.data(), cut.size());
    const bool isCutRead = sps.Deserialize(cutReader);
    const unsigned after = CountedAllocations::Count();
    EXPECT_TRUE(isRead);
    EXPECT_FALSE(isCutRead);
    EXPECT_EQ(after, before);
}
