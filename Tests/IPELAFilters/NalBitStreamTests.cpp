#include "IPELAFilters/NalBitStream.h"

#include "Tests/IPELAFilters/BitWriter.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/CountedAllocations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace
{
using Bytes = std::vector<std::uint8_t>;

CNalBitStream ReaderOf(const Bytes& bytes)
{
    return {bytes.data(), bytes.size()};
}

/// Reads bit by bit, straight from the rules: slow, and without a thought for the cache.
class CReferenceReader
{
public:
    explicit CReferenceReader(const Bytes& bytes) : m_bytes(bytes) {}

    std::uint32_t ReadBits(std::uint32_t count)
    {
        if (count == 0 || count > 32)
            return 0;
        while (m_bits.size() < count)
        {
            if (m_position == m_bytes.size())
                throw CEndOfNalBitStreamException(count, static_cast<std::int32_t>(m_bits.size()));
            const std::uint8_t byte = m_bytes[m_position++];
            if (byte == 3 && m_lastTwo == 0)
                continue;
            m_lastTwo = (m_lastTwo << 8 | byte) & 0xFFFF;
            for (int bit = 7; bit >= 0; --bit)
                m_bits.push_back((byte >> bit & 1) != 0);
        }
        std::uint32_t value = 0;
        for (std::uint32_t bit = 0; bit < count; ++bit)
            value = value << 1 | (m_bits[bit] ? 1u : 0u);
        m_bits.erase(m_bits.begin(), m_bits.begin() + static_cast<std::ptrdiff_t>(count));
        return value;
    }

    std::uint32_t ReadUe()
    {
        std::uint32_t zeros = 0;
        while (ReadBits(1) == 0 && !IsEnd() && zeros < 32)
            ++zeros;
        return ReadBits(zeros) - 1 + (1u << zeros % 32);
    }

    bool IsEnd() const
    {
        return m_position == m_bytes.size() && m_bits.empty();
    }

private:
    const Bytes& m_bytes;
    std::size_t m_position = 0;
    std::uint32_t m_lastTwo = 0xFFFF;
    std::vector<bool> m_bits;
};

/// What a read gave, a failed one included, as text.
template <class Reader>
std::string Outcome(Reader& reader, std::uint32_t action)
{
    try
    {
        const std::uint32_t value = action <= 33 ? reader.ReadBits(action) : reader.ReadUe();
        return std::to_string(value) + (reader.IsEnd() ? " end" : "");
    }
    catch (const CEndOfNalBitStreamException& exception)
    {
        return exception.what();
    }
}
} // namespace

TEST(NalBitStream, ReadsBitsMostSignificantFirst)
{
    const Bytes bytes = {0xA5, 0x0F, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    CNalBitStream reader = ReaderOf(bytes);
    EXPECT_EQ(reader.ReadBits(1), 1u);
    EXPECT_EQ(reader.ReadBits(3), 2u);
    EXPECT_EQ(reader.ReadBits(4), 5u);
    EXPECT_EQ(reader.ReadBits(12), 0x0F1u) << "across a byte border";
    EXPECT_EQ(reader.ReadBits(32), 0x23456789u) << "32 bits that do not start at a byte";
    EXPECT_EQ(reader.ReadBits(12), 0xABCu);
    EXPECT_TRUE(reader.IsEnd());
}

TEST(NalBitStream, CountsOutOfRangeReadNothing)
{
    const Bytes bytes = {0x12, 0x34, 0x56, 0x78, 0x9A};
    CNalBitStream reader = ReaderOf(bytes);
    for (const std::uint32_t count : {0u, 33u, 64u, 0xFFFFFFFFu})
        EXPECT_EQ(reader.ReadBits(count), 0u) << count;
    EXPECT_EQ(reader.ReadBits(8), 0x12u);
    EXPECT_EQ(reader.ReadBits(33), 0u);
    EXPECT_EQ(reader.ReadBits(32), 0x3456789Au);
    EXPECT_EQ(reader.ReadBits(0), 0u) << "not even at the end";
}

TEST(NalBitStream, DropsEmulationPreventionBytes)
{
    const struct
    {
        const char* reason;
        Bytes bytes;
        Bytes read;
    } rows[] = {
        {"behind two zeros", {0, 0, 3, 1}, {0, 0, 1}},
        {"twice", {0, 0, 3, 0, 0, 3, 1}, {0, 0, 0, 0, 1}},
        {"the zeros start anew behind it", {0, 0, 3, 0, 3, 1}, {0, 0, 0, 1}},
        {"at the end", {0, 0, 3}, {0, 0}},
        {"first byte: no zeros went before", {3, 1}, {3, 1}},
        {"second byte: one zero is not enough", {0, 3, 1}, {0, 3, 1}},
        {"behind one zero", {1, 0, 3, 1}, {1, 0, 3, 1}},
        {"behind three zeros", {0, 0, 0, 3, 1}, {0, 0, 0, 1}},
        {"other bytes behind two zeros stay", {0, 0, 2, 0, 0, 1, 0, 0, 4}, {0, 0, 2, 0, 0, 1, 0, 0, 4}},
        // A dropped byte leaves no trace, so that the next one sees the same two zeros.
        {"two in a row are both dropped", {0, 0, 3, 3}, {0, 0}},
        {"and so are three", {0, 0, 3, 3, 3, 7}, {0, 0, 7}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CNalBitStream reader = ReaderOf(row.bytes);
        for (const std::uint8_t byte : row.read)
            EXPECT_EQ(reader.ReadBits(8), byte);
        EXPECT_THROW(reader.ReadBits(1), CEndOfNalBitStreamException);
        EXPECT_TRUE(reader.IsEnd());
    }
}

TEST(NalBitStream, ReadPastTheEndTellsWhatWasAskedAndWhatWasLeft)
{
    const Bytes bytes = {0xFF, 0xFF};
    CNalBitStream reader = ReaderOf(bytes);
    reader.ReadBits(3);
    const CLogCapture log;
    try
    {
        reader.ReadBits(14);
        FAIL() << "no exception";
    }
    catch (const CEndOfNalBitStreamException& exception)
    {
        EXPECT_EQ(exception.BitsToGet(), 14u);
        EXPECT_EQ(exception.BitsGot(), 13);
        EXPECT_STREQ(exception.what(), "bitsGot = 13, bitsToGet = 14");
    }
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"1 CNalBitStream::ReadBits, end of stream encountered, bitsToRead = 14, head = 13"));
    EXPECT_EQ(reader.ReadBits(13), 0x1FFFu) << "what was left can still be read";
}

TEST(NalBitStream, NoBytesAreTheEnd)
{
    CNalBitStream reader(nullptr, 0);
    EXPECT_TRUE(reader.IsEnd());
    EXPECT_EQ(reader.ReadBits(0), 0u);
    EXPECT_THROW(reader.ReadBits(1), CEndOfNalBitStreamException);
    EXPECT_THROW(reader.ReadUe(), CEndOfNalBitStreamException);
}

TEST(NalBitStream, EndIsWhereNoBitIsLeft)
{
    const Bytes bytes = {0x80};
    CNalBitStream reader = ReaderOf(bytes);
    EXPECT_FALSE(reader.IsEnd()) << "nothing read";
    reader.ReadBits(7);
    EXPECT_FALSE(reader.IsEnd()) << "one bit in the cache";
    reader.ReadBits(1);
    EXPECT_TRUE(reader.IsEnd());
}

TEST(NalBitStream, ReadsExpGolombCodes)
{
    const std::uint32_t values[] = {0,       1,          2,          3,          4,          7,         8,
                                    30,      31,         119,        254,        255,        256,       65534,
                                    1 << 24, 0x7FFFFFFE, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFD, 0xFFFFFFFE};
    for (const std::uint32_t value : values)
    {
        // A long code has but one place where no 0x03 stands behind its zeros, to be lost.
        const bool isShort = value < 65535;
        for (unsigned offset = isShort ? 0 : 1; offset < (isShort ? 8 : 2); ++offset)
        {
            SCOPED_TRACE(std::to_string(value) + " at bit " + std::to_string(offset));
            const Bytes bytes = CBitWriter().Bits(0xFF, offset).Ue(value).Bits(2, 3).Bytes();
            CNalBitStream reader = ReaderOf(bytes);
            reader.ReadBits(offset);
            EXPECT_EQ(reader.ReadUe(), value);
            EXPECT_EQ(reader.ReadBits(3), 2u) << "the bits behind the code";
        }
    }
}

TEST(NalBitStream, ThirtyTwoZerosGiveTheNextThirtyTwoBitsThemselves)
{
    const Bytes bytes = {0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0x80};
    CNalBitStream reader = ReaderOf(bytes);
    EXPECT_EQ(reader.ReadUe(), 0xFFFFFFFFu);
    EXPECT_TRUE(reader.ReadBits(7) == 0 && reader.IsEnd());
}

TEST(NalBitStream, NoMoreThanThirtyTwoZerosCount)
{
    // The bit behind the 32nd zero is taken for the 1 that ends the run, whatever it is.
    const Bytes bytes = {0x00, 0x00, 0x00, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A};
    CNalBitStream reader = ReaderOf(bytes);
    EXPECT_EQ(reader.ReadUe(), 0x12345678u << 1 | 0x9A >> 7);
}

TEST(NalBitStream, AZeroThatIsTheLastBitEndsACode)
{
    const struct
    {
        const char* reason;
        unsigned zeros;
        const char* outcome;
    } rows[] = {
        {"alone: a code without zeros", 1, "0 end"},
        {"behind another: its one bit is missing", 2, "bitsGot = 0, bitsToGet = 1"},
        {"behind six: six bits are missing", 7, "bitsGot = 0, bitsToGet = 6"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const Bytes bytes = CBitWriter().Bits(0xFF, 8 - row.zeros).Bits(0, row.zeros).Bytes();
        CNalBitStream reader = ReaderOf(bytes);
        reader.ReadBits(8 - row.zeros);
        EXPECT_EQ(Outcome(reader, 99), row.outcome);
    }
}

TEST(NalBitStream, ReadsAnyBytesAsTheBitByBitRulesDo)
{
    std::mt19937 random(20);
    // Zeros and threes are frequent, so that long codes and emulation prevention meet in every way.
    const std::uint8_t palette[] = {0, 0, 0, 0, 3, 3, 1, 0x80, 0x40, 0xFF, 0x5A};
    for (int round = 0; round < 3000; ++round)
    {
        Bytes bytes(random() % 24);
        for (std::uint8_t& byte : bytes)
            byte = palette[random() % std::size(palette)];
        CNalBitStream reader = ReaderOf(bytes);
        CReferenceReader reference(bytes);
        for (int step = 0; step < 12; ++step)
        {
            const std::uint32_t action = random() % 68; // more than half of them codes
            ASSERT_EQ(Outcome(reader, action), Outcome(reference, action)) << "round " << round << ", step " << step;
        }
    }
}

TEST(NalBitStream, AllocatesNothing)
{
    const Bytes bytes = CBitWriter().Ue(7).Bits(0x12345678, 32).Bits(1, 1).Ue(0xFFFFFFFE).Bytes();
    const unsigned before = CountedAllocations::Count();
    CNalBitStream reader = ReaderOf(bytes);
    const bool isRead = reader.ReadUe() == 7 && reader.ReadBits(32) == 0x12345678 && reader.ReadBits(1) == 1 &&
                        reader.ReadUe() == 0xFFFFFFFE;
    const unsigned after = CountedAllocations::Count();
    EXPECT_TRUE(isRead);
    EXPECT_EQ(after, before);
}
