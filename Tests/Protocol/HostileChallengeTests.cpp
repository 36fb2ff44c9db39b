#include "Protocol/AuthenticateResponse.h"
#include "Protocol/Base64.h"
#include "Protocol/DigestCredentials.h"

#include "Tests/Support/CapturingLogSink.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// Whatever a server sends: no read outside the text (the native build checks), and what the parser keeps obeys its
// own rules. The seeds are fixed, so that a failure can be repeated; a failing text is shown as Base64.
namespace
{
constexpr int kRounds = 20000;
constexpr std::size_t kMaxPieces = 40;

constexpr std::string_view kChallengePieces[] = {"Digest",
                                                 "Basic",
                                                 "digest ",
                                                 "realm",
                                                 "nonce",
                                                 "opaque",
                                                 "domain",
                                                 "stale",
                                                 "algorithm",
                                                 "qop",
                                                 "=",
                                                 "=\"",
                                                 "\"",
                                                 "\"\"",
                                                 ",",
                                                 ", ",
                                                 ",,",
                                                 " ",
                                                 "\t",
                                                 "\r\n",
                                                 "auth",
                                                 "auth-int",
                                                 "AUTH",
                                                 "MD5",
                                                 "MD5-sess",
                                                 "SHA-256",
                                                 "TRUE",
                                                 "false",
                                                 "%s%n%d",
                                                 "\\\"",
                                                 std::string_view("\0", 1),
                                                 "\xFF\xFE",
                                                 "\xC3\xBC",
                                                 "x",
                                                 "0123456789abcdef"};

bool IsTrimmed(std::string_view text)
{
    constexpr std::string_view kSpaces = " \t\r\n\v\f";
    return text.empty() || (kSpaces.find(text.front()) == kSpaces.npos && kSpaces.find(text.back()) == kSpaces.npos);
}

bool IsUnquoted(std::string_view text)
{
    return !text.starts_with('"') && !text.ends_with('"');
}

void ExpectSane(const AuthenticateResponse& response, const std::string& text)
{
    const std::string shown = Base64::Encode(text);
    EXPECT_TRUE(response.scheme.empty() || response.scheme == "Basic" || response.scheme == "Digest") << shown;
    EXPECT_TRUE(response.qop.empty() || response.qop == "auth") << shown;
    EXPECT_TRUE(IsUnquoted(response.realm) && IsUnquoted(response.nonce)) << shown;
    EXPECT_TRUE(IsTrimmed(response.domain) && IsTrimmed(response.opaque)) << shown;
    EXPECT_TRUE(response.stale.empty() || response.stale.size() == 4 || response.stale.size() == 5) << shown;
    EXPECT_TRUE(response.algorithm.empty() || response.algorithm.size() == 3 || response.algorithm.size() == 8)
        << shown;
    for (const std::string* field : {&response.realm, &response.domain, &response.nonce, &response.opaque})
    {
        EXPECT_EQ(field->find(','), std::string::npos) << shown;
        EXPECT_LE(field->size(), text.size()) << shown;
    }
    if (response.scheme == "Digest")
    {
        EXPECT_EQ(response.IsValid(), !response.realm.empty() && !response.nonce.empty()) << shown;
        EXPECT_FALSE(response.algorithm.empty()) << shown;
    }
}

/// Parses, describes and answers; also through the log, which formats what the server sent.
void Exercise(const std::string& text)
{
    // A copy of exactly this size, so that a read beyond the end is one beyond the block.
    const std::vector<char> exact(text.begin(), text.end());
    AuthenticateResponse response;
    response.LoadFromString(std::string_view(exact.data(), exact.size()));
    ExpectSane(response, text);
    EXPECT_TRUE(response.Describe().starts_with(response.scheme));
    const auto md5 = [](std::string_view bytes) { return std::to_string(bytes.size()); };
    const std::string ha1 = DigestCredentials::ComputeHa1(response, "user", "pass", "cnonce", md5);
    const std::string value =
        DigestCredentials::FormatHeaderValue(response, ha1, {"user", "/", "GET", "cnonce", 1}, md5);
    EXPECT_TRUE(value.starts_with("Digest username=\"user\", realm=\"" + response.realm + "\", nonce=\""));
    if (!response.opaque.empty())
    {
        EXPECT_TRUE(value.ends_with(", opaque=" + response.opaque));
    }
}

TEST(HostileChallenge, RandomBytesBehindAScheme)
{
    const CLogCapture log;
    std::mt19937 random(1);
    for (int round = 0; round < kRounds; ++round)
    {
        std::string text = round % 3 == 0 ? "" : round % 3 == 1 ? "Digest " : "Basic ";
        for (std::size_t left = random() % 100; left != 0; --left)
            text.push_back(static_cast<char>(random() % 256));
        Exercise(text);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

TEST(HostileChallenge, WordsOfTheGrammarInAnyOrder)
{
    const CLogCapture log;
    std::mt19937 random(2);
    int validCount = 0;
    for (int round = 0; round < kRounds; ++round)
    {
        std::string text = "Digest ";
        for (std::size_t left = random() % kMaxPieces; left != 0; --left)
            text += kChallengePieces[random() % std::size(kChallengePieces)];
        Exercise(text);
        AuthenticateResponse response;
        response.LoadFromString(text);
        validCount += response.IsValid() ? 1 : 0;
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(validCount, 0) << "the generator reaches valid challenges";
}

TEST(HostileChallenge, EveryPartOfAValidChallenge)
{
    const CLogCapture log;
    const std::string whole = "Digest realm=\"cam\", domain=\"/\", nonce=\"abc\", opaque=\"xyz\", stale=TRUE, "
                              "algorithm=MD5-sess, qop=\"auth,auth-int\"";
    for (std::size_t length = 0; length <= whole.size(); ++length)
        Exercise(whole.substr(0, length));
    for (std::size_t position = 0; position < whole.size(); ++position)
    {
        for (const char other : {'"', ',', '=', ' ', '\0', '\xFF'})
        {
            std::string changed = whole;
            changed[position] = other;
            Exercise(changed);
        }
    }
}

TEST(HostileChallenge, LongTextsTakeTimeInProportion)
{
    const auto start = std::chrono::steady_clock::now();
    constexpr std::size_t kLength = 1'000'000;
    Exercise("Digest " + std::string(kLength, ','));
    Exercise("Digest realm=" + std::string(kLength, '"'));
    Exercise("Digest " + std::string(kLength, '='));
    std::string many = "Digest ";
    for (int index = 0; index < 100'000; ++index)
        many += "nonce=a,";
    Exercise(many);
    // Generous: these take well under a second also under the sanitizers; time in proportion to the square would take
    // many minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}
} // namespace
