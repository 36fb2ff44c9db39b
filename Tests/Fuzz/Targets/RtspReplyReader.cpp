#include "Protocol/RtspReplyReader.h"
#include "Fuzz/FuzzTarget.h"
#include "Protocol/TextUtil.h"

#include <algorithm>

using Fuzz::Require;

namespace
{
constexpr std::size_t kHeadBytes = 100; ///< few enough to be passed often

bool HasLength(const std::string& reply)
{
    RtspResponse response;
    response.ParseResponse(reply);
    const std::string_view length = response.Header("Content-Length");
    const bool isNumber = !length.empty() && TextUtil::IsDigit(length.front());
    Require(!isNumber || response.body.size() == static_cast<std::size_t>(TextUtil::ToNumber(length)),
            "a body has the length that was announced");
    return isNumber;
}

struct RepliesRead
{
    std::vector<std::string> replies;
    bool isHeadTooLong = false;

    bool operator==(const RepliesRead&) const = default;
};

/// The complete replies, up to one whose body ends where a piece ends, because it does not tell its length.
RepliesRead ReadReplies(const std::vector<std::string_view>& pieces, std::size_t headBytes)
{
    CRtspReplyReader reader(CRtspReplyReader::kMaximumTextBytes, headBytes);
    RepliesRead read;
    for (const std::string_view piece : pieces)
    {
        const bool isTaken = reader.Append(piece);
        while (isTaken && reader.IsComplete())
        {
            std::string reply = reader.TakeReply();
            Require(!reply.starts_with('\r') && !reply.starts_with('\n'), "no reply begins with a line end");
            if (!HasLength(reply))
                return read;
            read.replies.push_back(std::move(reply));
        }
        read.isHeadTooLong = reader.IsHeadTooLong();
        Require(isTaken || read.isHeadTooLong, "there is room for a piece");
        if (read.isHeadTooLong)
            return read;
    }
    return read;
}

void CheckOrder(std::string_view text, const std::vector<std::string>& replies)
{
    for (const std::string& reply : replies)
    {
        text.remove_prefix(std::min(text.find_first_not_of("\r\n"), text.size()));
        Require(text.starts_with(reply), "replies are the text, in its order and without a gap");
        text.remove_prefix(reply.size());
    }
}

void CheckCuts(const Fuzz::CutText& input, std::size_t headBytes)
{
    const RepliesRead read = ReadReplies({input.text}, headBytes);
    CheckOrder(input.text, read.replies);
    Require(ReadReplies(input.pieces, headBytes) == read, "it does not count how replies are cut");
    std::vector<std::string_view> bytes;
    for (std::size_t position = 0; position < input.text.size(); ++position)
        bytes.push_back(input.text.substr(position, 1));
    Require(ReadReplies(bytes, headBytes) == read, "it does not count that replies come byte by byte");
}

/// As a client uses it whose requests are given up and whose replies are taken as they stand.
void CheckAnyUse(const Fuzz::CutText& input)
{
    constexpr std::size_t kHeldBytes = 256;
    CRtspReplyReader reader(kHeldBytes, kHeadBytes);
    std::size_t appended = 0;
    std::size_t taken = 0;
    std::int32_t cseq = 0;
    for (const std::string_view piece : input.pieces)
    {
        if (!reader.Append(piece))
            reader.Clear();
        appended += piece.size();
        Require(!reader.IsAwaitingRest() || (!reader.HasBegun() && !reader.IsComplete()), "a rest is no reply");
        Require(reader.BodyLength() <= kHeldBytes, "a bounded number of bytes is held");
        if (piece.size() % 4 == 0)
            reader.GiveUp(++cseq);
        if (!reader.IsComplete() && piece.size() % 4 != 1)
            continue;
        const std::string reply = reader.TakeReply();
        taken += reply.size();
        Require(taken <= appended, "nothing is taken twice");
        RtspResponse response;
        Require(response.ParseResponse(reply) == !reply.empty(), "whatever was taken is a reply");
        if (reader.IsLate(response))
            Require(!reader.IsLate(response), "a request is answered late at most once");
    }
}

/// What comes through a tunnel; the first line of an input says in what pieces.
void FeedReplies(std::string_view input)
{
    const Fuzz::CutText cut = Fuzz::Cut(input);
    CheckCuts(cut, CRtspReplyReader::kMaximumHeadBytes);
    CheckCuts(cut, kHeadBytes);
    CheckAnyUse(cut);
}

const CFuzzTarget kRtspReplyReader("RtspReplyReader", FeedReplies);
} // namespace
