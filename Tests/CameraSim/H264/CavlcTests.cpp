#include "CameraSim/H264/Cavlc.h"

#include <gtest/gtest.h>

namespace
{

/// What was written, as "0101".
template <class Write>
std::string Written(Write&& write)
{
    CBitWriter bits;
    write(bits);
    std::string text;
    for (const char c : bits.Finish())
    {
        for (int bit = 7; bit >= 0; --bit)
            text += ((c >> bit) & 1) != 0 ? '1' : '0';
    }
    return text.substr(0, text.rfind('1')); // without the stop bit
}

TEST(Cavlc, LevelsHaveTheCodesOfTheTables)
{
    struct Row
    {
        const char* reason;
        int level;
        const char* luma;
        const char* chroma;
    };
    // coeff_token, then sign or level, then total_zeros.
    const Row rows[] = {
        {"no coefficient", 0, "1", "01"},
        {"a trailing one", 1,
         "01"
         "0"
         "1",
         "1"
         "0"
         "1"},
        {"a negative one", -1,
         "01"
         "1"
         "1",
         "1"
         "1"
         "1"},
        {"the shortest prefix", 2,
         "000101"
         "1"
         "1",
         "000111"
         "1"
         "1"},
        {"its negative", -2,
         "000101"
         "01"
         "1",
         "000111"
         "01"
         "1"},
        {"the last without a suffix", -8,
         "000101"
         "00000000000001"
         "1",
         "000111"
         "00000000000001"
         "1"},
        {"the first with four bits of suffix", 9,
         "000101"
         "000000000000001"
         "0000"
         "1",
         "000111"
         "000000000000001"
         "0000"
         "1"},
        {"the last with four bits", -16,
         "000101"
         "000000000000001"
         "1111"
         "1",
         "000111"
         "000000000000001"
         "1111"
         "1"},
        {"the first escape", 17,
         "000101"
         "0000000000000001"
         "000000000000"
         "1",
         "000111"
         "0000000000000001"
         "000000000000"
         "1"},
        {"the largest difference of two samples", 255,
         "000101"
         "0000000000000001"
         "000111011100"
         "1",
         "000111"
         "0000000000000001"
         "000111011100"
         "1"},
        {"and its negative", -255,
         "000101"
         "0000000000000001"
         "000111011101"
         "1",
         "000111"
         "0000000000000001"
         "000111011101"
         "1"},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(row.luma, Written([&](CBitWriter& bits) { Cavlc::WriteLumaDc(bits, row.level); })) << row.reason;
        EXPECT_EQ(row.chroma, Written([&](CBitWriter& bits) { Cavlc::WriteChromaDc(bits, row.level); })) << row.reason;
    }
}

} // namespace
