#include "IPELAFilters/NalBitStream.h"

#include "Protocol/Log.h"

#include <cstdio>

CEndOfNalBitStreamException::CEndOfNalBitStreamException(std::uint32_t bitsToGet, std::int32_t bitsGot) noexcept
    : m_bitsToGet(bitsToGet), m_bitsGot(bitsGot)
{
    std::snprintf(m_description, sizeof(m_description), "bitsGot = %d, bitsToGet = %d", static_cast<int>(bitsGot),
                  static_cast<int>(bitsToGet));
}

void CNalBitStream::ThrowEndOfStream(std::uint32_t bitsToRead) const
{
    Log(LogLevel::Debug, L"CNalBitStream::ReadBits, end of stream encountered, bitsToRead = %d, head = %d", bitsToRead,
        m_bitsInCache);
    throw CEndOfNalBitStreamException(bitsToRead, m_bitsInCache);
}
