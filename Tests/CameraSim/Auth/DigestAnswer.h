#pragma once

#include "CameraSim/Auth/AuthParameters.h"
#include "CameraSim/Auth/Md5.h"

#include <string>

/// A Digest client as RFC 2617 describes it, with every part open to be spoiled by a test.
struct DigestAnswer
{
    std::string user = "admin";
    std::string password = "secret";
    std::string realm;
    std::string nonce;
    std::string uri = "command/inquiry.cgi?inq=system";
    std::string method = "GET";
    std::string algorithm = "MD5";
    std::string qop;
    std::string nc = "00000001";
    std::string cnonce = "0a4f113b";
    std::string opaque;

    /// Takes realm, nonce, algorithm, qop and opaque from a challenge.
    static DigestAnswer To(const std::string& challenge)
    {
        const auto parsed = AuthParameters::Parse(challenge);
        DigestAnswer answer;
        answer.realm = parsed.Get("realm");
        answer.nonce = parsed.Get("nonce");
        if (parsed.Has("algorithm"))
            answer.algorithm = parsed.Get("algorithm");
        answer.qop = parsed.Has("qop") ? "auth" : "";
        answer.opaque = parsed.Get("opaque");
        return answer;
    }

    std::string Response() const
    {
        std::string ha1 = Md5::Hex(user + ":" + realm + ":" + password);
        if (algorithm == "MD5-sess")
            ha1 = Md5::Hex(ha1 + ":" + nonce + ":" + cnonce);
        const std::string ha2 = Md5::Hex(method + ":" + uri);
        if (qop.empty())
            return Md5::Hex(ha1 + ":" + nonce + ":" + ha2);
        return Md5::Hex(ha1 + ":" + nonce + ":" + nc + ":" + cnonce + ":" + qop + ":" + ha2);
    }

    std::string Text() const
    {
        std::string text = "Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce +
                           "\", uri=\"" + uri + "\", algorithm=" + algorithm + ", response=\"" + Response() + "\"";
        if (!qop.empty())
            text += ", qop=" + qop + ", nc=" + nc + ", cnonce=\"" + cnonce + "\"";
        if (!opaque.empty())
            text += ", opaque=\"" + opaque + "\"";
        return text;
    }
};
