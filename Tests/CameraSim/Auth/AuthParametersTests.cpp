#include "CameraSim/Auth/AuthParameters.h"

#include <gtest/gtest.h>

namespace
{

TEST(AuthParameters, CommasInsideQuotesDoNotSeparate)
{
    const auto parsed = AuthParameters::Parse("Digest realm=\"a,b\", nonce=\"x=y==\" ,qop=auth, nc=00000001");
    EXPECT_TRUE(parsed.wellFormed);
    EXPECT_EQ("digest", parsed.scheme);
    EXPECT_EQ("a,b", parsed.Get("realm"));
    EXPECT_EQ("x=y==", parsed.Get("nonce"));
    EXPECT_EQ("auth", parsed.Get("qop"));
    EXPECT_EQ("00000001", parsed.Get("nc"));
    EXPECT_FALSE(parsed.Has("opaque"));
    EXPECT_EQ("", parsed.Get("opaque"));
}

TEST(AuthParameters, ABackslashKeepsAQuoteInside)
{
    const auto parsed = AuthParameters::Parse(R"(Digest username="a\"b,c", realm="r")");
    EXPECT_TRUE(parsed.wellFormed);
    EXPECT_EQ(R"(a\"b,c)", parsed.Get("username"));
    EXPECT_EQ("r", parsed.Get("realm"));
}

TEST(AuthParameters, TellsCrookedLists)
{
    const std::pair<const char*, const char*> rows[] = {
        {"a quote stays open", "Digest realm=\"a, nonce=b"},
        {"no equals sign", "Digest realm"},
        {"a name comes twice", "Digest realm=a, realm=b"},
    };
    for (const auto& [why, text] : rows)
        EXPECT_FALSE(AuthParameters::Parse(text).wellFormed) << why;
}

TEST(AuthParameters, KeepsATokenAsItIs)
{
    const auto parsed = AuthParameters::Parse("  BASIC   dXNlcjpwYXM=  ");
    EXPECT_EQ("basic", parsed.scheme);
    EXPECT_EQ("dXNlcjpwYXM=", parsed.rest);
}

} // namespace
