#pragma once

#include <string>
#include <string_view>

/// The challenge of a `WWW-Authenticate` header value: its scheme and parameters (RFC 2617, 3.2.1).
/// A plain record with a parser; copied freely. All texts are 8-bit; empty means absent. Functions throw only
/// std::bad_alloc.
/// A comma inside a quoted value ends that value: no camera sends one.
struct AuthenticateResponse
{
    std::string scheme;    ///< "Basic" or "Digest"; empty: no valid challenge
    std::string realm;     ///< without its quotes
    std::string domain;    ///< as received, quotes included
    std::string nonce;     ///< without its quotes
    std::string opaque;    ///< as received, because it goes back as it came
    std::string stale;     ///< "TRUE" or "FALSE" in the server's spelling, or empty
    std::string algorithm; ///< "MD5" or "MD5-sess" in the server's spelling; "MD5" when the value is empty
    std::string qop;       ///< "auth" or empty

    /// Forgets what was there and parses. What is wrong is logged; IsValid tells the outcome.
    void LoadFromString(std::string_view text);

    /// A Basic challenge always is; a Digest challenge needs realm and nonce.
    bool IsValid() const noexcept;

    /// All fields, for the log.
    std::string Describe() const;

private:
    void ParseBasic(std::string_view parameters);
    void ParseDigest(std::string_view parameters);
    /// False for an algorithm that we cannot compute: the challenge is of no use then.
    bool TakeDigestParameter(std::string_view name, std::string_view value);
    void TakeQop(std::string_view value);
};
