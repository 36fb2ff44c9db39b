#include "CameraSim/H264/NalUnit.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

TEST(NalUnit, NoPayloadLooksLikeAStartCode)
{
    struct Row
    {
        const char* reason;
        std::string payload;
        std::string unit;
    };
    const Row rows[] = {
        {"nothing to prevent", "\1\0\4"s, "\x65\1\0\4"s},
        {"a start code", "\0\0\1"s, "\x65\0\0\3\1"s},
        {"three zeros", "\0\0\0"s, "\x65\0\0\3\0"s},
        {"four zeros and a two", "\0\0\0\0\2"s, "\x65\0\0\3\0\0\3\2"s},
        {"what a decoder would take out", "\0\0\3"s, "\x65\0\0\3\3"s},
        {"a four is harmless", "\0\0\4"s, "\x65\0\0\4"s},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.unit, NalUnit::Make(3, NalType::IdrSlice, row.payload)) << row.reason;
}

TEST(NalUnit, TypeIsInTheLowerFiveBits)
{
    EXPECT_EQ(NalType::SequenceParameterSet, NalUnit::TypeOf("\x67"));
    EXPECT_EQ(NalType::Slice, NalUnit::TypeOf("\x41rest"));
    EXPECT_EQ(static_cast<NalType>(0), NalUnit::TypeOf(""));
}

TEST(NalUnit, AByteStreamHasAStartCodeBeforeEachUnit)
{
    EXPECT_EQ("\0\0\0\1\x67\0\0\0\1\x68"s, NalUnit::AnnexB({"\x67", "\x68"}));
}

} // namespace
