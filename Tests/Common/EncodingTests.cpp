#include "TextEncoding/Encoding.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

namespace
{
using namespace std::string_literals;

constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

/// U+1F3A5 as this platform's wide text.
std::wstring Beyond16Bits()
{
    return kWideIsUtf16 ? std::wstring{static_cast<wchar_t>(0xD83C), static_cast<wchar_t>(0xDFA5)}
                        : std::wstring(1, static_cast<wchar_t>(0x1F3A5));
}

struct PairCase
{
    const char* reason;
    std::wstring wide;
    std::string bytes;
};

TEST(Utf8Encoding, ExpressesEveryRangeOfCodePointsInBothDirections)
{
    const std::vector<PairCase> cases = {
        {"empty text", L"", ""},
        {"embedded NUL is a character like any other", L"a\0b"s, "a\0b"s},
        {"last of one byte", L"\u007F", "\x7F"},
        {"first of two bytes", std::wstring(1, wchar_t{0x80}), "\xC2\x80"},
        {"a German password", L"Gr\u00FC\u00DFe",
         "Gr\xC3\xBC\xC3\x9F"
         "e"},
        {"last of two bytes", L"\u07FF", "\xDF\xBF"},
        {"first of three bytes", L"\u0800", "\xE0\xA0\x80"},
        {"last before the surrogates", L"\uD7FF", "\xED\x9F\xBF"},
        {"first after the surrogates", L"\uE000", "\xEE\x80\x80"},
        {"byte order mark is kept", L"\uFEFFx", "\xEF\xBB\xBFx"},
        {"last of three bytes", L"\uFFFF", "\xEF\xBF\xBF"},
        {"beyond 16 bits", Beyond16Bits(), "\xF0\x9F\x8E\xA5"},
    };
    for (const PairCase& each : cases)
    {
        EXPECT_EQ(CUTF8Encoding().EncodeString(each.wide), each.bytes) << each.reason;
        EXPECT_EQ(CUTF8Encoding().DecodeString(each.bytes), each.wide) << each.reason;
    }
}

TEST(Utf8Encoding, ReplacesWhatIsNoCodePoint)
{
    const wchar_t high = static_cast<wchar_t>(0xD83C);
    const wchar_t low = static_cast<wchar_t>(0xDFA5);
    const std::vector<PairCase> cases = {
        {"high surrogate at the end", {L'a', high}, "a\xEF\xBF\xBD"},
        {"high surrogate before a letter", {high, L'a'}, "\xEF\xBF\xBD\x61"},
        {"two high surrogates, the second with its partner", {high, high, low}, "\xEF\xBF\xBD\xF0\x9F\x8E\xA5"},
        {"low surrogate first", {low, high}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const PairCase& each : cases)
        EXPECT_EQ(CUTF8Encoding().EncodeString(each.wide), each.bytes) << each.reason;
#if WCHAR_MAX > 0xFFFF
    EXPECT_EQ(CUTF8Encoding().EncodeString(std::wstring(1, wchar_t{0x110000})), "\xEF\xBF\xBD") << "above U+10FFFF";
#endif
}

TEST(Utf8Encoding, ReplacesMalformedBytes)
{
    const std::vector<PairCase> cases = {
        {"lone continuation byte", L"\uFFFDa", "\x80\x61"},
        {"overlong slash in two bytes", L"\uFFFD\uFFFD", "\xC0\xAF"},
        {"overlong NUL in two bytes", L"\uFFFD\uFFFD", "\xC0\x80"},
        {"overlong slash in three bytes", L"\uFFFD\uFFFD\uFFFD", "\xE0\x80\xAF"},
        {"overlong in four bytes", L"\uFFFD\uFFFD\uFFFD\uFFFD", "\xF0\x8F\xBF\xBF"},
        {"encoded high surrogate", L"\uFFFD\uFFFD\uFFFD", "\xED\xA0\x80"},
        {"encoded low surrogate", L"\uFFFD\uFFFD\uFFFD", "\xED\xBF\xBF"},
        {"above U+10FFFF", L"\uFFFD\uFFFD\uFFFD\uFFFD", "\xF4\x90\x80\x80"},
        {"lead byte that never occurs", L"\uFFFD\uFFFD", "\xF5\xFF"},
        {"truncated two bytes", L"\uFFFD", "\xC3"},
        {"truncated three bytes", L"\uFFFD", "\xE2\x82"},
        {"truncated four bytes", L"\uFFFD", "\xF0\x9F\x8E"},
        {"broken sequence does not swallow the next letter",
         L"\uFFFD"
         L"a",
         "\xE2\x82\x61"},
        {"broken sequence does not swallow the next character", L"\uFFFD\u00FC", "\xF0\x9F\xC3\xBC"},
    };
    for (const PairCase& each : cases)
        EXPECT_EQ(CUTF8Encoding().DecodeString(each.bytes), each.wide) << each.reason;
}

TEST(Iso88591Encoding, MapsTheFirst256CodePointsOneToOne)
{
    std::string bytes;
    std::wstring wide;
    for (int code = 0; code < 256; ++code)
    {
        bytes.push_back(static_cast<char>(code));
        wide.push_back(static_cast<wchar_t>(code));
    }
    EXPECT_EQ(CIso88591Encoding().EncodeString(wide), bytes);
    EXPECT_EQ(CIso88591Encoding().DecodeString(bytes), wide);
}

TEST(Iso88591Encoding, WritesOneQuestionMarkForEachCharacterItLacks)
{
    EXPECT_EQ(CIso88591Encoding().EncodeString(L"a\u0100" + Beyond16Bits() + L"z"), "a??z");
}

TEST(Encoding, ConvertersServeThroughTheirBase)
{
    const CUTF8Encoding utf8;
    const CIso88591Encoding latin1;
    const std::vector<const CEncoding*> encodings = {&utf8, &latin1};
    EXPECT_EQ(encodings[0]->EncodeString(L"\u00FC"), "\xC3\xBC");
    EXPECT_EQ(encodings[1]->EncodeString(L"\u00FC"), "\xFC");
}
} // namespace
