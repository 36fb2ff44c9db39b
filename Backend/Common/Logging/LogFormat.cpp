#include "Logging/LogFormat.h"

#include <limits>

namespace LogFormat
{
namespace
{
constexpr std::size_t kMaxWidth = 64;
constexpr std::wstring_view kMismatch = L"(?)";

/// One "%..." of a format, without its argument.
struct Conversion
{
    wchar_t type = L'\0'; ///< 0 when the format ends in the middle of it
    std::size_t width = 0;
    bool padWithZeros = false;
};

/// Takes a conversion off the front of `rest`, which starts behind its "%".
Conversion TakeConversion(std::wstring_view& rest)
{
    Conversion result;
    if (!rest.empty() && rest.front() == L'0')
        result.padWithZeros = true;
    while (!rest.empty() && rest.front() >= L'0' && rest.front() <= L'9')
    {
        result.width = result.width * 10 + static_cast<std::size_t>(rest.front() - L'0');
        result.width = result.width > kMaxWidth ? kMaxWidth : result.width;
        rest.remove_prefix(1);
    }
    // The argument knows its size, so that a length modifier says nothing new.
    while (!rest.empty() && (rest.front() == L'l' || rest.front() == L'h'))
        rest.remove_prefix(1);
    if (!rest.empty())
    {
        result.type = rest.front();
        rest.remove_prefix(1);
    }
    return result;
}

std::wstring Digits(std::uint64_t value, unsigned base, bool upperCase)
{
    const wchar_t* const digits = upperCase ? L"0123456789ABCDEF" : L"0123456789abcdef";
    std::wstring result;
    do
    {
        result.insert(result.begin(), digits[value % base]);
        value /= base;
    } while (value != 0);
    return result;
}

void AppendPadded(std::wstring& result, bool negative, const std::wstring& digits, const Conversion& conversion)
{
    const std::size_t countChars = digits.size() + (negative ? 1 : 0);
    const std::size_t padding = conversion.width > countChars ? conversion.width - countChars : 0;
    if (!conversion.padWithZeros)
        result.append(padding, L' ');
    if (negative)
        result.push_back(L'-');
    if (conversion.padWithZeros)
        result.append(padding, L'0');
    result += digits;
}
} // namespace

bool Argument::AppendNumber(std::wstring& result, wchar_t type, std::size_t width, bool padWithZeros) const
{
    if (m_kind != Kind::Number)
        return false;
    const Conversion conversion{type, width, padWithZeros};
    const bool is64Bit = m_sizeBytes > sizeof(std::uint32_t);
    if (type == L'd' || type == L'i')
    {
        const std::int64_t value = is64Bit ? m_number : static_cast<std::int32_t>(m_number);
        // Negated as an unsigned number, because the lowest signed one has no counterpart.
        const auto magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
        AppendPadded(result, value < 0, Digits(magnitude, 10, false), conversion);
        return true;
    }
    const auto bits = static_cast<std::uint64_t>(m_number);
    const std::uint64_t value = is64Bit ? bits : bits & std::numeric_limits<std::uint32_t>::max();
    AppendPadded(result, false, Digits(value, type == L'u' ? 10 : 16, type == L'X'), conversion);
    return true;
}

bool Argument::AppendText(std::wstring& result, std::size_t width) const
{
    if (m_kind == Kind::Number)
        return false;
    const std::size_t countChars = m_kind == Kind::Wide ? m_wide.size() : m_narrow.size();
    if (width > countChars)
        result.append(width - countChars, L' ');
    result += m_wide.substr(0, kMaximumTextChars);
    for (const char byte : m_narrow.substr(0, kMaximumTextChars))
        result.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    if (countChars > kMaximumTextChars)
        result += L"... (" + Digits(countChars - kMaximumTextChars, 10, false) + L" more)";
    return true;
}

std::wstring Format(std::wstring_view format, std::initializer_list<Argument> arguments)
{
    std::wstring result;
    auto argument = arguments.begin();
    while (!format.empty())
    {
        const std::size_t literal = format.find(L'%');
        result += format.substr(0, literal);
        if (literal == std::wstring_view::npos)
            break;
        format.remove_prefix(literal + 1);
        const Conversion conversion = TakeConversion(format);
        if (conversion.type == L'%')
        {
            result.push_back(L'%');
            continue;
        }
        bool written = false;
        if (argument != arguments.end())
        {
            const bool isNumber = std::wstring_view(L"diuxX").find(conversion.type) != std::wstring_view::npos;
            if (conversion.type == L's' || conversion.type == L'S')
                written = argument->AppendText(result, conversion.width);
            else if (isNumber)
                written = argument->AppendNumber(result, conversion.type, conversion.width, conversion.padWithZeros);
            ++argument;
        }
        if (!written)
            result += kMismatch;
    }
    return result;
}
} // namespace LogFormat
