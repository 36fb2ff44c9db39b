#include "Protocol/DigestCredentials.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace
{
/// Stands in for MD5: shows what was hashed, and how often.
std::string ShowHashed(std::string_view bytes)
{
    return "<" + std::string(bytes) + ">";
}

AuthenticateResponse Challenge(std::string algorithm, std::string qop, std::string opaque = "")
{
    AuthenticateResponse result;
    result.scheme = "Digest";
    result.realm = "cam";
    result.nonce = "abc";
    result.algorithm = std::move(algorithm);
    result.qop = std::move(qop);
    result.opaque = std::move(opaque);
    return result;
}

constexpr DigestCredentials::Request kRequest = {"user", "/uri", "GET", "0a4f", 0x1F};

std::string Ha1(const AuthenticateResponse& challenge)
{
    return DigestCredentials::ComputeHa1(challenge, "user", "pass", "0a4f", &ShowHashed);
}

std::string Value(const AuthenticateResponse& challenge)
{
    return DigestCredentials::FormatHeaderValue(challenge, "HA1", kRequest, &ShowHashed);
}

TEST(DigestCredentials, Ha1HashesUserRealmAndPassword)
{
    EXPECT_EQ(Ha1(Challenge("MD5", "auth")), "<user:cam:pass>");
    EXPECT_EQ(Ha1(Challenge("", "auth")), "<user:cam:pass>");
}

TEST(DigestCredentials, Ha1OfASessionHashesNonceAndCnonceToo)
{
    EXPECT_EQ(Ha1(Challenge("MD5-sess", "auth")), "<<user:cam:pass>:abc:0a4f>");
    EXPECT_EQ(Ha1(Challenge("md5-SESS", "")), "<<user:cam:pass>:abc:0a4f>");
}

struct ValueCase
{
    const char* reason;
    AuthenticateResponse challenge;
    const char* expected;
};

TEST(DigestCredentials, WritesTheHeaderValue)
{
    const std::vector<ValueCase> cases = {
        {"with qop", Challenge("MD5", "auth"),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=MD5, "
         "response=\"<HA1:abc:0000001f:0a4f:auth:<GET:/uri>>\", qop=auth, nc=0000001f, cnonce=\"0a4f\""},
        {"without qop", Challenge("MD5", ""),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=MD5, "
         "response=\"<HA1:abc:<GET:/uri>>\""},
        {"auth-int hashes an empty body hash", Challenge("MD5", "Auth-Int"),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=MD5, "
         "response=\"<HA1:abc:0000001f:0a4f:Auth-Int:<GET:/uri:>>\", qop=Auth-Int, nc=0000001f, cnonce=\"0a4f\""},
        {"algorithm in the server's spelling", Challenge("md5-SESS", ""),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=md5-SESS, "
         "response=\"<HA1:abc:<GET:/uri>>\""},
        {"no algorithm is MD5", Challenge("", ""),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=MD5, "
         "response=\"<HA1:abc:<GET:/uri>>\""},
        {"opaque comes last, as it came", Challenge("MD5", "auth", "\"xyz\""),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=MD5, "
         "response=\"<HA1:abc:0000001f:0a4f:auth:<GET:/uri>>\", qop=auth, nc=0000001f, cnonce=\"0a4f\", "
         "opaque=\"xyz\""},
        {"opaque without quotes", Challenge("MD5", "", "xyz"),
         "Digest username=\"user\", realm=\"cam\", nonce=\"abc\", uri=\"/uri\", algorithm=MD5, "
         "response=\"<HA1:abc:<GET:/uri>>\", opaque=xyz"},
    };
    for (const ValueCase& each : cases)
        EXPECT_EQ(Value(each.challenge), each.expected) << each.reason;
}

TEST(DigestCredentials, NonceCountHasExactlyEightDigits)
{
    const std::vector<std::pair<std::uint32_t, std::string>> cases = {
        {1, "nc=00000001,"}, {0xABCDEF, "nc=00abcdef,"}, {0xFFFFFFFF, "nc=ffffffff,"}};
    for (const auto& [count, expected] : cases)
    {
        DigestCredentials::Request request = kRequest;
        request.nonceCount = count;
        const std::string value =
            DigestCredentials::FormatHeaderValue(Challenge("MD5", "auth"), "HA1", request, &ShowHashed);
        EXPECT_NE(value.find(expected), std::string::npos) << value;
    }
}

// RFC 2617, section 3.5; the hashes of its texts, from another implementation.
TEST(DigestCredentials, AnswersTheExampleOfTheStandard)
{
    const std::map<std::string, std::string, std::less<>> hashes = {
        {"Mufasa:testrealm@host.com:Circle Of Life", "939e7578ed9e3c518a452acee763bce9"},
        {"GET:/dir/index.html", "39aff3a2bab6126f332b942af96d3366"},
        {"939e7578ed9e3c518a452acee763bce9:dcd98b7102dd2f0e8b11d0f600bfb0c093:00000001:0a4f113b:auth:"
         "39aff3a2bab6126f332b942af96d3366",
         "6629fae49393a05397450978507c4ef1"},
    };
    const auto md5 = [&hashes](std::string_view bytes) { return hashes.at(std::string(bytes)); };
    AuthenticateResponse challenge;
    challenge.LoadFromString("Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
                             "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
                             "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"");
    const std::string ha1 = DigestCredentials::ComputeHa1(challenge, "Mufasa", "Circle Of Life", "0a4f113b", md5);
    const DigestCredentials::Request request = {"Mufasa", "/dir/index.html", "GET", "0a4f113b", 1};
    EXPECT_EQ(DigestCredentials::FormatHeaderValue(challenge, ha1, request, md5),
              "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", "
              "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", uri=\"/dir/index.html\", algorithm=MD5, "
              "response=\"6629fae49393a05397450978507c4ef1\", qop=auth, nc=00000001, cnonce=\"0a4f113b\", "
              "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"");
}

TEST(DigestCredentials, IsEmptyWhenAnyOfTheHashesFails)
{
    for (int failingCall = 0; failingCall < 2; ++failingCall)
    {
        int call = 0;
        const auto md5 = [&call, failingCall](std::string_view bytes) {
            return call++ == failingCall ? std::string() : ShowHashed(bytes);
        };
        EXPECT_EQ(DigestCredentials::ComputeHa1(Challenge("MD5-sess", "auth"), "user", "pass", "0a4f", md5), "");
        call = 0;
        EXPECT_EQ(DigestCredentials::FormatHeaderValue(Challenge("MD5", "auth"), "HA1", kRequest, md5), "");
    }
}
} // namespace
