#include "CameraSim/H264/BitWriter.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using namespace std::string_literals;

TEST(BitWriter, WritesTheCodesOfTheStandard)
{
    struct Row
    {
        const char* reason;
        std::function<void(CBitWriter&)> write;
        std::string bytes;
    };
    // Each is ended by the stop bit and zeros.
    const Row rows[] = {
        {"nothing but the stop bit", [](CBitWriter&) {}, "\x80"s},
        {"bits, most significant first", [](CBitWriter& bits) { bits.Bits(0b101, 3); }, "\xB0"s},
        {"bits beyond the count are not written", [](CBitWriter& bits) { bits.Bits(0xFF, 3); }, "\xF0"s},
        {"32 bits", [](CBitWriter& bits) { bits.Bits(0x01020304, 32); }, "\1\2\3\4\x80"s},
        {"ue(0) is 1", [](CBitWriter& bits) { bits.Unsigned(0); }, "\xC0"s},
        {"ue(1) is 010", [](CBitWriter& bits) { bits.Unsigned(1); }, "\x50"s},
        {"ue(2) is 011", [](CBitWriter& bits) { bits.Unsigned(2); }, "\x70"s},
        {"ue(7) is 0001000", [](CBitWriter& bits) { bits.Unsigned(7); }, "\x11"s},
        {"ue(255) is eight zeros, one, eight zeros", [](CBitWriter& bits) { bits.Unsigned(255); }, "\0\x80\x40"s},
        {"se(1) is ue(1)", [](CBitWriter& bits) { bits.Signed(1); }, "\x50"s},
        {"se(-1) is ue(2)", [](CBitWriter& bits) { bits.Signed(-1); }, "\x70"s},
        {"se(0) is ue(0)", [](CBitWriter& bits) { bits.Signed(0); }, "\xC0"s},
        {"se(-6) is ue(12): 0001101", [](CBitWriter& bits) { bits.Signed(-6); }, "\x1B"s},
    };
    for (const Row& row : rows)
    {
        CBitWriter bits;
        row.write(bits);
        EXPECT_EQ(row.bytes, bits.Finish()) << row.reason;
        EXPECT_EQ("\x80"s, bits.Finish()) << row.reason << ": empty afterwards";
    }
}

} // namespace
