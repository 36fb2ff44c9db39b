#include "CameraSim/Text/Base64Stream.h"

#include <gtest/gtest.h>

namespace
{

constexpr std::string_view kTexts = "T1BUSU9OUw==REVTQ1JJQkU=U0VUVVAh";
constexpr std::string_view kBytes = "OPTIONSDESCRIBESETUP!";

TEST(Base64Stream, DecodesTextsThatFollowEachOtherWithTheirPadding)
{
    CBase64Stream stream;
    std::string bytes;
    EXPECT_TRUE(stream.Decode(kTexts, bytes));
    EXPECT_EQ(kBytes, bytes);
}

TEST(Base64Stream, APieceMayEndAnywhere)
{
    for (std::size_t first = 0; first <= kTexts.size(); ++first)
    {
        for (std::size_t second = first; second <= kTexts.size(); ++second)
        {
            CBase64Stream stream;
            std::string bytes;
            EXPECT_TRUE(stream.Decode(kTexts.substr(0, first), bytes));
            EXPECT_TRUE(stream.Decode(kTexts.substr(first, second - first), bytes));
            EXPECT_TRUE(stream.Decode(kTexts.substr(second), bytes));
            EXPECT_EQ(kBytes, bytes) << first << " " << second;
        }
    }
}

TEST(Base64Stream, SkipsLineEndsAndBlanks)
{
    CBase64Stream stream;
    std::string bytes;
    EXPECT_TRUE(stream.Decode("T1 BU\r\nSU9OUw=\r\n=\r\nREVT", bytes));
    EXPECT_EQ("OPTIONSDES", bytes);
}

TEST(Base64Stream, KeepsEveryByteValue)
{
    CBase64Stream stream;
    std::string bytes;
    EXPECT_TRUE(stream.Decode("AAECA/z9/v8+Pw==", bytes));
    EXPECT_EQ(std::string("\0\1\2\3\xFC\xFD\xFE\xFF\x3E\x3F", 10), bytes);
}

TEST(Base64Stream, RefusesWhatIsNoBase64)
{
    const struct
    {
        const char* why;
        const char* text;
        const char* before;
    } rows[] = {
        {"an interleaved packet as it is", "T1BU$\x01", "OPT"},
        {"a character of another alphabet", "T1BU-", "OPT"},
        {"padding where a text begins", "=", ""},
        {"padding behind one character", "T1BUT=", "OPT"},
        {"padding behind a whole group", "T1BU=", "OPT"},
        {"one padding character where two are needed", "Tw=T", "O"},
    };
    for (const auto& row : rows)
    {
        CBase64Stream stream;
        std::string bytes;
        EXPECT_FALSE(stream.Decode(row.text, bytes)) << row.why;
        EXPECT_EQ(row.before, bytes) << row.why;
    }
}

} // namespace
