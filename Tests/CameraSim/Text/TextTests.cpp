#include "CameraSim/Auth/Md5.h"
#include "CameraSim/Text/Ascii.h"
#include "CameraSim/Text/Base64.h"
#include "CameraSim/Text/QueryString.h"

#include <gtest/gtest.h>

namespace
{

TEST(QueryString, DecodesPercentEncoding)
{
    struct Row
    {
        const char* why;
        const char* text;
        std::optional<std::string> decoded;
    };
    const Row rows[] = {
        {"nothing encoded", "640,480", "640,480"},     {"a comma as clients encode it", "640%2C480", "640,480"},
        {"lower-case digits", "640%2c480", "640,480"}, {"plus is a plus, this is no form", "a+b", "a+b"},
        {"one digit only", "640%2", std::nullopt},     {"no digit", "%", std::nullopt},
        {"not hexadecimal", "%zz", std::nullopt},      {"a sign is not a digit", "%-1", std::nullopt},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.decoded, QueryString::Decode(row.text)) << row.why;
}

TEST(QueryString, KeepsTheOrderAndSkipsEmptyParameters)
{
    const auto parameters = QueryString::Parse("b=2&&a=1=1&c");
    ASSERT_TRUE(parameters);
    ASSERT_EQ(3u, parameters->size());
    EXPECT_EQ("b", (*parameters)[0].name);
    EXPECT_EQ("2", (*parameters)[0].value);
    EXPECT_EQ("a", (*parameters)[1].name);
    EXPECT_EQ("1=1", (*parameters)[1].value);
    EXPECT_EQ("c", (*parameters)[2].name);
    EXPECT_EQ("", (*parameters)[2].value);
    EXPECT_FALSE(QueryString::Parse("a=%"));
    EXPECT_TRUE(QueryString::Parse("")->empty());
}

TEST(Base64, DecodesAndRefuses)
{
    struct Row
    {
        const char* why;
        const char* text;
        std::optional<std::string> decoded;
    };
    const Row rows[] = {
        {"no padding needed", "YWJj", "abc"},
        {"one padding character", "dXNlcjpwYXM=", "user:pas"},
        {"two padding characters", "dXNlcjpwYXNzMQ==", "user:pass1"},
        {"nothing", "", ""},
        {"padding left out", "dXNlcjpwYXM", std::nullopt},
        {"a foreign character", "dXN!", std::nullopt},
        {"padding in the middle", "YQ==YQ==", std::nullopt},
        {"three padding characters", "Y===", std::nullopt},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.decoded, Base64Text::Decode(row.text)) << row.why;
}

TEST(Md5, MatchesTheTestSuiteOfRfc1321)
{
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", Md5::Hex(""));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", Md5::Hex("abc"));
    EXPECT_EQ("57edf4a22be3c955ac49da2e2107b67a",
              Md5::Hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"));
}

TEST(Ascii, NumberTakesTheWholeTextOrNothing)
{
    EXPECT_EQ(42, Ascii::Number<int>("42"));
    EXPECT_EQ(-3, Ascii::Number<int>("-3"));
    EXPECT_FALSE(Ascii::Number<int>("42x"));
    EXPECT_FALSE(Ascii::Number<int>(""));
    EXPECT_FALSE(Ascii::Number<int>(" 1"));
    EXPECT_FALSE(Ascii::Number<std::uint16_t>("65536"));
    EXPECT_EQ(255u, Ascii::Number<unsigned>("ff", 16));
}

} // namespace
