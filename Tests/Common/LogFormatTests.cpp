#include "Logging/LogFormat.h"
#include "Logging/LogLine.h"
#include "Logging/OBLogManager.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace
{
struct FormatCase
{
    const char* reason;
    std::wstring actual;
    std::wstring expected;
};

void ExpectAll(const std::vector<FormatCase>& cases)
{
    for (const FormatCase& each : cases)
        EXPECT_EQ(each.actual, each.expected) << each.reason;
}

template <class... Arguments>
std::wstring Text(const wchar_t* format, const Arguments&... arguments)
{
    return COBLogManager::FormatStr(format, arguments...);
}

TEST(LogFormat, WritesNumbers)
{
    ExpectAll({
        {"a failure code as a signed number", Text(L"%d", std::uint32_t{0x80004005}), L"-2147467259"},
        {"%i is %d", Text(L"%i", -5), L"-5"},
        {"lowest number has no counterpart", Text(L"%d", std::numeric_limits<std::int32_t>::min()), L"-2147483648"},
        {"zero", Text(L"%d %u %x", 0, 0, 0), L"0 0 0"},
        {"unsigned", Text(L"%u", -1), L"4294967295"},
        {"hexadecimal in lower case", Text(L"0x%x", std::uint32_t{0xABCDEF}), L"0xabcdef"},
        {"hexadecimal in upper case", Text(L"0x%X", std::uint32_t{0xABCDEF}), L"0xABCDEF"},
        {"negative in hexadecimal has 32 bits", Text(L"%x", std::int32_t{-1}), L"ffffffff"},
        {"negative short in hexadecimal", Text(L"%x", static_cast<short>(-1)), L"ffffffff"},
        {"64 bits signed", Text(L"%d", std::numeric_limits<std::int64_t>::min()), L"-9223372036854775808"},
        {"64 bits unsigned", Text(L"%u", std::numeric_limits<std::uint64_t>::max()), L"18446744073709551615"},
        {"length modifiers say nothing new", Text(L"%ld %lu %lld %hx", 7, 8, 9, 10), L"7 8 9 a"},
        {"bool and enumeration are numbers", Text(L"%d %d", true, LogLevel::Trace), L"1 32"},
        {"port", Text(L"nPort = %d", std::uint16_t{65535}), L"nPort = 65535"},
        {"null pointer", Text(L"%x", static_cast<const void*>(nullptr)), L"0"},
    });
}

TEST(LogFormat, PadsToTheWidth)
{
    ExpectAll({
        {"zeros", Text(L"%08x", 0x1234), L"00001234"},
        {"zeros stand behind the sign", Text(L"%05d", -42), L"-0042"},
        {"blanks", Text(L"%5d|%5s", 42, L"ab"), L"   42|   ab"},
        {"blanks stand before the sign", Text(L"%5d", -42), L"  -42"},
        {"wider than the width", Text(L"%02d%2s", 12345, L"abc"), L"12345abc"},
        {"a width beyond reason is cut", Text(L"%99999999999999999999d", 1), std::wstring(63, L' ') + L"1"},
    });
}

TEST(LogFormat, WritesTexts)
{
    const wchar_t* const noWide = nullptr;
    const char* const noNarrow = nullptr;
    ExpectAll({
        {"wide", Text(L"'%s'", L"camera"), L"'camera'"},
        {"wide string", Text(L"'%s'", std::wstring(L"camera")), L"'camera'"},
        {"wide view that is not terminated", Text(L"%s", std::wstring_view(L"camera", 3)), L"cam"},
        {"8-bit bytes are ISO-8859-1", Text(L"%s", "Gr\xFC\xDF"), L"Gr\u00FC\u00DF"},
        {"8-bit string", Text(L"%s", std::string("realm")), L"realm"},
        {"every spelling takes any text", Text(L"%S %ls %hs", L"a", "b", L"c"), L"a b c"},
        {"null wide text", Text(L"%s", noWide), L"(null)"},
        {"null 8-bit text", Text(L"%s", noNarrow), L"(null)"},
        {"a long text is cut", Text(L"'%s' %d", std::wstring(LogFormat::kMaximumTextChars + 12, L'x'), 1),
         L"'" + std::wstring(LogFormat::kMaximumTextChars, L'x') + L"... (12 more)' 1"},
        {"a long 8-bit text, too", Text(L"%s", std::string(LogFormat::kMaximumTextChars + 1, 'x')),
         std::wstring(LogFormat::kMaximumTextChars, L'x') + L"... (1 more)"},
        {"the longest text is whole", Text(L"%s", std::string(LogFormat::kMaximumTextChars, 'x')),
         std::wstring(LogFormat::kMaximumTextChars, L'x')},
        {"a percent sign in an argument is no conversion", Text(L"%s", L"%d%s%n"), L"%d%s%n"},
    });
}

TEST(LogFormat, ShowsFormatsThatDoNotFitTheirArguments)
{
    ExpectAll({
        {"no argument", Text(L"a %d b %s"), L"a (?) b (?)"},
        {"too few arguments", Text(L"%d %s", 1), L"1 (?)"},
        {"argument left over", Text(L"%d", 1, 2, L"x"), L"1"},
        {"number for a text", Text(L"%s %d", 1, 2), L"(?) 2"},
        {"text for a number", Text(L"%d %x %s", L"a", "b", L"c"), L"(?) (?) c"},
        {"unknown conversion takes its argument along", Text(L"%n %d", 1, 2), L"(?) 2"},
        {"ends in a percent sign", Text(L"100%"), L"100(?)"},
        {"ends in the middle of a conversion", Text(L"%08", 1), L"(?)"},
        {"ends in a length modifier", Text(L"%l", 1), L"(?)"},
        {"two percent signs are one", Text(L"100%% of %d", 3), L"100% of 3"},
    });
}

LogMessage MessageWithText(std::wstring_view text)
{
    return {L"VIDEO_QUORVANE", LogLevel::Error, "AVCommand.cpp", 42, text};
}

TEST(LogLine, CarriesTimeThreadComponentLevelPlaceAndText)
{
    const LogTime time{2024, 3, 7, 9, 5, 1, 4};
    EXPECT_EQ(LogLine::Compose(MessageWithText(L"CAVCommand, constructor"), time, 4000000000u),
              "2024-03-07 09:05:01.004 [4000000000] VIDEO_QUORVANE 8 AVCommand.cpp(42) CAVCommand, constructor\n");
}

TEST(LogLine, StaysOneLineOfUtf8)
{
    const std::string line = LogLine::Compose(MessageWithText(L"a\r\nb\n\rc\\n \u00FC"), LogTime{}, 1);
    EXPECT_TRUE(line.ends_with(" a\\r\\nb\\n\\rc\\n \xC3\xBC\n")) << line;
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(line.find('\r'), std::string::npos);
}
} // namespace
