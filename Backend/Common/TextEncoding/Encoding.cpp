#include "TextEncoding/Encoding.h"

#include <cstddef>

namespace
{
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCodePoint = 0x10FFFF;

bool IsHighSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// Takes one code point off the front of `text`, which must not be empty; U+FFFD for what is none.
char32_t TakeCodePoint(std::wstring_view& text)
{
    const auto first = static_cast<char32_t>(text.front());
    text.remove_prefix(1);
    if (IsHighSurrogate(first) && !text.empty() && IsLowSurrogate(static_cast<char32_t>(text.front())))
    {
        const auto second = static_cast<char32_t>(text.front());
        text.remove_prefix(1);
        return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }
    if (IsHighSurrogate(first) || IsLowSurrogate(first) || first > kLastCodePoint)
        return kReplacement;
    return first;
}

void AppendWide(std::wstring& result, char32_t codePoint)
{
    if (sizeof(wchar_t) > 2 || codePoint < 0x10000)
    {
        result.push_back(static_cast<wchar_t>(codePoint));
        return;
    }
    result.push_back(static_cast<wchar_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
    result.push_back(static_cast<wchar_t>(0xDC00 + ((codePoint - 0x10000) & 0x3FF)));
}

void AppendUtf8(std::string& result, char32_t codePoint)
{
    const auto continuation = [codePoint](int shift) {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80)
    {
        result.push_back(static_cast<char>(codePoint));
    }
    else if (codePoint < 0x800)
    {
        result.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
        result.push_back(continuation(0));
    }
    else if (codePoint < 0x10000)
    {
        result.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
        result.push_back(continuation(6));
        result.push_back(continuation(0));
    }
    else
    {
        result.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
        result.push_back(continuation(12));
        result.push_back(continuation(6));
        result.push_back(continuation(0));
    }
}

/// What a lead byte announces: RFC 3629, section 4. The range of the first continuation byte is what excludes
/// overlong forms, surrogates and everything above U+10FFFF.
struct Utf8Lead
{
    std::size_t continuationBytes;
    unsigned char firstLow;
    unsigned char firstHigh;
};

Utf8Lead ClassifyLead(unsigned char lead)
{
    if (lead >= 0xC2 && lead <= 0xDF)
        return {1, 0x80, 0xBF};
    if (lead >= 0xE0 && lead <= 0xEF)
        return {2, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    if (lead >= 0xF0 && lead <= 0xF4)
        return {3, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    return {0, 0, 0};
}

/// Takes one character off the front of `bytes`, which must not be empty. Of a broken sequence it takes the part
/// that could have been the start of a character, as the Unicode standard recommends (chapter 3, U+FFFD substitution).
char32_t TakeUtf8(std::string_view& bytes)
{
    const auto lead = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    if (lead < 0x80)
        return lead;
    Utf8Lead form = ClassifyLead(lead);
    if (form.continuationBytes == 0)
        return kReplacement;
    char32_t codePoint = lead & (0x3Fu >> form.continuationBytes);
    for (; form.continuationBytes != 0; --form.continuationBytes)
    {
        const auto next = static_cast<unsigned char>(bytes.empty() ? 0 : bytes.front());
        if (next < form.firstLow || next > form.firstHigh)
            return kReplacement;
        codePoint = (codePoint << 6) | (next & 0x3Fu);
        bytes.remove_prefix(1);
        form.firstLow = 0x80;
        form.firstHigh = 0xBF;
    }
    return codePoint;
}
} // namespace

std::string CUTF8Encoding::EncodeString(std::wstring_view text) const
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty())
        AppendUtf8(result, TakeCodePoint(text));
    return result;
}

std::wstring CUTF8Encoding::DecodeString(std::string_view bytes) const
{
    std::wstring result;
    result.reserve(bytes.size());
    while (!bytes.empty())
        AppendWide(result, TakeUtf8(bytes));
    return result;
}

std::string CIso88591Encoding::EncodeString(std::wstring_view text) const
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty())
    {
        const char32_t codePoint = TakeCodePoint(text);
        result.push_back(codePoint <= 0xFF ? static_cast<char>(codePoint) : '?');
    }
    return result;
}

std::wstring CIso88591Encoding::DecodeString(std::string_view bytes) const
{
    std::wstring result;
    result.reserve(bytes.size());
    for (const char byte : bytes)
        result.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    return result;
}
