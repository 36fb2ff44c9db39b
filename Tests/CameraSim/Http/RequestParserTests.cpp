#include "CameraSim/Http/RequestParser.h"

#include <gtest/gtest.h>

namespace
{

ParsedHead Parse(const std::string& head)
{
    return RequestParser::Parse(head, HttpLimits{});
}

TEST(RequestParser, ReadsARequest)
{
    const std::string head = "GET /a/b.cgi?x=1&y HTTP/1.1\r\nHost: cam\r\nX-One:  two \r\nContent-Length: 5\r\n\r\n";
    const ParsedHead parsed = Parse(head);
    EXPECT_EQ(0u, parsed.refusal) << parsed.why;
    EXPECT_EQ(head, parsed.request.head);
    EXPECT_EQ("GET", parsed.request.method);
    EXPECT_EQ("/a/b.cgi?x=1&y", parsed.request.target);
    EXPECT_EQ("a/b.cgi", parsed.request.Path());
    EXPECT_EQ("x=1&y", parsed.request.Query());
    EXPECT_EQ("HTTP/1.1", parsed.request.version);
    const std::vector<HttpHeader> headers{{"Host", "cam"}, {"X-One", "two"}, {"Content-Length", "5"}};
    EXPECT_EQ(headers, parsed.request.headers);
    ASSERT_NE(nullptr, parsed.request.Header("x-one"));
    EXPECT_EQ("two", *parsed.request.Header("x-one"));
    EXPECT_EQ(nullptr, parsed.request.Header("x-two"));
    EXPECT_EQ(5u, parsed.bodyBytes);
}

TEST(RequestParser, RefusesCrookedRequests)
{
    struct Row
    {
        const char* why;
        const char* head;
        unsigned status;
    };
    const Row rows[] = {
        {"one word", "GET\r\n\r\n", 400},
        {"two words", "GET /\r\n\r\n", 400},
        {"a blank in the target", "GET /a b HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"no slash", "GET a HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"a control character in the target", "GET /\x01 HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"a method that is no token", "G(T / HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"an empty method", " / HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"not HTTP", "GET / RTSP/1.0\r\nHost: x\r\n\r\n", 400},
        {"another version", "GET / HTTP/2.0\r\nHost: x\r\n\r\n", 505},
        {"no Host", "GET / HTTP/1.1\r\n\r\n", 400},
        {"a header without a colon", "GET / HTTP/1.1\r\nHost: x\r\nfoo\r\n\r\n", 400},
        {"a blank before the colon", "GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400},
        {"a folded header", "GET / HTTP/1.1\r\nHost: x\r\n y: z\r\n\r\n", 400},
        {"a control character in a value", "GET / HTTP/1.1\r\nHost: x\x02\r\n\r\n", 400},
        {"a bare line feed in a value", "GET / HTTP/1.1\r\nHost: x\ny\r\n\r\n", 400},
        {"a length that is no number", "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: 5x\r\n\r\n", 400},
        {"a negative length", "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: -5\r\n\r\n", 400},
        {"two lengths", "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\n", 400},
        {"a long body", "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999\r\n\r\n", 413},
        {"chunks", "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n", 501},
        {"nothing", "\r\n\r\n", 400},
    };
    for (const Row& row : rows)
    {
        const ParsedHead parsed = Parse(row.head);
        EXPECT_EQ(row.status, parsed.refusal) << row.why << ": " << parsed.why;
        EXPECT_FALSE(parsed.why.empty()) << row.why;
    }
}

TEST(RequestParser, KeepAliveFollowsTheVersionAndTheHeader)
{
    struct Row
    {
        const char* why;
        const char* head;
        bool keepAlive;
    };
    const Row rows[] = {
        {"HTTP/1.1 stays", "GET / HTTP/1.1\r\nHost: x\r\n\r\n", true},
        {"HTTP/1.1 asks to close", "GET / HTTP/1.1\r\nHost: x\r\nConnection: Close\r\n\r\n", false},
        {"HTTP/1.0 closes", "GET / HTTP/1.0\r\n\r\n", false},
        {"HTTP/1.0 asks to stay", "GET / HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n", true},
    };
    for (const Row& row : rows)
    {
        const ParsedHead parsed = Parse(row.head);
        EXPECT_EQ(0u, parsed.refusal) << row.why << parsed.why;
        EXPECT_EQ(row.keepAlive, parsed.request.WantsKeepAlive()) << row.why;
    }
}

TEST(HttpText, HeadsCarryLengthAndConnectionOnce)
{
    HttpReply reply = HttpReply::Text(404, "no");
    EXPECT_EQ(
        "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 2\r\nConnection: Keep-Alive\r\n\r\n",
        HttpText::FormatHead(reply, 2, true));
    reply.headers = {{"Transfer-Encoding", "chunked"}, {"connection", "upgrade"}};
    reply.reason = "Own words";
    EXPECT_EQ("HTTP/1.1 404 Own words\r\nTransfer-Encoding: chunked\r\nconnection: upgrade\r\n\r\n",
              HttpText::FormatHead(reply, 2, false));
    EXPECT_EQ("HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n",
              HttpText::FormatHead({204, {}, {}, {}}, 0, false));
}

} // namespace
