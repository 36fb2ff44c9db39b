// Credentials towards a camera that verifies them.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <regex>

namespace
{
using testing::ElementsAre;

AuthenticationOptions Ask(AuthenticationScheme scheme)
{
    AuthenticationOptions options;
    options.scheme = scheme;
    options.user = "operator";
    options.password = "Sesam-9";
    return options;
}

class Authentication : public SimulatedCameraTest
{
protected:
    void StartWith(AuthenticationOptions options, const wchar_t* user = L"operator",
                   const wchar_t* password = L"Sesam-9")
    {
        Start({.model = "SNC-EP580", .authentication = std::move(options)}, user, password);
    }

    /// The Authorization header of each request since the last call, "" for none.
    std::vector<std::string> Authorizations()
    {
        std::vector<std::string> values;
        const std::vector<JournalEntry> journal = m_camera->Journal();
        for (; m_seen < journal.size(); ++m_seen)
        {
            const std::string* value = journal[m_seen].request.Header("Authorization");
            values.push_back(value != nullptr ? *value : "");
        }
        return values;
    }

    /// The statuses that the camera answered with since the last call.
    std::vector<unsigned> Statuses()
    {
        std::vector<unsigned> statuses;
        const std::vector<JournalEntry> journal = m_camera->Journal();
        for (; m_statusesSeen < journal.size(); ++m_statusesSeen)
            statuses.push_back(journal[m_statusesSeen].status);
        return statuses;
    }

    static std::string Parameter(const std::string& header, const std::string& name)
    {
        std::smatch match;
        const std::regex pattern("[ ,]" + name + "=\"?([^\",]*)");
        return std::regex_search(header, match, pattern) ? match[1].str() : std::string();
    }

    std::size_t m_statusesSeen = 0;
};

TEST_F(Authentication, NobodyIsToldTheCredentialsUnasked)
{
    StartWith(Ask(AuthenticationScheme::None));
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_THAT(Authorizations(), ElementsAre("", ""));
}

TEST_F(Authentication, EverySchemeIsAnsweredOnceAndThenFromTheStart)
{
    for (const AuthenticationScheme scheme :
         {AuthenticationScheme::Basic, AuthenticationScheme::Digest, AuthenticationScheme::DigestSession})
    {
        SCOPED_TRACE(static_cast<int>(scheme));
        StartWith(Ask(scheme));
        m_statusesSeen = 0;
        EXPECT_EQ(S_OK, m_command->ConnectToCamera());
        EXPECT_EQ(S_OK, m_command->SetBitRate(100));
        EXPECT_EQ(S_OK, m_command->SendPTZCommand(PTZ_LEFT, PT_10));
        EXPECT_EQ("128", m_camera->Setting("BitRate1"));
        EXPECT_THAT(Statuses(), ElementsAre(401, 200, 200, 200, 200));
        EXPECT_EQ(1u, m_log.Count("1 CHttpRequest::SendRequest, unauthorized, authenticate header: '"));
    }
}

TEST_F(Authentication, BasicCredentialsToTheLetter)
{
    AuthenticationOptions options = Ask(AuthenticationScheme::Basic);
    options.user = "user";
    options.password = "pass";
    StartWith(options, L"user", L"pass");
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_THAT(Authorizations(), ElementsAre("", "Basic dXNlcjpwYXNz", "Basic dXNlcjpwYXNz"));
}

TEST_F(Authentication, DigestCredentialsAreOfOneForm)
{
    AuthenticationOptions options = Ask(AuthenticationScheme::Digest);
    options.opaque = "xyz";
    StartWith(options);
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    const std::vector<std::string> values = Authorizations();
    ASSERT_EQ(3u, values.size());
    EXPECT_EQ("", values[0]);
    const std::string form = R"(Digest username="operator", realm="Camera", nonce="[^"]+", uri="URI", algorithm=MD5, )"
                             R"(response="[0-9a-f]{32}", qop=auth, nc=COUNT, cnonce="[0-9a-f]{32}", opaque="xyz")";
    const auto expected = [&](const std::string& uri, const std::string& count) {
        std::string text = form;
        text.replace(text.find("URI"), 3, uri);
        text.replace(text.find("COUNT"), 5, count);
        return std::regex(text);
    };
    EXPECT_TRUE(std::regex_match(values[1], expected("command/inquiry\\.cgi\\?inq=system", "00000001"))) << values[1];
    EXPECT_TRUE(std::regex_match(values[2], expected("command/inquiry\\.cgi\\?inq=camera", "00000002"))) << values[2];
    EXPECT_EQ(Parameter(values[1], "cnonce"), Parameter(values[2], "cnonce")) << "one cnonce for a nonce";
}

TEST_F(Authentication, NonceCountIsHexadecimal)
{
    StartWith(Ask(AuthenticationScheme::Digest));
    ASSERT_EQ(S_OK, m_command->ConnectToCamera());
    for (int i = 0; i < 14; ++i)
        ASSERT_EQ(S_OK, m_command->SetAudioInVolume(0));
    EXPECT_EQ("00000010", Parameter(Authorizations().back(), "nc"));
}

TEST_F(Authentication, ChallengeWithoutQopIsAnsweredWithoutIt)
{
    AuthenticationOptions options = Ask(AuthenticationScheme::Digest);
    options.qop = "";
    StartWith(options);
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_THAT(Statuses(), ElementsAre(401, 200, 200));
    EXPECT_TRUE(std::regex_match(Authorizations().back(),
                                 std::regex("Digest username=.*, algorithm=MD5, response=\"[0-9a-f]{32}\"")))
        << "nothing behind the response";
}

TEST_F(Authentication, WhatTheChallengeSaysComesBack)
{
    const struct
    {
        const char* reason;
        const char* challenge;
        const char* end; ///< of the Authorization value
    } rows[] = {
        {"auth among several", R"(Digest realm="Camera", nonce="{nonce}", qop="auth,auth-int")", "\""},
        {"quoted opaque", R"(Digest realm="Camera", nonce="{nonce}", qop="auth", opaque="a=b")", ", opaque=\"a=b\""},
        {"unquoted opaque", R"(Digest realm="Camera", nonce="{nonce}", qop="auth", opaque=xyz)", ", opaque=xyz"},
        {"names in any case", R"(DIGEST Realm="Camera", NONCE="{nonce}", QOP="AUTH")", "\""},
        {"algorithm as spelled", R"(Digest realm="Camera", nonce="{nonce}", algorithm=md5, qop="auth")", "\""},
        {"session algorithm", R"(Digest realm="Camera", nonce="{nonce}", algorithm=MD5-sess, qop="auth")", "\""},
        {"domain is of no use", R"(Digest realm="Camera", domain="/", nonce="{nonce}", qop="auth")", "\""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        AuthenticationOptions options = Ask(AuthenticationScheme::Digest);
        options.challenge = row.challenge;
        StartWith(options);
        EXPECT_EQ(S_OK, m_command->ConnectToCamera());
        const std::vector<std::string> values = Authorizations();
        EXPECT_EQ(3u, values.size());
        EXPECT_TRUE(values.back().ends_with(row.end)) << values.back();
    }
}

TEST_F(Authentication, UnusableChallengeIsAnsweredWithoutCredentials)
{
    const struct
    {
        const char* challenge;
        const char* message;
    } rows[] = {
        {R"(Digest realm="Camera", nonce="{nonce}", algorithm=SHA-256)",
         "1 AuthenticateResponse::ParseDigestAuthenticateResponse, unsupported algorithm: SHA-256, abort parsing"},
        {R"(Digest realm="Camera", nonce="{nonce}", algorithm="MD5")",
         "1 AuthenticateResponse::ParseDigestAuthenticateResponse, unsupported algorithm: \"MD5\", abort parsing"},
        {R"(Digest realm="Camera")",
         "1 AuthorizationRequest::SetAuthenticateResponse, invalid server authenticate response: "},
        {"Negotiate", "8 AuthenticateResponse::LoadFromString, unexpected challenge: 'Negotiate'"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.challenge);
        AuthenticationOptions options = Ask(AuthenticationScheme::Digest);
        options.challenge = row.challenge;
        StartWith(options);
        EXPECT_EQ(E_FAIL, m_command->ConnectToCamera());
        const std::vector<std::string> probes = Authorizations();
        ASSERT_LE(2u, probes.size());
        EXPECT_EQ("", probes[0]);
        EXPECT_EQ("", probes[1]);
        EXPECT_LE(1u, m_log.Count(row.message));
    }
}

TEST_F(Authentication, WrongPasswordIsSentOnce)
{
    for (const AuthenticationScheme scheme : {AuthenticationScheme::Basic, AuthenticationScheme::Digest})
    {
        StartWith(Ask(AuthenticationScheme::None), L"operator", L"wrong");
        ASSERT_EQ(S_OK, m_command->ConnectToCamera());
        Forget();
        m_camera->SetAuthentication(Ask(scheme));
        EXPECT_EQ(E_FAIL, m_command->SetAudioInVolume(3));
        const std::vector<std::string> values = Authorizations();
        ASSERT_EQ(2u, values.size());
        EXPECT_EQ("", values[0]);
        EXPECT_NE("", values[1]);
        EXPECT_EQ(1u, m_log.Count("8 CHttpRequest::SendRequest, failed for url: 'command/camera.cgi?AudioInVolume=3', "
                                  "status code: 401, 'Unauthorized'"));
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::SetAudioInVolume, request (command/camera.cgi?AudioInVolume=3) "
                                  "failed, dwStatusCode = 401, hr = 0x80004005"));
        // The camera's owner corrects the password: the same object works again.
        AuthenticationOptions corrected = Ask(scheme);
        corrected.password = "wrong";
        m_camera->SetAuthentication(corrected);
        EXPECT_EQ(S_OK, m_command->SetAudioInVolume(3));
    }
}

TEST_F(Authentication, HalfCredentialsAreNone)
{
    const struct
    {
        const wchar_t* user;
        const wchar_t* password;
    } rows[] = {{L"", L"Sesam-9"}, {L"operator", L""}, {L"", L""}};
    for (const auto& row : rows)
    {
        StartWith(Ask(AuthenticationScheme::Digest), row.user, row.password);
        EXPECT_EQ(E_FAIL, m_command->ConnectToCamera());
        EXPECT_THAT(Authorizations(), testing::Each(""));
        EXPECT_LE(1u, m_log.Count("1 AuthorizationRequest::CreateAuthorizationCredentials, empty username or password, "
                                  "bail out"));
    }
}

TEST_F(Authentication, UnicodeCredentialsTravelAsUtf8)
{
    for (const AuthenticationScheme scheme :
         {AuthenticationScheme::Basic, AuthenticationScheme::Digest, AuthenticationScheme::DigestSession})
    {
        AuthenticationOptions options = Ask(scheme);
        options.user = "J\xC3\xB6rg\xE2\x82\xAC";
        options.password = "\xE3\x83\x91\xE3\x82\xB9 \xF0\x9F\x94\x91";
        StartWith(options, L"J\u00F6rg\u20AC", L"\u30D1\u30B9 \U0001F511");
        EXPECT_EQ(S_OK, m_command->ConnectToCamera());
        EXPECT_EQ(S_OK, m_command->SetBitRate(64));
        EXPECT_EQ("64", m_camera->Setting("BitRate1"));
        if (scheme != AuthenticationScheme::Basic)
        {
            EXPECT_EQ(options.user, Parameter(Authorizations().back(), "username")) << "byte for byte";
        }
    }
}

TEST_F(Authentication, StaleNonceIsReplacedWithoutAskingAgainForAnythingElse)
{
    AuthenticationOptions options = Ask(AuthenticationScheme::Digest);
    options.opaque = "xyz";
    options.nonceRequests = 2;
    StartWith(options);
    ASSERT_EQ(S_OK, m_command->ConnectToCamera()); // the nonce has served twice
    m_statusesSeen = m_camera->Journal().size();
    const std::string before = Authorizations().back();
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(3));
    EXPECT_THAT(Statuses(), ElementsAre(401, 200));
    const std::vector<std::string> values = Authorizations();
    ASSERT_EQ(2u, values.size());
    EXPECT_EQ("00000003", Parameter(values[0], "nc")) << "the old nonce is tried first";
    EXPECT_EQ("00000001", Parameter(values[1], "nc"));
    EXPECT_EQ(Parameter(before, "cnonce"), Parameter(values[0], "cnonce"));
    EXPECT_NE(Parameter(before, "cnonce"), Parameter(values[1], "cnonce"));
    EXPECT_NE(Parameter(before, "nonce"), Parameter(values[1], "nonce"));
    EXPECT_EQ("Camera", Parameter(values[1], "realm"));
    EXPECT_TRUE(values[1].ends_with(", opaque=\"xyz\"")) << values[1];
}

TEST_F(Authentication, NewChallengeReplacesEverything)
{
    StartWith(Ask(AuthenticationScheme::Digest));
    ASSERT_EQ(S_OK, m_command->ConnectToCamera());
    AuthenticationOptions other = Ask(AuthenticationScheme::Digest);
    other.realm = "Other";
    m_camera->SetAuthentication(other);
    Forget();
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(3));
    const std::vector<std::string> values = Authorizations();
    ASSERT_EQ(2u, values.size());
    EXPECT_EQ("Other", Parameter(values[1], "realm"));
    EXPECT_EQ("00000001", Parameter(values[1], "nc"));
    EXPECT_EQ(1u, m_log.Count("1 AuthorizationRequest::SetAuthenticateResponse, server authenticate response: '"));

    m_camera->SetAuthentication(Ask(AuthenticationScheme::Basic));
    Forget();
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(3));
    EXPECT_EQ("Basic b3BlcmF0b3I6U2VzYW0tOQ==", Authorizations().back());
}

TEST_F(Authentication, RefusalWithoutAChallengeIsNotAnswered)
{
    StartWith(Ask(AuthenticationScheme::Digest));
    ASSERT_EQ(S_OK, m_command->ConnectToCamera());
    m_camera->AddFault("no-challenge@command/camera.cgi");
    Forget();
    EXPECT_EQ(E_FAIL, m_command->SetAudioInVolume(3));
    EXPECT_EQ(1u, Authorizations().size()) << "no second send";
    EXPECT_EQ(1u, m_log.Count("1 CAsyncHttpRequest::SendRequest, failed to get authenticate header, url: "
                              "'command/camera.cgi?AudioInVolume=3'"));
    m_camera->ClearFaults();
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(3)) << "the challenge of before still holds";
}
} // namespace
