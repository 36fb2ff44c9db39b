#include "Protocol/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace
{
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNotInAlphabet = 0xFF;

constexpr std::array<std::uint8_t, 256> kValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNotInAlphabet);
    for (std::uint8_t value = 0; value < 64; ++value)
        values[static_cast<unsigned char>(kAlphabet[value])] = value;
    values[static_cast<unsigned char>('=')] = 0;
    return values;
}();

std::uint8_t ValueOf(char character) noexcept
{
    return kValues[static_cast<unsigned char>(character)];
}

std::size_t DecodedLength(std::string_view text) noexcept
{
    if (std::ranges::any_of(text, [](char character) { return ValueOf(character) == kNotInAlphabet; }))
        return 0;
    const std::string_view lastTwo = text.substr(text.size() - std::min<std::size_t>(text.size(), 2));
    const auto padding = static_cast<std::size_t>(std::ranges::count(lastTwo, '='));
    const std::size_t length = text.size() / 4 * 3 + text.size() % 4 * 3 / 4;
    return length - std::min(length, padding);
}
} // namespace

std::string Base64::Encode(std::string_view bytes)
{
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

std::size_t Base64::Decode(std::string_view text, char* buffer) noexcept
{
    const std::size_t lengthBytes = DecodedLength(text);
    if (buffer == nullptr)
        return lengthBytes;
    std::size_t written = 0;
    for (std::size_t position = 0; written < lengthBytes; position += 4)
    {
        const std::string_view group = text.substr(position, 4);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 4; ++index)
            bits = bits << 6 | (index < group.size() ? ValueOf(group[index]) : 0u);
        for (int shift = 16; shift >= 0 && written < lengthBytes; shift -= 8)
            buffer[written++] = static_cast<char>(bits >> shift & 0xFF);
    }
    return lengthBytes;
}
