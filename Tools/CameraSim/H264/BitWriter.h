#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <utility>

/// Writes the payload of a NAL unit bit by bit, most significant first, with the codes of ITU-T H.264, 9.1.
/// Owns its bytes; one thread. Nothing fails.
class CBitWriter
{
public:
    /// u(n): the low `count` bits of `value`, at most 32.
    void Bits(std::uint32_t value, unsigned count)
    {
        while (count > 0)
        {
            --count;
            m_byte = static_cast<std::uint8_t>((m_byte << 1) | ((value >> count) & 1));
            if (++m_bitsInByte == 8)
            {
                m_bytes += static_cast<char>(m_byte);
                m_bitsInByte = 0;
            }
        }
    }

    void Flag(bool value)
    {
        Bits(value ? 1 : 0, 1);
    }

    /// ue(v)
    void Unsigned(std::uint32_t value)
    {
        const auto lengthBits = static_cast<unsigned>(std::bit_width(value + 1));
        Bits(0, lengthBits - 1);
        Bits(value + 1, lengthBits);
    }

    /// se(v)
    void Signed(std::int32_t value)
    {
        Unsigned(value > 0 ? 2 * static_cast<std::uint32_t>(value) - 1 : 2 * static_cast<std::uint32_t>(-value));
    }

    /// rbsp_trailing_bits; the writer is empty afterwards.
    std::string Finish()
    {
        Flag(true);
        while (m_bitsInByte != 0)
            Flag(false);
        return std::exchange(m_bytes, {});
    }

private:
    std::string m_bytes;
    std::uint8_t m_byte = 0;
    unsigned m_bitsInByte = 0;
};
