#include "Protocol/RtspReplyReader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{
std::string Reply(int cseq, const std::string& body = {}, const std::string& headers = {})
{
    std::string text = "RTSP/1.0 200 OK\r\nCSeq: " + std::to_string(cseq) + "\r\n" + headers;
    if (!body.empty())
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return text + "\r\n" + body;
}

/// Every reply that is complete after the pieces, in order.
std::vector<std::string> Read(const std::vector<std::string_view>& pieces)
{
    CRtspReplyReader reader;
    std::vector<std::string> replies;
    for (const std::string_view piece : pieces)
    {
        EXPECT_TRUE(reader.Append(piece));
        while (reader.IsComplete())
            replies.push_back(reader.TakeReply());
    }
    return replies;
}

struct StreamCase
{
    const char* why;
    std::string stream;
    std::vector<std::string> replies;
};

std::vector<StreamCase> Streams()
{
    const std::string body = "v=0\r\no=- 1 1 IN IP4 0.0.0.0\r\n\r\ns=RTSP/1.0 200\r\n";
    return {
        {"without body", Reply(1), {Reply(1)}},
        {"with body, blank lines and a status line in it", Reply(1, body), {Reply(1, body)}},
        {"two glued together", Reply(1, body) + Reply(2, "b"), {Reply(1, body), Reply(2, "b")}},
        {"glued behind a reply that announces no body",
         Reply(1) + Reply(2, body) + Reply(3),
         {Reply(1), Reply(2, body), Reply(3)}},
        {"body of length 0",
         Reply(1, "", "Content-Length: 0\r\n") + Reply(2),
         {Reply(1, "", "Content-Length: 0\r\n"), Reply(2)}},
        {"line end behind a body that was not counted",
         Reply(1, body) + "\r\n" + Reply(2, "b") + "\r\n\r\n" + Reply(3),
         {Reply(1, body), Reply(2, "b"), Reply(3)}},
        {"the last of two lengths counts",
         Reply(1, "12345", "Content-Length: 2\r\n") + Reply(2),
         {Reply(1, "12345", "Content-Length: 2\r\n"), Reply(2)}},
        {"length with something behind the number",
         Reply(1, "", "Content-Length: 3 bytes\r\n") + "abc" + Reply(2),
         {Reply(1, "", "Content-Length: 3 bytes\r\n") + "abc", Reply(2)}},
    };
}

TEST(RtspReplyReader, FindsRepliesThatComeInOnePiece)
{
    for (const StreamCase& each : Streams())
        EXPECT_EQ(each.replies, Read({each.stream})) << each.why;
}

TEST(RtspReplyReader, FindsRepliesCutAtAnyTwoPlaces)
{
    for (const StreamCase& each : Streams())
        for (std::size_t first = 0; first <= each.stream.size(); ++first)
            for (std::size_t second = first; second <= each.stream.size(); ++second)
            {
                const std::string_view stream = each.stream;
                ASSERT_EQ(each.replies,
                          Read({stream.substr(0, first), stream.substr(first, second - first), stream.substr(second)}))
                    << each.why << ", cut at " << first << " and " << second;
            }
}

TEST(RtspReplyReader, FindsRepliesThatComeByteByByte)
{
    for (const StreamCase& each : Streams())
    {
        std::vector<std::string_view> pieces;
        for (std::size_t i = 0; i < each.stream.size(); ++i)
            pieces.push_back(std::string_view(each.stream).substr(i, 1));
        EXPECT_EQ(each.replies, Read(pieces)) << each.why;
    }
}

TEST(RtspReplyReader, WithoutLengthTakesWhatHasComeBehindTheBlankLine)
{
    const std::string header = "RTSP/1.0 200 OK\r\nCSeq: 1\r\n\r\n";
    EXPECT_EQ(std::vector<std::string>{header + "v=0\r\n"}, Read({header + "v=0\r\n"}));
    EXPECT_EQ((std::vector<std::string>{header, header}), Read({header, header}));
    EXPECT_EQ(std::vector<std::string>{header + "RTSP/2.0 200 OK\r\n"}, Read({header + "RTSP/2.0 200 OK\r\n"}))
        << "only RTSP/1.0 begins a reply";
    EXPECT_EQ(std::vector<std::string>{header + " " + header}, Read({header + " " + header}))
        << "only at the beginning";
}

TEST(RtspReplyReader, LengthThatIsNoNumberIsNone)
{
    for (const char* length :
         {"Content-Length: many\r\n", "Content-Length: -3\r\n", "Content-Length:\r\n", "content-length: 1\r\n"})
    {
        const std::string text = Reply(1, "", length) + "abc";
        EXPECT_EQ(std::vector<std::string>{text}, Read({text})) << length;
    }
}

TEST(RtspReplyReader, TellsHowFarTheBodyHasCome)
{
    CRtspReplyReader reader;
    EXPECT_FALSE(reader.IsComplete());
    ASSERT_TRUE(reader.Append("RTSP/1.0 200 OK\r\nContent-Length: 10\r\n"));
    EXPECT_EQ(0u, reader.ContentLength()) << "not before the blank line";
    ASSERT_TRUE(reader.Append("\r\nabc"));
    EXPECT_EQ(10u, reader.ContentLength());
    EXPECT_EQ(3u, reader.BodyLength());
    EXPECT_FALSE(reader.IsComplete());
    ASSERT_TRUE(reader.Append("defghij"));
    EXPECT_TRUE(reader.IsComplete());
}

struct CutCase
{
    const char* why;
    std::string whole;
    std::string taken; ///< its beginning, that the caller has made do with
};

std::vector<CutCase> CutReplies()
{
    return {
        {"in the body", Reply(1, "0123456789"), Reply(1, "0123456789").substr(0, Reply(1, "0123456789").size() - 4)},
        {"behind the blank line", Reply(1, "0123456789"),
         Reply(1, "0123456789").substr(0, Reply(1, "0123456789").size() - 10)},
        {"in the blank line", Reply(1, "0123456789"),
         Reply(1, "0123456789").substr(0, Reply(1, "0123456789").size() - 12)},
        {"in the headers", Reply(1, "0123456789"), "RTSP/1.0 200 OK\r\nCSe"},
        {"in the status line", Reply(1, "0123456789"), "RTSP"},
    };
}

TEST(RtspReplyReader, GivesWhatIsThereOfAReplyThatDoesNotCome)
{
    for (const CutCase& each : CutReplies())
    {
        CRtspReplyReader reader;
        ASSERT_TRUE(reader.Append(each.taken));
        EXPECT_FALSE(reader.IsComplete()) << each.why;
        EXPECT_EQ(each.taken, reader.TakeReply()) << each.why;
        EXPECT_FALSE(reader.IsComplete()) << each.why;
        EXPECT_EQ("", reader.TakeReply()) << each.why;
    }
    EXPECT_EQ("", CRtspReplyReader().TakeReply());
}

TEST(RtspReplyReader, DropsTheRestOfATakenReplyWhenItComesLater)
{
    for (const CutCase& each : CutReplies())
    {
        const std::string late = each.whole.substr(each.taken.size()) + Reply(2, "next");
        for (std::size_t cut = 0; cut <= late.size(); ++cut)
        {
            CRtspReplyReader reader;
            ASSERT_TRUE(reader.Append(each.taken));
            (void)reader.TakeReply();
            ASSERT_TRUE(reader.Append(std::string_view(late).substr(0, cut)));
            ASSERT_TRUE(reader.Append(std::string_view(late).substr(cut)));
            ASSERT_TRUE(reader.IsComplete()) << each.why << ", cut at " << cut;
            EXPECT_EQ(Reply(2, "next"), reader.TakeReply()) << each.why << ", cut at " << cut;
        }
    }
}

TEST(RtspReplyReader, ForgetsTheRestOfATakenReplyWhenAnotherReplyComes)
{
    const std::string next = Reply(2, "next");
    for (const CutCase& each : CutReplies())
        for (std::size_t cut = 0; cut <= next.size(); ++cut)
        {
            CRtspReplyReader reader;
            ASSERT_TRUE(reader.Append(each.taken));
            (void)reader.TakeReply();
            ASSERT_TRUE(reader.Append(std::string_view(next).substr(0, cut)));
            ASSERT_TRUE(reader.Append(std::string_view(next).substr(cut)));
            ASSERT_TRUE(reader.IsComplete()) << each.why << ", cut at " << cut;
            EXPECT_EQ(next, reader.TakeReply()) << each.why << ", cut at " << cut;
        }
}

TEST(RtspReplyReader, GivingUpDropsTheBeginningOfAReply)
{
    CRtspReplyReader reader;
    ASSERT_TRUE(reader.Append(Reply(1) + Reply(2, "0123456789").substr(0, 40)));
    EXPECT_EQ(Reply(1), reader.TakeReply());
    reader.GiveUp(2);
    ASSERT_TRUE(reader.Append(Reply(2, "0123456789").substr(40) + Reply(3)));
    ASSERT_TRUE(reader.IsComplete());
    EXPECT_EQ(Reply(3), reader.TakeReply());
}

RtspResponse Parsed(const std::string& text)
{
    RtspResponse response;
    EXPECT_TRUE(response.ParseResponse(text));
    return response;
}

TEST(RtspReplyReader, ReplyToARequestThatWasGivenUpIsLateOnce)
{
    CRtspReplyReader reader;
    reader.GiveUp(3);
    reader.GiveUp(5);
    EXPECT_FALSE(reader.IsLate(Parsed(Reply(4)))) << "a wrong number, but of no request that was given up";
    EXPECT_FALSE(reader.IsLate(Parsed("RTSP/1.0 200 OK\r\n\r\n"))) << "no number";
    EXPECT_FALSE(reader.IsLate(Parsed("RTSP/1.0 200 OK\r\nCSeq: five\r\n\r\n"))) << "no number";
    EXPECT_TRUE(reader.IsLate(Parsed(Reply(5))));
    EXPECT_FALSE(reader.IsLate(Parsed(Reply(5))));
    EXPECT_TRUE(reader.IsLate(Parsed(Reply(3))));
}

// Other headers are looked up as they are written. Here that would hand a late reply to the wrong request.
TEST(RtspReplyReader, LateReplyIsKnownByItsCSeqHoweverThatIsWritten)
{
    for (const char* name : {"CSeq", "cseq", "CSEQ", "Cseq"})
    {
        CRtspReplyReader reader;
        reader.GiveUp(5);
        EXPECT_TRUE(reader.IsLate(Parsed("RTSP/1.0 200 OK\r\n" + std::string(name) + ": 5\r\n\r\n"))) << name;
    }
}

TEST(RtspReplyReader, TellsTheRestOfATakenReplyFromTheNext)
{
    CRtspReplyReader reader;
    EXPECT_FALSE(reader.HasBegun());
    ASSERT_TRUE(reader.Append(Reply(1, "0123456789").substr(0, 50)));
    EXPECT_TRUE(reader.HasBegun());
    EXPECT_FALSE(reader.IsAwaitingRest());
    (void)reader.TakeReply();
    EXPECT_TRUE(reader.IsAwaitingRest());
    EXPECT_FALSE(reader.HasBegun());
    ASSERT_TRUE(reader.Append(Reply(1, "0123456789").substr(50)));
    EXPECT_FALSE(reader.IsAwaitingRest());
    EXPECT_FALSE(reader.HasBegun());
    ASSERT_TRUE(reader.Append("R"));
    EXPECT_TRUE(reader.HasBegun());
}

TEST(RtspReplyReader, HoldsNoMoreThanItIsTold)
{
    CRtspReplyReader reader(100);
    ASSERT_TRUE(reader.Append(std::string(60, 'x')));
    EXPECT_FALSE(reader.Append(std::string(41, 'x')));
    EXPECT_TRUE(reader.Append(std::string(40, 'x')));
}

TEST(RtspReplyReader, RemembersABoundedNumberOfRequests)
{
    CRtspReplyReader reader;
    const int most = static_cast<int>(CRtspReplyReader::kMaximumGivenUp);
    for (int cseq = 0; cseq <= most; ++cseq)
        reader.GiveUp(cseq);
    EXPECT_FALSE(reader.IsLate(Parsed(Reply(0))));
    EXPECT_TRUE(reader.IsLate(Parsed(Reply(1))));
    EXPECT_TRUE(reader.IsLate(Parsed(Reply(most))));
}

TEST(RtspReplyReader, ClearForgetsEverything)
{
    CRtspReplyReader reader;
    reader.GiveUp(2);
    ASSERT_TRUE(reader.Append(Reply(1, "0123456789").substr(0, 50)));
    (void)reader.TakeReply();
    ASSERT_TRUE(reader.Append("RTSP"));
    reader.Clear();
    ASSERT_TRUE(reader.Append(Reply(2)));
    ASSERT_TRUE(reader.IsComplete());
    EXPECT_EQ(Reply(2), reader.TakeReply());
    EXPECT_FALSE(reader.IsLate(Parsed(Reply(2))));
}

TEST(RtspReplyReader, HoldsABoundedNumberOfBytes)
{
    CRtspReplyReader reader;
    const std::string header = "RTSP/1.0 200 OK\r\nContent-Length: 2000000000\r\n\r\n";
    ASSERT_TRUE(reader.Append(header));
    const std::string megabyte(1024 * 1024, 'x');
    for (std::size_t held = header.size(); held + megabyte.size() <= CRtspReplyReader::kMaximumTextBytes;
         held += megabyte.size())
        ASSERT_TRUE(reader.Append(megabyte));
    EXPECT_FALSE(reader.Append(megabyte));
    EXPECT_FALSE(reader.IsComplete());
    EXPECT_LE(reader.TakeReply().size(), CRtspReplyReader::kMaximumTextBytes);
}

// What grows by itself allocates up to twice the limit, and each copy comes on top of that.
TEST(RtspReplyReader, RoomForAReplyAndItsCopiesIsBounded)
{
    constexpr std::size_t kMost = CRtspReplyReader::kMaximumTextBytes;
    const std::string glued = Reply(2);
    const auto header = [](std::size_t lengthBytes) {
        return "RTSP/1.0 200 OK\r\nContent-Length: " + std::to_string(lengthBytes) + "\r\n\r\n";
    };
    const std::size_t bodyBytes = kMost - header(kMost).size() - glued.size();
    const struct
    {
        const char* reason;
        std::size_t announcedBytes;
        std::string behind;
    } rows[] = {
        {"alone", bodyBytes, ""},
        {"followed by another", bodyBytes, glued},
        {"taken as it stands", bodyBytes + 3, ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CRtspReplyReader reader;
        const std::string stream = header(row.announcedBytes) + std::string(bodyBytes, 'x') + row.behind;
        for (std::size_t position = 0; position < stream.size(); position += 1'000'000)
            ASSERT_TRUE(reader.Append(std::string_view(stream).substr(position, 1'000'000)));
        const std::string text = reader.TakeReply();
        const RtspResponse response = Parsed(text);
        EXPECT_EQ(bodyBytes, response.body.size());
        EXPECT_LE(text.capacity() + response.body.capacity(), CRtspReplyReader::kMaximumHeldBytes);
        if (!row.behind.empty())
            EXPECT_EQ(glued, reader.TakeReply());
        else
            EXPECT_EQ(row.announcedBytes != bodyBytes, reader.IsAwaitingRest());
        if (!reader.IsAwaitingRest())
            continue;
        // A reader that still held the reply would have no room for another.
        ASSERT_TRUE(reader.Append(std::string_view(stream).substr(0, kMost - 1000)));
        EXPECT_TRUE(reader.HasBegun());
    }
}

TEST(RtspReplyReader, HoldsABoundedHeaderBlock)
{
    constexpr std::size_t kMost = CRtspReplyReader::kMaximumHeadBytes;
    const std::string start = "RTSP/1.0 200 OK\r\nA: ";
    const std::string end = "\r\nContent-Length: 1\r\n\r\n";
    const auto head = [&](std::size_t lengthBytes) {
        return start + std::string(lengthBytes - start.size() - end.size(), 'x') + end;
    };
    {
        CRtspReplyReader reader;
        ASSERT_TRUE(reader.Append(head(kMost) + "b"));
        EXPECT_TRUE(reader.IsComplete()) << "as long as one may be";
        EXPECT_FALSE(reader.IsHeadTooLong());
        EXPECT_EQ(head(kMost) + "b", reader.TakeReply());
    }
    {
        CRtspReplyReader reader;
        EXPECT_FALSE(reader.Append(head(kMost + 1) + "b")) << "whole, in one piece";
        EXPECT_TRUE(reader.IsHeadTooLong());
        EXPECT_FALSE(reader.IsComplete());
        reader.Clear();
        EXPECT_FALSE(reader.IsHeadTooLong());
        ASSERT_TRUE(reader.Append(Reply(1)));
        EXPECT_EQ(Reply(1), reader.TakeReply());
    }
    {
        CRtspReplyReader reader;
        ASSERT_TRUE(reader.Append(start));
        std::size_t held = start.size();
        for (; reader.Append(std::string(1000, 'x')); held += 1000)
            ASSERT_LE(held, kMost) << "in pieces, with no end";
        EXPECT_TRUE(reader.IsHeadTooLong());
    }
    {
        CRtspReplyReader reader;
        ASSERT_TRUE(reader.Append(start + std::string(1000, 'x')));
        reader.GiveUp(1);
        bool isTaken = true;
        for (std::size_t held = 0; isTaken && held <= kMost; held += 1000)
            isTaken = reader.Append(std::string(1000, 'x'));
        EXPECT_FALSE(isTaken) << "the rest of one that was given up, too";
    }
}

TEST(RtspReplyReader, HeaderBlockBehindAnotherReplyIsBoundedToo)
{
    CRtspReplyReader reader;
    const std::string first = Reply(1, "body");
    EXPECT_TRUE(
        reader.Append(first + "RTSP/1.0 200 OK\r\n" + std::string(2 * CRtspReplyReader::kMaximumHeadBytes, 'x')));
    EXPECT_EQ(first, reader.TakeReply());
    EXPECT_FALSE(reader.IsComplete());
    EXPECT_FALSE(reader.Append("x"));
    EXPECT_TRUE(reader.IsHeadTooLong());
}

TEST(RtspReplyReader, TakenRepliesMakeRoom)
{
    CRtspReplyReader reader;
    const std::string reply = Reply(1, std::string(2500 * 1024, 'x'));
    ASSERT_TRUE(reader.Append(reply + reply));
    for (int i = 0; i < 4; ++i)
    {
        ASSERT_TRUE(reader.Append(reply)) << i;
        EXPECT_EQ(reply, reader.TakeReply()) << i;
    }
}

// Quadratic work on a header block of this size would take hours.
TEST(RtspReplyReader, LooksAtABoundedNumberOfBytesForEachOneThatComes)
{
    CRtspReplyReader reader(CRtspReplyReader::kMaximumHeldBytes, CRtspReplyReader::kMaximumHeldBytes);
    const std::string line = "A: " + std::string(2 * 1024 * 1024, 'x') + "\r\n";
    ASSERT_TRUE(reader.Append("RTSP/1.0 200 OK\r\nContent-Length: 200000\r\n"));
    for (const char& byte : line)
        ASSERT_TRUE(reader.Append(std::string_view(&byte, 1)));
    ASSERT_TRUE(reader.Append("\r\n"));
    for (int i = 0; i < 200'000; ++i)
    {
        ASSERT_FALSE(reader.IsComplete());
        ASSERT_TRUE(reader.Append("x"));
    }
    EXPECT_TRUE(reader.IsComplete());

    std::string many;
    for (int i = 0; i < 20'000; ++i)
        many += Reply(i);
    ASSERT_TRUE(reader.Append(many));
    (void)reader.TakeReply();
    for (int i = 0; i < 20'000; ++i)
        ASSERT_EQ(Reply(i), reader.TakeReply());
}

// Whatever a camera sends: no read outside the buffer (the native build checks), and every byte that was appended is
// either given out or still held. The seeds are fixed, so that a failure can be repeated.
TEST(RtspReplyReader, StandsAnyStream)
{
    const std::vector<std::string> pieces = {"RTSP/1.0 200 OK\r\n",
                                             "RTSP/1.0 ",
                                             "RTSP",
                                             "\r\n",
                                             "\r\n\r\n",
                                             "\r",
                                             "\n",
                                             "Content-Length: 5\r\n",
                                             "Content-Length: 0\r\n",
                                             "CSeq: 1\r\n",
                                             "CSeq",
                                             ":",
                                             " ",
                                             "12345",
                                             std::string(1, '\0'),
                                             "\xFF\xFE",
                                             Reply(7, "body")};
    for (unsigned seed = 0; seed < 3000; ++seed)
    {
        std::mt19937 random(seed);
        CRtspReplyReader reader;
        std::size_t appended = 0;
        std::size_t taken = 0;
        for (int step = 0; step < 60; ++step)
        {
            const std::string& piece = pieces[random() % pieces.size()];
            ASSERT_TRUE(reader.Append(piece));
            appended += piece.size();
            if (reader.IsComplete() || random() % 8 == 0)
            {
                const std::string text = reader.TakeReply();
                taken += text.size();
                RtspResponse response;
                EXPECT_EQ(!text.empty(), response.ParseResponse(text)) << seed;
                (void)reader.IsLate(response);
            }
            if (random() % 16 == 0)
                reader.GiveUp(1);
            ASSERT_LE(taken, appended) << seed;
            ASSERT_LE(reader.BodyLength(), appended) << seed;
        }
    }
}
} // namespace
