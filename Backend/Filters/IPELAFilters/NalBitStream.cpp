#include "IPELAFilters/NalBitStream.h"

#include "Protocol/Log.h"

#include <cstdio>

CEndOfNalBitStreamException::CEndOfNalBitStreamException(std::uint32_t bitsToGet, std::int32_t bitsGot) noexcept
    : m_bitsToGet(bitsToGet), m_bitsGot(bitsGot)
{
    std::snprintf(m_description, sizeof(m_description), "bitsGot = %d, bitsToGet = %d", static_cast<int>(bitsGot),
                  static_cast<int>(bitsToGet));
}

void CNalBitStream::LoadByte() noexcept
{
    if (!IsNextDropped())
    {
        m_cache = m_cache << 8 | *m_current;
        m_bitsInCache += 8;
    }
    ++m_current;
}

void CNalBitStream::LoadAhead() noexcept
{
    while (m_bitsInCache <= kCacheBits - 8 && m_current != m_end && !IsNextDropped())
        LoadByte();
}

void CNalBitStream::Load(std::uint32_t count)
{
    while (m_bitsInCache < static_cast<std::int32_t>(count))
    {
        if (m_current == m_end)
        {
            Log(LogLevel::Debug, L"CNalBitStream::ReadBits, end of stream encountered, bitsToRead = %d, head = %d",
                count, m_bitsInCache);
            throw CEndOfNalBitStreamException(count, m_bitsInCache);
        }
        LoadByte();
    }
    LoadAhead();
}

std::uint32_t CNalBitStream::ReadLongUe()
{
    std::int32_t zeros = 0;
    while (ReadBits(1) == 0 && !IsEnd() && zeros < kMaxBits)
        ++zeros;
    return ReadBits(static_cast<std::uint32_t>(zeros)) - 1 + (std::uint32_t{1} << zeros % kMaxBits);
}
