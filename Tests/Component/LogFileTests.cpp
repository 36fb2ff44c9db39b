// The log file of the component: when it is written, and what a line looks like.

#include "Tests/Component/ScriptedCameraFixture.h"
#include "Tests/Support/RegistryValueGuard.h"
#include "Tests/Support/TemporaryFolder.h"

#include <algorithm>
#include <sstream>

namespace
{
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr wchar_t kLoggingKey[] = L"Software\\Orbell\\Logging";

class LogFile : public ScriptedCameraTest
{
protected:
    /// The log of the program again, for the tests that follow; the next object takes it up.
    ~LogFile() override
    {
        m_command.reset();
        ComponentEnvironment::UseLogFile();
        m_file.Remove();
        m_levels.Remove();
        CreateCommand();
    }

    void UseRegistryOnly()
    {
        ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", nullptr);
        ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", nullptr);
    }
    std::vector<std::string> LinesOf(const char* name) const
    {
        std::istringstream bytes(ReadFileBytes(m_folder / name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(bytes, line);)
        {
            if (line.ends_with('\r'))
                line.pop_back();
            lines.push_back(WithoutPrefix(line));
        }
        return lines;
    }
    std::wstring PathOf(const wchar_t* name) const
    {
        return (m_folder / name).wstring();
    }

    CTemporaryFolder m_folder;
    CRegistryValueGuard m_file{HKEY_LOCAL_MACHINE, kLoggingKey, L"LogFile"};
    CRegistryValueGuard m_levels{HKEY_LOCAL_MACHINE, kLoggingKey, L"Levels"};
};

TEST_F(LogFile, OffByDefault)
{
    UseRegistryOnly();
    m_file.Remove();
    m_levels.Remove();
    CommandPointer command = CreateCommand();
    command.reset();
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(LogFile, RegistrySwitchesItOnForTheNextObject)
{
    UseRegistryOnly();
    m_levels.Remove();
    m_file.SetText(PathOf(L"registry.log").c_str());
    CommandPointer command = CreateCommand();
    command.reset();
    EXPECT_THAT(LinesOf("registry.log"), ElementsAre("1 CAVCommand, constructor", "1 CAVCommand, destructor"));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(LogFile, RegistryPathMayNameVariables)
{
    UseRegistryOnly();
    ::SetEnvironmentVariableW(L"QUORVANE_TEST_FOLDER", PathOf(L"").c_str());
    m_file.SetText(L"%QUORVANE_TEST_FOLDER%\\expanded.log", REG_EXPAND_SZ);
    const CommandPointer command = CreateCommand();
    EXPECT_THAT(LinesOf("expanded.log"), ElementsAre("1 CAVCommand, constructor"));
}

TEST_F(LogFile, LevelsChooseTheMessages)
{
    UseRegistryOnly();
    m_file.SetText(PathOf(L"errors.log").c_str());
    m_levels.SetDword(8);
    const CommandPointer command = CreateCommand();
    EXPECT_EQ(E_INVALIDARG, Open(command, 0));
    EXPECT_THAT(LinesOf("errors.log"),
                ElementsAre("8 CAVCommand::OpenConnection, failed to OpenConnection, hr = 0x80070057"));
}

TEST_F(LogFile, EnvironmentWinsOverTheRegistry)
{
    m_file.SetText(PathOf(L"registry.log").c_str());
    m_levels.SetDword(8);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", PathOf(L"environment.log").c_str());
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"1");
    const CommandPointer command = CreateCommand();
    EXPECT_EQ(E_INVALIDARG, Open(command, 0));
    EXPECT_THAT(LinesOf("environment.log"), ElementsAre("1 CAVCommand, constructor"));
    EXPECT_THAT(LinesOf("registry.log"), IsEmpty());
}

TEST_F(LogFile, TraceLevelShowsTheNotificationsOfARequest)
{
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", PathOf(L"trace.log").c_str());
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"32");
    Start({ProbeReply()});
    EXPECT_EQ(S_OK, m_command->PauseStreaming());
    const std::vector<std::string> lines = LinesOf("trace.log");
    EXPECT_THAT(lines, Each(AllOf(HasSubstr("32 CAsyncHttpRequest::"), HasSubstr("dwContext = 0x"))));
    for (const char* part : {"32 CAsyncHttpRequest::InternetStatusCallback, request sent, ",
                             "32 CAsyncHttpRequest::InternetStatusCallback, response received, ",
                             "32 CAsyncHttpRequest::InternetStatusCallback() - Request Completed, ",
                             "32 CAsyncHttpRequest::InternetStatusCallback, dwInternetStatus = "})
    {
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [=](const auto& line) { return line.starts_with(part); }))
            << part;
    }
}

TEST_F(LogFile, AnswerWithLineBreaksStaysOneLine)
{
    StartProbed({HttpAnswer(200, "McAddress1=239.192.0.1\r\n&M\xC3\xBCll")});
    CameraSettings3 settings = {};
    EXPECT_EQ(E_UNEXPECTED, m_command->GetCameraSettings3(&settings));
    // Lines() refuses a line that does not begin as one.
    EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::GetCameraSettings, empty setting(s), strContent = "
                              "McAddress1=239.192.0.1\\r\\n&M"));
}

TEST_F(LogFile, NeverHoldsThePassword)
{
    const std::string digest = "WWW-Authenticate: Digest realm=\"cam\", nonce=\"n\"\r\n";
    const std::string basic = "WWW-Authenticate: Basic realm=\"cam\"\r\n";
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", PathOf(L"secret.log").c_str());
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"0xFFFFFFFF");
    for (const std::string& challenge : {digest, basic})
    {
        Start({HttpAnswer(401, "", challenge), ProbeReply(), HttpAnswer(401, "", challenge)}, L"operator", L"Sesam-9");
        EXPECT_EQ(E_FAIL, m_command->SetBitRate(64));
    }
    const std::string bytes = ReadFileBytes(m_folder / "secret.log");
    EXPECT_THAT(bytes, HasSubstr("unauthorized, authenticate header: "));
    EXPECT_THAT(bytes, Not(HasSubstr("Sesam-9")));
    EXPECT_THAT(bytes, Not(HasSubstr("b3BlcmF0b3I6U2VzYW0tOQ"))) << "nor the base64 of user and password";
}
} // namespace
