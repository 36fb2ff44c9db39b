#include "CameraSim/CameraSimulator.h"

#include "Auth/DigestAnswer.h"
#include "TestClient.h"

#include <gtest/gtest.h>

namespace
{

AuthenticationOptions DigestOptions()
{
    AuthenticationOptions options;
    options.scheme = AuthenticationScheme::Digest;
    options.password = "secret";
    return options;
}

TEST(Authentication, ARefusedRequestChangesNothing)
{
    CCameraSimulator camera({.authentication = DigestOptions()});
    CTestClient client(camera.Start());
    const ClientReply reply = client.Get("/command/camera.cgi?BitRate1=64");
    EXPECT_EQ(401u, reply.status);
    EXPECT_EQ(0u, reply.Header("WWW-Authenticate").find("Digest realm=\"Camera\", nonce=\""));
    EXPECT_EQ("2048", camera.Setting("BitRate1"));
}

TEST(Authentication, TheHandshakeWorksOnOneConnectionAndIsJournalled)
{
    CCameraSimulator camera({.authentication = DigestOptions()});
    CTestClient client(camera.Start());
    auto answer = DigestAnswer::To(client.Get("/command/camera.cgi?BitRate1=64").Header("WWW-Authenticate"));
    answer.uri = "command/camera.cgi?BitRate1=64";
    const std::string header = "Authorization: " + answer.Text() + "\r\n";
    EXPECT_EQ(200u, client.Get("/command/camera.cgi?BitRate1=64", header).status);
    EXPECT_EQ("64", camera.Setting("BitRate1"));

    const auto journal = camera.Journal();
    ASSERT_EQ(2u, journal.size());
    EXPECT_FALSE(journal[0].authenticated);
    EXPECT_EQ("no Authorization header", journal[0].authentication);
    EXPECT_EQ(401u, journal[0].status);
    EXPECT_TRUE(journal[1].authenticated);
    EXPECT_EQ(200u, journal[1].status);
    EXPECT_EQ(journal[0].request.connection, journal[1].request.connection);
    ASSERT_NE(nullptr, journal[1].request.Header("authorization"));
    EXPECT_EQ(answer.Text(), *journal[1].request.Header("authorization"));
}

TEST(Authentication, AUserNameInUtf8IsVerifiedByteForByte)
{
    auto options = DigestOptions();
    options.user = "J\xC3\xBCrgen";
    options.password = "\xC3\x9F\xE2\x82\xAC";
    CCameraSimulator camera({.authentication = options});
    CTestClient client(camera.Start());
    auto answer = DigestAnswer::To(client.Get("/command/inquiry.cgi?inq=system").Header("WWW-Authenticate"));
    answer.user = options.user;
    answer.password = options.password;
    EXPECT_EQ(200u, client.Get("/command/inquiry.cgi?inq=system", "Authorization: " + answer.Text() + "\r\n").status);
}

TEST(Authentication, CanBeSwitchedWhileRunning)
{
    CCameraSimulator camera;
    CTestClient client(camera.Start());
    EXPECT_EQ(200u, client.Get("/command/inquiry.cgi?inq=system").status);
    AuthenticationOptions basic;
    basic.scheme = AuthenticationScheme::Basic;
    camera.SetAuthentication(basic);
    const ClientReply refused = client.Get("/command/inquiry.cgi?inq=system");
    EXPECT_EQ(401u, refused.status);
    EXPECT_EQ("Basic realm=\"Camera\"", refused.Header("WWW-Authenticate"));
    EXPECT_EQ(200u, client.Get("/command/inquiry.cgi?inq=system", "Authorization: Basic YWRtaW46YWRtaW4=\r\n").status);
}

TEST(Authentication, SessionAlgorithmWithoutQopIsRefusedAsAnOption)
{
    AuthenticationOptions options;
    options.scheme = AuthenticationScheme::DigestSession;
    options.qop = "";
    EXPECT_THROW(CCameraSimulator({.authentication = options}), std::invalid_argument);
}

} // namespace
