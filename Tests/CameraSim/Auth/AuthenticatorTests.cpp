#include "CameraSim/Auth/Authenticator.h"

#include "Auth/DigestAnswer.h"

#include <gtest/gtest.h>

namespace
{

constexpr const char* kTarget = "/command/inquiry.cgi?inq=system";

AuthenticationOptions Options(AuthenticationScheme scheme)
{
    AuthenticationOptions options;
    options.scheme = scheme;
    options.password = "secret";
    return options;
}

CAuthenticator Make(const AuthenticationOptions& options)
{
    return CAuthenticator(options, [count = 0]() mutable { return "nonce" + std::to_string(++count); });
}

/// The challenge that a request without credentials gets.
std::string Challenge(CAuthenticator& authenticator)
{
    return authenticator.Check("GET", kTarget, nullptr).challenge;
}

AuthenticationVerdict Check(CAuthenticator& authenticator, const std::string& authorization)
{
    return authenticator.Check("GET", kTarget, &authorization);
}

bool IsStale(const AuthenticationVerdict& verdict)
{
    return AuthParameters::Parse(verdict.challenge).Get("stale") == "true";
}

TEST(Authenticator, NoneAcceptsEverything)
{
    auto authenticator = Make(Options(AuthenticationScheme::None));
    EXPECT_TRUE(authenticator.Check("GET", kTarget, nullptr).accepted);
    EXPECT_TRUE(Check(authenticator, "nonsense").accepted);
}

TEST(Authenticator, ChallengesSayWhatIsOffered)
{
    auto basic = Make(Options(AuthenticationScheme::Basic));
    EXPECT_EQ("Basic realm=\"Camera\"", Challenge(basic));

    auto digest = Make(Options(AuthenticationScheme::Digest));
    EXPECT_EQ("Digest realm=\"Camera\", nonce=\"nonce1\", algorithm=MD5, qop=\"auth\"", Challenge(digest));
    EXPECT_EQ("Digest realm=\"Camera\", nonce=\"nonce2\", algorithm=MD5, qop=\"auth\"", Challenge(digest));

    auto options = Options(AuthenticationScheme::DigestSession);
    options.opaque = "xyz";
    auto session = Make(options);
    EXPECT_EQ("Digest realm=\"Camera\", nonce=\"nonce1\", opaque=\"xyz\", algorithm=MD5-sess, qop=\"auth\"",
              Challenge(session));

    options = Options(AuthenticationScheme::Digest);
    options.qop = "";
    auto old = Make(options);
    EXPECT_EQ("Digest realm=\"Camera\", nonce=\"nonce1\", algorithm=MD5", Challenge(old));
}

TEST(Authenticator, BasicComparesUserAndPassword)
{
    struct Row
    {
        const char* why;
        const char* authorization;
        bool accepted;
    };
    const Row rows[] = {
        {"admin:secret", "Basic YWRtaW46c2VjcmV0", true},
        {"the scheme's case does not matter", "basic YWRtaW46c2VjcmV0", true},
        {"admin:wrong", "Basic YWRtaW46d3Jvbmc=", false},
        {"no base64", "Basic admin:secret", false},
        {"nothing behind the scheme", "Basic", false},
        {"another scheme", "Digest YWRtaW46c2VjcmV0", false},
    };
    for (const Row& row : rows)
    {
        auto authenticator = Make(Options(AuthenticationScheme::Basic));
        EXPECT_EQ(row.accepted, Check(authenticator, row.authorization).accepted) << row.why;
    }
}

TEST(Authenticator, AcceptsTheExampleOfRfc2617)
{
    // Section 3.5, with its own numbers; nothing of ours is in the response.
    AuthenticationOptions options = Options(AuthenticationScheme::Digest);
    options.user = "Mufasa";
    options.password = "Circle Of Life";
    options.challenge = "Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
                        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"";
    auto authenticator = Make(options);
    EXPECT_EQ(options.challenge, authenticator.Check("GET", "/dir/index.html", nullptr).challenge);
    const std::string answer =
        "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
        "uri=\"/dir/index.html\", qop=auth, nc=00000001, cnonce=\"0a4f113b\", "
        "response=\"6629fae49393a05397450978507c4ef1\", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"";
    const auto verdict = authenticator.Check("GET", "/dir/index.html", &answer);
    EXPECT_TRUE(verdict.accepted) << verdict.why;
}

TEST(Authenticator, AcceptsEveryOfferedForm)
{
    struct Row
    {
        const char* why;
        AuthenticationScheme scheme;
        const char* qop;
    };
    const Row rows[] = {
        {"MD5 with qop", AuthenticationScheme::Digest, "auth"},
        {"MD5 without qop, as in RFC 2069", AuthenticationScheme::Digest, ""},
        {"MD5-sess", AuthenticationScheme::DigestSession, "auth"},
    };
    for (const Row& row : rows)
    {
        auto options = Options(row.scheme);
        options.qop = row.qop;
        options.opaque = "xyz";
        auto authenticator = Make(options);
        auto answer = DigestAnswer::To(Challenge(authenticator));
        const auto first = Check(authenticator, answer.Text());
        EXPECT_TRUE(first.accepted) << row.why << ": " << first.why;
        answer.nc = "0000000a";
        EXPECT_TRUE(Check(authenticator, answer.Text()).accepted) << row.why << ", second request";
        answer.password = "wrong";
        answer.nc = "0000000b";
        EXPECT_FALSE(Check(authenticator, answer.Text()).accepted) << row.why << ", wrong password";
    }
}

TEST(Authenticator, TakesTheUriWithAndWithoutItsSlash)
{
    for (const char* uri : {"command/inquiry.cgi?inq=system", "/command/inquiry.cgi?inq=system"})
    {
        auto authenticator = Make(Options(AuthenticationScheme::Digest));
        auto answer = DigestAnswer::To(Challenge(authenticator));
        answer.uri = uri;
        EXPECT_TRUE(Check(authenticator, answer.Text()).accepted) << uri;
    }
}

TEST(Authenticator, RefusesSpoiltAnswersAndSaysWhy)
{
    struct Row
    {
        const char* why;
        std::function<void(DigestAnswer&)> spoil;
    };
    const Row rows[] = {
        {"wrong user name", [](DigestAnswer& a) { a.user = "root"; }},
        {"the realm is not the challenge's", [](DigestAnswer& a) { a.realm = "Other"; }},
        {"opaque was not returned as it was sent", [](DigestAnswer& a) { a.opaque = ""; }},
        {"the algorithm is not the challenge's", [](DigestAnswer& a) { a.algorithm = "MD5-sess"; }},
        {"uri is not the requested one", [](DigestAnswer& a) { a.uri = "command/inquiry.cgi"; }},
        {"qop is not auth", [](DigestAnswer& a) { a.qop = "auth-int"; }},
        {"qop is not auth", [](DigestAnswer& a) { a.qop = ""; }},
        {"nc is not eight hexadecimal digits", [](DigestAnswer& a) { a.nc = "1"; }},
        {"nc is not eight hexadecimal digits", [](DigestAnswer& a) { a.nc = "0000000x"; }},
        {"nc did not grow (00000000)", [](DigestAnswer& a) { a.nc = "00000000"; }},
        {"the Digest answer has no cnonce", [](DigestAnswer& a) { a.cnonce = ""; }},
        {"the response does not match: wrong password, or a slip in the arithmetic",
         [](DigestAnswer& a) { a.password = "wrong"; }},
        {"the response does not match: wrong password, or a slip in the arithmetic",
         [](DigestAnswer& a) { a.method = "POST"; }},
    };
    for (const Row& row : rows)
    {
        auto options = Options(AuthenticationScheme::Digest);
        options.opaque = "xyz";
        auto authenticator = Make(options);
        auto answer = DigestAnswer::To(Challenge(authenticator));
        row.spoil(answer);
        const auto verdict = Check(authenticator, answer.Text());
        EXPECT_FALSE(verdict.accepted) << row.why;
        EXPECT_EQ(row.why, verdict.why);
        EXPECT_FALSE(IsStale(verdict)) << row.why;
        EXPECT_FALSE(verdict.challenge.empty()) << row.why;
    }
}

TEST(Authenticator, RefusesAnswersThatAreNotDigest)
{
    auto authenticator = Make(Options(AuthenticationScheme::Digest));
    EXPECT_EQ("the scheme is not Digest", Check(authenticator, "Basic YWRtaW46c2VjcmV0").why);
    EXPECT_EQ("the Digest answer has no username", Check(authenticator, "Digest realm=\"Camera\"").why);
    EXPECT_EQ("the Digest parameters are not well-formed", Check(authenticator, "Digest realm=\"Camera").why);
}

TEST(Authenticator, NonceCountMustGrow)
{
    auto authenticator = Make(Options(AuthenticationScheme::Digest));
    auto answer = DigestAnswer::To(Challenge(authenticator));
    answer.nc = "00000005";
    EXPECT_TRUE(Check(authenticator, answer.Text()).accepted);
    EXPECT_FALSE(Check(authenticator, answer.Text()).accepted) << "the same header again";
    answer.nc = "00000004";
    EXPECT_FALSE(Check(authenticator, answer.Text()).accepted) << "a smaller count";
    answer.nc = "00000006";
    EXPECT_TRUE(Check(authenticator, answer.Text()).accepted) << "refusals leave the nonce usable";
}

TEST(Authenticator, EachNonceHasItsOwnCount)
{
    auto authenticator = Make(Options(AuthenticationScheme::Digest));
    const auto first = DigestAnswer::To(Challenge(authenticator));
    const auto second = DigestAnswer::To(Challenge(authenticator));
    EXPECT_TRUE(Check(authenticator, first.Text()).accepted);
    EXPECT_TRUE(Check(authenticator, second.Text()).accepted);
}

TEST(Authenticator, ANonceIsStaleAfterItsRequests)
{
    auto options = Options(AuthenticationScheme::Digest);
    options.nonceRequests = 2;
    auto authenticator = Make(options);
    auto answer = DigestAnswer::To(Challenge(authenticator));
    EXPECT_TRUE(Check(authenticator, answer.Text()).accepted);
    answer.nc = "00000002";
    EXPECT_TRUE(Check(authenticator, answer.Text()).accepted);
    answer.nc = "00000003";
    const auto verdict = Check(authenticator, answer.Text());
    EXPECT_FALSE(verdict.accepted);
    EXPECT_TRUE(IsStale(verdict)) << verdict.challenge;
    // With the wrong password it is a refusal like any other: stale would tell a stranger that it was right.
    answer.password = "wrong";
    EXPECT_FALSE(IsStale(Check(authenticator, answer.Text())));

    auto renewed = DigestAnswer::To(verdict.challenge);
    EXPECT_NE(answer.nonce, renewed.nonce);
    EXPECT_TRUE(Check(authenticator, renewed.Text()).accepted);
}

TEST(Authenticator, AnUnknownNonceIsStaleWhenThePasswordIsRight)
{
    auto authenticator = Make(Options(AuthenticationScheme::Digest));
    auto answer = DigestAnswer::To(Challenge(authenticator));
    answer.nonce = "made-up";
    const auto verdict = Check(authenticator, answer.Text());
    EXPECT_FALSE(verdict.accepted);
    EXPECT_EQ("unknown nonce", verdict.why);
    EXPECT_TRUE(IsStale(verdict));
}

TEST(Authenticator, ForgetsTheOldestNonceFirst)
{
    auto authenticator = Make(Options(AuthenticationScheme::Digest));
    const auto first = DigestAnswer::To(Challenge(authenticator));
    const auto second = DigestAnswer::To(Challenge(authenticator));
    for (std::size_t i = 2; i <= CAuthenticator::kMaxNonces; ++i)
        Challenge(authenticator);
    EXPECT_TRUE(Check(authenticator, second.Text()).accepted);
    EXPECT_EQ("unknown nonce", Check(authenticator, first.Text()).why);
}

TEST(Authenticator, AnOwnChallengeIsSentAndVerifiedAsWritten)
{
    auto options = Options(AuthenticationScheme::Digest);
    options.challenge = "Digest realm=\"Mine\", nonce=\"{nonce}\", stale={stale}, algorithm=MD5-sess, qop=\"auth-int\"";
    auto authenticator = Make(options);
    const std::string challenge = Challenge(authenticator);
    EXPECT_EQ("Digest realm=\"Mine\", nonce=\"nonce1\", stale=false, algorithm=MD5-sess, qop=\"auth-int\"", challenge);
    EXPECT_TRUE(Check(authenticator, DigestAnswer::To(challenge).Text()).accepted);
}

TEST(Authenticator, NewOptionsForgetTheNonces)
{
    auto authenticator = Make(Options(AuthenticationScheme::Digest));
    const auto answer = DigestAnswer::To(Challenge(authenticator));
    authenticator.Configure(Options(AuthenticationScheme::Digest));
    EXPECT_EQ("unknown nonce", Check(authenticator, answer.Text()).why);
}

} // namespace
