#include "Protocol/AuthenticateResponse.h"

#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

/// The fields in their order, for comparisons of the whole record.
std::vector<std::string> Fields(const AuthenticateResponse& response)
{
    return {response.scheme, response.realm, response.domain,    response.nonce,
            response.opaque, response.stale, response.algorithm, response.qop};
}

AuthenticateResponse Parsed(std::string_view text)
{
    AuthenticateResponse result;
    result.LoadFromString(text);
    return result;
}

struct ChallengeCase
{
    const char* reason;
    const char* text;
    std::vector<std::string> fields; ///< scheme, realm, domain, nonce, opaque, stale, algorithm, qop
    bool isValid;
};

void ExpectAll(const std::vector<ChallengeCase>& cases)
{
    for (const ChallengeCase& each : cases)
    {
        const AuthenticateResponse response = Parsed(each.text);
        EXPECT_EQ(Fields(response), each.fields) << each.reason;
        EXPECT_EQ(response.IsValid(), each.isValid) << each.reason;
    }
}

TEST(AuthenticateResponse, ParsesBasicChallenges)
{
    ExpectAll({
        {"usual", "Basic realm=\"cam\"", {"Basic", "cam", "", "", "", "", "", ""}, true},
        {"scheme in any case is stored in ours", "bASIC realm=\"cam\"", {"Basic", "cam", "", "", "", "", "", ""}, true},
        {"realm in any case", "Basic REALM=cam", {"Basic", "cam", "", "", "", "", "", ""}, true},
        {"no realm is valid all the same", "Basic", {"Basic", "", "", "", "", "", "", ""}, true},
        {"only the realm is kept",
         "Basic realm=\"cam\", nonce=\"abc\", charset=\"UTF-8\", algorithm=SHA-256",
         {"Basic", "cam", "", "", "", "", "", ""},
         true},
        {"white space around the whole",
         " \t\r\nBasic realm=\"cam\"\v\f ",
         {"Basic", "cam", "", "", "", "", "", ""},
         true},
        {"only the first five characters are the scheme",
         "Basicrealm=cam",
         {"Basic", "cam", "", "", "", "", "", ""},
         true},
        {"the later realm wins", "Basic realm=\"a\", realm=\"b\"", {"Basic", "b", "", "", "", "", "", ""}, true},
    });
}

TEST(AuthenticateResponse, ParsesDigestChallenges)
{
    ExpectAll({
        {"everything",
         "Digest realm=\"cam\", domain=\"/\", nonce=\"abc\", opaque=\"xyz\", stale=FALSE, algorithm=MD5, qop=\"auth\"",
         {"Digest", "cam", "\"/\"", "abc", "\"xyz\"", "FALSE", "MD5", "auth"},
         true},
        {"algorithm is MD5 when none is named",
         "Digest realm=\"cam\", nonce=\"abc\"",
         {"Digest", "cam", "", "abc", "", "", "MD5", ""},
         true},
        {"algorithm is MD5 when its value is empty",
         "Digest realm=\"cam\", nonce=\"abc\", algorithm=",
         {"Digest", "cam", "", "abc", "", "", "MD5", ""},
         true},
        {"names in any case, values in the server's spelling",
         "digest REALM=\"Cam\", Domain=/a, NONCE=\"aBc\", OPAQUE=xYz, STALE=tRuE, Algorithm=md5-SESS, QOP=AUTH",
         {"Digest", "Cam", "/a", "aBc", "xYz", "tRuE", "md5-SESS", "auth"},
         true},
        {"no white space at all",
         "Digest realm=\"cam\",nonce=\"abc\",qop=auth",
         {"Digest", "cam", "", "abc", "", "", "MD5", "auth"},
         true},
        {"white space around names, signs and values",
         "Digest  realm = \"cam\" ,\tnonce\t=\tabc ",
         {"Digest", "cam", "", "abc", "", "", "MD5", ""},
         true},
        {"blanks inside the quotes are part of the value",
         "Digest realm=\" cam \", nonce=\"abc\"",
         {"Digest", " cam ", "", "abc", "", "", "MD5", ""},
         true},
        {"a value is cut at the first equals sign only",
         "Digest realm=\"a=b\", nonce=\"abc==\"",
         {"Digest", "a=b", "", "abc==", "", "", "MD5", ""},
         true},
        {"a comma inside quotes cuts the value",
         "Digest realm=\"a,b\", nonce=\"abc\"",
         {"Digest", "a", "", "abc", "", "", "MD5", ""},
         true},
        {"the cut value keeps the quote that is left when quotes are kept",
         "Digest realm=r, nonce=n, opaque=\"x,y\"",
         {"Digest", "r", "", "n", "\"x", "", "MD5", ""},
         true},
        {"empty items are skipped",
         "Digest ,,realm=\"cam\",, ,nonce=\"abc\",",
         {"Digest", "cam", "", "abc", "", "", "MD5", ""},
         true},
        {"other names are ignored",
         "Digest realm=\"cam\", nonce=\"abc\", charset=UTF-8, userhash=true, realmx=1",
         {"Digest", "cam", "", "abc", "", "", "MD5", ""},
         true},
        {"later items overwrite earlier ones",
         "Digest realm=\"a\", nonce=\"b\", realm=\"c\", nonce=\"d\", opaque=1, opaque=2",
         {"Digest", "c", "", "d", "2", "", "MD5", ""},
         true},
        {"algorithm named twice",
         "Digest realm=a, nonce=b, algorithm=MD5-sess, algorithm=",
         {"Digest", "a", "", "b", "", "", "MD5", ""},
         true},
        {"empty opaque in quotes is kept",
         "Digest realm=a, nonce=b, opaque=\"\"",
         {"Digest", "a", "", "b", "\"\"", "", "MD5", ""},
         true},
        {"no nonce", "Digest realm=\"cam\"", {"Digest", "cam", "", "", "", "", "MD5", ""}, false},
        {"empty nonce", "Digest realm=\"cam\", nonce=\"\"", {"Digest", "cam", "", "", "", "", "MD5", ""}, false},
        {"no realm", "Digest nonce=\"abc\"", {"Digest", "", "", "abc", "", "", "MD5", ""}, false},
        {"no parameters", "Digest", {"Digest", "", "", "", "", "", "MD5", ""}, false},
    });
}

struct QopCase
{
    const char* reason;
    const char* value;
    const char* expected;
};

TEST(AuthenticateResponse, AnswersEveryKindOfQopWithAuth)
{
    CLogCapture log;
    const std::vector<QopCase> cases = {
        {"in quotes", "\"auth\"", "auth"},
        {"without", "auth", "auth"},
        {"in capitals", "\"AUTH\"", "auth"},
        {"a list is cut at its comma", "\"auth,auth-int\"", "auth"},
        {"a list without commas", "\"auth-int auth\"", "auth"},
        {"auth-int alone is answered with auth", "\"auth-int\"", "auth"},
        {"anywhere in the value", "\"x-authentic\"", "auth"},
        {"neither", "\"token\"", ""},
        {"empty", "\"\"", ""},
    };
    for (const QopCase& each : cases)
        EXPECT_EQ(Parsed(std::string("Digest realm=a, nonce=b, qop=") + each.value).qop, each.expected) << each.reason;
    EXPECT_EQ(Parsed("Digest realm=a, nonce=b, qop=auth, qop=token").qop, "auth") << "what is unknown changes nothing";
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(AuthenticateResponse, RefusesAlgorithmsItLacksAndSaysSo)
{
    for (const char* value : {"SHA-256", "MD5-", "\"MD5\"", "MD5-sess-x", "token"})
    {
        CLogCapture log;
        const AuthenticateResponse response =
            Parsed(std::string("Digest realm=\"cam\", nonce=\"abc\", algorithm=") + value + ", qop=\"auth\"");
        EXPECT_FALSE(response.IsValid()) << value;
        EXPECT_EQ(response.scheme, "") << value;
        EXPECT_EQ(response.qop, "") << "parsing ends there: " << value;
        const std::string asText(value);
        EXPECT_THAT(log.Lines(), ElementsAre(L"1 AuthenticateResponse::ParseDigestAuthenticateResponse, unsupported "
                                             L"algorithm: " +
                                             std::wstring(asText.begin(), asText.end()) + L", abort parsing"));
    }
}

TEST(AuthenticateResponse, ForgetsAStaleThatIsNeitherTrueNorFalse)
{
    CLogCapture log;
    EXPECT_EQ(Parsed("Digest realm=a, nonce=b, stale=true, stale=maybe").stale, "");
    EXPECT_EQ(Parsed("Digest realm=a, nonce=b, stale=\"true\"").stale, "") << "quotes are not stripped here";
    EXPECT_TRUE(Parsed("Digest realm=a, nonce=b, stale=maybe").IsValid());
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"1 AuthenticateResponse::ParseDigestAuthenticateResponse, stale is neither 'TRUE' nor "
                            L"'FALSE', maybe",
                            L"1 AuthenticateResponse::ParseDigestAuthenticateResponse, stale is neither 'TRUE' nor "
                            L"'FALSE', \"true\"",
                            L"1 AuthenticateResponse::ParseDigestAuthenticateResponse, stale is neither 'TRUE' nor "
                            L"'FALSE', maybe"));
}

TEST(AuthenticateResponse, LogsSchemesItDoesNotKnow)
{
    for (const char* text : {"Negotiate", "Bas realm=cam", "Diges", "\"Basic\" realm=cam"})
    {
        CLogCapture log;
        const AuthenticateResponse response = Parsed(std::string("  ") + text + " ");
        EXPECT_EQ(Fields(response), std::vector<std::string>(8)) << text;
        EXPECT_FALSE(response.IsValid()) << text;
        const std::string asText(text);
        EXPECT_THAT(log.Lines(), ElementsAre(L"8 AuthenticateResponse::LoadFromString, unexpected challenge: '" +
                                             std::wstring(asText.begin(), asText.end()) + L"'"));
    }
}

TEST(AuthenticateResponse, EmptyTextIsNoChallengeAndNotWorthALine)
{
    CLogCapture log;
    for (const char* text : {"", " ", "\t\r\n "})
        EXPECT_FALSE(Parsed(text).IsValid());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(AuthenticateResponse, ForgetsWhatWasThereBefore)
{
    AuthenticateResponse response =
        Parsed("Digest realm=a, domain=b, nonce=c, opaque=d, stale=true, algorithm=MD5-sess, qop=auth");
    response.LoadFromString("Basic");
    EXPECT_EQ(Fields(response), (std::vector<std::string>{"Basic", "", "", "", "", "", "", ""}));
    response.LoadFromString("");
    EXPECT_EQ(Fields(response), std::vector<std::string>(8));
}

TEST(AuthenticateResponse, IsValidJudgesTheSchemeInAnyCase)
{
    AuthenticateResponse response;
    response.scheme = "Other";
    EXPECT_TRUE(response.IsValid()) << "only Digest has conditions";
    response.scheme = "dIGEST";
    EXPECT_FALSE(response.IsValid());
    response.realm = "a";
    EXPECT_FALSE(response.IsValid());
    response.nonce = "b";
    EXPECT_TRUE(response.IsValid());
}
} // namespace
