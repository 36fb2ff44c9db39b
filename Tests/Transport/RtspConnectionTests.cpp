#include "RtspConnection.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/ScriptedCamera.h"
#include "Tests/Support/TunnelCamera.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace
{
constexpr wchar_t kPath[] = L"/axis-media/media.amp";
constexpr DWORD kShortMs = 300;

std::string Options(int sequence)
{
    return "OPTIONS rtsp://127.0.0.1/axis-media/media.amp RTSP/1.0\r\nCSeq: " + std::to_string(sequence) + "\r\n\r\n";
}

class RtspConnection : public ::testing::Test
{
protected:
    bool Connect(CTunnelCamera& camera)
    {
        return m_tunnel.ConnectToServer(L"127.0.0.1", camera.Port(), kPath, L"user", L"pass");
    }
    /// One request and what comes back in one read.
    std::string Exchange(const std::string& request)
    {
        std::string reply;
        if (!m_tunnel.SendRequest(request))
            return "not sent";
        return m_tunnel.ReadResponse(reply) ? reply : "nothing read";
    }

    CLogCapture m_log;
    CRtspConnection m_tunnel;
};
} // namespace

TEST_F(RtspConnection, CarriesRequestsAndRepliesThroughOneTunnel)
{
    CTunnelCamera camera;
    ASSERT_TRUE(Connect(camera));
    EXPECT_TRUE(m_tunnel.IsConnected());
    for (int sequence = 1; sequence <= 3; ++sequence)
        EXPECT_EQ(RtspReply(Options(sequence), 200), Exchange(Options(sequence)));
    EXPECT_EQ((std::vector<std::string>{Options(1), Options(2), Options(3)}), camera.RtspRequests());
    EXPECT_EQ(2u, camera.Heads().size());
    m_tunnel.Close();
    EXPECT_FALSE(m_tunnel.IsConnected());
    EXPECT_TRUE(camera.WaitForEnd(TunnelSide::Both));
}
