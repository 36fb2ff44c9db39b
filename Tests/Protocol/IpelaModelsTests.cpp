#include "Protocol/IpelaModels.h"

#include "Tests/Protocol/IpelaNames.h"

#include <gmock/gmock.h>

#include <vector>

using testing::ElementsAre;

namespace
{
std::vector<ImageFormat> Formats(int model, VideoStandard standard)
{
    const auto rows = IpelaModels::ImageSizes(Model(model), standard);
    return {rows.begin(), rows.end()};
}

ImageFormat Row(int width, int height, int frameRate, Compression compression)
{
    return {width, height, frameRate, compression};
}
} // namespace

void PrintTo(const ImageFormat& format, std::ostream* stream)
{
    *stream << format.width << "x" << format.height << " at " << format.frameRate
            << (format.compression == kH264 ? " H.264" : " MPEG-4");
}

TEST(IpelaModels, NameIsMatchedByPrefix)
{
    const struct
    {
        const char* reason;
        std::wstring_view name;
        int model;
    } rows[] = {
        {"known", L"SNC-RZ25", 2},
        {"known", L"SNC-RX550", 1},
        {"known", L"SNC-RH124", 3},
        {"known", L"SNC-ER550", 4},
        {"known", L"SNC-ER580", 5},
        {"known", L"SNC-EP550", 6},
        {"known", L"SNC-EP520", 7},
        {"known", L"SNC-WR600", 8},
        {"known", L"SNC-EP580", 9},
        {"regional variant", L"SNC-EP580P", 9},
        {"prefix must stand in front", L"XSNC-EP550", 0},
        {"leading space is no prefix", L" SNC-EP550", 0},
        {"too short", L"SNC-EP58", 0},
        {"lower case is the caller's business", L"snc-ep550", 0},
        {"unknown", L"SNC-CH210", 0},
        {"empty", L"", 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ", model " << row.model);
        EXPECT_EQ(IpelaModels::FromModelName(row.name), Model(row.model));
    }
}

TEST(IpelaModels, ModelsSixToNineAreTheH264Family)
{
    for (int model = 0; model <= 9; ++model)
        EXPECT_EQ(IpelaModels::IsH264Family(Model(model)), model >= 6) << model;
}

TEST(IpelaModels, Mpeg4FamilyLooksUpEveryKeyByFirstMatch)
{
    using enum IpelaReply::Lookup;
    for (int model = 0; model <= 5; ++model)
    {
        SCOPED_TRACE(model);
        const IpelaKeySet& keys = IpelaModels::Keys(Model(model));
        const struct
        {
            IpelaReply::Key key;
            std::wstring_view name;
        } rows[] = {
            {keys.codec, L"ImageCodec"},
            {keys.imageSize, L"M4ImageSize"},
            {keys.frameRate, L"M4FrameRate"},
            {keys.bitRate, L"M4BitRate"},
            {keys.autoRateControl, L"M4AutoRateCtrl"},
            {keys.multicastAddress, L"McAddress"},
            {keys.multicastVideoPort, L"McVideoPort"},
            {keys.unicastVideoPort, L"UcVideoPort"},
            {keys.multicastAudioPort, L"McAudioPort"},
            {keys.unicastAudioPort, L"UcAudioPort"},
            {keys.audioInVolume, L"AudioInVolume"},
        };
        for (const auto& row : rows)
        {
            EXPECT_EQ(row.key.name, row.name);
            EXPECT_EQ(row.key.lookup, FirstMatch) << std::string(row.name.begin(), row.name.end());
        }
    }
}

TEST(IpelaModels, H264FamilyLooksUpTargetsAndRateControlExactly)
{
    using enum IpelaReply::Lookup;
    for (int model = 6; model <= 9; ++model)
    {
        SCOPED_TRACE(model);
        const IpelaKeySet& keys = IpelaModels::Keys(Model(model));
        const struct
        {
            IpelaReply::Key key;
            std::wstring_view name;
            IpelaReply::Lookup lookup;
        } rows[] = {
            {keys.codec, L"ImageCodec1", FirstMatch},
            {keys.imageSize, L"ImageSize1", FirstMatch},
            {keys.frameRate, L"FrameRate1", FirstMatch},
            {keys.bitRate, L"BitRate1", FirstMatch},
            {keys.autoRateControl, L"AutoRateCtrl1", Exact},
            {keys.multicastAddress, L"McAddress1", Exact},
            {keys.multicastVideoPort, L"McVideoPort1", Exact},
            {keys.unicastVideoPort, L"UcVideoPort1", Exact},
            {keys.multicastAudioPort, L"McAudioPort", FirstMatch},
            {keys.unicastAudioPort, L"UcAudioPort", FirstMatch},
            {keys.audioInVolume, L"AudioInVolume", FirstMatch},
        };
        for (const auto& row : rows)
        {
            EXPECT_EQ(row.key.name, row.name);
            EXPECT_EQ(row.key.lookup, row.lookup) << std::string(row.name.begin(), row.name.end());
        }
    }
}

TEST(IpelaModels, UnknownModelKeepsFullHdAt20InBothStandards)
{
    EXPECT_THAT(Formats(0, k60Hz), ElementsAre(Row(1920, 1080, 20, kMpeg4), Row(1280, 720, 30, kMpeg4),
                                               Row(640, 480, 30, kMpeg4), Row(320, 240, 30, kMpeg4)));
    EXPECT_THAT(Formats(0, k50Hz), ElementsAre(Row(1920, 1080, 20, kMpeg4), Row(1280, 720, 25, kMpeg4),
                                               Row(640, 480, 25, kMpeg4), Row(320, 240, 25, kMpeg4)));
}

TEST(IpelaModels, Rx550AndRz25OfferTwoSizes)
{
    for (const int model : {1, 2})
    {
        SCOPED_TRACE(model);
        EXPECT_THAT(Formats(model, k60Hz), ElementsAre(Row(640, 480, 30, kMpeg4), Row(320, 240, 30, kMpeg4)));
        EXPECT_THAT(Formats(model, k50Hz), ElementsAre(Row(640, 480, 25, kMpeg4), Row(320, 240, 25, kMpeg4)));
    }
}

TEST(IpelaModels, Rh124Er550AndEr580OfferThreeSizes)
{
    for (const int model : {3, 4, 5})
    {
        SCOPED_TRACE(model);
        EXPECT_THAT(Formats(model, k60Hz),
                    ElementsAre(Row(1280, 720, 30, kMpeg4), Row(640, 480, 30, kMpeg4), Row(320, 240, 30, kMpeg4)));
        EXPECT_THAT(Formats(model, k50Hz),
                    ElementsAre(Row(1280, 720, 25, kMpeg4), Row(640, 480, 25, kMpeg4), Row(320, 240, 25, kMpeg4)));
    }
}

TEST(IpelaModels, Ep550OffersFiveSizesInMpeg4ThenInH264)
{
    EXPECT_THAT(Formats(6, k60Hz),
                ElementsAre(Row(1280, 720, 30, kMpeg4), Row(640, 368, 30, kMpeg4), Row(640, 480, 30, kMpeg4),
                            Row(320, 192, 30, kMpeg4), Row(320, 240, 30, kMpeg4), Row(1280, 720, 30, kH264),
                            Row(640, 368, 30, kH264), Row(640, 480, 30, kH264), Row(320, 192, 30, kH264),
                            Row(320, 240, 30, kH264)));
    EXPECT_THAT(Formats(6, k50Hz),
                ElementsAre(Row(1280, 720, 25, kMpeg4), Row(640, 368, 25, kMpeg4), Row(640, 480, 25, kMpeg4),
                            Row(320, 192, 25, kMpeg4), Row(320, 240, 25, kMpeg4), Row(1280, 720, 25, kH264),
                            Row(640, 368, 25, kH264), Row(640, 480, 25, kH264), Row(320, 192, 25, kH264),
                            Row(320, 240, 25, kH264)));
}

TEST(IpelaModels, Ep520OffersTwoSizesInMpeg4ThenInH264)
{
    EXPECT_THAT(Formats(7, k60Hz), ElementsAre(Row(640, 480, 30, kMpeg4), Row(320, 240, 30, kMpeg4),
                                               Row(640, 480, 30, kH264), Row(320, 240, 30, kH264)));
    EXPECT_THAT(Formats(7, k50Hz), ElementsAre(Row(640, 480, 25, kMpeg4), Row(320, 240, 25, kMpeg4),
                                               Row(640, 480, 25, kH264), Row(320, 240, 25, kH264)));
}

TEST(IpelaModels, Wr600OffersH264Only)
{
    EXPECT_THAT(Formats(8, k60Hz),
                ElementsAre(Row(1280, 720, 30, kH264), Row(640, 480, 30, kH264), Row(320, 184, 30, kH264)));
    EXPECT_THAT(Formats(8, k50Hz),
                ElementsAre(Row(1280, 720, 25, kH264), Row(640, 480, 25, kH264), Row(320, 184, 25, kH264)));
}

TEST(IpelaModels, Ep580SmallestH264PictureHas192LinesAt60HzAnd184At50Hz)
{
    EXPECT_THAT(Formats(9, k60Hz),
                ElementsAre(Row(1920, 1080, 30, kH264), Row(1280, 720, 30, kMpeg4), Row(640, 480, 30, kMpeg4),
                            Row(320, 192, 30, kMpeg4), Row(1280, 720, 30, kH264), Row(640, 480, 30, kH264),
                            Row(320, 192, 30, kH264)));
    EXPECT_THAT(Formats(9, k50Hz),
                ElementsAre(Row(1920, 1080, 25, kH264), Row(1280, 720, 25, kMpeg4), Row(640, 480, 25, kMpeg4),
                            Row(320, 192, 25, kMpeg4), Row(1280, 720, 25, kH264), Row(640, 480, 25, kH264),
                            Row(320, 184, 25, kH264)));
}

TEST(IpelaModels, SizeIsSupportedWhenWidthHeightAndCodecStandInOneRow)
{
    const struct
    {
        const char* reason;
        int model;
        VideoStandard standard;
        int width;
        int height;
        Compression compression;
        bool isSupported;
    } rows[] = {
        {"first row", 9, k60Hz, 1920, 1080, kH264, true},
        {"last row", 9, k60Hz, 320, 192, kH264, true},
        {"same size, but full HD is H.264 only", 9, k60Hz, 1920, 1080, kMpeg4, false},
        {"line count of the other standard", 9, k60Hz, 320, 184, kH264, false},
        {"line count of this standard", 9, k50Hz, 320, 184, kH264, true},
        {"192 lines at 50 Hz in MPEG-4 only", 9, k50Hz, 320, 192, kH264, false},
        {"192 lines at 50 Hz in MPEG-4 only", 9, k50Hz, 320, 192, kMpeg4, true},
        {"width and height of different rows", 1, k60Hz, 640, 240, kMpeg4, false},
        {"MPEG-4 camera asked for H.264", 1, k60Hz, 640, 480, kH264, false},
        {"H.264 camera asked for MPEG-4", 8, k60Hz, 640, 480, kMpeg4, false},
        {"no codec", 6, k60Hz, 640, 480, Compression::None, false},
        {"no size", 6, k60Hz, 0, 0, kMpeg4, false},
        {"negative size", 6, k60Hz, -640, -480, kMpeg4, false},
        {"full HD on a small camera", 7, k60Hz, 1920, 1080, kMpeg4, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(
            IpelaModels::IsImageSizeSupported(Model(row.model), row.standard, row.width, row.height, row.compression),
            row.isSupported);
    }
}

TEST(IpelaModels, HeightComesFromTheFirstRowOfThatWidth)
{
    EXPECT_EQ(IpelaModels::HeightForWidth(Model(0), k60Hz, 1920), 1080);
    EXPECT_EQ(IpelaModels::HeightForWidth(Model(1), k50Hz, 320), 240);
    EXPECT_EQ(IpelaModels::HeightForWidth(Model(6), k60Hz, 640), 368) << "the first of two rows";
    EXPECT_EQ(IpelaModels::HeightForWidth(Model(1), k60Hz, 1280), 0) << "no such row";
    EXPECT_EQ(IpelaModels::HeightForWidth(Model(1), k60Hz, 0), 0);
}

TEST(IpelaModels, BitRatesGoUpInFifteenSteps)
{
    EXPECT_THAT(IpelaModels::BitRateSteps(),
                ElementsAre(64, 128, 256, 384, 512, 768, 1024, 1536, 2048, 3072, 4096, 5120, 6144, 7168, 8192));
}
