#include "Protocol/IpelaReply.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
struct LookupRow
{
    const char* reason;
    std::wstring_view content;
    std::wstring_view key;
    std::wstring_view value;
};
} // namespace

TEST(IpelaReply, GetValueFindsTheFirstPlaceOfTheKey)
{
    const LookupRow rows[] = {
        {"only pair", L"VideoStd=pal", L"VideoStd", L"pal"},
        {"first pair", L"A=1&B=2", L"A", L"1"},
        {"last pair", L"A=1&B=2", L"B", L"2"},
        {"first of two equal keys", L"A=1&A=2", L"A", L"1"},
        {"key inside a longer one", L"M4ImageSize=640&ImageSize=320", L"ImageSize", L"640"},
        {"key at the start of a longer one", L"AudioInVolume=3&AudioIn=on", L"AudioIn", L"3"},
        {"key as a value: the next pair's value", L"A=Key&B=2", L"Key", L"2"},
        {"absent key", L"A=1&B=2", L"C", L""},
        {"keys differ by case", L"videostd=pal", L"VideoStd", L""},
        {"empty content", L"", L"A", L""},
        {"no equals sign behind the key", L"B=1&A", L"A", L""},
        {"no value at the end", L"B=1&A=", L"A", L""},
        {"equals sign of a later pair", L"A&B=2", L"A", L"2"},
        {"equals sign inside the value", L"A=x=y&B=2", L"A", L"x=y"},
        {"leading white space is dropped", L"A= \t\r\n\v\fon&B=2", L"A", L"on"},
        {"trailing white space stays", L"A=on \r\n", L"A", L"on \r\n"},
        {"nothing but white space", L"A= \r\n", L"A", L""},
        {"value with a comma", L"ImageSize1=640,480&B=2", L"ImageSize1", L"640,480"},
    };
    for (const LookupRow& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(IpelaReply::GetValue(row.content, row.key), row.value);
    }
}

TEST(IpelaReply, GetExactValueWantsTheEqualsSignRightBehindTheKey)
{
    const LookupRow rows[] = {
        {"only pair", L"McAddress1=239.1.1.1", L"McAddress1", L"239.1.1.1"},
        {"longer key first", L"McAddress10=a&McAddress1=b&C=3", L"McAddress1", L"b"},
        {"longer key only", L"McAddress10=a", L"McAddress1", L""},
        {"a longer key may end in it", L"XMcAddress1=a&McAddress1=b", L"McAddress1", L"a"},
        {"as a value, then as a key", L"A=Key&Key=2", L"Key", L"2"},
        {"twice without a break", L"KeyKey=2", L"Key", L"2"},
        {"space before the equals sign", L"Key =1&Key=2", L"Key", L"2"},
        {"no further equals sign", L"Key10=1&Key1", L"Key1", L""},
        {"at the very end", L"A=1&Key", L"Key", L""},
        {"no value at the end", L"A=1&Key=", L"Key", L""},
        {"absent key", L"A=1", L"Key", L""},
        {"empty content", L"", L"Key", L""},
        {"leading white space is dropped", L"Key= off&B=1", L"Key", L"off"},
    };
    for (const LookupRow& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(IpelaReply::GetExactValue(row.content, row.key), row.value);
    }
}

// Kept because a camera with an unset address must be reported in the same way as ever: its settings count as present
// but not numeric, not as missing.
TEST(IpelaReply, ValueOfNoCharactersReadsAsTheRestOfTheContent)
{
    EXPECT_EQ(IpelaReply::GetValue(L"A=&B=2&C=3", L"A"), L"&B=2&C=3");
    EXPECT_EQ(IpelaReply::GetValue(L"A= \t&B=2&C=3", L"A"), L"&B=2&C=3");
    EXPECT_EQ(IpelaReply::GetExactValue(L"A=&B=2&C=3", L"A"), L"&B=2&C=3");
}

TEST(IpelaReply, ReadUsesTheLookupOfTheKey)
{
    constexpr std::wstring_view content = L"BitRate10=64&BitRate1=128";
    EXPECT_EQ(IpelaReply::Read(content, {L"BitRate1"}), L"64");
    EXPECT_EQ(IpelaReply::Read(content, {L"BitRate1", IpelaReply::Lookup::Exact}), L"128");
    EXPECT_EQ(IpelaReply::ReadNumber(content, {L"BitRate1", IpelaReply::Lookup::Exact}), 128);
}

TEST(IpelaReply, NumbersAreLeadingDecimalDigits)
{
    const struct
    {
        const char* reason;
        std::wstring_view text;
        std::int32_t number;
    } rows[] = {
        {"plain", L"640", 640},
        {"zero", L"0", 0},
        {"leading zeros are not octal", L"0064", 64},
        {"empty", L"", 0},
        {"no digits", L"auto", 0},
        {"digits, then text", L"640,480", 640},
        {"digits, then line end", L"30\r\n", 30},
        {"text, then digits", L"x30", 0},
        {"white space in front", L" \t\r\n30", 30},
        {"negative", L"-10", -10},
        {"plus sign", L"+10", 10},
        {"sign alone", L"-", 0},
        {"two signs", L"--1", 0},
        {"space behind the sign", L"- 1", 0},
        {"hexadecimal stops at the x", L"0x10", 0},
        {"fraction is cut", L"29.97", 29},
        {"highest", L"2147483647", 2147483647},
        {"one above the highest", L"2147483648", 2147483647},
        {"lowest", L"-2147483648", -2147483647 - 1},
        {"one below the lowest", L"-2147483649", -2147483647 - 1},
        {"would wrap to 1024 in 32 bits", L"4294968320", 2147483647},
        {"would wrap in 64 bits", L"18446744073709552640", 2147483647},
        {"rest of the content behind an empty value", L"&B=2", 0},
        {"digits of another script", L"\u0663\u0664", 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(IpelaReply::ToNumber(row.text), row.number);
    }
}
