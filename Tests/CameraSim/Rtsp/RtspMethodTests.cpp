#include "CameraSim/Rtsp/RtspService.h"

#include "Rtsp/RtspCamera.h"

#include <gtest/gtest.h>

namespace
{

constexpr const char* kMethods = "OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER, SET_PARAMETER";

class RtspMethod : public testing::Test
{
protected:
    RtspAnswer InSession(std::string_view method)
    {
        return m_client.Request(method, m_client.Url(), m_client.SessionHeader());
    }
    std::string Note(std::string_view method) const
    {
        return m_camera.Last(method).note;
    }

    CRtspCamera m_camera;
    CTunnelClient m_client{m_camera.port};
};

TEST_F(RtspMethod, OptionsListsTheMethods)
{
    const RtspAnswer answer = m_client.Request("OPTIONS", m_client.Url());
    EXPECT_EQ(std::string("RTSP/1.0 200 OK\r\nCSeq: 1\r\nPublic: ") + kMethods + "\r\n\r\n", answer.head);
    EXPECT_EQ(200u, m_client.Request("OPTIONS", "*").status);
}

TEST_F(RtspMethod, CSeqComesBackAsItIs)
{
    for (const char* cseq : {"0", "2147483648", "007", "x y"})
    {
        m_client.SendText("OPTIONS * RTSP/1.0\r\ncseq: " + std::string(cseq) + "\r\n\r\n");
        EXPECT_EQ(cseq, m_client.Receive().Header("CSeq"));
    }
    m_client.SendText("OPTIONS * RTSP/1.0\r\n\r\n");
    EXPECT_EQ("RTSP/1.0 400 Bad Request\r\n\r\n", m_client.Receive().head);
}

TEST_F(RtspMethod, DescribeAnswersWithTheDescriptionAndItsBase)
{
    const RtspAnswer answer = m_client.Request("DESCRIBE", m_client.Url(), "Accept: application/sdp\r\n");
    EXPECT_EQ(200u, answer.status);
    EXPECT_EQ("application/sdp", answer.Header("Content-Type"));
    EXPECT_EQ("rtsp://127.0.0.1:" + std::to_string(m_camera.port) + "/axis-media/media.amp/",
              answer.Header("Content-Base"));
    EXPECT_EQ(std::to_string(answer.body.size()), answer.Header("Content-Length"));
    EXPECT_TRUE(answer.body.starts_with("v=0\r\n"));
    EXPECT_NE(answer.body.npos, answer.body.find("\r\na=control:" + m_client.Url() + "\r\n"));
    EXPECT_NE(answer.body.npos, answer.body.find("\r\na=control:" + m_client.Track(1) + "\r\n"));
    EXPECT_NE(answer.body.npos, answer.body.find("\r\na=control:" + m_client.Track(2) + "\r\n"));
    EXPECT_EQ(406u, m_client.Request("DESCRIBE", m_client.Url(), "Accept: text/html\r\n").status);
    EXPECT_EQ(200u, m_client.Request("DESCRIBE", m_client.Url(), "Accept: text/html, */*\r\n").status);
}

TEST_F(RtspMethod, TheDescriptionFollowsTheSettings)
{
    const auto fmtp = [](const std::string& sdp) {
        const auto at = sdp.find("a=fmtp:");
        return sdp.substr(at, sdp.find("\r\n", at) - at);
    };
    const auto origin = [](const std::string& sdp) { return sdp.substr(0, sdp.find("\r\ns=")); };
    const std::string before = m_client.Request("DESCRIBE", m_client.Url()).body;
    EXPECT_EQ(before, m_client.Request("DESCRIBE", m_client.Url()).body);
    CTestClient http(m_camera.port);
    EXPECT_EQ(200u, http.Get("/axis-cgi/param.cgi?action=update&Image.I0.Appearance.Resolution=480x270").status);
    EXPECT_EQ(200u, http.Get("/axis-cgi/param.cgi?action=update&Image.I0.Stream.FPS=10").status);
    const std::string after = m_client.Request("DESCRIBE", m_client.Url()).body;
    EXPECT_NE(fmtp(before), fmtp(after)) << "another picture size needs another parameter set";
    EXPECT_NE(after.npos, after.find("\r\na=framerate:10.0\r\n"));
    EXPECT_NE(origin(before), origin(after)) << "the version tells that it has changed";
    m_camera.camera.SetSetting("AudioSource.A0.AudioEncoding", "aac");
    const std::string silent = m_client.Request("DESCRIBE", m_client.Url()).body;
    EXPECT_EQ(silent.npos, silent.find("m=audio"));
}

TEST_F(RtspMethod, SetupGrantsTheFirstTransportThatItCan)
{
    const RtspAnswer first = m_client.Setup(1, "RTP/SAVP;unicast;client_port=1-2,RTP/AVP/TCP;unicast;interleaved=4-5");
    EXPECT_EQ(200u, first.status);
    EXPECT_TRUE(first.Header("Transport").starts_with("RTP/AVP/TCP;unicast;interleaved=4-5;ssrc="));
    const std::string session = first.Header("Session");
    EXPECT_TRUE(session.ends_with(";timeout=60")) << session;
    EXPECT_EQ(8u, session.find(';'));
    const RtspAnswer second = m_client.Setup(2, kInterleaved);
    EXPECT_EQ(session, second.Header("Session")) << "the same session";
    EXPECT_TRUE(second.Header("Transport").starts_with("RTP/AVP/TCP;unicast;interleaved=2-3;ssrc="))
        << "channels that the client leaves to the camera";
    ASSERT_EQ(1u, m_camera.camera.RtspSessions().size());
    EXPECT_EQ(2u, m_camera.camera.RtspSessions()[0].tracks.size());
}

TEST_F(RtspMethod, SetupRefusesWhatItCannotGrant)
{
    const struct
    {
        const char* why;
        const char* transport;
    } rows[] = {
        {"encrypted", "RTP/SAVP;unicast;client_port=5000-5001"},
        {"no ports", "RTP/AVP;unicast"},
        {"recording", "RTP/AVP/TCP;unicast;interleaved=0-1;mode=record"},
        {"interleaved multicast", "RTP/AVP/TCP;multicast"},
        {"a channel that no byte holds", "RTP/AVP/TCP;unicast;interleaved=256-257"},
        {"nothing", " "},
    };
    for (const auto& row : rows)
        EXPECT_EQ(461u, m_client.Setup(1, row.transport).status) << row.why;
    EXPECT_EQ(400u, m_client.Request("SETUP", m_client.Track(1)).status) << "no Transport header";
    EXPECT_EQ(404u, m_client.Setup(3, kInterleaved).status) << "no such stream";
    const std::string transport = "Transport: " + std::string(kInterleaved) + "\r\n";
    EXPECT_EQ(459u, m_client.Request("SETUP", m_client.Url(), transport).status) << "two streams in one";
    EXPECT_EQ(454u, m_client.Request("SETUP", m_client.Track(1), "Session: 1\r\n" + transport).status);
    EXPECT_TRUE(m_camera.camera.RtspSessions().empty());
}

TEST_F(RtspMethod, SetupOfAPresentationWithOneStreamNeedsNotNameIt)
{
    const std::string url = "rtsp://cam/axis-media/media.amp?audio=0";
    EXPECT_EQ(200u, m_client.Request("SETUP", url, "Transport: " + std::string(kInterleaved) + "\r\n").status);
}

TEST_F(RtspMethod, ASetupOfTheSameStreamReplacesItsTransport)
{
    m_client.Setup(1, "RTP/AVP/TCP;unicast;interleaved=0-1");
    m_client.Setup(1, "RTP/AVP/TCP;unicast;interleaved=6-7");
    const auto sessions = m_camera.camera.RtspSessions();
    ASSERT_EQ(1u, sessions.size());
    ASSERT_EQ(1u, sessions[0].tracks.size());
    EXPECT_NE(std::string::npos, sessions[0].tracks[0].transport.find("interleaved=6-7"));
}

TEST_F(RtspMethod, PlayPauseAndTeardownNeedTheirSession)
{
    for (const char* method : {"PLAY", "PAUSE", "TEARDOWN"})
    {
        EXPECT_EQ(454u, m_client.Request(method, m_client.Url()).status) << method;
        EXPECT_EQ("the request names no session", Note(method));
        EXPECT_EQ(454u, m_client.Request(method, m_client.Url(), "Session: 12345678\r\n").status) << method;
        EXPECT_EQ("there is no session 12345678", Note(method));
    }
    EXPECT_EQ(454u, m_client.Request("OPTIONS", m_client.Url(), "Session: 12345678\r\n").status)
        << "so that a keep-alive learns that it came too late";
}

TEST_F(RtspMethod, ASessionPlaysPausesAndEnds)
{
    m_client.Setup(1, kInterleaved);
    EXPECT_EQ(455u, InSession("PAUSE").status) << "it does not play yet";
    const RtspAnswer play = InSession("PLAY");
    EXPECT_EQ(200u, play.status);
    EXPECT_EQ("npt=0.000000-", play.Header("Range"));
    EXPECT_EQ(m_client.SessionHeader(), "Session: " + play.Header("Session") + "\r\n");
    EXPECT_TRUE(m_camera.camera.RtspSessions()[0].playing);
    const RtspAnswer setup = m_client.Setup(2, kInterleaved);
    EXPECT_EQ(455u, setup.status) << "while it plays";
    EXPECT_EQ(200u, InSession("PLAY").status) << "once more is harmless";
    EXPECT_EQ(200u, InSession("PAUSE").status);
    EXPECT_FALSE(m_camera.camera.RtspSessions()[0].playing);
    const RtspAnswer refused = InSession("PAUSE");
    EXPECT_EQ(455u, refused.status);
    EXPECT_EQ(kMethods, refused.Header("Allow"));
    EXPECT_EQ(200u, InSession("PLAY").status);
    EXPECT_EQ(200u, InSession("TEARDOWN").status);
    EXPECT_TRUE(m_camera.camera.RtspSessions().empty());
    EXPECT_EQ(454u, InSession("PLAY").status);
}

TEST_F(RtspMethod, StreamsOfASessionPlayTogether)
{
    m_client.Setup(1, kInterleaved);
    m_client.Setup(2, kInterleaved);
    EXPECT_EQ(460u, m_client.Request("PLAY", m_client.Track(1), m_client.SessionHeader()).status);
    EXPECT_EQ(200u, InSession("PLAY").status);
    EXPECT_EQ(460u, m_client.Request("PAUSE", m_client.Track(1), m_client.SessionHeader()).status);
}

TEST_F(RtspMethod, TeardownOfOneStreamLeavesTheOthers)
{
    m_client.Setup(1, kInterleaved);
    m_client.Setup(2, kInterleaved);
    EXPECT_EQ(200u, m_client.Request("TEARDOWN", m_client.Track(1), m_client.SessionHeader()).status);
    ASSERT_EQ(1u, m_camera.camera.RtspSessions().size());
    EXPECT_EQ(404u, m_client.Request("TEARDOWN", m_client.Track(1), m_client.SessionHeader()).status);
    EXPECT_EQ(200u, m_client.Request("TEARDOWN", m_client.Track(2), m_client.SessionHeader()).status);
    EXPECT_TRUE(m_camera.camera.RtspSessions().empty()) << "the last one ends the session";
}

TEST_F(RtspMethod, ParametersAreASignOfLifeAndNothingElse)
{
    for (const char* method : {"GET_PARAMETER", "SET_PARAMETER"})
    {
        EXPECT_EQ(200u, m_client.Request(method, m_client.Url()).status) << method;
        EXPECT_EQ(200u, m_client.Request(method, "*").status) << method;
        EXPECT_EQ(451u, m_client.Request(method, m_client.Url(), {}, "packets_received\r\n").status) << method;
    }
}

TEST_F(RtspMethod, RefusesOtherMethodsAndUrls)
{
    EXPECT_EQ(405u, m_client.Request("ANNOUNCE", m_client.Url()).status);
    EXPECT_EQ(405u, m_client.Request("RECORD", m_client.Url()).status);
    const RtspAnswer unknown = m_client.Request("JUMP", m_client.Url());
    EXPECT_EQ(501u, unknown.status);
    EXPECT_EQ(kMethods, unknown.Header("Allow"));
    EXPECT_EQ(404u, m_client.Request("DESCRIBE", "rtsp://cam/elsewhere").status);
    EXPECT_EQ(404u, m_client.Request("DESCRIBE", "rtsp://cam/axis-media/media.amp?videocodec=jpeg").status);
    EXPECT_EQ(400u, m_client.Request("DESCRIBE", "http://cam/axis-media/media.amp").status);
    EXPECT_EQ(400u, m_client.Request("DESCRIBE", "*").status);
    m_client.Setup(1, kInterleaved);
    EXPECT_EQ(457u, m_client.Request("PLAY", m_client.Url(), m_client.SessionHeader() + "Range: clock=1-\r\n").status);
    m_client.SendText("OPTIONS * RTSP/2.0\r\nCSeq: 9\r\n\r\n");
    EXPECT_EQ("RTSP/1.0 505 RTSP Version Not Supported\r\nCSeq: 9\r\n\r\n", m_client.Receive().head);
    const RtspAnswer required = m_client.Request("OPTIONS", "*", "Require: funky\r\n");
    EXPECT_EQ(551u, required.status);
    EXPECT_EQ("funky", required.Header("Unsupported"));
}

TEST_F(RtspMethod, RefusesMoreSessionsThanItCanHold)
{
    const std::string transport = "Transport: " + std::string(kInterleaved) + "\r\n";
    for (std::size_t i = 0; i < CRtspService::kMaxSessions; ++i)
        ASSERT_EQ(200u, m_client.Request("SETUP", m_client.Track(1), transport).status) << i;
    EXPECT_EQ(453u, m_client.Request("SETUP", m_client.Track(1), transport).status);
}

} // namespace
