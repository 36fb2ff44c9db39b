// Whatever a camera does, and whatever the log shows: no user name, no password, nothing made of them.

#include "CameraSim/Auth/Md5.h"
#include "CameraSim/Text/Base64.h"
#include "Tests/Component/AxisStreamFixture.h"
#include "Tests/Support/TemporaryFolder.h"

#include <set>

namespace
{
const std::string kUser = "Opera-t\xC3\xB6r";
const std::string kPassword = "S\xC3\xA9same-9";
constexpr wchar_t kUserWide[] = L"Opera-t\u00F6r";
constexpr wchar_t kPasswordWide[] = L"S\u00E9same-9";

std::string Utf16(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

/// What the bytes look like inside a longer text's base64, wherever they stand in it.
std::set<std::string> InsideBase64(const std::string& bytes)
{
    std::set<std::string> forms;
    for (std::size_t before = 0; before < 3; ++before)
    {
        // The first and the last characters hold bits of the neighbours, too.
        const std::string text = Base64Text::Encode(std::string(before, '\0') + bytes);
        const std::size_t first = (before * 4 + 2) / 3;
        const std::size_t whole = (before + bytes.size()) * 8 / 6;
        forms.insert(text.substr(first, whole - first));
    }
    return forms;
}

class Secrecy : public AxisStreamTest
{
protected:
    /// The program's log again; the next object takes it up.
    ~Secrecy() override
    {
        m_command.reset();
        ComponentEnvironment::UseLogFile();
        CreateCommand();
    }
    void SetUp() override
    {
        ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", (m_folder / "secret.log").c_str());
        ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"0xFFFFFFFF");
    }
    void TearDown() override
    {
        Forsake();
        const std::string log = ReadFileBytes(m_folder / "secret.log");
        EXPECT_FALSE(log.empty());
        for (const std::string& secret : Secrets())
            EXPECT_EQ(std::string::npos, log.find(secret)) << testing::PrintToString(secret);
        EXPECT_EQ(std::string::npos, log.find("Authorization: ")) << "nor the header as a whole";
    }
    /// Keeps what this camera was told, and leaves it.
    void Forsake()
    {
        if (!m_camera)
            return;
        for (const JournalEntry& entry : m_camera->Journal())
            if (const std::string* value = entry.request.Header("Authorization"))
                m_told.insert(*value);
        m_command.reset();
        m_camera.reset();
    }
    void StartFor(const std::string& model, AuthenticationOptions options)
    {
        Forsake();
        Start({.model = model, .authentication = std::move(options)}, kUserWide, kPasswordWide);
        m_camera->SetSetting("Image.I0.Appearance.Resolution", "480x270");
    }
    static AuthenticationOptions Ask(AuthenticationScheme scheme, const std::string& password = kPassword)
    {
        AuthenticationOptions options;
        options.scheme = scheme;
        options.user = kUser;
        options.password = password;
        return options;
    }
    /// Every step of a session, whatever comes of it.
    void UseIpela()
    {
        (void)m_command->ConnectToCamera();
        (void)m_command->SetBitRate(512);
        CameraSettings3 settings = {};
        (void)m_command->GetCameraSettings3(&settings);
        const CBstr address(settings.MulticastAddress);
    }
    HRESULT UseAxis()
    {
        (void)m_command->ConnectToCamera();
        (void)m_command->ConnectToRtspServer(TRUE);
        CH264Parameters parameters;
        (void)m_command->GetH264Parameters(&parameters);
        CTransport transport(5000);
        (void)m_command->SetupTransport(kVideo, transport.Record());
        (void)m_command->StartMpeg4Video();
        return m_command->StopStreaming();
    }

    std::set<std::string> Secrets() const
    {
        const std::string pair = kUser + ":" + kPassword;
        std::set<std::string> secrets = {kUser,
                                         kPassword,
                                         "Opera-t\xF6r",
                                         "S\xE9same-9",
                                         Utf16(kUserWide),
                                         Utf16(kPasswordWide),
                                         Md5::Hex(kUser + ":Camera:" + kPassword)};
        for (const std::string& bytes : {kUser, kPassword, pair, Utf16(kPasswordWide)})
            secrets.merge(InsideBase64(bytes));
        for (const std::string& value : m_told)
        {
            secrets.insert(value);
            secrets.merge(InsideBase64(value));
            const std::size_t response = value.find("response=\"");
            if (response != value.npos)
                secrets.insert(value.substr(response + 10, 32));
        }
        return secrets;
    }

    CTemporaryFolder m_folder;
    std::set<std::string> m_told; ///< the values of Authorization that cameras have got
};

constexpr AuthenticationScheme kSchemes[] = {AuthenticationScheme::None, AuthenticationScheme::Basic,
                                             AuthenticationScheme::Digest, AuthenticationScheme::DigestSession};

TEST_F(Secrecy, WhenTheCameraAcceptsThem)
{
    for (const AuthenticationScheme scheme : kSchemes)
    {
        StartFor("SNC-EP580", Ask(scheme));
        UseIpela();
        StartFor("AXIS P5635-E", Ask(scheme));
        EXPECT_EQ(S_OK, UseAxis());
    }
    Forsake();
    EXPECT_LE(20u, m_told.size()) << "otherwise nothing is shown";
}

TEST_F(Secrecy, WhenTheCameraRefusesThemForEver)
{
    for (const AuthenticationScheme scheme : kSchemes)
    {
        for (const char* model : {"SNC-EP580", "AXIS P5635-E"})
        {
            StartFor(model, Ask(AuthenticationScheme::None));
            ASSERT_EQ(S_OK, m_command->ConnectToCamera());
            m_camera->SetAuthentication(Ask(scheme, "another"));
            if (std::string(model) == "SNC-EP580")
                UseIpela();
            else
                (void)UseAxis();
        }
    }
    Forsake();
    EXPECT_LE(6u, m_told.size());
}

TEST_F(Secrecy, WhenTheChallengeIsBroken)
{
    for (const char* challenge :
         {"", "Digest", "Basic", "Basic realm=", "Digest realm=\"%s\", nonce=\"{nonce}\"", "Digest nonce=\"{nonce}\"",
          "Digest realm=\"Camera\", nonce=\"{nonce}\", algorithm=SHA-256", "Negotiate", "NTLM",
          "Digest realm=\"Camera\", nonce=\"{nonce}\", qop=\"auth-int\", stale=perhaps, opaque=\"a,b\"",
          "Digest realm=\"Camera\", nonce=\"{nonce}\", qop=\"auth\", domain=\"\\\\x\\y\", realm=\"\"\"\""})
    {
        AuthenticationOptions options = Ask(AuthenticationScheme::Digest);
        options.challenge = challenge;
        StartFor("SNC-EP580", Ask(AuthenticationScheme::None));
        ASSERT_EQ(S_OK, m_command->ConnectToCamera());
        m_camera->SetAuthentication(options);
        UseIpela();
    }
}

TEST_F(Secrecy, WhenRtspFails)
{
    for (const AuthenticationScheme scheme : {AuthenticationScheme::Basic, AuthenticationScheme::Digest})
    {
        for (const char* fault : {"challenge@rtsp:", "status:500@rtsp:", "garbage@rtsp:PLAY", "status:401@tunnel:GET"})
        {
            StartFor("AXIS P5635-E", Ask(scheme));
            ASSERT_EQ(S_OK, m_command->ConnectToCamera()) << fault;
            m_camera->AddFault(fault);
            (void)UseAxis();
        }
    }
}

TEST_F(Secrecy, WhenHttpFails)
{
    for (const char* fault : {"silent", "drop", "garbage", "status:400", "truncate", "no-challenge", "drip:100"})
    {
        StartFor("SNC-EP580", Ask(AuthenticationScheme::Basic));
        ASSERT_EQ(S_OK, m_command->ConnectToCamera()) << fault;
        m_camera->AddFault(fault);
        m_registry.SetText(kTimeLimit, L"1000");
        UseIpela();
        m_registry.Remove(kTimeLimit);
    }
    Forsake();
    EXPECT_EQ(1u, m_told.size()) << "Basic is always the same";
}
} // namespace
