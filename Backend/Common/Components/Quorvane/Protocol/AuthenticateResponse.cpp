#include "Protocol/AuthenticateResponse.h"

#include "Protocol/Log.h"
#include "Protocol/TextUtil.h"

#include <algorithm>

using TextUtil::EqualsIgnoreCase;

namespace
{
constexpr std::string_view kBasic = "Basic";
constexpr std::string_view kDigest = "Digest";

bool BeginsWith(std::string_view text, std::string_view prefix) noexcept
{
    return EqualsIgnoreCase(text.substr(0, prefix.size()), prefix);
}

std::string_view WithoutQuotes(std::string_view value) noexcept
{
    while (!value.empty() && value.front() == '"')
        value.remove_prefix(1);
    while (!value.empty() && value.back() == '"')
        value.remove_suffix(1);
    return value;
}

/// Calls `take(name, value)` for each item of a comma-separated list until it returns false; false when it did.
template <class Take>
bool ForEachParameter(std::string_view parameters, Take take)
{
    while (!parameters.empty())
    {
        const std::string_view item = parameters.substr(0, parameters.find(','));
        parameters.remove_prefix(std::min(item.size() + 1, parameters.size()));
        const std::size_t equals = item.find('=');
        const std::string_view value = equals != std::string_view::npos ? item.substr(equals + 1) : std::string_view();
        if (!item.empty() && !take(TextUtil::Trim(item.substr(0, equals)), TextUtil::Trim(value)))
            return false;
    }
    return true;
}
} // namespace

void AuthenticateResponse::LoadFromString(std::string_view text)
{
    *this = AuthenticateResponse();
    text = TextUtil::Trim(text);
    if (text.empty())
        return;
    if (BeginsWith(text, kBasic))
        ParseBasic(text.substr(kBasic.size()));
    else if (BeginsWith(text, kDigest))
        ParseDigest(text.substr(kDigest.size()));
    else
        Log(LogLevel::Error, L"AuthenticateResponse::LoadFromString, unexpected challenge: '%s'", text);
}

bool AuthenticateResponse::IsValid() const noexcept
{
    if (scheme.empty())
        return false;
    return !EqualsIgnoreCase(scheme, kDigest) || (!realm.empty() && !nonce.empty());
}

std::string AuthenticateResponse::Describe() const
{
    return scheme + " realm=\"" + realm + "\", domain=" + domain + ", nonce=\"" + nonce + "\", opaque=" + opaque +
           ", stale=" + stale + ", algorithm=" + algorithm + ", qop=" + qop;
}

void AuthenticateResponse::ParseBasic(std::string_view parameters)
{
    ForEachParameter(parameters, [this](std::string_view name, std::string_view value) {
        if (EqualsIgnoreCase(name, "realm"))
            realm = WithoutQuotes(value);
        return true;
    });
    scheme = kBasic;
}

void AuthenticateResponse::ParseDigest(std::string_view parameters)
{
    algorithm = "MD5";
    if (ForEachParameter(parameters, [this](std::string_view name, std::string_view value) {
            return TakeDigestParameter(name, value);
        }))
        scheme = kDigest;
}

bool AuthenticateResponse::TakeDigestParameter(std::string_view name, std::string_view value)
{
    if (EqualsIgnoreCase(name, "realm"))
        realm = WithoutQuotes(value);
    else if (EqualsIgnoreCase(name, "domain"))
        domain = value;
    else if (EqualsIgnoreCase(name, "nonce"))
        nonce = WithoutQuotes(value);
    else if (EqualsIgnoreCase(name, "opaque"))
        opaque = value;
    else if (EqualsIgnoreCase(name, "stale"))
    {
        const bool isKnown = EqualsIgnoreCase(value, "TRUE") || EqualsIgnoreCase(value, "FALSE");
        if (!isKnown)
            Log(LogLevel::Debug,
                L"AuthenticateResponse::ParseDigestAuthenticateResponse, stale is neither 'TRUE' nor 'FALSE', %s",
                value);
        stale = isKnown ? value : std::string_view();
    }
    else if (EqualsIgnoreCase(name, "algorithm"))
    {
        if (!value.empty() && !EqualsIgnoreCase(value, "MD5") && !EqualsIgnoreCase(value, "MD5-sess"))
        {
            Log(LogLevel::Debug,
                L"AuthenticateResponse::ParseDigestAuthenticateResponse, unsupported algorithm: %s, abort parsing",
                value);
            return false;
        }
        algorithm = value.empty() ? std::string_view("MD5") : value;
    }
    else if (EqualsIgnoreCase(name, "qop"))
        TakeQop(WithoutQuotes(value));
    return true;
}

void AuthenticateResponse::TakeQop(std::string_view value)
{
    std::string lowerCase(value);
    std::ranges::transform(lowerCase, lowerCase.begin(), [](char character) { return TextUtil::ToLower(character); });
    // "auth" is found inside "auth-int" too, so a server that offers only the latter is answered with "auth": cameras
    // that announce it accept that. Hence the second test never holds.
    if (lowerCase.find("auth") != std::string::npos)
        qop = "auth";
    else if (lowerCase.find("auth-int") != std::string::npos)
    {
        Log(LogLevel::Debug, L"AuthenticateResponse::ParseDigestAuthenticateResponse, qop is auth-int, '%s'",
            lowerCase);
        qop = "auth-int";
    }
}
