#include "Protocol/AxisReply.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{
std::vector<AxisParameter> LinesOf(std::wstring_view reply)
{
    const CAxisLines lines = AxisReply::Lines(reply);
    return {lines.begin(), lines.end()};
}
} // namespace

// What allocates can fail.
static_assert(noexcept(AxisReply::Lines(L"")) && noexcept(++AxisReply::Lines(L"").begin()) && noexcept(
                  AxisReply::ValueOf(L"", L"")),
              "a reply of millions of lines costs no memory beside itself");

TEST(AxisReply, LinesAreSplitAtTheFirstEqualsSignAndTrimmed)
{
    const struct
    {
        const char* reason;
        std::wstring_view reply;
        std::vector<AxisParameter> lines;
    } rows[] = {
        {"one line", L"root.Brand.Brand=AXIS\r\n", {{L"root.Brand.Brand", L"AXIS"}}},
        {"in order", L"b=2\r\na=1\r\n", {{L"b", L"2"}, {L"a", L"1"}}},
        {"the last line needs no end", L"a=1\r\nb=2", {{L"a", L"1"}, {L"b", L"2"}}},
        {"the value keeps further equals signs", L"a=b=c=d", {{L"a", L"b=c=d"}}},
        {"white space around both parts", L" \ta b \t= c d \r\n", {{L"a b", L"c d"}}},
        {"no value", L"a=\r\nb=1", {{L"a", L""}, {L"b", L"1"}}},
        {"no name", L"=1\r\n", {{L"", L"1"}}},
        {"no equals sign", L"OK\r\na=1", {{L"OK", L""}, {L"a", L"1"}}},
        {"empty lines", L"\r\n\r\na=1\r\n \r\n\r\nb=2\r\n\r\n", {{L"a", L"1"}, {L"b", L"2"}}},
        {"line feeds alone", L"a=1\nb=2\n", {{L"a", L"1"}, {L"b", L"2"}}},
        {"both kinds of line end", L"a=1\r\nb=2\nc=3\r\n", {{L"a", L"1"}, {L"b", L"2"}, {L"c", L"3"}}},
        {"a line feed only", L"\n", {}},
        {"nothing", L"", {}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_THAT(LinesOf(row.reply), ElementsAreArray(row.lines));
    }
}

TEST(AxisReply, WholeNamesAreComparedInAnyCase)
{
    const AxisParameter line{L"root.Properties.API.RTSP.Version", L"2.01"};
    EXPECT_TRUE(line.IsNamed(L"root.Properties.api.rtsp.version"));
    EXPECT_TRUE(line.IsNamed(L"root.Properties.API.RTSP.Version"));
    EXPECT_FALSE(line.IsNamed(L"Properties.API.RTSP.Version")) << "the root is part of the name";
    EXPECT_FALSE(line.IsNamed(L"root.Properties.API.RTSP.Version2"));
    EXPECT_FALSE(line.IsNamed(L"root.Properties.API.RTSP"));
    EXPECT_FALSE(line.IsNamed(L""));
}

TEST(AxisReply, PartsOfNamesStandBehindTheFirstCharacterInThisCase)
{
    const struct
    {
        const char* reason;
        std::wstring_view name;
        std::wstring_view part;
        bool isFound;
    } rows[] = {
        {"at the end", L"root.Image.I0.MPEG.PCount", L".PCount", true},
        {"in the middle", L"root.Image.I0.MPEG.H264.Profile", L".H264.Prof", true},
        {"at the second character", L"x.PCount", L".PCount", true},
        {"at the beginning it does not count", L".PCount", L".PCount", false},
        {"at the beginning and again", L".PCount.PCount", L".PCount", true},
        {"in another case", L"root.Image.I0.MPEG.pcount", L".PCount", false},
        {"elsewhere", L"root.Image.I0.MPEG.BCount", L".PCount", false},
        {"a name shorter than the part", L"PC", L".PCount", false},
        {"no name", L"", L".PCount", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.isFound, (AxisParameter{row.name, L""}).IsNamedWith(row.part)) << row.reason;
}

TEST(AxisReply, ValueIsThatOfTheLastLineWithThePartInItsName)
{
    constexpr std::wstring_view kReply = L"root.Network.RTSP.Port=554\r\nroot.Network.RTSP.Enabled=no\r\n"
                                         L"root.Network.RTSP.Enabled= yes \r\nNote=a.Enabled\r\n.Enabled=maybe\r\n";
    EXPECT_EQ(L"yes", AxisReply::ValueOf(kReply, L".Enabled"));
    EXPECT_EQ(L"554", AxisReply::ValueOf(kReply, L".Port"));
    EXPECT_EQ(L"", AxisReply::ValueOf(kReply, L".Disabled"));
    EXPECT_EQ(L"", AxisReply::ValueOf(L"", L".Enabled"));
    EXPECT_EQ(L"", AxisReply::ValueOf(L"root.A.Enabled=yes\r\nroot.B.Enabled=\r\n", L".Enabled"))
        << "an empty value is a value";
}

TEST(AxisReply, VersionsHaveAtMostTwoNumbers)
{
    const struct
    {
        const char* reason;
        std::wstring_view text;
        AxisVersion version;
    } rows[] = {
        {"two numbers", L"2.1", {2, 1}},
        {"leading zeros", L"2.01", {2, 1}},
        {"one number", L"3", {3, 0}},
        {"a point behind it", L"3.", {3, 0}},
        {"a point in front", L".5", {0, 5}},
        {"more numbers do not count", L"5.51.4", {5, 51}},
        {"letters behind a number", L"6b.10rc", {6, 10}},
        {"letters only", L"new.est", {0, 0}},
        {"nothing", L"", {0, 0}},
        {"too large", L"99999999999.1", {std::numeric_limits<std::int32_t>::max(), 1}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.version, AxisReply::ToVersion(row.text)) << row.reason;
}

TEST(AxisReply, VersionsAreComparedNumberByNumber)
{
    constexpr AxisVersion kLowest{2, 1};
    EXPECT_LT((AxisVersion{2, 0}), kLowest);
    EXPECT_LT((AxisVersion{1, 99}), kLowest);
    EXPECT_GE((AxisVersion{2, 1}), kLowest);
    EXPECT_GE((AxisVersion{2, 10}), kLowest);
    EXPECT_GE((AxisVersion{3, 0}), kLowest);
}

TEST(AxisReply, ImageSizeNeedsBothNumbers)
{
    const struct
    {
        const char* reason;
        std::wstring_view reply;
        std::optional<AxisPictureSize> size;
    } rows[] = {
        {"as cameras write it", L"image width = 1280\r\nimage height = 720\r\n", {{1280, 720}}},
        {"the other way round", L"image height=720\r\nimage width=1280", {{1280, 720}}},
        {"in capitals", L"IMAGE WIDTH = 480\r\nImage Height = 270", {{480, 270}}},
        {"other lines between", L"camera = 1\r\nimage width = 8\r\nzoom = 1\r\nimage height = 6", {{8, 6}}},
        {"units behind the numbers", L"image width = 1280px\r\nimage height = 720px", {{1280, 720}}},
        {"no width", L"image height = 720\r\n", {}},
        {"no height", L"image width = 1280\r\n", {}},
        {"a width that is no number", L"image width = wide\r\nimage height = 720", {}},
        {"a height of nothing", L"image width = 1280\r\nimage height = 0", {}},
        {"a height below nothing", L"image width = 1280\r\nimage height = -720", {}},
        {"a longer name", L"image width = 1280\r\nthe image height = 720", {}},
        {"an error", L"Error: no such camera\r\n", {}},
        {"nothing", L"", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.size, AxisReply::ReadImageSize(row.reply)) << row.reason;
}

TEST(AxisReply, ResolutionsAreSizesSeparatedByCommas)
{
    EXPECT_THAT(AxisReply::ToResolutions(L"1920x1080,1280x720").value(),
                ElementsAre(AxisPictureSize{1920, 1080}, AxisPictureSize{1280, 720}));
    EXPECT_THAT(AxisReply::ToResolutions(L" 480x270 , 800x450 ").value(),
                ElementsAre(AxisPictureSize{480, 270}, AxisPictureSize{800, 450}));
    EXPECT_THAT(AxisReply::ToResolutions(L"1920x1080,").value(), ElementsAre(AxisPictureSize{1920, 1080}));
    for (const std::wstring_view none :
         {L"", L"x", L"1920", L"1920x", L"x1080", L"1920x1080,,480x270", L",1920x1080", L"1920x1080,full", L"0x0"})
        EXPECT_FALSE(AxisReply::ToResolutions(none).has_value()) << testing::PrintToString(none);
}

TEST(AxisReply, ResolutionsAreBoundedInNumber)
{
    std::wstring text;
    for (std::size_t i = 0; i < AxisReply::kMaximumResolutions; ++i)
        text += L"1x1,";
    EXPECT_EQ(AxisReply::kMaximumResolutions, AxisReply::ToResolutions(text).value().size());
    EXPECT_FALSE(AxisReply::ToResolutions(text + L"1x1").has_value());
}

TEST(AxisReply, TimeGrowsWithTheLengthAlone)
{
    // A search that began anew for every line would take minutes for these.
    const std::size_t count = 300000;
    std::wstring equalsSigns(count, L'=');
    std::wstring lineFeeds(count, L'\n');
    std::wstring shortLines;
    for (std::size_t i = 0; i < count; ++i)
        shortLines += L"a\n";
    EXPECT_EQ(1u, LinesOf(equalsSigns).size());
    EXPECT_THAT(LinesOf(lineFeeds), IsEmpty());
    EXPECT_EQ(count, LinesOf(shortLines).size());
    EXPECT_EQ(L"", AxisReply::ValueOf(shortLines, L".PCount"));
    EXPECT_FALSE(AxisReply::ToResolutions(std::wstring(count, L'x')).has_value());
    EXPECT_FALSE(AxisReply::ReadImageSize(shortLines).has_value());
}
