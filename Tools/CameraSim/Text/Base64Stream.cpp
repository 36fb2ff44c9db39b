#include "CameraSim/Text/Base64Stream.h"

namespace
{

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kBlank = " \t\r\n";

} // namespace

bool CBase64Stream::Decode(std::string_view piece, std::string& bytes)
{
    for (const char c : piece)
    {
        if (kBlank.find(c) != kBlank.npos)
            continue;
        if (c == '=')
        {
            if (!TakePadding())
                return false;
            continue;
        }
        const auto value = kAlphabet.find(c);
        if (value == kAlphabet.npos || m_paddingMissing != 0)
            return false;
        m_bits = ((m_bits << 6) | static_cast<unsigned>(value)) & 0xFFFF;
        m_bitCount += 6;
        m_characters = (m_characters + 1) % 4;
        if (m_bitCount >= 8)
        {
            m_bitCount -= 8;
            bytes += static_cast<char>((m_bits >> m_bitCount) & 0xFF);
        }
    }
    return true;
}

bool CBase64Stream::TakePadding() noexcept
{
    if (m_paddingMissing != 0)
    {
        --m_paddingMissing;
        return true;
    }
    if (m_characters < 2)
        return false;
    m_paddingMissing = 3 - m_characters;
    m_characters = 0;
    m_bitCount = 0;
    return true;
}
