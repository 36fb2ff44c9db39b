#include "CameraSim/Auth/Authenticator.h"

#include "CameraSim/Auth/Md5.h"
#include "CameraSim/Text/Ascii.h"
#include "CameraSim/Text/Base64.h"

#include <algorithm>
#include <random>

namespace
{

std::string RandomNonce()
{
    std::random_device random;
    std::string seed;
    for (int i = 0; i < 8; ++i)
        seed += std::to_string(random()) + ".";
    return Md5::Hex(seed);
}

void ReplaceAll(std::string& text, std::string_view what, std::string_view with)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

std::string_view WithoutSlash(std::string_view target)
{
    return target.starts_with('/') ? target.substr(1) : target;
}

bool IsSession(const AuthParameters& challenge)
{
    return Ascii::EqualNoCase(challenge.Get("algorithm"), "MD5-sess");
}

std::string AlgorithmOf(const AuthParameters& parameters)
{
    return parameters.Has("algorithm") ? parameters.Get("algorithm") : "MD5";
}

} // namespace

CAuthenticator::CAuthenticator(AuthenticationOptions options, NonceSource nonceSource)
    : m_options(std::move(options)), m_nonceSource(nonceSource ? std::move(nonceSource) : NonceSource(RandomNonce))
{
}

void CAuthenticator::Configure(AuthenticationOptions options)
{
    m_options = std::move(options);
    m_nonces.clear();
}

AuthenticationVerdict CAuthenticator::Check(std::string_view method, std::string_view target,
                                            const std::string* authorization)
{
    if (m_options.scheme == AuthenticationScheme::None)
        return {true, "no authentication asked for", {}};
    if (!authorization)
        return Refuse("no Authorization header");
    const AuthParameters credentials = AuthParameters::Parse(*authorization);
    if (m_options.scheme == AuthenticationScheme::Basic)
        return CheckBasic(credentials);
    return CheckDigest(method, target, credentials);
}

AuthenticationVerdict CAuthenticator::Refuse(std::string why, bool stale)
{
    return {false, std::move(why), MakeChallenge(stale)};
}

AuthenticationVerdict CAuthenticator::CheckBasic(const AuthParameters& credentials)
{
    if (credentials.scheme != "basic")
        return Refuse("the scheme is not Basic");
    const auto decoded = Base64Text::Decode(credentials.rest);
    if (!decoded)
        return Refuse("the Basic credentials are not base64");
    if (*decoded != m_options.user + ":" + m_options.password)
        return Refuse("wrong user name or password");
    return {true, "Basic credentials accepted", {}};
}

AuthenticationVerdict CAuthenticator::CheckDigest(std::string_view method, std::string_view target,
                                                  const AuthParameters& answer)
{
    if (answer.scheme != "digest")
        return Refuse("the scheme is not Digest");
    if (!answer.wellFormed)
        return Refuse("the Digest parameters are not well-formed");
    IssuedNonce* issued = Find(answer.Get("nonce"));
    // A nonce from before a restart, or one that was forgotten: stale, if the arithmetic shows the right password.
    const AuthParameters challenge =
        issued ? issued->challenge : AuthParameters::Parse(ChallengeText(answer.Get("nonce"), false));
    if (const std::string why = CheckDigestForm(target, answer, challenge); !why.empty())
        return Refuse(why);
    if (!Ascii::EqualNoCase(answer.Get("response"), ExpectedResponse(method, answer, challenge)))
        return Refuse("the response does not match: wrong password, or a slip in the arithmetic");
    if (!issued)
        return Refuse("unknown nonce", true);
    if (m_options.nonceRequests != 0 && issued->requests >= m_options.nonceRequests)
        return Refuse("the nonce has served its number of requests", true);
    if (challenge.Has("qop"))
    {
        const std::uint64_t count = Ascii::Number<std::uint64_t>(answer.Get("nc"), 16).value_or(0);
        if (count <= issued->lastCount)
            return Refuse("nc did not grow (" + answer.Get("nc") + ")");
        issued->lastCount = count;
    }
    ++issued->requests;
    return {true, "Digest response verified", {}};
}

std::string CAuthenticator::CheckDigestForm(std::string_view target, const AuthParameters& answer,
                                            const AuthParameters& challenge) const
{
    for (const char* name : {"username", "realm", "nonce", "uri", "response"})
    {
        if (!answer.Has(name))
            return std::string("the Digest answer has no ") + name;
    }
    if (answer.Get("username") != m_options.user)
        return "wrong user name";
    if (answer.Get("realm") != challenge.Get("realm"))
        return "the realm is not the challenge's";
    if (answer.Get("opaque") != challenge.Get("opaque"))
        return "opaque was not returned as it was sent";
    if (!Ascii::EqualNoCase(AlgorithmOf(answer), AlgorithmOf(challenge)))
        return "the algorithm is not the challenge's";
    // Some clients hash the path without its leading slash and say so in uri; cameras take uri as it is.
    if (WithoutSlash(answer.Get("uri")) != WithoutSlash(target))
        return "uri is not the requested one";
    if (!challenge.Has("qop"))
        return answer.Has("qop") ? "qop was not offered" : "";
    if (answer.Get("qop") != "auth")
        return "qop is not auth";
    const std::string count = answer.Get("nc");
    if (count.size() != 8 || !Ascii::Number<std::uint64_t>(count, 16))
        return "nc is not eight hexadecimal digits";
    if (answer.Get("cnonce").empty())
        return "the Digest answer has no cnonce";
    return "";
}

std::string CAuthenticator::ExpectedResponse(std::string_view method, const AuthParameters& answer,
                                             const AuthParameters& challenge) const
{
    const std::string nonce = answer.Get("nonce");
    std::string ha1 = Md5::Hex(m_options.user + ":" + challenge.Get("realm") + ":" + m_options.password);
    if (IsSession(challenge))
        ha1 = Md5::Hex(ha1 + ":" + nonce + ":" + answer.Get("cnonce"));
    const std::string ha2 = Md5::Hex(std::string(method) + ":" + answer.Get("uri"));
    if (!challenge.Has("qop"))
        return Md5::Hex(ha1 + ":" + nonce + ":" + ha2);
    return Md5::Hex(ha1 + ":" + nonce + ":" + answer.Get("nc") + ":" + answer.Get("cnonce") + ":" + answer.Get("qop") +
                    ":" + ha2);
}

std::string CAuthenticator::MakeChallenge(bool stale)
{
    if (m_options.scheme == AuthenticationScheme::Basic)
        return ChallengeText({}, stale);
    const std::string text = ChallengeText(m_nonceSource(), stale);
    AuthParameters challenge = AuthParameters::Parse(text);
    const std::string nonce = challenge.Get("nonce");
    // A challenge with a fixed nonce starts that nonce afresh.
    std::erase_if(m_nonces, [&](const IssuedNonce& issued) { return issued.nonce == nonce; });
    if (m_nonces.size() >= kMaxNonces)
        m_nonces.pop_front();
    m_nonces.push_back({nonce, std::move(challenge), 0, 0});
    return text;
}

std::string CAuthenticator::ChallengeText(const std::string& nonce, bool stale) const
{
    if (!m_options.challenge.empty())
    {
        std::string text = m_options.challenge;
        ReplaceAll(text, "{nonce}", nonce);
        ReplaceAll(text, "{stale}", stale ? "true" : "false");
        return text;
    }
    if (m_options.scheme == AuthenticationScheme::Basic)
        return "Basic realm=\"" + m_options.realm + "\"";
    std::string text = "Digest realm=\"" + m_options.realm + "\", nonce=\"" + nonce + "\"";
    if (!m_options.opaque.empty())
        text += ", opaque=\"" + m_options.opaque + "\"";
    if (stale)
        text += ", stale=true";
    text += m_options.scheme == AuthenticationScheme::DigestSession ? ", algorithm=MD5-sess" : ", algorithm=MD5";
    if (!m_options.qop.empty())
        text += ", qop=\"" + m_options.qop + "\"";
    return text;
}

CAuthenticator::IssuedNonce* CAuthenticator::Find(std::string_view nonce)
{
    const auto found = std::find_if(m_nonces.begin(), m_nonces.end(),
                                    [&](const IssuedNonce& issued) { return issued.nonce == nonce; });
    return found == m_nonces.end() ? nullptr : &*found;
}
