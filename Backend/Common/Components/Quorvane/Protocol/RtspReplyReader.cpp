#include "Protocol/RtspReplyReader.h"

#include "Protocol/TextUtil.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr std::string_view kBlankLine = "\r\n\r\n";
constexpr std::string_view kReplyStart = "RTSP/1.0 ";

/// A text that begins as a reply does, as far as it goes.
bool MayBeReply(std::string_view text) noexcept
{
    return !text.empty() && kReplyStart.starts_with(text.substr(0, kReplyStart.size()));
}

bool IsNumber(std::string_view text) noexcept
{
    return !text.empty() && TextUtil::IsDigit(text.front());
}
} // namespace

bool CRtspReplyReader::Append(std::string_view data)
{
    if (m_buffer.size() + data.size() > m_maximumTextBytes)
        Compact();
    if (m_buffer.size() + data.size() > m_maximumTextBytes)
        return false;
    const std::size_t pieceStart = m_undecided != 0 ? m_undecided : m_buffer.size();
    TextUtil::GrowFor(m_buffer, m_buffer.size() + data.size());
    m_buffer += data;
    if (m_isTaken)
        DropTakenBefore(pieceStart);
    Advance();
    return !IsHeadTooLong();
}

bool CRtspReplyReader::IsHeadTooLong() const noexcept
{
    return (m_bodyStart != 0 ? m_bodyStart : m_buffer.size()) - m_start > m_maximumHeadBytes;
}

bool CRtspReplyReader::IsComplete() const noexcept
{
    return !m_isTaken && HasWholeReply();
}

std::size_t CRtspReplyReader::BodyLength() const noexcept
{
    return m_bodyStart != 0 ? m_buffer.size() - m_bodyStart : 0;
}

std::size_t CRtspReplyReader::ContentLength() const noexcept
{
    return m_contentLength.value_or(0);
}

std::string CRtspReplyReader::TakeReply()
{
    if (m_isTaken)
        return {};
    return IsComplete() ? TakeComplete() : TakeUnfinished();
}

std::string CRtspReplyReader::TakeComplete()
{
    const std::size_t end = ReplyEnd();
    std::string text;
    if (end - m_start > m_buffer.size() / 2)
    {
        // No second copy of a long reply.
        std::string rest = m_buffer.substr(end);
        text = std::exchange(m_buffer, std::move(rest));
        text.resize(end);
        text.erase(0, m_start);
        Discard(0);
    }
    else
    {
        text = m_buffer.substr(m_start, end - m_start);
        Discard(end);
    }
    Advance();
    return text;
}

std::string CRtspReplyReader::TakeUnfinished()
{
    if (m_bodyStart == 0 || IsHeadTooLong())
    {
        m_isTaken = m_start < m_buffer.size();
        return m_buffer.substr(m_start);
    }
    // Of the body only the length of its rest still counts, and where the header block ends.
    std::string head = m_buffer.substr(m_start, m_bodyStart - m_start);
    m_contentLength = ContentLength() - BodyLength();
    std::string text = std::exchange(m_buffer, std::move(head));
    text.erase(0, m_start);
    m_start = 0;
    m_bodyStart = m_buffer.size();
    m_scanned = m_bodyStart;
    m_isTaken = true;
    return text;
}

void CRtspReplyReader::GiveUp(std::int32_t cseq) noexcept
{
    m_isTaken = m_isTaken || (m_start < m_buffer.size() && !IsComplete());
    if (m_givenUpCount == kMaximumGivenUp)
    {
        std::shift_left(m_givenUp.begin(), m_givenUp.end(), 1);
        --m_givenUpCount;
    }
    m_givenUp[m_givenUpCount++] = cseq;
}

bool CRtspReplyReader::IsLate(const RtspResponse& response) noexcept
{
    const std::string_view cseq = response.CSeq();
    const auto end = m_givenUp.begin() + static_cast<std::ptrdiff_t>(m_givenUpCount);
    const auto kept = IsNumber(cseq) ? std::remove(m_givenUp.begin(), end, TextUtil::ToNumber(cseq)) : end;
    m_givenUpCount = static_cast<std::size_t>(kept - m_givenUp.begin());
    return kept != end;
}

void CRtspReplyReader::Clear() noexcept
{
    m_buffer.clear();
    Discard(0);
    m_givenUpCount = 0;
}

/// The rest of a reply that was taken as it stood need not come: the camera may go on with another reply, which then
/// begins a piece.
void CRtspReplyReader::DropTakenBefore(std::size_t pieceStart) noexcept
{
    const std::string_view piece = std::string_view(m_buffer).substr(pieceStart);
    m_undecided = 0;
    if (piece.starts_with(kReplyStart))
        Discard(pieceStart);
    else if (MayBeReply(piece))
        m_undecided = pieceStart;
}

void CRtspReplyReader::Advance()
{
    while (m_undecided == 0)
    {
        if (m_bodyStart == 0)
            FindHeaderBlock();
        if (!m_isTaken || !HasWholeReply())
            return;
        Discard(ReplyEnd());
    }
}

void CRtspReplyReader::FindHeaderBlock()
{
    // Some servers write a line end behind a body that they have not counted; RFC 2616, 4.1 has it ignored.
    if (!m_isTaken && m_scanned == m_start)
        m_start = std::min(m_buffer.find_first_not_of("\r\n", m_start), m_buffer.size());
    const std::size_t position = m_buffer.find(kBlankLine, std::max(m_start, m_scanned));
    // The blank line may be cut, too.
    m_scanned = m_buffer.size() - std::min(m_buffer.size() - m_start, kBlankLine.size() - 1);
    if (position == std::string::npos)
        return;
    const std::size_t bodyStart = position + kBlankLine.size();
    if (bodyStart - m_start > m_maximumHeadBytes)
    {
        m_bodyStart = bodyStart;
        return;
    }
    RtspResponse header;
    header.ParseResponse(std::string_view(m_buffer).substr(m_start, bodyStart - m_start));
    m_bodyStart = bodyStart;
    if (const std::string_view length = header.Header("Content-Length"); IsNumber(length))
        m_contentLength = static_cast<std::size_t>(TextUtil::ToNumber(length));
}

bool CRtspReplyReader::HasWholeReply() const noexcept
{
    return m_bodyStart != 0 && !IsHeadTooLong() && BodyLength() >= ContentLength();
}

std::size_t CRtspReplyReader::ReplyEnd() const noexcept
{
    if (m_contentLength)
        return m_bodyStart + *m_contentLength;
    return MayBeReply(std::string_view(m_buffer).substr(m_bodyStart)) ? m_bodyStart : m_buffer.size();
}

void CRtspReplyReader::Discard(std::size_t end) noexcept
{
    m_start = end;
    m_scanned = end;
    m_bodyStart = 0;
    m_contentLength.reset();
    m_isTaken = false;
    m_undecided = 0;
    // Seldom enough that each byte is moved a fixed number of times.
    if (m_start > m_buffer.size() / 2 || m_start == m_buffer.size())
        Compact();
}

void CRtspReplyReader::Compact() noexcept
{
    m_buffer.erase(0, m_start);
    m_scanned -= m_start;
    m_bodyStart -= m_bodyStart != 0 ? m_start : 0;
    m_undecided -= m_undecided != 0 ? m_start : 0;
    m_start = 0;
    // What a long reply took is not kept for the life of the tunnel.
    if (m_buffer.capacity() > kMaximumHeadBytes && m_buffer.size() < m_buffer.capacity() / 4)
        m_buffer.shrink_to_fit();
}
