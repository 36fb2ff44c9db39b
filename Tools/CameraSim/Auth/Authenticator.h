#pragma once

#include "CameraSim/Auth/AuthParameters.h"
#include "CameraSim/Auth/AuthenticationOptions.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

/// What became of one request's credentials.
struct AuthenticationVerdict
{
    bool accepted = false;
    std::string why;       ///< one clause for the journal, also when accepted
    std::string challenge; ///< WWW-Authenticate value of the 401; empty when accepted
};

/// The camera's side of Basic (RFC 7617) and Digest (RFC 2617: MD5, MD5-sess, qop "auth" or none).
/// Every nonce is remembered with the challenge that carried it, and an answer is checked against that challenge:
/// realm, opaque, algorithm and qop as offered, nc larger than the last one, the response computed anew.
/// Not thread-safe; the owner serialises. Never fails; at most kMaxNonces nonces are remembered, the oldest go first.
class CAuthenticator
{
public:
    using NonceSource = std::function<std::string()>;

    static constexpr std::size_t kMaxNonces = 256;

    explicit CAuthenticator(AuthenticationOptions options, NonceSource nonceSource = {});

    const AuthenticationOptions& Options() const noexcept
    {
        return m_options;
    }

    /// Forgets all nonces.
    void Configure(AuthenticationOptions options);

    /// `authorization` is null when the request brought no Authorization header. `target` as in the request line.
    AuthenticationVerdict Check(std::string_view method, std::string_view target, const std::string* authorization);

private:
    struct IssuedNonce
    {
        std::string nonce;
        AuthParameters challenge;
        std::uint64_t lastCount = 0;
        unsigned requests = 0;
    };

    AuthenticationVerdict Refuse(std::string why, bool stale = false);
    AuthenticationVerdict CheckBasic(const AuthParameters& credentials);
    AuthenticationVerdict CheckDigest(std::string_view method, std::string_view target, const AuthParameters& answer);
    /// Everything of an answer that does not depend on earlier requests; the reason of a refusal, or empty.
    std::string CheckDigestForm(std::string_view target, const AuthParameters& answer,
                                const AuthParameters& challenge) const;
    std::string ExpectedResponse(std::string_view method, const AuthParameters& answer,
                                 const AuthParameters& challenge) const;
    std::string MakeChallenge(bool stale);
    std::string ChallengeText(const std::string& nonce, bool stale) const;
    IssuedNonce* Find(std::string_view nonce);

    AuthenticationOptions m_options;
    NonceSource m_nonceSource;
    std::deque<IssuedNonce> m_nonces;
};
