// The tunnel closed at any moment, by either side: the next requests open another one.

#include "Tests/Rtsp/RtspFixture.h"
#include "Tests/Support/ImportPatch.h"

namespace
{
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class RtspReconnect : public RtspClientTest
{
};

/// True when requests succeed again: the loss of a tunnel is noticed some milliseconds after it.
bool ComesBack(CRtspClient& client, DWORD limitMs = 5000)
{
    const DWORD startTick = ::GetTickCount();
    while (::GetTickCount() - startTick < limitMs)
    {
        if (client.GetOptions())
            return true;
        ::SwitchToThread();
    }
    return false;
}

// It keeps its POST, as if nothing had happened.
TEST_F(RtspReconnect, ReconnectsWhenOnlyTheGetWasClosed)
{
    for (const bool isReset : {false, true})
    {
        Open();
        SetUpStream();
        const std::size_t before = m_camera.Tunnel().TunnelCount();
        m_camera.Tunnel().Close(TunnelSide::Get, isReset);
        ASSERT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Get));
        EXPECT_FALSE(m_client->GetOptions()) << "whose reply cannot come any more";
        EXPECT_TRUE(m_client->GetOptions());
        EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, connection to server was closed, will re-connect"));
        EXPECT_EQ(before + 1, m_camera.Tunnel().TunnelCount());
        EXPECT_THAT(m_camera.Requests().back(), HasSubstr("\r\nSession: 12345678\r\n"));
    }
}

TEST_F(RtspReconnect, ReconnectsWhenTheTunnelWasClosed)
{
    Open();
    SetUpStream();
    m_camera.Tunnel().Close(TunnelSide::Both, true);
    ASSERT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    // The first request may still find the tunnel open; its loss is noticed then.
    EXPECT_TRUE(ComesBack(*m_client));
    EXPECT_EQ(1u, m_log.Count(L"CRtspClient::DoSendRtspRequest, connection to server was closed, will re-connect"));
    EXPECT_EQ(2u, m_camera.Tunnel().TunnelCount());
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("\r\nSession: 12345678\r\n")) << "the session goes on";
    EXPECT_THAT(m_camera.Requests().back(), Not(HasSubstr("CSeq: 1\r\n"))) << "and so do the numbers";
}

TEST_F(RtspReconnect, FailedReconnectFailsTheRequest)
{
    Open(kShortMs);
    m_camera.Tunnel().SetGetAnswer("HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n");
    m_camera.Tunnel().Close(TunnelSide::Both, true);
    ASSERT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    EXPECT_FALSE(ComesBack(*m_client, 500));
    EXPECT_EQ(L"1 CRtspClient::GetOptions, failed to send request", ClientLines().back());
    EXPECT_NE(0u, m_log.Count(L"CRtspClient::DoSendRtspRequest, re-connect to server failed"));
}

TEST_F(RtspReconnect, ReplyOfTheOldTunnelIsNoPartOfTheNew)
{
    Open(kShortMs);
    m_camera.Enqueue([](const std::string& request) {
        TunnelReply reply{RtspReply(request, 200) + "RTSP/1.0 454 Left over\r\n"};
        reply.reset = true;
        reply.closedSide = TunnelSide::Post;
        return reply;
    });
    EXPECT_TRUE(m_client->GetOptions());
    ASSERT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Post));
    EXPECT_TRUE(ComesBack(*m_client));
    EXPECT_EQ(0u, m_log.Count(L"status code: 454"));
}

QUORVANE_IMPORT_SLOT(g_internetWriteFileSlot, InternetWriteFile, 16);
QUORVANE_IMPORT_SLOT(g_openRequestSlot, HttpOpenRequestW, 32);

BOOL WINAPI WriteNothing(HINTERNET, LPCVOID, DWORD, LPDWORD)
{
    ::SetLastError(ERROR_INTERNET_CONNECTION_RESET);
    return FALSE;
}

/// As the system opens it, but for a POST.
HINTERNET WINAPI OpenNoPost(HINTERNET connection, LPCWSTR verb, LPCWSTR url, LPCWSTR version, LPCWSTR referrer,
                            LPCWSTR* acceptTypes, DWORD flags, DWORD_PTR context)
{
    if (std::wstring_view(verb) == L"POST")
    {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return OriginalOfWinInet<decltype(::HttpOpenRequestW)>("HttpOpenRequestW")(connection, verb, url, version, referrer,
                                                                               acceptTypes, flags, context);
}

TEST_F(RtspReconnect, RequestThatCannotBeSentFails)
{
    Open(kShortMs);
    {
        const CImportPatch patch(&g_internetWriteFileSlot, &WriteNothing);
        EXPECT_FALSE(m_client->GetParameter());
    }
    EXPECT_THAT(ClientLines(),
                ElementsAre(L"1 CRtspClient::DoSendRtspRequest, SendRequest failed for rtsp command: 'GET_PARAMETER'",
                            L"1 CRtspClient::SendRtspRequest, failed to send rtsp command: 'GET_PARAMETER'",
                            L"1 CRtspClient::GetParameter, failed to send request"));
    EXPECT_TRUE(ComesBack(*m_client));
}

TEST_F(RtspReconnect, ReconnectWithoutAPostFailsAndLeavesNothingOpen)
{
    Open(kShortMs);
    m_camera.Tunnel().Close(TunnelSide::Get);
    ASSERT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Get));
    EXPECT_FALSE(m_client->GetOptions());
    m_log.Clear();
    {
        const CImportPatch patch(&g_openRequestSlot, &OpenNoPost);
        EXPECT_FALSE(m_client->GetOptions());
    }
    EXPECT_EQ(kFailedReconnect, ClientLines());
    EXPECT_EQ(2u, m_camera.Tunnel().TunnelCount());
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Get)) << "the new one, too";
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ(3u, m_camera.Tunnel().TunnelCount());
}

class RtspLoss : public RtspClientTest, public ::testing::WithParamInterface<std::tuple<TunnelSide, bool, int>>
{
};

// Whatever is closed, however and during whichever request: no crash, every call within its limit, and a request that
// works as soon as the tunnel was reopened.
TEST_P(RtspLoss, IsSurvived)
{
    const auto [side, isReset, lastRequest] = GetParam();
    Open(kShortMs);
    const auto lose = [side = side, isReset = isReset](const std::string&) {
        TunnelReply reply{"RTSP/1.0 200 OK\r\nContent-Length: 9\r\n\r\nx"};
        reply.close = !isReset;
        reply.reset = isReset;
        reply.closedSide = side;
        return reply;
    };
    for (int i = 0; i < lastRequest; ++i)
        m_camera.Enqueue(Reply(200, "Session: 1\r\n"));
    m_camera.Enqueue(lose);
    const DWORD startTick = ::GetTickCount();
    RtspTransport transport = Wanted();
    (void)m_client->GetOptions();
    (void)m_client->SetupTransport(kTrackUrl, transport);
    (void)m_client->StartPlay(L"");
    (void)m_client->StopPlay(L"");
    EXPECT_TRUE(ComesBack(*m_client));
    EXPECT_LT(::GetTickCount() - startTick, 15'000u);
}

INSTANTIATE_TEST_SUITE_P(OfEitherSideAtAnyRequest, RtspLoss,
                         ::testing::Combine(::testing::Values(TunnelSide::Get, TunnelSide::Post, TunnelSide::Both),
                                            ::testing::Bool(), ::testing::Values(0, 1, 2)));
} // namespace
