#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/FixedSignatureSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <regex>
#include <string>
#include <vector>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr wchar_t kUri[] = L"command/inquiry.cgi?inq=camera";
class AuthorizationRequestTest : public testing::Test
{
protected:
    AuthorizationRequestTest()
    {
        m_request.SetCredentials(L"user", L"pass");
    }

    std::string Header()
    {
        return m_request.CreateAuthorizationCredentials(kUri, L"GET");
    }

    /// Their MD5 values, 8b04... and a9f0..., are the first two cnonces.
    CFixedSignatureSource m_source{{"first", "second"}};
    AuthorizationRequest m_request{m_source};
    CLogCapture m_log;
};

TEST_F(AuthorizationRequestTest, MakesNoHeaderAndNoLogLineBeforeTheFirstChallenge)
{
    EXPECT_EQ(Header(), "");
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(AuthorizationRequestTest, BasicEncodesUserNameAndPassword)
{
    m_request.SetAuthenticateResponse("Basic realm=\"cam\"");
    EXPECT_EQ(Header(), "Basic dXNlcjpwYXNz");
    EXPECT_EQ(m_request.CreateAuthorizationCredentials(L"", L""), "Basic dXNlcjpwYXNz")
        << "uri and method play no part";
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(AuthorizationRequestTest, BasicUsesUtf8)
{
    m_request.SetCredentials(L"J\u00FCrgen", L"Gr\u00FC\u00DFe");
    m_request.SetAuthenticateResponse("Basic realm=\"cam\"");
    EXPECT_EQ(Header(), "Basic SsO8cmdlbjpHcsO8w59l");
}

TEST_F(AuthorizationRequestTest, DigestCountsUpUnderOneCnonce)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth,auth-int\"");
    EXPECT_EQ(Header(),
              "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"command/inquiry.cgi?inq=camera\", "
              "algorithm=MD5, response=\"ca7a06beedb0ced7fdcf36b177fcc71f\", qop=auth, nc=00000001, "
              "cnonce=\"8b04d5e3775d298e78455efc5ca404d5\"");
    EXPECT_EQ(Header(),
              "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"command/inquiry.cgi?inq=camera\", "
              "algorithm=MD5, response=\"abfe96f194851033f1c02aca25d192bf\", qop=auth, nc=00000002, "
              "cnonce=\"8b04d5e3775d298e78455efc5ca404d5\"");
    EXPECT_EQ(m_source.m_calls, 1);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(AuthorizationRequestTest, NonceCountHasEightLowerCaseHexadecimalDigits)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    for (int count = 1; count < 0x1F; ++count)
        (void)Header();
    EXPECT_THAT(Header(), HasSubstr("nc=0000001f,"));
}

TEST_F(AuthorizationRequestTest, DigestWithoutQopSendsNeitherCountNorCnonce)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\"");
    const std::string header = Header();
    EXPECT_EQ(header, "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"command/inquiry.cgi?inq=camera\", "
                      "algorithm=MD5, response=\"55bf951b7096852150747d35df513449\"");
    EXPECT_EQ(Header(), header);
}

TEST_F(AuthorizationRequestTest, Md5SessHashesNonceAndCnonceIntoHa1)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\", algorithm=md5-SESS");
    EXPECT_THAT(Header(), HasSubstr("algorithm=md5-SESS, response=\"ab71a414e1f7c4fa51e8ac8748c81dd0\""));
}

TEST_F(AuthorizationRequestTest, DigestHashesUserNameAndPasswordAsUtf8)
{
    m_request.SetCredentials(L"J\u00FCrgen", L"Gr\u00FC\u00DFe");
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    const std::string header = Header();
    EXPECT_THAT(header, HasSubstr("username=\"J\xC3\xBCrgen\""));
    EXPECT_THAT(header, HasSubstr("response=\"0b35f57feadf9db37797a5d185f21693\""));
}

TEST_F(AuthorizationRequestTest, UriGoesOutInTheAnsiCodePage)
{
    if (::GetACP() != 1252)
        GTEST_SKIP() << "the expected bytes are those of code page 1252";
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    const std::string header = m_request.CreateAuthorizationCredentials(L"caf\u00E9", L"GET");
    EXPECT_THAT(header, HasSubstr("uri=\"caf\xE9\""));
    EXPECT_THAT(header, HasSubstr("response=\"dd9b7e631471d08b07df0c433aa645dc\""));
}

TEST_F(AuthorizationRequestTest, OpaqueIsEchoedWithTheQuotesItCameWith)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", opaque=\"xyz\"");
    EXPECT_TRUE(Header().ends_with(", opaque=\"xyz\""));
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", opaque=xyz");
    EXPECT_TRUE(Header().ends_with(", opaque=xyz"));
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\"");
    EXPECT_THAT(Header(), Not(HasSubstr("opaque")));
}

TEST_F(AuthorizationRequestTest, StaleChallengeKeepsRealmAndRestartsNonceCount)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\", opaque=\"xyz\"");
    (void)Header();
    (void)Header();
    m_request.SetAuthenticateResponse(
        "Digest realm=\"other\", nonce=\"def\", stale=true, algorithm=MD5-sess, opaque=\"new\"");
    EXPECT_EQ(Header(),
              "Digest username=\"user\", realm=\"cam\", nonce=\"def\", uri=\"command/inquiry.cgi?inq=camera\", "
              "algorithm=MD5, response=\"55a82c283efe48e4dd6acf08a52f3acb\", qop=auth, nc=00000001, "
              "cnonce=\"a9f0e61a137d86aa9db53465e0801612\", opaque=\"xyz\"");
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(AuthorizationRequestTest, StaleChallengeRehashesTheSessionKey)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\", algorithm=MD5-sess");
    const std::string first = Header();
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"def\", stale=TRUE");
    const std::string second = Header();
    CFixedSignatureSource source({"second"});
    AuthorizationRequest fresh(source);
    fresh.SetCredentials(L"user", L"pass");
    fresh.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"def\", qop=\"auth\", algorithm=MD5-sess");
    EXPECT_EQ(second, fresh.CreateAuthorizationCredentials(kUri, L"GET"));
    EXPECT_NE(first, second);
}

TEST_F(AuthorizationRequestTest, StaleChallengeIsTakenAsAWholeWhenItIsTheFirst)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", stale=true");
    EXPECT_THAT(Header(), HasSubstr("realm=\"cam\", nonce=\"abc\""));
}

TEST_F(AuthorizationRequestTest, ChallengeThatIsNotStaleReplacesEverythingAndIsLogged)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\", opaque=\"xyz\"");
    (void)Header();
    m_request.SetAuthenticateResponse("Digest realm=\"two\", nonce=\"def\", stale=FALSE, algorithm=MD5");
    const std::string header = Header();
    EXPECT_THAT(header, HasSubstr("realm=\"two\", nonce=\"def\""));
    EXPECT_THAT(header, Not(HasSubstr("qop")));
    EXPECT_THAT(header, Not(HasSubstr("opaque")));
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(L"1 AuthorizationRequest::SetAuthenticateResponse, server authenticate response: 'Digest "
                    L"realm=\"two\", nonce=\"def\", stale=FALSE, algorithm=MD5', old authenticate is: 'Digest "
                    L"realm=\"cam\", domain=, nonce=\"abc\", opaque=\"xyz\", stale=, algorithm=MD5, qop=auth'"));
}

TEST_F(AuthorizationRequestTest, SameChallengeAgainRestartsCountAndCnonce)
{
    const std::string challenge = "Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"";
    m_request.SetAuthenticateResponse(challenge);
    (void)Header();
    m_request.SetAuthenticateResponse(challenge);
    EXPECT_THAT(Header(), HasSubstr("nc=00000001, cnonce=\"a9f0e61a137d86aa9db53465e0801612\""));
}

TEST_F(AuthorizationRequestTest, InvalidChallengeKeepsTheOldOne)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    (void)Header();
    m_request.SetAuthenticateResponse("Digest realm=\"cam\"");
    EXPECT_THAT(Header(), HasSubstr("nonce=\"abc\""));
    EXPECT_THAT(Header(), HasSubstr("nc=00000003"));
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"1 AuthorizationRequest::SetAuthenticateResponse, invalid server authenticate response: "
                            L"'Digest realm=\"cam\"', bail out"));
}

struct InvalidCase
{
    const char* reason;
    const char* challenge;
};

TEST_F(AuthorizationRequestTest, MakesNoHeaderForAnInvalidChallenge)
{
    const std::vector<InvalidCase> cases = {
        {"algorithm that we lack", "Digest realm=\"cam\", nonce=\"abc\", algorithm=SHA-256"},
        {"no nonce", "Digest realm=\"cam\""},
        {"no realm", "Digest nonce=\"abc\""},
        {"scheme that we lack", "Negotiate"},
        {"nothing", ""},
    };
    for (const InvalidCase& each : cases)
    {
        m_request.SetAuthenticateResponse(each.challenge);
        EXPECT_EQ(Header(), "") << each.reason;
    }
}

TEST_F(AuthorizationRequestTest, MakesNoHeaderWithoutUserNameOrPassword)
{
    const std::wstring line =
        L"1 AuthorizationRequest::CreateAuthorizationCredentials, empty username or password, bail out";
    for (const char* challenge : {"Basic realm=\"cam\"", "Digest realm=\"cam\", nonce=\"abc\""})
    {
        m_request.Reset(false);
        m_request.SetAuthenticateResponse(challenge);
        m_log.Clear();
        m_request.SetCredentials(L"", L"pass");
        EXPECT_EQ(Header(), "");
        m_request.SetCredentials(L"user", nullptr);
        EXPECT_EQ(Header(), "");
        m_request.SetCredentials(nullptr, L"");
        EXPECT_EQ(Header(), "");
        EXPECT_THAT(m_log.Lines(), ElementsAre(line, line, line));
    }
}

TEST_F(AuthorizationRequestTest, DigestNeedsUriAndMethod)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    EXPECT_EQ(m_request.CreateAuthorizationCredentials(L"", L"GET"), "");
    EXPECT_EQ(m_request.CreateAuthorizationCredentials(kUri, L""), "");
    const std::wstring line =
        L"8 AuthorizationRequest::CreateDigestAuthorizationCredentials, empty uri or method, bail out";
    EXPECT_THAT(m_log.Lines(), ElementsAre(line, line));
    EXPECT_THAT(Header(), HasSubstr("nc=00000001")) << "refusals are not counted";
}

TEST_F(AuthorizationRequestTest, ResetForgetsTheChallengeAndCredentialsOnlyWhenAskedTo)
{
    const std::string challenge = "Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"";
    m_request.SetAuthenticateResponse(challenge);
    (void)Header();
    m_request.Reset(false);
    EXPECT_EQ(Header(), "");
    m_request.SetAuthenticateResponse(challenge);
    EXPECT_THAT(Header(), HasSubstr("nc=00000001, cnonce=\"a9f0e61a137d86aa9db53465e0801612\""));
    m_request.Reset(true);
    m_request.SetAuthenticateResponse(challenge);
    EXPECT_EQ(Header(), "");
    EXPECT_EQ(m_log.Count(L"empty username or password"), 1u);
}

TEST_F(AuthorizationRequestTest, OtherCredentialsAreUsedUnderTheSameChallenge)
{
    m_request.SetCredentials(L"admin", L"other");
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    (void)Header();
    m_request.SetCredentials(L"user", L"pass");
    EXPECT_THAT(Header(), HasSubstr("response=\"abfe96f194851033f1c02aca25d192bf\""));
}

TEST_F(AuthorizationRequestTest, RefusesWhatWouldBreakTheHeaderLine)
{
    const std::string challenge = "Digest realm=\"cam\", nonce=\"abc\"";
    m_request.SetAuthenticateResponse(challenge);
    m_request.SetCredentials(L"user\r\nX-Evil: 1", L"pass");
    EXPECT_EQ(Header(), "");
    m_request.SetCredentials(L"user", L"pass");
    EXPECT_EQ(m_request.CreateAuthorizationCredentials(L"a\nb", L"GET"), "");
    m_request.SetAuthenticateResponse("Digest realm=\"c\nam\", nonce=\"abc\"");
    EXPECT_EQ(Header(), "");
    EXPECT_EQ(m_log.Count(L"line break in the credentials, bail out"), 3u);

    // Base64 has no line breaks, whatever the name holds.
    m_request.SetAuthenticateResponse("Basic realm=\"cam\"");
    m_request.SetCredentials(L"user\r\n", L"pass");
    EXPECT_EQ(Header(), "Basic dXNlcg0KOnBhc3M=");
}

TEST_F(AuthorizationRequestTest, QuoteInAUserNameIsSentAsItIs)
{
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\"");
    m_request.SetCredentials(L"us\"er", L"pass");
    EXPECT_THAT(Header(), HasSubstr("username=\"us\"er\", realm="));
}

TEST_F(AuthorizationRequestTest, LogsNoCredentials)
{
    m_request.SetCredentials(L"topsecretuser", L"topsecretpassword");
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"");
    (void)Header();
    m_request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"def\"");
    (void)m_request.CreateAuthorizationCredentials(L"", L"");
    EXPECT_GT(m_log.Lines().size(), 1u);
    EXPECT_EQ(m_log.Count(L"topsecret"), 0u);
}

TEST(RandomSignature, IsTheHashOfTheRandomBytes)
{
    CFixedSignatureSource source({"first", "second"});
    AuthorizationRequest request(source);
    EXPECT_EQ(request.GenerateRandomSignature(), "8b04d5e3775d298e78455efc5ca404d5");
    EXPECT_EQ(request.GenerateRandomSignature(), "a9f0e61a137d86aa9db53465e0801612");
}

TEST(RandomSignature, IsUsedWhenNobodyGivesAnother)
{
    AuthorizationRequest request;
    request.SetCredentials(L"user", L"pass");
    request.SetAuthenticateResponse("Digest realm=\"cam\", nonce=\"abc\", qop=\"auth,auth-int\"");
    const std::string header = request.CreateAuthorizationCredentials(kUri, L"GET");
    EXPECT_TRUE(std::regex_search(header, std::regex("qop=auth, nc=00000001, cnonce=\"[0-9a-f]{32}\"$"))) << header;
}
} // namespace
