#include "Media/SequenceParameterSet.h"

#include <gtest/gtest.h>

namespace
{
using namespace std::string_literals;

TEST(SequenceParameterSet, TellsSizeProfileAndLevel)
{
    struct Row
    {
        const char* reason;
        std::string unit;
        const char* profile;
        const char* level;
        unsigned width;
        unsigned height;
    };
    // Written by x264; what ffprobe says of them.
    const Row rows[] = {
        {"no cropping", "\x67\x42\xC0\x0B\xD9\x02\xC4\xEC\x04\x40\x00\x00\x03\x00\x40\x00\x00\x0C\x83\xC5\x0A\x92"s,
         "constrained baseline", "1.1", 176, 144},
        {"cropped in height",
         "\x67\x4D\x40\x1E\xEC\xA0\x64\x1D\xFC\x46\x02\x20\x00\x00\x03\x00\x20\x00\x00\x06\x41\xE2\xC5\xB2\xC0"s,
         "main", "3.0", 800, 450},
        {"a chroma format is named",
         "\x67\x64\x00\x28\xAC\xD9\x40\x78\x02\x27\xE5\xC0\x44\x00\x00\x03\x00\x04\x00\x00\x03\x00\xC8\x3C\x60\xC6\x58"s,
         "high", "4.0", 1920, 1080},
        {"fields: half of the height is written",
         "\x67\x64\x00\x1E\xAC\xD9\x40\xB4\x24\xD8\x08\x80\x00\x00\x03\x00\x80\x00\x00\x19\x0F\x8A\x14\xCB"s, "high",
         "3.0", 720, 576},
        {"4:2:2 is cropped by single lines",
         "\x67\x7A\x00\x1E\xBC\xD9\x40\xA4\x2F\xE2\x27\xC0\x44\x00\x00\x03\x00\x04\x00\x00\x03\x00\xC8\x3C\x58\xB6\x58"s,
         "high 4:2:2", "3.0", 642, 362},
        {"4:4:4 is cropped by single pixels",
         "\x67\xF4\x00\x0D\x91\x9B\x28\x2A\x10\xF0\x84\x21\x80\x88\x00\x00\x03\x00\x08\x00\x00\x03\x01\x90\x78\xA1\x4C\xB0"s,
         "high 4:4:4", "1.3", 321, 241},
    };
    for (const Row& row : rows)
    {
        const auto info = SequenceParameterSet::Parse(row.unit);
        ASSERT_TRUE(info) << row.reason;
        EXPECT_EQ(row.profile, SequenceParameterSet::ProfileText(*info)) << row.reason;
        EXPECT_EQ(row.level, SequenceParameterSet::LevelText(*info)) << row.reason;
        EXPECT_EQ(row.width, info->width) << row.reason;
        EXPECT_EQ(row.height, info->height) << row.reason;
    }
}

TEST(SequenceParameterSet, RefusesWhatIsNone)
{
    struct Row
    {
        const char* reason;
        std::string unit;
    };
    const Row rows[] = {
        {"nothing", ""},
        {"a picture parameter set", "\x68\xEE\x3C\x80"s},
        {"the header alone", "\x67"},
        {"cut behind the level", "\x67\x42\xC0\x0B"s},
        {"cut in the size", "\x67\x42\xC0\x0B\xD9\x02"s},
        {"a number of more than 32 bits", "\x67\x42\xC0\x0B\0\0\0\0\0\0\0\0"s},
        {"cropped to nothing: 16 pixels less 8 units of 2", "\x67\x42\xC0\x0B\xDA\xFC\x24\xFF"s},
    };
    for (const Row& row : rows)
        EXPECT_FALSE(SequenceParameterSet::Parse(row.unit)) << row.reason;
}

TEST(SequenceParameterSet, TextsForWhatHasNoNameHere)
{
    EXPECT_EQ("profile 144", SequenceParameterSet::ProfileText({.profileIdc = 144}));
    EXPECT_EQ("baseline", SequenceParameterSet::ProfileText({.profileIdc = 66, .constraints = 0x80}));
    EXPECT_EQ("4D401E", SequenceParameterSet::ProfileLevelId("\x67\x4D\x40\x1E\xEC"));
}
} // namespace
