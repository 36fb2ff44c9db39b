#pragma once

#include <string>

enum class AuthenticationScheme
{
    None,
    Basic,
    Digest,       ///< RFC 2617, algorithm MD5
    DigestSession ///< RFC 2617, algorithm MD5-sess; needs qop
};

struct AuthenticationOptions
{
    AuthenticationScheme scheme = AuthenticationScheme::None;
    std::string user = "admin"; ///< UTF-8
    std::string password = "admin";
    std::string realm = "Camera";
    std::string qop = "auth";   ///< as offered in the challenge; empty: none is offered (RFC 2069 arithmetic)
    std::string opaque = {};    ///< sent quoted and expected back when not empty
    unsigned nonceRequests = 0; ///< a nonce is stale after so many requests; 0: never
    /// Replaces the whole WWW-Authenticate value. "{nonce}" becomes a fresh nonce, "{stale}" true or false.
    /// What the client answers is verified against this text.
    std::string challenge = {};
};
