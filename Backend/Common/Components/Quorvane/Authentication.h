#pragma once

#include "Protocol/AuthenticateResponse.h"
#include "WarmCryptoProvider.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

/// Where a client nonce gets its bytes from. Tests replace it to compare whole header values.
class ISignatureSource
{
public:
    virtual ~ISignatureSource() = default;
    /// Bytes that nobody else will come up with, as many as it likes.
    virtual std::string RandomBytes() = 0;
};

/// A user's credentials and one server's current challenge: builds the value of the Authorization header, Basic
/// (RFC 7617) or Digest (RFC 2617; MD5 and MD5-sess, qop "auth").
/// Held by value by its HTTP request or RTSP client. One caller at a time. HA1, cnonce and nonce count belong to the
/// current nonce and start anew with another one.
/// Nothing throws: what cannot be built is an empty value, and logged; the request then goes out without credentials.
/// A user name is sent as it is, quotes included, as the server hashes it; a value with a line break or a NUL in it is
/// refused, so that nobody can add a header line.
class AuthorizationRequest
{
public:
    AuthorizationRequest() noexcept;
    /// `source` is borrowed and outlives this object.
    explicit AuthorizationRequest(ISignatureSource& source) noexcept;
    AuthorizationRequest(const AuthorizationRequest&) = delete;
    AuthorizationRequest& operator=(const AuthorizationRequest&) = delete;

    /// Kept as UTF-8; null is empty. False when memory is short: both are empty then.
    bool SetCredentials(const wchar_t* userName, const wchar_t* password) noexcept;
    void Reset(bool clearCredentials) noexcept;

    /// Takes the value of a WWW-Authenticate header. An invalid one changes nothing. One with stale=TRUE changes only
    /// the nonce.
    void SetAuthenticateResponse(const std::string& challengeText) noexcept;

    /// The header value for the next request; empty without a challenge or without credentials.
    [[nodiscard]] std::string CreateAuthorizationCredentials(const std::wstring& uri,
                                                             const std::wstring& method) noexcept;
    /// Counts the values it makes, and no others. This one and GenerateRandomSignature may throw std::bad_alloc.
    [[nodiscard]] std::string CreateDigestAuthorizationCredentials(const std::string& uri, const std::string& method);

    /// 32 hexadecimal digits, different each time; the tick count in 8 digits when MD5 is not to be had.
    [[nodiscard]] std::string GenerateRandomSignature();

    /// MD5 of `lengthBytes` bytes through CryptoAPI into `digest` (16 raw bytes). Failures are logged.
    [[nodiscard]] static bool HashData(const void* data, DWORD lengthBytes, std::string& digest);

private:
    void ForgetNonce() noexcept;
    void TakeChallenge(const std::string& challengeText);

    ISignatureSource& m_signatureSource;
    AuthenticateResponse m_challenge;
    std::string m_ha1;
    std::string m_cnonce;
    std::uint32_t m_nonceCount = 1;
    std::string m_userName;
    std::string m_password;
    WarmCryptoProvider::CUser m_providerUser;
};
