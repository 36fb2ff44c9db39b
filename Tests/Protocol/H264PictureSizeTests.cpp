#include "Protocol/H264PictureSize.h"

#include "IPELAFilters/SpsInfo.h"
#include "Tests/Corpus/H264/ParameterSets.h"
#include "Tests/IPELAFilters/BitWriter.h"
#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using H264PictureSize::FromSps;
using H264PictureSize::GetH264ImageSizeFromSPS;
using H264PictureSize::IsSequenceParameterSet;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr wchar_t kFailed[] = L"4 CCgiCommandRtsp::GetH264ImageSizeFromSPS, failed to deserialize sps";

H264FormatParameters ParametersOf(const H264Corpus::ParameterSets& sets)
{
    return H264FormatParameters::Parse("sprop-parameter-sets=" + std::string(sets.sps) + "," + std::string(sets.pps));
}

struct Crop
{
    std::uint32_t left, right, top, bottom;
};

/// A sequence parameter set of the baseline profile, with its NAL header.
std::string BaselineSet(std::uint32_t widthMinus1, std::uint32_t heightMinus1, const Crop* crop = nullptr)
{
    CBitWriter writer = CBitWriter().Bits(0x67, 8).Bits(66, 8).Bits(0, 8).Bits(31, 8).Ue(0);
    writer.Ue(0).Ue(2).Ue(1).Bits(0, 1).Ue(widthMinus1).Ue(heightMinus1).Bits(1, 1).Bits(1, 1);
    writer.Bits(crop != nullptr ? 1 : 0, 1);
    if (crop != nullptr)
        writer.Ue(crop->left).Ue(crop->right).Ue(crop->top).Ue(crop->bottom);
    const auto bytes = writer.Bits(0, 1).Bytes();
    return {bytes.begin(), bytes.end()};
}

PictureSize SizeOf(const std::string& set1, const std::string& set2)
{
    H264FormatParameters parameters;
    parameters.parameterSet1 = set1;
    parameters.parameterSet2 = set2;
    PictureSize size;
    EXPECT_TRUE(GetH264ImageSizeFromSPS(parameters, size));
    return size;
}
} // namespace

static void PrintTo(const PictureSize& size, std::ostream* stream)
{
    *stream << size.width << "x" << size.height;
}

TEST(H264PictureSize, SetsOfRealEncodersGiveTheSizeThatFfprobeReports)
{
    for (const H264Corpus::ParameterSets& sets : H264Corpus::kProgressive420)
    {
        SCOPED_TRACE(sets.encoder);
        const CLogCapture log;
        PictureSize size;
        ASSERT_TRUE(GetH264ImageSizeFromSPS(ParametersOf(sets), size));
        EXPECT_EQ(size, (PictureSize{sets.width, sets.height}));
        EXPECT_THAT(log.Lines(), IsEmpty());
    }
}

// The formula knows one crop unit and one height of a map unit. Kept: cameras send nothing else, and applications rely
// on the sizes that it has always given.
TEST(H264PictureSize, OtherStreamsGetTheSameFormula)
{
    for (const H264Corpus::OtherParameterSets& other : H264Corpus::kOther)
    {
        SCOPED_TRACE(std::string(other.sets.encoder) + ": " + other.reason);
        PictureSize size;
        ASSERT_TRUE(GetH264ImageSizeFromSPS(ParametersOf(other.sets), size));
        EXPECT_EQ(size, (PictureSize{other.formulaWidth, other.formulaHeight}));
    }
}

TEST(H264PictureSize, CropUnitsAreTwoPixels)
{
    const struct
    {
        const char* reason;
        Crop crop;
        PictureSize size;
    } rows[] = {
        {"nothing cropped", {0, 0, 0, 0}, {1280, 720}},
        {"bottom", {0, 0, 0, 4}, {1280, 712}},
        {"top", {0, 0, 4, 0}, {1280, 712}},
        {"left", {3, 0, 0, 0}, {1274, 720}},
        {"right", {0, 3, 0, 0}, {1274, 720}},
        {"all sides", {1, 2, 3, 4}, {1274, 706}},
        {"all of it", {640, 0, 0, 360}, {0, 0}},
        // The arithmetic is that of unsigned numbers, brought back to signed ones.
        {"more than there is", {641, 0, 0, 361}, {-2, -2}},
        {"as much as a code can say", {0xFFFFFFFE, 0xFFFFFFFE, 0, 0}, {1288, 720}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(SizeOf(BaselineSet(79, 44, &row.crop), ""), row.size);
    }
    EXPECT_EQ(SizeOf(BaselineSet(79, 44), ""), (PictureSize{1280, 720})) << "no cropping flag";
}

TEST(H264PictureSize, HugePicturesWrap)
{
    SpsInfo sps;
    sps.pic_width_in_mbs_minus1 = 0xFFFFFFFF;
    sps.pic_height_in_map_units_minus1 = 0x07FFFFFF;
    EXPECT_EQ(FromSps(sps), (PictureSize{0, -2147483647 - 1}));
    sps.frame_crop_left_offset = 0xFFFFFFFF;
    EXPECT_EQ(FromSps(sps).width, 2);
}

TEST(H264PictureSize, FieldsAndChromaChangeNothing)
{
    SpsInfo sps;
    sps.pic_width_in_mbs_minus1 = 44;
    sps.pic_height_in_map_units_minus1 = 17;
    for (const std::uint32_t frameMbsOnly : {0u, 1u})
        for (const std::uint32_t chroma : {0u, 1u, 2u, 3u})
        {
            sps.frame_mbs_only_flag = frameMbsOnly;
            sps.chroma_format_idc = chroma;
            EXPECT_EQ(FromSps(sps), (PictureSize{720, 288}));
        }
}

TEST(H264PictureSize, NalTypeIsTheLowFiveBits)
{
    const struct
    {
        const char* reason;
        std::string nalUnit;
        bool isSps;
    } rows[] = {
        {"reference idc 3", "\x67", true},
        {"reference idc 1", "\x27", true},
        {"reference idc 0", "\x07", true},
        {"the forbidden bit does not count", "\xE7", true},
        {"picture parameter set", "\x68", false},
        {"type 15, a subset", "\x6F", false},
        {"type 23 shares the low four", "\x77", false},
        {"no bytes have no type", "", false},
        {"bytes behind the first do not count", "\x68\x67", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(IsSequenceParameterSet(row.nalUnit), row.isSps) << row.reason;
}

TEST(H264PictureSize, TheFirstSetIsTakenIfItIsASequenceParameterSetElseTheSecond)
{
    const std::string small = BaselineSet(9, 9);
    const std::string large = BaselineSet(79, 44);
    const PictureSize smallSize{160, 160};
    EXPECT_EQ(SizeOf(small, "\x68\xCE"), smallSize);
    EXPECT_EQ(SizeOf(small, large), smallSize) << "both are: the first";
    EXPECT_EQ(SizeOf("\x68\xCE", small), smallSize) << "the other way round";
    EXPECT_EQ(SizeOf("", small), smallSize) << "no first set";
}

TEST(H264PictureSize, WithoutAUsableSetItFailsWithALogLineAndNoException)
{
    const std::string whole = BaselineSet(79, 44);
    const struct
    {
        const char* reason;
        std::string set1;
        std::string set2;
    } rows[] = {
        {"no sets", "", ""},
        {"a header alone", "\x67", ""},
        {"cut short", whole.substr(0, 6), ""},
        {"cut short, though the second is whole", whole.substr(0, 6), whole},
        {"a picture parameter set alone", "\x68\xCE", ""},
        {"two of them", "\x68\xCE", "\x68\xCE"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        H264FormatParameters parameters;
        parameters.parameterSet1 = row.set1;
        parameters.parameterSet2 = row.set2;
        PictureSize size{1, 2};
        const CLogCapture log;
        EXPECT_FALSE(GetH264ImageSizeFromSPS(parameters, size));
        EXPECT_EQ(size, (PictureSize{1, 2})) << "untouched";
        ASSERT_FALSE(log.Lines().empty());
        EXPECT_EQ(log.Lines().back(), kFailed);
    }
}

TEST(H264PictureSize, SetCutShortAnywhereFails)
{
    // Every byte up to the cropping counts: nothing that was read of a cut set is reported.
    const H264FormatParameters whole = ParametersOf(H264Corpus::kProgressive420[0]);
    std::size_t failures = 0;
    for (std::size_t length = 0; length <= whole.parameterSet1.size(); ++length)
    {
        H264FormatParameters cut;
        cut.parameterSet1 = whole.parameterSet1.substr(0, length);
        PictureSize size;
        if (GetH264ImageSizeFromSPS(cut, size))
            EXPECT_EQ(size, (PictureSize{176, 144})) << length;
        else
            ++failures;
    }
    EXPECT_GE(failures, 8u);
}
