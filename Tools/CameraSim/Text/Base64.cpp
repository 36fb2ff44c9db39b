#include "CameraSim/Text/Base64.h"

#include <cstdint>

namespace Base64Text
{

namespace
{

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::optional<std::string> Decode(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && !text.empty() && text.back() == '=')
    {
        text.remove_suffix(1);
        ++padding;
    }
    std::string result;
    std::uint32_t bits = 0;
    unsigned bitCount = 0;
    for (const char c : text)
    {
        const auto digit = kAlphabet.find(c);
        if (digit == std::string_view::npos)
            return std::nullopt;
        bits = ((bits << 6) | static_cast<std::uint32_t>(digit)) & 0xFFFFu;
        bitCount += 6;
        if (bitCount >= 8)
        {
            bitCount -= 8;
            result += static_cast<char>((bits >> bitCount) & 0xFFu);
        }
    }
    return result;
}

std::string Encode(std::string_view bytes)
{
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3)
    {
        const std::string_view group = bytes.substr(at, 3);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = (bits << 8) | (i < group.size() ? static_cast<std::uint8_t>(group[i]) : 0u);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? kAlphabet[(bits >> (18 - 6 * i)) & 0x3F] : '=';
    }
    return text;
}

} // namespace Base64Text
