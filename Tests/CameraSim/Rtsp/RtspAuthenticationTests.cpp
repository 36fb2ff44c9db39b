#include "Auth/DigestAnswer.h"
#include "CameraSim/Text/Base64.h"
#include "Rtsp/RtspCamera.h"

#include <gtest/gtest.h>

namespace
{

AuthenticationOptions Options(AuthenticationScheme scheme)
{
    AuthenticationOptions options;
    options.scheme = scheme;
    options.password = "secret";
    return options;
}

std::string Authorization(const std::string& value)
{
    return "Authorization: " + value + "\r\n";
}

TEST(RtspAuthentication, TheTunnelNeedsNoCredentialsAndTheRequestsInsideDo)
{
    CRtspCamera camera({.authentication = Options(AuthenticationScheme::Basic)});
    CTunnelClient client(camera.port);
    const RtspAnswer refused = client.Request("OPTIONS", client.Url());
    EXPECT_EQ(401u, refused.status);
    EXPECT_EQ("Basic realm=\"Camera\"", refused.Header("WWW-Authenticate"));
    EXPECT_EQ("no Authorization header", camera.Last("OPTIONS").note);
    EXPECT_FALSE(camera.Last("OPTIONS").authenticated);
    const std::string good = Authorization("Basic " + Base64Text::Encode("admin:secret"));
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url(), good).status);
    EXPECT_TRUE(camera.Last("OPTIONS").authenticated);
    const std::string wrong = Authorization("Basic " + Base64Text::Encode("admin:guess"));
    EXPECT_EQ(401u, client.Request("OPTIONS", client.Url(), wrong).status);
}

TEST(RtspAuthentication, DigestCoversTheMethodAndTheWholeUrl)
{
    CRtspCamera camera({.authentication = Options(AuthenticationScheme::Digest)});
    CTunnelClient client(camera.port);
    DigestAnswer answer = DigestAnswer::To(client.Request("DESCRIBE", client.Url()).Header("WWW-Authenticate"));
    answer.method = "DESCRIBE";
    answer.uri = client.Url();
    EXPECT_EQ(200u, client.Request("DESCRIBE", client.Url(), Authorization(answer.Text())).status);
    EXPECT_EQ("Digest response verified", camera.Last("DESCRIBE").authentication);
    answer.nc = "00000002";
    EXPECT_EQ(401u, client.Request("OPTIONS", client.Url(), Authorization(answer.Text())).status)
        << "computed for another method";
    answer.method = "OPTIONS";
    EXPECT_EQ(401u, client.Request("OPTIONS", client.Track(1), Authorization(answer.Text())).status)
        << "computed for another URL";
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url(), Authorization(answer.Text())).status);
}

TEST(RtspAuthentication, ARefusedRequestIsNotCarriedOut)
{
    CRtspCamera camera({.authentication = Options(AuthenticationScheme::Basic)});
    CTunnelClient client(camera.port);
    EXPECT_EQ(401u, client.Setup(1, "RTP/AVP/TCP;unicast").status);
    EXPECT_TRUE(camera.camera.RtspSessions().empty());
}

TEST(RtspAuthentication, IsNotAskedForWhenTheCameraIsSetUpSo)
{
    CRtspCamera camera({.authentication = Options(AuthenticationScheme::Basic)});
    camera.camera.SetSetting("Network.RTSP.AuthenticateRTSPOverHTTP", "no");
    CTunnelClient client(camera.port);
    EXPECT_EQ(200u, client.Request("OPTIONS", client.Url()).status);
}

TEST(RtspAuthentication, FaultsMayWaitForCredentials)
{
    CRtspCamera camera({.authentication = Options(AuthenticationScheme::Basic)});
    Fault fault = FaultText::Parse("status:500@rtsp:OPTIONS*1");
    fault.afterAuthentication = true;
    camera.camera.AddFault(fault);
    CTunnelClient client(camera.port);
    EXPECT_EQ(401u, client.Request("OPTIONS", client.Url()).status);
    const std::string good = Authorization("Basic " + Base64Text::Encode("admin:secret"));
    EXPECT_EQ(500u, client.Request("OPTIONS", client.Url(), good).status);
}

} // namespace
