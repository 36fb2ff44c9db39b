// The body of an answer: any length, any way of sending it, and the bounds of what is taken.

#include "Tests/Transport/HttpRequestFixture.h"

#include <string>

namespace
{
std::string Body(std::size_t lengthBytes)
{
    std::string body;
    body.reserve(lengthBytes);
    for (std::size_t position = 0; position < lengthBytes; ++position)
        body.push_back(static_cast<char>('!' + (position * 7 + position / 4095) % 90));
    return body;
}

std::wstring Widened(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}
} // namespace

TEST_F(HttpRequest, BodiesOfAnyLengthArriveWhole)
{
    for (const std::size_t lengthBytes :
         {std::size_t{0}, std::size_t{1}, std::size_t{4094}, std::size_t{4095}, std::size_t{4096}, std::size_t{8190},
          std::size_t{100'000}, std::size_t{8'000'000}})
    {
        SCOPED_TRACE(lengthBytes);
        const std::string body = Body(lengthBytes);
        Open({HttpAnswer(200, body)});
        const Answer answer = Get();
        EXPECT_EQ(S_OK, answer.hr);
        EXPECT_TRUE(answer.body == Widened(body)) << "length " << answer.body.size();
    }
}

TEST_F(HttpRequest, BodyInPiecesOrChunksOrUntilCloseArrivesWhole)
{
    const std::string body = Body(300);
    ScriptedReply pieces = HttpAnswer(200, body);
    pieces.pieceBytes = 1;
    Open({pieces});
    EXPECT_EQ(Widened(body), Get().body);
    Open({ScriptedReply{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n3\r\nfgh\r\n0\r\n\r\n"}});
    EXPECT_EQ(L"abcdefgh", Get().body);
    Open({Raw("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nuntil the end")});
    EXPECT_EQ(L"until the end", Get().body);
}

TEST_F(HttpRequest, BodyBeyondTheLimitIsGivenUp)
{
    Open({HttpAnswer(200, std::string(CAsyncHttpRequest::kMaximumResponseChars + 1, 'x')), HttpAnswer(200, "fine")});
    const Answer answer = Get(L"big");
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(L"", answer.body);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response of more than 8388607 bytes "
                                              L"given up, url = 'big'"));
    EXPECT_EQ(L"fine", Get().body);
}

// The limit is one of memory: two bytes for each character, a null, and no more room than that.
TEST_F(HttpRequest, BodyJustWithinTheLimitArrivesWholeInNoMoreRoom)
{
    ScriptedReply odd = HttpAnswer(200, Body(CAsyncHttpRequest::kMaximumResponseChars));
    odd.pieceBytes = 999'983;
    Open({odd});
    const Answer answer = Get(L"big");
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_TRUE(Widened(Body(CAsyncHttpRequest::kMaximumResponseChars)) == answer.body);
    EXPECT_LE((answer.body.capacity() + 1) * sizeof(wchar_t), CAsyncHttpRequest::kMaximumHeldBytes);
}

// They lengthen no text, but would hold the caller.
TEST_F(HttpRequest, BodyOfNullsWithoutEndIsGivenUp)
{
    Open({HttpAnswer(200, std::string(CAsyncHttpRequest::kMaximumHeldBytes + 1, '\0')), HttpAnswer(200, "fine")});
    EXPECT_EQ(E_FAIL, Get(L"nulls").hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response of more than 8388607 bytes "
                                              L"given up, url = 'nulls'"));
    EXPECT_EQ(L"fine", Get().body);
}

// Each chunk within its limit: without a limit for all of them a camera could keep a caller for hours.
TEST_F(HttpRequest, BodyThatTricklesIsGivenUp)
{
    constexpr DWORD kLimitMs = 250;
    constexpr DWORD kWholeMs = CAsyncHttpRequest::kBodyTimeLimits * kLimitMs;
    ScriptedReply trickle = HttpAnswer(200, std::string(1'000'000, 'x'));
    trickle.pieceBytes = 5000;
    trickle.pauseMs = 100;
    Open({trickle, HttpAnswer(200, "fine")});
    const DWORD startTick = ::GetTickCount();
    const Answer answer = Get(L"x", kLimitMs);
    const DWORD elapsedMs = ::GetTickCount() - startTick;
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(200u, answer.statusCode);
    EXPECT_EQ(L"", answer.body);
    EXPECT_GE(elapsedMs, kWholeMs);
    EXPECT_LT(elapsedMs, kWholeMs + 2000) << "of the twenty seconds that the camera takes";
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, response not complete after 4000 ms, "
                                              L"given up, url = 'x'"));
    EXPECT_EQ(L"fine", Get().body);
}
