// One request and its reply, whatever becomes of the reply on its way: in pieces, glued, late, cut short, never coming.

#include "Tests/Rtsp/RtspFixture.h"
#include "Tests/Support/CountedAllocations.h"

namespace
{
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using namespace std::chrono_literals;

constexpr char kFirstRequest[] = "OPTIONS * RTSP/1.0\r\nCSeq: 1\r\n\r\n";

class RtspExchange : public RtspClientTest
{
};

/// The reply in two pieces, the second when the first has been read.
CAnsweringCamera::Answer CutAt(std::size_t position, const std::string& headers, const std::string& body)
{
    return [=](const std::string& request) {
        TunnelReply reply{RtspReply(request, 200, headers, body)};
        reply.pieceBytes = position;
        reply.pause = 30ms;
        return reply;
    };
}

TEST_F(RtspExchange, PutsRepliesTogetherWhereverTheyAreCut)
{
    Open();
    const std::string text = RtspReply(kFirstRequest, 200, "Content-Base: rtsp://base/\r\n", kSdp);
    const std::size_t bodyStart = text.find("\r\n\r\n") + 4;
    // Longer than half of the reply: two pieces.
    for (const std::size_t position : {bodyStart - 2, bodyStart, bodyStart + 1, text.size() - 1})
    {
        m_camera.Enqueue(CutAt(position, "Content-Base: rtsp://base/\r\n", kSdp));
        const CSessionDescription& description = m_client->GetSessionDescription(true);
        EXPECT_TRUE(description.IsValid()) << position;
        EXPECT_EQ("rtsp://base/", description.Source()) << position;
    }
    // In the status line, a header name, a value and a line end.
    for (const std::size_t position : {1u, 10u, 24u, 41u})
    {
        m_camera.Enqueue([position](const std::string& request) {
            const std::string whole = RtspReply(request, 200, "Session: 1\r\n");
            TunnelReply reply{whole};
            reply.pieceBytes = std::max(position, whole.size() - position);
            reply.pause = 30ms;
            return reply;
        });
        EXPECT_TRUE(m_client->GetOptions()) << position;
    }
}

TEST_F(RtspExchange, PutsAReplyTogetherByteByByte)
{
    Open();
    m_camera.Enqueue([](const std::string& request) {
        TunnelReply reply{RtspReply(request, 200, "", kSdp)};
        reply.pieceBytes = 1;
        return reply;
    });
    EXPECT_TRUE(m_client->GetSessionDescription(true).IsValid());
}

TEST_F(RtspExchange, LogsEveryFurtherReadAndMakesDoWithAShortBody)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Length: 100\r\n\r\nv=0\r\n"));
    const DWORD startTick = ::GetTickCount();
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    EXPECT_GE(::GetTickCount() - startTick, kShortMs + 50) << "the pause before the next read, then the read";
    const std::vector<std::wstring> lines = ClientLines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(L"1 CRtspClient::DoSendRtspRequest, read response (2), rtsp command: 'DESCRIBE', response body length: "
              L"5, content length: 100",
              lines[0]);
    EXPECT_EQ(L"1 CRtspClient::DoSendRtspRequest, read response (2) failed, rtsp command: 'DESCRIBE'", lines[1]);
    EXPECT_TRUE(lines[2].starts_with(L"1 CRtspClient::DoSendRtspRequest, command: 'DESCRIBE'"));
    EXPECT_EQ(1u, m_log.Count(L"invalid session description string: v=0")) << "taken as it stands";
}

TEST_F(RtspExchange, MakesDoWithAShortBodyWhenTheCameraEndsTheReplies)
{
    Open();
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply{"RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Length: 9\r\n\r\nv=0\r\n"};
        reply.close = true;
        return reply;
    });
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    EXPECT_EQ(1u, m_log.Count(L"read response (2), empty string, rtsp command: 'DESCRIBE'"));
    EXPECT_TRUE(m_client->GetOptions()) << "through another tunnel";
    EXPECT_EQ(2u, m_camera.Tunnel().TunnelCount());
}

TEST_F(RtspExchange, CountsTheRounds)
{
    Open(kShortMs);
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply{"RTSP/1.0 200 OK\r\nContent-Length: 90\r\n\r\n" + std::string(60, 'x')};
        reply.pieceBytes = 50;
        reply.pause = 100ms;
        return reply;
    });
    EXPECT_TRUE(m_client->GetParameter());
    EXPECT_EQ(1u, m_log.Count(L"read response (2), rtsp command: 'GET_PARAMETER', response body length: 11, "));
    EXPECT_EQ(1u, m_log.Count(L"read response (3), rtsp command: 'GET_PARAMETER', response body length: 60, "));
    EXPECT_EQ(1u, m_log.Count(L"read response (3) failed, rtsp command: 'GET_PARAMETER'"));
}

TEST_F(RtspExchange, TakesAHeaderBlockThatIsNotCompletedAsItStands)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nCSeq: 1\r\nPublic: OPTIO"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(),
                ElementsAre(L"1 CRtspClient::DoSendRtspRequest, read response (2), rtsp command: 'OPTIONS', response "
                            L"body length: 0, content length: 0",
                            L"1 CRtspClient::DoSendRtspRequest, read response (2) failed, rtsp command: 'OPTIONS'"));
}

TEST_F(RtspExchange, RestOfAReplyThatWasCutShortIsNoPartOfTheNext)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n01234"));
    EXPECT_TRUE(m_client->GetOptions());
    m_camera.Enqueue(
        [](const std::string& request) { return TunnelReply{"56789" + RtspReply(request, 200, "Session: 1\r\n")}; });
    EXPECT_TRUE(m_client->GetOptions());
    m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n01234"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_TRUE(m_client->GetOptions()) << "and the rest need not come at all";
}

TEST_F(RtspExchange, BytesBehindABodyBelongToTheNextReply)
{
    Open(kShortMs);
    m_camera.Enqueue([](const std::string& request) {
        return TunnelReply{RtspReply(request, 200, "", kSdp) + "RTSP/1.0 200 OK\r\nCSeq: 2\r\nSess"};
    });
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    EXPECT_EQ(0u, m_log.Count(L"invalid session description string"));
    m_camera.Enqueue(Bytes("ion: glued;timeout=60\r\n\r\n"));
    RtspTransport transport = Wanted();
    EXPECT_TRUE(m_client->SetupTransport(kTrackUrl, transport));
    EXPECT_EQ(1u, m_log.Count(L"new session id: 'glued', timeout: 60"));
}

TEST_F(RtspExchange, ReplyGluedToOneWithoutABodyIsTheNext)
{
    Open(kShortMs);
    m_camera.Enqueue([](const std::string& request) {
        return TunnelReply{RtspReply(request, 200) + "RTSP/1.0 454 Session Not Found\r\nCSeq: 2\r\n\r\n"};
    });
    m_camera.Enqueue(Bytes(""));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::GetOptions, failed, status code: 454"));
}

TEST_F(RtspExchange, LateReplyIsDroppedAndReadingGoesOn)
{
    Open(kShortMs);
    m_camera.Enqueue([](const std::string& request) {
        TunnelReply reply{RtspReply(request, 454)};
        reply.held = true;
        return reply;
    });
    EXPECT_FALSE(m_client->GetOptions());
    m_camera.Tunnel().ReleaseHeld();
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ(1u, m_log.Count(L"late response to CSeq 1 dropped, rtsp command: 'OPTIONS'"));
    EXPECT_TRUE(m_client->GetOptions()) << "every later reply is in its place";
}

TEST_F(RtspExchange, LateReplyGluedToTheRightOneIsDropped)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->GetOptions());
    m_camera.Enqueue([](const std::string& request) {
        return TunnelReply{RtspReply(kFirstRequest, 454, "", "late") + RtspReply(request, 200, "Session: right\r\n")};
    });
    RtspTransport transport = Wanted();
    EXPECT_TRUE(m_client->SetupTransport(kTrackUrl, transport));
    EXPECT_EQ(1u, m_log.Count(L"new session id: 'right'"));
}

TEST_F(RtspExchange, LateReplyAloneDoesNotProlongTheLimit)
{
    constexpr DWORD kLimitMs = 2000;
    Open(kLimitMs);
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->GetOptions());
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply{RtspReply(kFirstRequest, 200)};
        reply.pieceBytes = reply.bytes.size() - 1;
        reply.pause = 1500ms;
        return reply;
    });
    m_log.Clear();
    const DWORD startTick = ::GetTickCount();
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_LT(::GetTickCount() - startTick, kLimitMs + 1000) << "what was left of it, not the whole once more";
    EXPECT_EQ(1u, m_log.Count(L"late response to CSeq 1 dropped"));
    EXPECT_EQ(1u, m_log.Count(L"ReadResponse failed for rtsp command: 'OPTIONS'"));
}

TEST_F(RtspExchange, LateReplyIsKnownByItsCSeqInAnyCapitals)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->GetOptions());
    m_camera.Enqueue([](const std::string& request) {
        return TunnelReply{"RTSP/1.0 454 Late\r\ncseq: 1\r\n\r\n" + RtspReply(request, 200)};
    });
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ(1u, m_log.Count(L"late response to CSeq 1 dropped, rtsp command: 'OPTIONS'"));
}

// One byte now and then would otherwise hold the caller, and everybody who waits behind it, for days.
TEST_F(RtspExchange, HeaderThatTricklesIsTakenAsItStandsAfterAWhile)
{
    constexpr DWORD kHeadMs = 1000;
    Open({.replyMs = 500, .headMs = kHeadMs});
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply{"RTSP/1.0 200 OK\r\nCSeq: 1\r\nX: " + std::string(1000, 'x')};
        reply.pieceBytes = reply.bytes.size() / 20;
        reply.pause = 200ms;
        return reply;
    });
    const DWORD startTick = ::GetTickCount();
    EXPECT_TRUE(m_client->GetParameter()) << "by its status";
    const DWORD elapsedMs = ::GetTickCount() - startTick;
    EXPECT_GE(elapsedMs, kHeadMs);
    EXPECT_LT(elapsedMs, kHeadMs + 1500);
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, response header not complete after 1000 ms, rtsp "
                              L"command: 'GET_PARAMETER'"));
    EXPECT_EQ(1u, m_camera.Tunnel().TunnelCount());
}

TEST_F(RtspExchange, AnnouncedBodyMayComeAsSlowlyAsItLikes)
{
    constexpr DWORD kHeadMs = 500;
    Open({.replyMs = 1000, .headMs = kHeadMs});
    m_camera.Enqueue([](const std::string& request) {
        // The first piece holds the header block.
        TunnelReply reply{RtspReply(request, 200, "", std::string(kSdp) + "i=" + std::string(3000, 'x') + "\r\n")};
        reply.pieceBytes = reply.bytes.size() / 15;
        reply.pause = 100ms;
        return reply;
    });
    const DWORD startTick = ::GetTickCount();
    EXPECT_TRUE(m_client->GetSessionDescription(true).IsValid());
    EXPECT_GT(::GetTickCount() - startTick, 2 * kHeadMs);
    EXPECT_EQ(0u, m_log.Count(L"not complete"));
}

TEST_F(RtspExchange, AbsurdLengthIsThatOfABodyThatDoesNotCome)
{
    constexpr DWORD kLimitMs = 600;
    Open(kLimitMs);
    for (const char* length : {"2147483648", "4294967296", "18446744073709551616"})
    {
        SCOPED_TRACE(length);
        m_log.Clear();
        m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nContent-Length: " + std::string(length) + "\r\n\r\nshort"));
        const DWORD startTick = ::GetTickCount();
        EXPECT_TRUE(m_client->GetParameter()) << "by its status";
        EXPECT_LT(::GetTickCount() - startTick, 2 * kLimitMs + 1000);
        EXPECT_EQ(1u, m_log.Count(L"response body length: 5, content length: 2147483647"));
    }
}

TEST_F(RtspExchange, LengthThatIsNoNumberIsNone)
{
    Open();
    for (const char* none : {"-1", "-18446744073709551616", "", "x", "%s"})
    {
        SCOPED_TRACE(none);
        m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nContent-Length: " + std::string(none) + "\r\n\r\nbody"));
        EXPECT_TRUE(m_client->GetParameter());
        EXPECT_EQ(0u, m_log.Count(L"read response"));
    }
}

TEST_F(RtspExchange, RestOfAnOlderReplyAloneIsNoReply)
{
    for (const char* rest : {"56789", "567"})
    {
        Open(kShortMs);
        m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n01234"));
        EXPECT_TRUE(m_client->GetOptions());
        m_log.Clear();
        m_camera.Enqueue(Bytes(rest));
        EXPECT_FALSE(m_client->GetOptions());
        EXPECT_THAT(ClientLines(),
                    ElementsAre(L"1 CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: 'OPTIONS'",
                                L"1 CRtspClient::SendRtspRequest, failed to send rtsp command: 'OPTIONS'",
                                L"1 CRtspClient::GetOptions, failed to send request"))
            << rest;
    }
}

TEST_F(RtspExchange, RestOfAnOlderReplyAndThenTheEndIsAnEmptyOne)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes("RTSP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n01234"));
    EXPECT_TRUE(m_client->GetOptions());
    m_log.Clear();
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply{"56789"};
        reply.close = true;
        return reply;
    });
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_EQ(L"1 CRtspClient::DoSendRtspRequest, empty response for rtsp command: 'OPTIONS'", ClientLines().front());
}

TEST_F(RtspExchange, TimeOutKeepsTheTunnel)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ(1u, m_camera.Tunnel().TunnelCount());
}

// At any point between the request and its reply: the next request must not get this one's.
TEST_F(RtspExchange, ReplyToARequestThatRanOutOfMemoryIsNotTheNexts)
{
    Open(kShortMs);
    bool hasFailed = true;
    for (unsigned allowed = 0; hasFailed && allowed < 1000; ++allowed)
    {
        m_camera.Enqueue(Reply(454, "Session: late\r\n"));
        const std::size_t before = m_camera.Requests().size();
        {
            const CountedAllocations::CFailAfter failure(allowed);
            EXPECT_FALSE(m_client->GetOptions());
            hasFailed = failure.HasFailed();
        }
        if (m_camera.Requests().size() == before)
            m_camera.ForgetAnswers();
        EXPECT_TRUE(m_client->GetOptions()) << allowed;
    }
    EXPECT_FALSE(hasFailed);
}

// Some cameras count in a way of their own.
TEST_F(RtspExchange, AnyOtherCSeqIsAccepted)
{
    Open(kShortMs);
    for (const char* reply :
         {"RTSP/1.0 200 OK\r\nCSeq: 4711\r\n\r\n", "RTSP/1.0 200 OK\r\nCSeq: none\r\n\r\n", "RTSP/1.0 200 OK\r\n\r\n"})
    {
        m_camera.Enqueue(Bytes(reply));
        EXPECT_TRUE(m_client->GetOptions()) << reply;
    }
}

TEST_F(RtspExchange, ReplyThatIsNoneHasNoStatus)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes("<html>\r\n\r\n</html>"));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::GetOptions, failed, status code: 0"));
}

TEST_F(RtspExchange, ReplyOfLineEndsAloneIsABadOne)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes("\r\n"));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, bad response string: '', rtsp command: 'OPTIONS'"));
}

TEST_F(RtspExchange, RepliesThatHaveEndedAreReportedAsEmpty)
{
    Open();
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply;
        reply.close = true;
        return reply;
    });
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, empty response for rtsp command: 'OPTIONS'"));
}

TEST_F(RtspExchange, ReplyThatIsTooLongClosesItsTunnel)
{
    Open({.replyMs = 2000, .textBytes = 1000});
    const std::string header = "RTSP/1.0 200 OK\r\nContent-Length: 5000\r\n\r\n";
    for (const std::size_t pieceBytes : {header.size() + 5000, header.size() + 10})
    {
        const std::size_t before = m_camera.Tunnel().TunnelCount();
        m_log.Clear();
        m_camera.Enqueue([&](const std::string&) {
            TunnelReply reply{header + std::string(5000, 'x')};
            reply.pieceBytes = pieceBytes;
            reply.pause = 20ms;
            return reply;
        });
        (void)m_client->GetParameter();
        EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, response longer than 1000 bytes, rtsp command: "
                                  L"'GET_PARAMETER'"));
        EXPECT_TRUE(m_client->GetOptions()) << "by a reply of its own";
        EXPECT_EQ(before + 1, m_camera.Tunnel().TunnelCount());
    }
}

// The rest of an endless one would come for as long as the camera likes.
TEST_F(RtspExchange, HeaderThatIsTooLongClosesItsTunnel)
{
    Open(2000);
    const std::size_t before = m_camera.Tunnel().TunnelCount();
    m_camera.Enqueue([](const std::string&) {
        TunnelReply reply{"RTSP/1.0 200 OK\r\n"};
        for (int i = 0; i < 10'000; ++i)
            reply.bytes += "X" + std::to_string(i) + ": y\r\n";
        return reply;
    });
    EXPECT_FALSE(m_client->GetParameter());
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, response header longer than 65536 bytes, rtsp command: "
                              L"'GET_PARAMETER'"));
    EXPECT_TRUE(m_client->GetOptions()) << "by a reply of its own";
    EXPECT_EQ(before + 1, m_camera.Tunnel().TunnelCount());
}
} // namespace
