#pragma once

#include <bit>
#include <cstdint>
#include <vector>

/// Writes the bits of a NAL unit, for tests.
class CBitWriter
{
public:
    CBitWriter& Bits(std::uint32_t value, unsigned count)
    {
        for (unsigned bit = count; bit-- > 0;)
            m_bits.push_back((value >> bit & 1) != 0);
        return *this;
    }

    /// An unsigned exp-Golomb code.
    CBitWriter& Ue(std::uint32_t value)
    {
        const std::uint64_t code = std::uint64_t{value} + 1;
        const auto length = static_cast<unsigned>(std::bit_width(code));
        m_bits.insert(m_bits.end(), length - 1, false);
        for (unsigned bit = length; bit-- > 0;)
            m_bits.push_back((code >> bit & 1) != 0);
        return *this;
    }

    /// The bits, filled up to whole bytes with ones, with emulation-prevention bytes where they are due.
    std::vector<std::uint8_t> Bytes() const
    {
        std::vector<std::uint8_t> bytes((m_bits.size() + 7) / 8, 0);
        for (std::size_t index = 0; index < bytes.size() * 8; ++index)
            if (index >= m_bits.size() || m_bits[index])
                bytes[index / 8] = static_cast<std::uint8_t>(bytes[index / 8] | 0x80 >> index % 8);
        return Escaped(bytes);
    }

private:
    static std::vector<std::uint8_t> Escaped(const std::vector<std::uint8_t>& bytes)
    {
        std::vector<std::uint8_t> result;
        unsigned zeros = 0;
        for (const std::uint8_t byte : bytes)
        {
            if (zeros >= 2 && byte <= 3)
            {
                result.push_back(3);
                zeros = 0;
            }
            result.push_back(byte);
            zeros = byte == 0 ? zeros + 1 : 0;
        }
        return result;
    }

    std::vector<bool> m_bits;
};
