#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <exception>

/// A read past the end of a NAL unit. Describes itself without allocating.
class CEndOfNalBitStreamException final : public std::exception
{
public:
    CEndOfNalBitStreamException(std::uint32_t bitsToGet, std::int32_t bitsGot) noexcept;

    std::uint32_t BitsToGet() const noexcept
    {
        return m_bitsToGet;
    }
    /// How many bits were left.
    std::int32_t BitsGot() const noexcept
    {
        return m_bitsGot;
    }
    const char* what() const noexcept override
    {
        return m_description;
    }

private:
    std::uint32_t m_bitsToGet;
    std::int32_t m_bitsGot;
    char m_description[256];
};

/// Reads the bits of one NAL unit, most significant first, and drops its emulation-prevention bytes
/// (ITU-T H.264, 7.3.1). Borrows the bytes, reads them in place and one at a time; allocates nothing.
/// One thread. A read past the end logs and throws CEndOfNalBitStreamException; what could be loaded stays loaded.
/// A dropped byte leaves no trace, so that a second 0x03 right behind it is dropped too, other than in the standard.
class CNalBitStream
{
public:
    CNalBitStream(const std::uint8_t* bytes, std::size_t lengthBytes) noexcept
        : m_current(bytes), m_end(bytes + lengthBytes)
    {
    }

    /// The next `count` bits. A `count` of 0 or above 32 reads nothing and is 0.
    std::uint32_t ReadBits(std::uint32_t count)
    {
        if (count == 0 || count > std::uint32_t{kMaxBits})
            return 0;
        Require(count);
        m_bitsInCache -= static_cast<std::int32_t>(count);
        const std::uint64_t mask = (std::uint64_t{1} << count) - 1;
        return static_cast<std::uint32_t>(m_cache >> m_bitsInCache & mask);
    }

    /// An unsigned exp-Golomb code, ue(v) (ITU-T H.264, 9.1). At most 32 leading zeros count, and a zero that is the
    /// last bit of the unit does not.
    std::uint32_t ReadUe()
    {
        const std::uint32_t zeros = ReadLeadingZeros();
        return ReadBits(zeros) - 1 + (std::uint32_t{1} << zeros % kMaxBits);
    }

    bool IsEnd() const noexcept
    {
        return m_current == m_end && m_bitsInCache == 0;
    }

private:
    static constexpr std::int32_t kMaxBits = 32;

    void LoadByte() noexcept
    {
        const std::uint8_t byte = *m_current++;
        if (byte == 0x03 && (m_cache & 0xFFFF) == 0)
            return;
        m_cache = m_cache << 8 | byte;
        m_bitsInCache += 8;
    }

    /// Loads until `count` bits are there to be read.
    void Require(std::uint32_t count)
    {
        while (m_bitsInCache < static_cast<std::int32_t>(count))
        {
            if (m_current == m_end)
                ThrowEndOfStream(count);
            LoadByte();
        }
    }

    /// Consumes the zeros and the bit that ends them, and counts the zeros; cached ones in one step, because codes are
    /// most of a parameter set.
    std::uint32_t ReadLeadingZeros()
    {
        for (std::int32_t counted = 0;;)
        {
            Require(1);
            const std::int32_t zeros = std::min(std::countl_zero(m_cache << (64 - m_bitsInCache)), m_bitsInCache);
            if (counted + zeros > kMaxBits || zeros < m_bitsInCache)
            {
                const std::int32_t taken = std::min(zeros, kMaxBits - counted);
                m_bitsInCache -= taken + 1;
                return static_cast<std::uint32_t>(counted + taken);
            }
            m_bitsInCache = 0;
            counted += zeros;
            if (IsEnd())
                return static_cast<std::uint32_t>(counted - 1);
        }
    }

    [[noreturn]] void ThrowEndOfStream(std::uint32_t bitsToRead) const;

    const std::uint8_t* m_current;
    const std::uint8_t* m_end;
    std::int32_t m_bitsInCache = 0; ///< not yet consumed ones
    /// The last loaded bytes, newest lowest. Ones at first, so that no zeros precede the first byte.
    std::uint64_t m_cache = 0xFFFFFFFF;
};
