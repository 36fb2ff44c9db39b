#pragma once

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
/// (ITU-T H.264, 7.3.1). Borrows the bytes and reads them in place; allocates nothing.
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
        if (m_bitsInCache < static_cast<std::int32_t>(count))
            Load(count);
        m_bitsInCache -= static_cast<std::int32_t>(count);
        const std::uint64_t mask = (std::uint64_t{1} << count) - 1;
        return static_cast<std::uint32_t>(m_cache >> m_bitsInCache & mask);
    }

    /// An unsigned exp-Golomb code, ue(v) (ITU-T H.264, 9.1). At most 32 leading zeros count, and a zero that is the
    /// last bit of the unit does not.
    std::uint32_t ReadUe()
    {
        // Codes are most of a parameter set: in one step, when the cache holds all of it.
        if (m_bitsInCache < kUsualCodeBits)
            LoadAhead();
        const std::int32_t zeros = CachedZeros();
        const std::int32_t codeBits = 2 * zeros + 1;
        if (codeBits > m_bitsInCache)
            return ReadLongUe();
        m_bitsInCache -= codeBits;
        return static_cast<std::uint32_t>(m_cache >> m_bitsInCache & ((std::uint64_t{2} << zeros) - 1)) - 1;
    }

    bool IsEnd() const noexcept
    {
        return m_current == m_end && m_bitsInCache == 0;
    }

private:
    static constexpr std::int32_t kMaxBits = 32;
    static constexpr std::int32_t kCacheBits = 64;
    static constexpr std::int32_t kUsualCodeBits = 17; ///< up to 8 zeros

    /// How many zeros the cached bits begin with; more than there are bits when there is no 1.
    std::int32_t CachedZeros() const noexcept
    {
        return m_bitsInCache > 0 ? std::countl_zero(m_cache << (kCacheBits - m_bitsInCache)) : kCacheBits;
    }
    bool IsNextDropped() const noexcept
    {
        return *m_current == 0x03 && (m_cache & 0xFFFF) == 0;
    }

    /// At least `count` bits, which are not there yet.
    void Load(std::uint32_t count);
    /// What fits into the cache, up to a byte that is to be dropped: that one is passed when a bit behind it is read,
    /// not before, so that IsEnd does not change early.
    void LoadAhead() noexcept;
    void LoadByte() noexcept;
    /// A code of many bits, or one that is cut short.
    std::uint32_t ReadLongUe();

    const std::uint8_t* m_current;
    const std::uint8_t* m_end;
    std::int32_t m_bitsInCache = 0; ///< not yet consumed ones
    /// The last loaded bytes, newest lowest. Ones at first, so that no zeros precede the first byte.
    std::uint64_t m_cache = 0xFFFFFFFF;
};
