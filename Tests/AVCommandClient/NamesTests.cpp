#include "Core/Names.h"

#include <gtest/gtest.h>

namespace
{
TEST(PictureFormatText, ParsesOnlyThreePositiveNumbers)
{
    struct Row
    {
        const char* reason;
        const char* text;
        std::optional<PictureFormat> expected;
    };
    const Row rows[] = {
        {"the usual form", "1280x720@30", PictureFormat{1280, 720, 30, StreamCodec::kNone}},
        {"an upper-case cross", "640X480@5", PictureFormat{640, 480, 5, StreamCodec::kNone}},
        {"no rate", "1280x720", std::nullopt},
        {"empty rate", "1280x720@", std::nullopt},
        {"no cross", "1280*720@30", std::nullopt},
        {"parts in the wrong order", "30@1280x720", std::nullopt},
        {"zero width", "0x720@30", std::nullopt},
        {"negative height", "1280x-720@30", std::nullopt},
        {"a space", "1280 x720@30", std::nullopt},
        {"something behind the rate", "1280x720@30fps", std::nullopt},
        {"a number that does not fit", "99999999999x720@30", std::nullopt},
        {"nothing", "", std::nullopt},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Names::ParsePictureFormat(row.text), row.expected) << row.reason;
}

TEST(PictureFormatText, ComesBackAsItWasParsed)
{
    EXPECT_EQ(Names::PictureFormatText({1920, 1080, 20, StreamCodec::kH264}), "1920x1080@20");
}

TEST(DirectionNames, EveryDirectionParsesBackFromItsText)
{
    for (const int number : {1, 2, 3, 4, 6, 7, 8, 9, 10, 11})
    {
        const auto direction = static_cast<MoveDirection>(number);
        EXPECT_EQ(Names::ParseDirection(Names::DirectionText(direction)), direction) << number;
    }
}

TEST(DirectionNames, NumbersAreThoseOfAKeypad)
{
    EXPECT_EQ(Names::ParseDirection("down-left"), MoveDirection::kLowerLeft);
    EXPECT_EQ(Names::ParseDirection("UP"), MoveDirection::kUpper);
    EXPECT_EQ(static_cast<int>(*Names::ParseDirection("up-right")), 9);
    EXPECT_EQ(Names::ParseDirection("sideways"), std::nullopt);
    EXPECT_EQ(Names::ParseDirection(""), std::nullopt);
}

TEST(DirectionNames, StopTakesMotorAndZoomAsWell)
{
    EXPECT_EQ(Names::ParseStop("motor"), MoveDirection::kNone);
    EXPECT_EQ(Names::ParseStop("Zoom"), MoveDirection::kZoomTele);
    EXPECT_EQ(Names::ParseStop("left"), MoveDirection::kLeft);
    EXPECT_EQ(Names::ParseStop("all"), std::nullopt);
}

TEST(StepSizeNames, EveryStepParsesBackFromItsText)
{
    for (int number = 1; number <= 10; ++number)
    {
        const auto size = static_cast<StepSize>(number);
        EXPECT_EQ(Names::ParseStepSize(Names::StepSizeText(size)), size) << number;
    }
    EXPECT_EQ(Names::ParseStepSize("11"), std::nullopt);
}

TEST(CodecNames, UnknownCodecIsShownAsItsNumber)
{
    EXPECT_EQ(Names::ParseCodec("H264"), StreamCodec::kH264);
    EXPECT_EQ(Names::ParseCodec("mpeg4"), StreamCodec::kMpeg4);
    EXPECT_EQ(Names::ParseCodec("h265"), std::nullopt);
    EXPECT_EQ(Names::CodecText(StreamCodec::kNone), "none");
    EXPECT_EQ(Names::CodecText(static_cast<StreamCodec>(7)), "7");
}

TEST(PortText, OnlyPortsParse)
{
    EXPECT_EQ(Names::ParsePort("1"), 1);
    EXPECT_EQ(Names::ParsePort("65535"), 65535);
    for (const char* text : {"0", "65536", "-1", "80a", " 80", "", "http"})
        EXPECT_EQ(Names::ParsePort(text), std::nullopt) << text;
}
} // namespace
