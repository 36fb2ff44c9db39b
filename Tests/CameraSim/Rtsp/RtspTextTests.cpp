#include "CameraSim/Rtsp/RtspText.h"

#include <gtest/gtest.h>

namespace
{

using Kind = RtspItem::Kind;

constexpr const char* kOptions = "OPTIONS rtsp://cam/path?a=1 RTSP/1.0\r\nCSeq: 7\r\nX-Odd:  a:b \r\n\r\n";

TEST(RtspText, TakesARequestWithItsExactHead)
{
    std::string bytes = std::string(kOptions) + "PLAY";
    const RtspItem item = RtspText::Take(bytes);
    ASSERT_EQ(Kind::Request, item.kind);
    EXPECT_EQ(kOptions, item.request.head);
    EXPECT_EQ("OPTIONS", item.request.method);
    EXPECT_EQ("rtsp://cam/path?a=1", item.request.target);
    EXPECT_EQ("RTSP/1.0", item.request.version);
    EXPECT_EQ((std::vector<HttpHeader>{{"CSeq", "7"}, {"X-Odd", "a:b"}}), item.request.headers);
    EXPECT_EQ("PLAY", bytes) << "the next request stays";
}

TEST(RtspText, WaitsForTheWholeRequest)
{
    const std::string whole = "SET_PARAMETER * RTSP/1.0\r\nCSeq: 1\r\nContent-Length: 5\r\n\r\nabcde";
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        std::string bytes = whole.substr(0, length);
        EXPECT_EQ(Kind::Incomplete, RtspText::Take(bytes).kind) << length;
        EXPECT_EQ(length, bytes.size()) << "nothing is taken";
    }
    std::string bytes = "\r\n" + whole;
    const RtspItem item = RtspText::Take(bytes);
    EXPECT_EQ(Kind::Request, item.kind);
    EXPECT_EQ("abcde", item.request.body);
    EXPECT_EQ("", bytes);
}

TEST(RtspText, TakesInterleavedPacketsWhole)
{
    std::string bytes("$\x01\x00\x03", 4);
    bytes += "ab";
    EXPECT_EQ(Kind::Incomplete, RtspText::Take(bytes).kind);
    bytes += std::string("c") + kOptions;
    EXPECT_EQ(Kind::Interleaved, RtspText::Take(bytes).kind);
    EXPECT_EQ(kOptions, bytes);
}

TEST(RtspText, RefusesWhatIsNoRequest)
{
    const struct
    {
        const char* why;
        std::string text;
        unsigned status;
        bool hopeless;
    } rows[] = {
        {"a request line of one word", "OPTIONS\r\n\r\n", 400, false},
        {"a request line of two words", "OPTIONS *\r\n\r\n", 400, false},
        {"an HTTP request", "GET / HTTP/1.1\r\n\r\n", 400, false},
        {"RTSP 2.0", "OPTIONS * RTSP/2.0\r\n\r\n", 505, false},
        {"a URL with a blank", "PLAY rtsp://cam/a b RTSP/1.0\r\n\r\n", 400, false},
        {"a header line without a colon", "OPTIONS * RTSP/1.0\r\nCSeq 1\r\n\r\n", 400, false},
        {"a length that is no number", "PLAY * RTSP/1.0\r\nContent-Length: x\r\n\r\n", 400, true},
        {"a body that is too long", "PLAY * RTSP/1.0\r\nContent-Length: 65537\r\n\r\n", 413, true},
        {"a head without an end", std::string(RtspText::kMaxHeadBytes + 1, 'x'), 400, true},
    };
    for (const auto& row : rows)
    {
        std::string bytes = row.text;
        const RtspItem item = RtspText::Take(bytes);
        EXPECT_EQ(Kind::Unreadable, item.kind) << row.why;
        EXPECT_EQ(row.status, item.refusal) << row.why;
        EXPECT_EQ(row.hopeless, item.hopeless) << row.why;
        EXPECT_NE("", item.why) << row.why;
        EXPECT_NE("", item.request.head) << row.why;
    }
}

TEST(RtspText, FormatsAReplyHead)
{
    EXPECT_EQ("RTSP/1.0 200 OK\r\nCSeq: 3\r\nSession: 1\r\nContent-Length: 4\r\n\r\n",
              RtspText::FormatHead({200, {}, {{"Session", "1"}}, {}}, "3", 4));
    EXPECT_EQ("RTSP/1.0 454 Session Not Found\r\n\r\n", RtspText::FormatHead({454, {}, {}, {}}, "", 0));
    EXPECT_EQ("RTSP/1.0 200 Fine\r\nContent-Length: 9\r\n\r\n",
              RtspText::FormatHead({200, "Fine", {{"Content-Length", "9"}}, {}}, "", 4))
        << "a reply that announces another length";
}

} // namespace
