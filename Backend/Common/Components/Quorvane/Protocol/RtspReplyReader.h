#pragma once

#include "Protocol/RtspMessage.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Puts RTSP replies together from the pieces that a tunnel delivers, however they are cut: a reply is its header
/// block, up to the blank line, and the body that its Content-Length announces. Bytes behind that belong to the next
/// reply. Without a Content-Length everything that has come behind the blank line is the body, unless it begins with
/// "RTSP/1.0 ": then it is the next reply.
/// Held by value by its client; one caller at a time. Functions throw only std::bad_alloc.
/// Looks at each byte a fixed number of times, whatever the pieces, and holds a bounded number of them: of what was
/// taken out nothing stays, so that a reply and the copy of its body that its taker makes are within the bound, too.
///
/// Hazard that explains the shape: a request whose reply is not waited for any longer may still be answered, and the
/// rest of a reply that was taken incomplete may still come. Both must not be taken for the reply to a later request.
class CRtspReplyReader
{
public:
    /// What replies may take, room to grow included: half for the text, half for the copy of its body that
    /// RtspResponse makes of it.
    static constexpr std::size_t kMaximumHeldBytes = 16u * 1024 * 1024;
    /// Of the text, its null excluded.
    static constexpr std::size_t kMaximumTextBytes = kMaximumHeldBytes / 2 - 1;
    /// Of them a header block: its lines take many times their length once they are taken apart.
    static constexpr std::size_t kMaximumHeadBytes = 64u * 1024;
    /// More unanswered requests than this are not remembered: a camera that leaves so many does not answer them later.
    static constexpr std::size_t kMaximumGivenUp = 64;

    explicit CRtspReplyReader(std::size_t maximumTextBytes = kMaximumTextBytes,
                              std::size_t maximumHeadBytes = kMaximumHeadBytes) noexcept
        : m_maximumTextBytes(maximumTextBytes), m_maximumHeadBytes(maximumHeadBytes)
    {
    }

    /// Takes what one read brought. False when that is more than can be held, or when the next reply has too long a
    /// header block: what comes later on this tunnel is no reply any more; the same after an exception.
    [[nodiscard]] bool Append(std::string_view data);
    /// Which of the two it was.
    bool IsHeadTooLong() const noexcept;

    /// The next reply is there as a whole.
    bool IsComplete() const noexcept;
    /// What comes next is the rest of a reply that was taken as it stood, or given up.
    bool IsAwaitingRest() const noexcept
    {
        return m_isTaken;
    }
    /// Something of the next reply is there.
    bool HasBegun() const noexcept
    {
        return !m_isTaken && m_start < m_buffer.size();
    }
    /// Of the body of the next reply, how much has come, and how much was announced (0: nothing was, or not yet). Of a
    /// reply that was taken as it stood, of the part that was missing.
    std::size_t BodyLength() const noexcept;
    std::size_t ContentLength() const noexcept;

    /// The text of the next reply, complete or as it stands; empty when nothing of it has come.
    std::string TakeReply();

    /// The reply to this request is not waited for any longer. What has come of a reply so far is not the beginning of
    /// a later one.
    void GiveUp(std::int32_t cseq) noexcept;
    /// True when `response` answers a request that was given up; it is remembered no longer then.
    [[nodiscard]] bool IsLate(const RtspResponse& response) noexcept;

    /// Forgets everything: another tunnel.
    void Clear() noexcept;

private:
    void DropTakenBefore(std::size_t pieceStart) noexcept;
    std::string TakeComplete();
    std::string TakeUnfinished();
    void Advance();
    void FindHeaderBlock();
    bool HasWholeReply() const noexcept;
    std::size_t ReplyEnd() const noexcept;
    void Discard(std::size_t end) noexcept;
    void Compact() noexcept;

    std::size_t m_maximumTextBytes;
    std::size_t m_maximumHeadBytes;
    std::string m_buffer;
    std::size_t m_start = 0;     ///< of the next reply
    std::size_t m_scanned = 0;   ///< no blank line begins before this position
    std::size_t m_bodyStart = 0; ///< 0 while the header block is not complete
    std::optional<std::size_t> m_contentLength;
    bool m_isTaken = false;      ///< the reply at m_start was taken as it stood, or given up; the rest of it is dropped
    std::size_t m_undecided = 0; ///< where a piece begins that may turn out to be a new reply; 0 for none
    std::array<std::int32_t, kMaximumGivenUp> m_givenUp = {}; ///< from the oldest on; giving up allocates nothing
    std::size_t m_givenUpCount = 0;
};
