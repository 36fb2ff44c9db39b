#include "RtspSessionManager.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/TunnelCamera.h"

#include <gtest/gtest.h>

namespace
{
TEST(RtspSession, IsSetUpPlayedAndLeft)
{
    CTunnelCamera camera(
        [](const std::string& request) { return TunnelReply{RtspReply(request, 200, "Session: 12345678\r\n")}; });
    CLogCapture log;
    CRtspSessionManager& manager = CRtspSessionManager::Get();
    std::uint32_t cookie = 0;
    CRtspSession* const session = manager.JoinRtspSession(L"127.0.0.1", camera.Port(), L"/media", L"user", L"pass",
                                                          cookie, RtspParticipantState::Init);
    ASSERT_NE(nullptr, session);
    EXPECT_EQ(1u, cookie);
    RtspTransport transport;
    transport.protocol = "RTP/AVP";
    transport.clientPort = 5000;
    EXPECT_TRUE(session->SetupTransport(cookie, L"rtsp://127.0.0.1/media/trackID=1", transport));
    EXPECT_TRUE(session->StartPlay(cookie, L""));
    EXPECT_TRUE(session->StopPlay(cookie, L""));
    manager.ReleaseRtspSession(session, cookie);
    const std::vector<std::string> requests = camera.RtspRequests();
    ASSERT_EQ(3u, requests.size());
    EXPECT_EQ("PLAY rtsp://127.0.0.1/media RTSP/1.0\r\nCSeq: 2\r\n"
              "User-Agent: ORBELL RTSP Client (ORBELL Capture Filter)\r\nSession: 12345678\r\n"
              "Range: npt=0.000-\r\n\r\n",
              requests[1]);
}
} // namespace
