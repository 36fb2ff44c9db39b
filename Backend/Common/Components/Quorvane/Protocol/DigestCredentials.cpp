#include "Protocol/DigestCredentials.h"

#include "Protocol/TextUtil.h"

#include <initializer_list>

namespace
{
std::string JoinWithColons(std::string_view first, std::initializer_list<std::string_view> others)
{
    std::string joined(first);
    for (const std::string_view other : others)
        joined.append(":").append(other);
    return joined;
}

std::string EightHexDigits(std::uint32_t number)
{
    std::string digits;
    for (int shift = 28; shift >= 0; shift -= 4)
        digits.push_back("0123456789abcdef"[number >> shift & 0xF]);
    return digits;
}
} // namespace

std::string DigestCredentials::ComputeHa1(const AuthenticateResponse& challenge, std::string_view userName,
                                          std::string_view password, std::string_view cnonce, const Md5Hex& md5Hex)
{
    const std::string ha1 = md5Hex(JoinWithColons(userName, {challenge.realm, password}));
    if (ha1.empty() || !TextUtil::EqualsIgnoreCase(challenge.algorithm, "MD5-sess"))
        return ha1;
    return md5Hex(JoinWithColons(ha1, {challenge.nonce, cnonce}));
}

std::string DigestCredentials::FormatHeaderValue(const AuthenticateResponse& challenge, const std::string& ha1,
                                                 const Request& request, const Md5Hex& md5Hex)
{
    const std::string nc = EightHexDigits(request.nonceCount);
    const std::string algorithm = challenge.algorithm.empty() ? "MD5" : challenge.algorithm;
    const bool isAuthInt = TextUtil::EqualsIgnoreCase(challenge.qop, "auth-int");
    // Requests have no body, and the hash of none is left empty.
    const std::string ha2 = md5Hex(isAuthInt ? JoinWithColons(request.method, {request.uri, ""})
                                             : JoinWithColons(request.method, {request.uri}));
    if (ha2.empty())
        return {};
    const std::string response =
        md5Hex(challenge.qop.empty() ? JoinWithColons(ha1, {challenge.nonce, ha2})
                                     : JoinWithColons(ha1, {challenge.nonce, nc, request.cnonce, challenge.qop, ha2}));
    if (response.empty())
        return {};

    std::string value;
    value.append("Digest username=\"").append(request.userName);
    value.append("\", realm=\"").append(challenge.realm);
    value.append("\", nonce=\"").append(challenge.nonce);
    value.append("\", uri=\"").append(request.uri);
    value.append("\", algorithm=").append(algorithm);
    value.append(", response=\"").append(response).append("\"");
    if (!challenge.qop.empty())
    {
        value.append(", qop=").append(challenge.qop).append(", nc=").append(nc);
        value.append(", cnonce=\"").append(request.cnonce).append("\"");
    }
    if (!challenge.opaque.empty())
        value.append(", opaque=").append(challenge.opaque);
    return value;
}
