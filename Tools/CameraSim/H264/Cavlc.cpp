#include "CameraSim/H264/Cavlc.h"

#include <cstdint>

namespace Cavlc
{

namespace
{

struct Code
{
    std::uint32_t bits;
    unsigned lengthBits;
};

/// coeff_token (table 9-5) for none, one of +1 or -1 (a "trailing one"), and one other coefficient.
struct TokenTable
{
    Code none;
    Code trailingOne;
    Code other;
};

constexpr TokenTable kLumaTokens{{0b1, 1}, {0b01, 2}, {0b000101, 6}};     // 0 <= nC < 2
constexpr TokenTable kChromaDcTokens{{0b01, 2}, {0b1, 1}, {0b000111, 6}}; // nC == -1

void Write(CBitWriter& bits, const Code& code)
{
    bits.Bits(code.bits, code.lengthBits);
}

/// 9.2.2: level_prefix and level_suffix of the first and only level, which is neither 1 nor -1.
void WriteLevel(CBitWriter& bits, int level)
{
    constexpr std::uint32_t kFirstWithSuffix = 14;
    constexpr std::uint32_t kFirstEscaped = 30;
    // A magnitude of 1 would have been a trailing one, so the codes begin at 2.
    const auto code = static_cast<std::uint32_t>(level > 0 ? 2 * level - 4 : -2 * level - 3);
    if (code < kFirstWithSuffix)
    {
        bits.Bits(1, code + 1);
    }
    else if (code < kFirstEscaped)
    {
        bits.Bits(1, 15);
        bits.Bits(code - kFirstWithSuffix, 4);
    }
    else
    {
        bits.Bits(1, 16);
        bits.Bits(code - kFirstEscaped, 12);
    }
}

void WriteFirstOnly(CBitWriter& bits, const TokenTable& tokens, int level)
{
    if (level == 0)
    {
        Write(bits, tokens.none);
        return;
    }
    if (level == 1 || level == -1)
    {
        Write(bits, tokens.trailingOne);
        bits.Flag(level < 0);
    }
    else
    {
        Write(bits, tokens.other);
        WriteLevel(bits, level);
    }
    // total_zeros of 0 (tables 9-7 and 9-9): no zero comes before the only coefficient.
    bits.Flag(true);
}

} // namespace

void WriteLumaDc(CBitWriter& bits, int level)
{
    WriteFirstOnly(bits, kLumaTokens, level);
}

void WriteChromaDc(CBitWriter& bits, int level)
{
    WriteFirstOnly(bits, kChromaDcTokens, level);
}

} // namespace Cavlc
