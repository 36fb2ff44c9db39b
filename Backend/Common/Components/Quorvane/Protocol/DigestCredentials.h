#pragma once

#include "Protocol/AuthenticateResponse.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// The arithmetic of Digest authentication (RFC 2617, 3.2.2) and the text of its header value. No state, no Windows:
/// the caller keeps HA1, cnonce and nonce count and supplies the hash. Functions throw only std::bad_alloc.
namespace DigestCredentials
{
/// MD5 of the bytes as 32 lower-case hexadecimal digits; empty when it cannot be computed.
using Md5Hex = std::function<std::string(std::string_view bytes)>;

struct Request
{
    std::string_view userName;
    std::string_view uri; ///< as it stands in the request, and in the header
    std::string_view method;
    std::string_view cnonce;
    std::uint32_t nonceCount; ///< 1 for the first request under a nonce
};

/// HA1 for the challenge; with MD5-sess it belongs to this nonce and cnonce. Empty when the hash fails.
std::string ComputeHa1(const AuthenticateResponse& challenge, std::string_view userName, std::string_view password,
                       std::string_view cnonce, const Md5Hex& md5Hex);

/// The value of the Authorization header. Algorithm, qop and nc are not quoted; opaque goes back as it came. Empty
/// when the hash fails.
std::string FormatHeaderValue(const AuthenticateResponse& challenge, const std::string& ha1, const Request& request,
                              const Md5Hex& md5Hex);
} // namespace DigestCredentials
