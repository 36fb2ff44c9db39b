#include "Protocol/AuthenticateResponse.h"
#include "Fuzz/FuzzTarget.h"
#include "Protocol/DigestCredentials.h"

using Fuzz::Require;

namespace
{
AuthenticateResponse LoadChallenge(std::string_view text)
{
    AuthenticateResponse challenge;
    challenge.LoadFromString(text);
    return challenge;
}

/// An answer repeats the challenge, so that the camera finds in it what it has sent.
void CheckAnswer(const AuthenticateResponse& challenge)
{
    const DigestCredentials::Md5Hex md5Hex = [](std::string_view) { return std::string(32, '0'); };
    const std::string ha1 = DigestCredentials::ComputeHa1(challenge, "user", "password", "cnonce", md5Hex);
    const DigestCredentials::Request request{"user", "/uri", "GET", "cnonce", 1};
    const AuthenticateResponse repeated =
        LoadChallenge(DigestCredentials::FormatHeaderValue(challenge, ha1, request, md5Hex));
    Require(repeated.realm == challenge.realm, "an answer has the challenge's realm");
    Require(repeated.nonce == challenge.nonce, "an answer has the challenge's nonce");
    Require(repeated.opaque == challenge.opaque, "an answer has the challenge's opaque");
}

/// The value of a WWW-Authenticate header.
void FeedChallenge(std::string_view input)
{
    const AuthenticateResponse challenge = LoadChallenge(input);
    Require(challenge.scheme.empty() || challenge.scheme == "Basic" || challenge.scheme == "Digest", "scheme is known");
    Require(challenge.qop.empty() || challenge.qop == "auth", "qop is one that we can compute");
    if (!challenge.IsValid())
        return;
    const std::string described = challenge.Describe();
    Require(LoadChallenge(described).Describe() == described,
            "a valid challenge reads the same when it is written down");
    if (challenge.scheme == "Digest")
        CheckAnswer(challenge);
}

const CFuzzTarget kAuthenticateResponse("AuthenticateResponse", FeedChallenge);
} // namespace
