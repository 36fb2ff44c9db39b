#include "CameraSim/Rtsp/RtspSession.h"

#include "Rtsp/RtspCamera.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

TEST(RtspSession, EndsWhenNoRequestComesInItsTime)
{
    CRtspCamera camera({.rtsp = {.timeoutSeconds = 30}});
    CTunnelClient client(camera.port);
    EXPECT_TRUE(client.Setup(2, kInterleaved).Header("Session").ends_with(";timeout=30"));
    EXPECT_EQ(200u, client.Request("PLAY", client.Url(), client.SessionHeader()).status);
    ASSERT_EQ(3u, client.Packets(3).size());
    camera.Advance(29s);
    ASSERT_EQ(3u, client.Packets(3).size()) << "it still plays";
    ASSERT_EQ(1u, camera.camera.RtspSessions().size());
    EXPECT_EQ(29u, camera.camera.RtspSessions()[0].idleSeconds);
    camera.Advance(1s);
    EXPECT_TRUE(camera.WaitForSessions(0));
    // What was on its way arrives, and then nothing more.
    EXPECT_LT(client.Packets(1000, 300ms).size(), 1000u);
    EXPECT_TRUE(client.Packets(1, 200ms).empty());
    EXPECT_EQ(454u, client.Request("OPTIONS", client.Url(), client.SessionHeader()).status);
}

TEST(RtspSession, AnyRequestThatNamesItKeepsItAlive)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    client.Setup(1, kInterleaved);
    for (const char* method : {"OPTIONS", "GET_PARAMETER", "SET_PARAMETER", "PLAY", "PAUSE"})
    {
        camera.Advance(59s);
        EXPECT_EQ(200u, client.Request(method, client.Url(), client.SessionHeader()).status) << method;
    }
    camera.Advance(59s);
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
    camera.Advance(1s);
    EXPECT_EQ(454u, client.Request("OPTIONS", client.Url(), client.SessionHeader()).status)
        << "one that does not name it does not";
}

TEST(RtspSession, TheHeaderIsWrittenAsTold)
{
    const struct
    {
        const char* format;
        const char* tail;
    } rows[] = {{"{id}; timeout={timeout}", "; timeout=7"}, {"{id}", ""}, {"{id};timeout=abc", ";timeout=abc"}};
    for (const auto& row : rows)
    {
        CRtspCamera camera({.rtsp = {.timeoutSeconds = 7, .sessionHeader = row.format}});
        CTunnelClient client(camera.port);
        EXPECT_EQ(row.tail, client.Setup(1, kInterleaved).Header("Session").substr(8));
    }
    CRtspCamera camera({.rtsp = {.sessionHeader = ""}});
    CTunnelClient client(camera.port);
    EXPECT_EQ(std::string::npos, client.Setup(1, kInterleaved).head.find("Session"));
}

TEST(RtspSession, EndsWithItsTunnel)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    CTunnelClient other(camera.port);
    client.Setup(1, kInterleaved);
    other.Setup(1, kInterleaved);
    EXPECT_TRUE(camera.WaitForSessions(2));
    client.CloseGet();
    EXPECT_TRUE(camera.WaitForSessions(1)) << "the other tunnel's session stays";
    other.ClosePost();
    EXPECT_EQ(1u, camera.camera.RtspSessions().size()) << "a POST may be replaced";
    other.CloseGet();
    EXPECT_TRUE(camera.WaitForSessions(0));
}

TEST(RtspSession, BelongsToTheTunnelThatUsedItLast)
{
    CRtspCamera camera;
    CTunnelClient first(camera.port);
    first.Setup(2, "RTP/AVP;unicast;client_port=9-10");
    CTunnelClient second(camera.port);
    EXPECT_EQ(200u, second.Request("OPTIONS", second.Url(), first.SessionHeader()).status);
    first.CloseGet();
    ASSERT_TRUE(first.WaitForPostClose());
    EXPECT_EQ(200u, second.Request("OPTIONS", second.Url(), first.SessionHeader()).status);
    second.CloseGet();
    EXPECT_TRUE(camera.WaitForSessions(0));
}

TEST(RtspSession, OutlivesItsTunnelWhenTold)
{
    CRtspCamera camera({.rtsp = {.sessionsOutliveTunnels = true}});
    std::string session;
    {
        CTunnelClient client(camera.port);
        client.Setup(2, "RTP/AVP;unicast;client_port=9-10");
        session = client.SessionHeader();
        client.CloseGet();
        ASSERT_TRUE(client.WaitForPostClose());
    }
    CTunnelClient client(camera.port);
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url(), session).status);
    camera.Advance(60s);
    EXPECT_TRUE(camera.WaitForSessions(0)) << "its time ends it nevertheless";
}

TEST(RtspSession, CanBeExpiredFromOutside)
{
    CRtspCamera camera;
    CTunnelClient client(camera.port);
    client.Setup(2, kInterleaved);
    client.Request("PLAY", client.Url(), client.SessionHeader());
    ASSERT_EQ(2u, client.Packets(2).size());
    camera.camera.ExpireRtspSessions();
    EXPECT_TRUE(camera.camera.RtspSessions().empty());
    EXPECT_EQ(454u, client.Request("PLAY", client.Url(), client.SessionHeader()).status);
}

TEST(RtspSession, RefusesImpossibleTimes)
{
    CCameraSimulator camera;
    CameraChange change;
    change.rtsp = RtspOptions{.timeoutSeconds = 0};
    EXPECT_THROW(camera.Change(change), std::invalid_argument);
    EXPECT_EQ(60u, camera.State().rtsp.timeoutSeconds);
    change.rtsp = RtspOptions{.timeoutSeconds = 5};
    camera.Change(change);
    EXPECT_EQ(5u, camera.State().rtsp.timeoutSeconds);
}

} // namespace
