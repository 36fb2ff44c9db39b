// What the client asks, what it makes of the answers, and what it logs.

#include "Tests/Rtsp/RtspFixture.h"
#include "Tests/Support/FixedSignatureSource.h"

namespace
{
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kAgent[] = "User-Agent: ORBELL RTSP Client (ORBELL Capture Filter)\r\n";

class RtspOpening : public RtspClientTest
{
};

TEST_F(RtspOpening, OpensATunnelToThePathAndATimer)
{
    Open();
    ASSERT_TRUE(m_camera.Tunnel().WaitForHeads(2));
    const std::vector<std::string> heads = m_camera.Tunnel().Heads();
    EXPECT_TRUE(heads[0].starts_with("GET /media.amp HTTP/1.1\r\n"));
    EXPECT_TRUE(heads[1].starts_with("POST /media.amp HTTP/1.1\r\n"));
    ASSERT_EQ(1u, m_timers.timers.size());
    EXPECT_THAT(m_timers.timers[0].settings, IsEmpty());
    EXPECT_THAT(m_camera.Requests(), IsEmpty()) << "no RTSP yet";
}

TEST_F(RtspOpening, FailsWithoutAServerOrAPort)
{
    m_client = std::make_shared<CRtspClient>();
    EXPECT_FALSE(m_client->OpenSession(kServer, 0, kPath, L"user", L"pass"));
    EXPECT_FALSE(m_client->OpenSession(nullptr, 80, nullptr, nullptr, nullptr));
    EXPECT_THAT(ClientLines(),
                ElementsAre(L"1 CRtspClient::OpenSession, failed connecting to: '127.0.0.1' '0' '/media.amp'",
                            L"1 CRtspClient::OpenSession, failed connecting to: '' '80' ''"));
    EXPECT_THAT(m_timers.timers, IsEmpty());
}

TEST_F(RtspOpening, FailedOneStoresNothing)
{
    m_camera.Tunnel().SetGetAnswer("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    m_client = std::make_shared<CRtspClient>(RtspLimits{.replyMs = kShortMs});
    EXPECT_FALSE(m_client->OpenSession(kServer, m_camera.Port(), kPath, L"user", L"pass"));
    m_log.Clear();
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_EQ(kFailedReconnect, ClientLines());
    EXPECT_EQ(1u, m_camera.Tunnel().TunnelCount()) << "the address was forgotten";
}

TEST_F(RtspOpening, FailsWithoutATimer)
{
    m_timers.createError = ERROR_NOT_ENOUGH_MEMORY;
    m_client = std::make_shared<CRtspClient>(RtspLimits{.replyMs = kShortMs});
    EXPECT_FALSE(m_client->OpenSession(kServer, m_camera.Port(), kPath, L"user", L"pass"));
    EXPECT_THAT(ClientLines(),
                ElementsAre(L"8 CRtspClient::CreatePingTimer, CreateThreadpoolTimer failed, dwLastError = 8",
                            L"1 CRtspClient::OpenSession, failed to create thread pool timer"));
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both)) << "nothing is left open";
    EXPECT_FALSE(m_client->GetOptions());
}

TEST_F(RtspOpening, AgainStartsOver)
{
    Open();
    SetUpStream("Session: 12345678;timeout=60\r\n");
    EXPECT_TRUE(m_client->GetOptions());
    ASSERT_TRUE(m_client->OpenSession(kServer, m_camera.Port(), L"/other", L"user", L"pass"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ("OPTIONS rtsp://127.0.0.1/other RTSP/1.0\r\nCSeq: 1\r\n" + std::string(kAgent) + "\r\n",
              m_camera.Requests().back())
        << "first CSeq, no session";
    EXPECT_TRUE(m_timers.timers[0].isClosed);
    EXPECT_FALSE(m_timers.timers[1].isClosed);
    EXPECT_FALSE(m_client->StartPlay(L"")) << "nothing is set up";
}

class RtspClosing : public RtspClientTest
{
};

TEST_F(RtspClosing, ClosesTunnelAndTimerAndSendsNothing)
{
    Open();
    SetUpStream("Session: 12345678;timeout=60\r\n");
    m_client->CloseSession();
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::ClosePingTimer, closed"));
    EXPECT_TRUE(m_camera.Tunnel().WaitForEnd(TunnelSide::Both));
    EXPECT_EQ("SETUP", m_camera.Methods());
    EXPECT_TRUE(m_timers.timers[0].isClosed);
    EXPECT_TRUE(m_timers.timers[0].settings.back().isCancelled);
}

TEST_F(RtspClosing, ForgetsEverything)
{
    Open();
    SetUpStream();
    m_camera.Enqueue(Reply(200, "", kSdp));
    EXPECT_TRUE(m_client->GetSessionDescription(false).IsValid());
    m_client->CloseSession();
    m_log.Clear();
    EXPECT_TRUE(m_client->StopPlay(L"")) << "nothing is set up";
    EXPECT_FALSE(m_client->GetSessionDescription(false).IsValid());
    EXPECT_EQ(1u, m_log.Count(L"re-connect to server failed"));
    EXPECT_EQ("SETUP DESCRIBE", m_camera.Methods());
}

TEST_F(RtspClosing, TwiceDoesNothing)
{
    Open();
    m_client->CloseSession();
    m_log.Clear();
    m_client->CloseSession();
    EXPECT_THAT(ClientLines(), IsEmpty());
}

class RtspRequests : public RtspClientTest
{
};

TEST_F(RtspRequests, HaveTheirHeadersInOrder)
{
    Open();
    const std::string authorization = "Authorization: Basic dXNlcjpwYXNz\r\n";
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    SetUpStream();
    EXPECT_TRUE(m_client->StartPlay(L"rtsp://127.0.0.1/media.amp/"));
    EXPECT_TRUE(m_client->GetParameter());
    EXPECT_TRUE(m_client->StopPlay(L""));
    const std::string session = "Session: 12345678\r\n";
    EXPECT_THAT(
        m_camera.Requests(),
        ElementsAre("OPTIONS rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 1\r\n" + std::string(kAgent) + "\r\n",
                    "OPTIONS rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 2\r\n" + (kAgent + authorization) + "\r\n",
                    "DESCRIBE rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 3\r\n" + (kAgent + authorization) +
                        "Accept: application/sdp\r\n\r\n",
                    "SETUP rtsp://127.0.0.1/media.amp/trackID=1 RTSP/1.0\r\nCSeq: 4\r\n" + (kAgent + authorization) +
                        "Transport: RTP/AVP;unicast;client_port=5000-5001\r\n\r\n",
                    "PLAY rtsp://127.0.0.1/media.amp/ RTSP/1.0\r\nCSeq: 5\r\n" + (kAgent + session + authorization) +
                        "Range: npt=0.000-\r\n\r\n",
                    "GET_PARAMETER rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 6\r\n" +
                        (kAgent + session + authorization) + "\r\n",
                    "TEARDOWN rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 7\r\n" + (kAgent + session + authorization) +
                        "\r\n"));
}

TEST_F(RtspRequests, AreLoggedWithTheirRepliesButForOptions)
{
    Open();
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(), IsEmpty());
    EXPECT_TRUE(m_client->GetParameter());
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::DoSendRtspRequest, command: 'GET_PARAMETER', url: "
                                           L"'rtsp://127.0.0.1/media.amp', response: \nRTSP/1.0 200 Scripted\r\n"
                                           L"CSeq: 2\r\n\r\n"));
}

TEST_F(RtspRequests, SucceedWithAnyStatusFrom200To299)
{
    Open();
    for (const int statusCode : {200, 250, 299})
    {
        m_camera.Enqueue(Reply(statusCode));
        EXPECT_TRUE(m_client->GetOptions()) << statusCode;
    }
    m_log.Clear();
    m_camera.Enqueue(Reply(300));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::GetOptions, failed, status code: 300"));
    m_log.Clear();
    m_camera.Enqueue(Reply(199));
    EXPECT_FALSE(m_client->GetParameter());
    EXPECT_EQ(L"1 CRtspClient::GetParameter, failed, status code: 199", ClientLines().back());
}

TEST_F(RtspRequests, WithoutAReplyFail)
{
    Open(kShortMs);
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->GetParameter());
    EXPECT_THAT(ClientLines(),
                ElementsAre(L"1 CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: 'GET_PARAMETER'",
                            L"1 CRtspClient::SendRtspRequest, failed to send rtsp command: 'GET_PARAMETER'",
                            L"1 CRtspClient::GetParameter, failed to send request"));
}

class RtspAuthorization : public RtspClientTest
{
};

TEST_F(RtspAuthorization, AnswersAChallengeOnceInPlaceWithANewCSeq)
{
    Open();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Digest realm=\"cam\", nonce=\"one\"\r\n"));
    EXPECT_TRUE(m_client->GetParameter());
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Digest realm=\"cam\", nonce=\"two\", stale=true\r\n"));
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    const std::vector<std::string> requests = m_camera.Requests();
    ASSERT_EQ(4u, requests.size());
    EXPECT_THAT(requests[0], Not(HasSubstr("Authorization")));
    EXPECT_THAT(requests[1], HasSubstr("Authorization: Digest username=\"user\", realm=\"cam\", nonce=\"one\", "
                                       "uri=\"rtsp://127.0.0.1/media.amp\", algorithm=MD5, response=\""));
    EXPECT_THAT(requests[2], HasSubstr("nonce=\"one\"")) << "the challenge is kept for the next request";
    EXPECT_THAT(requests[3], HasSubstr("CSeq: 4\r\n"));
    EXPECT_THAT(requests[3], HasSubstr("nonce=\"two\""));
    EXPECT_THAT(requests[3], Not(HasSubstr("nonce=\"one\""))) << "replaced";
    EXPECT_LT(requests[3].find("Authorization"), requests[3].find("Accept")) << "where it stood";
}

TEST_F(RtspAuthorization, HashesTheMethodOfTheRequest)
{
    Open();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Digest realm=\"cam\", nonce=\"abc\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    CFixedSignatureSource source({"any"});
    AuthorizationRequest expected(source);
    expected.SetCredentials(L"user", L"pass");
    expected.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\"");
    EXPECT_THAT(m_camera.Requests().back(),
                HasSubstr("Authorization: " +
                          expected.CreateAuthorizationCredentials(L"rtsp://127.0.0.1/media.amp", L"OPTIONS") + "\r\n"));
}

TEST_F(RtspAuthorization, SecondChallengeIsTheAnswer)
{
    Open();
    for (int i = 0; i < 2; ++i)
        m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_EQ("OPTIONS OPTIONS", m_camera.Methods()) << "no third one";
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::SendRtspRequest, re-send rtsp request with authorization "
                                           L"failed, response status code: 401",
                                           L"1 CRtspClient::GetOptions, failed, status code: 401"));
}

TEST_F(RtspAuthorization, ReportsAMissingResourceButNoOtherFailureOfTheSecondTransmission)
{
    Open();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    m_camera.Enqueue(Reply(404));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::SendRtspRequest, re-send rtsp request with authorization "
                                           L"failed, response status code: 404",
                                           L"1 CRtspClient::GetOptions, failed, status code: 404"));
    m_log.Clear();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"other\"\r\n"));
    m_camera.Enqueue(Reply(500));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(), ElementsAre(L"1 CRtspClient::GetOptions, failed, status code: 500"));
}

TEST_F(RtspAuthorization, LostSecondTransmissionFailsTheRequest)
{
    Open(kShortMs);
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->GetOptions());
    EXPECT_THAT(ClientLines(),
                ElementsAre(L"1 CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: 'OPTIONS'",
                            L"1 CRtspClient::SendRtspRequest, failed to re-send rtsp request with authorization",
                            L"1 CRtspClient::GetOptions, failed to send request"));
}

TEST_F(RtspAuthorization, WithoutCredentialsTheRequestIsSentAgainAsItWas)
{
    Open(RtspLimits().replyMs, L"", L"");
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ("OPTIONS rtsp://127.0.0.1/media.amp RTSP/1.0\r\nCSeq: 2\r\n" + std::string(kAgent) + "\r\n",
              m_camera.Requests().back());
}

TEST_F(RtspAuthorization, CredentialsAreUtf8)
{
    Open(RtspLimits().replyMs, L"J\u00FCrgen", L"pass");
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Digest realm=\"cam\", nonce=\"abc\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("username=\"J\xC3\xBCrgen\""));
}

TEST_F(RtspAuthorization, LastOfSeveralChallengesCounts)
{
    Open();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Digest realm=\"cam\", nonce=\"abc\"\r\n"
                                "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("Authorization: Basic dXNlcjpwYXNz\r\n"));
}

// The names of a reply's headers are taken as they are written.
TEST_F(RtspAuthorization, ChallengeInOtherCapitalsIsNotFound)
{
    Open();
    m_camera.Enqueue(Reply(401, "Www-Authenticate: Basic realm=\"cam\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_EQ("OPTIONS OPTIONS", m_camera.Methods());
    EXPECT_THAT(m_camera.Requests().back(), Not(HasSubstr("Authorization")));
}

// A comma ends a quoted value: no camera sends one.
TEST_F(RtspAuthorization, CommaInsideAQuotedChallengeValueCutsIt)
{
    Open();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Digest realm=\"cam, upper floor\", nonce=\"abc\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    EXPECT_THAT(m_camera.Requests().back(), HasSubstr("realm=\"cam\", nonce=\"abc\""));
}

// The tunnel's own requests carry none: a camera that asks for them there cannot be used.
TEST_F(RtspAuthorization, IsNoPartOfTheTunnelsRequests)
{
    Open();
    m_camera.Enqueue(Reply(401, "WWW-Authenticate: Basic realm=\"cam\"\r\n"));
    EXPECT_TRUE(m_client->GetOptions());
    for (const std::string& head : m_camera.Tunnel().Heads())
        EXPECT_THAT(head, Not(HasSubstr("Authorization")));
}

class RtspDescription : public RtspClientTest
{
};

TEST_F(RtspDescription, BelongsToContentBaseOrElseContentLocation)
{
    Open();
    const std::string base = "Content-Base: rtsp://base/\r\n";
    const std::string location = "Content-Location: rtsp://location/\r\n";
    for (const auto& [headers, source] :
         std::vector<std::pair<std::string, std::string>>{{base + location, "rtsp://base/"},
                                                          {location, "rtsp://location/"},
                                                          {"", ""},
                                                          {"Content-Base:\r\n" + location, "rtsp://location/"}})
    {
        m_camera.Enqueue(Reply(200, headers + "Content-Type: text/plain\r\n", kSdp));
        const CSessionDescription& description = m_client->GetSessionDescription(true);
        EXPECT_TRUE(description.IsValid());
        EXPECT_EQ(source, description.Source());
    }
}

TEST_F(RtspDescription, IsAskedForOnceUnlessForced)
{
    Open();
    m_camera.Enqueue(Reply(200, "", kSdp));
    EXPECT_TRUE(m_client->LoadSessionDescription(false));
    EXPECT_TRUE(m_client->LoadSessionDescription(false));
    (void)m_client->GetSessionDescription(false);
    EXPECT_EQ("DESCRIBE", m_camera.Methods());
    m_camera.Enqueue(Reply(200, "", kSdp));
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    EXPECT_EQ("DESCRIBE DESCRIBE", m_camera.Methods());
}

TEST_F(RtspDescription, ThatMakesNoSenseIsLoadedAllTheSame)
{
    Open();
    m_camera.Enqueue(Reply(200, "", "<html>"));
    EXPECT_TRUE(m_client->LoadSessionDescription(false));
    m_camera.Enqueue(Reply(200, "", kSdp));
    EXPECT_TRUE(m_client->GetSessionDescription(false).IsValid()) << "asked for anew";
}

TEST_F(RtspDescription, FailureKeepsTheOldOne)
{
    Open(kShortMs);
    m_camera.Enqueue(Reply(200, "", kSdp));
    EXPECT_TRUE(m_client->LoadSessionDescription(true));
    m_log.Clear();
    m_camera.Enqueue(Reply(404));
    EXPECT_FALSE(m_client->LoadSessionDescription(true));
    EXPECT_EQ(L"1 CRtspClient::LoadSessionDescription, failed, status code: 404", ClientLines().back());
    m_camera.Enqueue(Bytes(""));
    EXPECT_FALSE(m_client->LoadSessionDescription(true));
    EXPECT_EQ(L"1 CRtspClient::LoadSessionDescription, failed to to send request", ClientLines().back());
    EXPECT_TRUE(m_client->GetSessionDescription(false).IsValid());
}
} // namespace
