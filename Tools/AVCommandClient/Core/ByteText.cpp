#include "Core/ByteText.h"

#include <cstdint>

namespace ByteText
{
std::string Hex(std::string_view bytes)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes)
    {
        const auto byte = static_cast<std::uint8_t>(c);
        if (!text.empty())
            text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

std::string Base64(std::string_view bytes)
{
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3)
    {
        const std::string_view group = bytes.substr(at, 3);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < group.size() ? static_cast<std::uint8_t>(group[i]) : 0u);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? kAlphabet[bits >> (18 - 6 * i) & 0x3F] : '=';
    }
    return text;
}
} // namespace ByteText
