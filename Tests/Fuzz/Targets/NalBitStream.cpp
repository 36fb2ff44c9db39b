#include "IPELAFilters/NalBitStream.h"
#include "Fuzz/FuzzTarget.h"

#include <optional>

using Fuzz::Require;

namespace
{
/// CNalBitStream byte by byte and bit by bit, without regard to speed.
class CSlowNalBitStream
{
public:
    explicit CSlowNalBitStream(std::string_view bytes) : m_bytes(bytes) {}

    std::uint32_t ReadBits(std::uint32_t count)
    {
        if (count == 0 || count > 32)
            return 0;
        while (m_bits.size() < count)
            Load(count);
        std::uint32_t value = 0;
        for (const char bit : m_bits.substr(0, count))
            value = value << 1 | (bit == '1' ? 1u : 0u);
        m_bits.erase(0, count);
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
        return m_bytes.empty() && m_bits.empty();
    }

private:
    void Load(std::uint32_t wanted)
    {
        if (m_bytes.empty())
            throw CEndOfNalBitStreamException(wanted, static_cast<std::int32_t>(m_bits.size()));
        const auto byte = static_cast<unsigned char>(m_bytes.front());
        m_bytes.remove_prefix(1);
        if (byte == 3 && m_zeroBytes >= 2)
            return;
        m_zeroBytes = byte == 0 ? m_zeroBytes + 1 : 0;
        for (int bit = 7; bit >= 0; --bit)
            m_bits += (byte >> bit & 1) != 0 ? '1' : '0';
    }

    std::string_view m_bytes;
    std::string m_bits; ///< loaded and not yet read
    int m_zeroBytes = 0;
};

/// What one read brings: its value, or how many bits there were.
struct BitsRead
{
    std::optional<std::uint32_t> value;
    std::int32_t bitsGot = 0;
    bool isEnd = false;

    bool operator==(const BitsRead&) const = default;
};

template <class Reader>
BitsRead ReadOnce(Reader& reader, unsigned char operation)
{
    constexpr unsigned kOperations = 40; // up to 33: that many bits; above: a code
    BitsRead read;
    try
    {
        const unsigned count = operation % kOperations;
        read.value = count <= 33 ? reader.ReadBits(count) : reader.ReadUe();
    }
    catch (const CEndOfNalBitStreamException& end)
    {
        read.bitsGot = end.BitsGot();
    }
    read.isEnd = reader.IsEnd();
    return read;
}

/// The first line of an input says what is read, over and over, from the bytes behind it and some way beyond their end.
void FeedBits(std::string_view input)
{
    const std::string_view operations = input.substr(0, input.find('\n'));
    const std::string_view bytes = input.substr(std::min(operations.size() + 1, input.size()));
    CNalBitStream reader(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    CSlowNalBitStream slowReader(bytes);
    int failures = 0;
    for (std::size_t step = 0; step < operations.size() + 8 * bytes.size() && !operations.empty(); ++step)
    {
        const auto operation = static_cast<unsigned char>(operations[step % operations.size()]);
        const BitsRead read = ReadOnce(reader, operation);
        Require(read == ReadOnce(slowReader, operation), "bits are read as they are one by one");
        if (!read.value && ++failures == 4)
            return;
    }
}

const CFuzzTarget kNalBitStream("NalBitStream", FeedBits);
} // namespace
