#include "Protocol/Base64.h"

#include <cstdint>

std::string Base64::Encode(std::string_view bytes)
{
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t position = 0; position < bytes.size(); position += 3)
    {
        const std::string_view group = bytes.substr(position, 3);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 3; ++index)
            bits = bits << 8 | (index < group.size() ? static_cast<unsigned char>(group[index]) : 0u);
        for (std::size_t index = 0; index < 4; ++index)
            text.push_back(index <= group.size() ? kAlphabet[bits >> (18 - 6 * index) & 0x3F] : '=');
    }
    return text;
}
