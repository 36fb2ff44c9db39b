#include "Logging/LogSettings.h"
#include "Protocol/Log.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/RegistryValues.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
class LogSettingsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ClearEnvironment();
    }
    void TearDown() override
    {
        ClearEnvironment();
        m_values.Remove(L"LogFile");
        LogSettings::Apply();
        EXPECT_FALSE(COBLogManager::IsLogging());
    }

    static void ClearEnvironment()
    {
        ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", nullptr);
        ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", nullptr);
    }

    /// Applies the settings and logs one message of each level; returns the levels that reached the file.
    std::string LevelsIn(const char* file)
    {
        LogSettings::Apply();
        Log(LogLevel::Debug, L"<1>");
        Log(LogLevel::Information, L"<4>");
        Log(LogLevel::Error, L"<8>");
        Log(LogLevel::Trace, L"<32>");
        const std::string bytes = ReadFileBytes(m_folder / file);
        std::string result;
        for (const char* level : {"<1>", "<4>", "<8>", "<32>"})
            result += bytes.find(level) != std::string::npos ? level : "";
        return result;
    }

    std::wstring Path(const char* file)
    {
        return (m_folder / file).wstring();
    }

    CTemporaryFolder m_folder;
    CTestRegistryKey m_values{L"Software\\Orbell\\Logging"};
};

constexpr char kAll[] = "<1><4><8><32>";

TEST_F(LogSettingsTest, LoggingIsOffByDefault)
{
    LogSettings::Apply();
    EXPECT_FALSE(COBLogManager::IsLogging());
}

TEST_F(LogSettingsTest, LevelsAloneDoNotSwitchLoggingOn)
{
    m_values.SetDword(L"Levels", 8);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"8");
    LogSettings::Apply();
    EXPECT_FALSE(COBLogManager::IsLogging());
}

TEST_F(LogSettingsTest, FileFromTheRegistryTakesAllLevels)
{
    m_values.SetText(L"LogFile", Path("registry.log"));
    EXPECT_EQ(LevelsIn("registry.log"), kAll);
}

TEST_F(LogSettingsTest, FileFromTheRegistryIsExpanded)
{
    ::SetEnvironmentVariableW(L"ORBELL_TEST_FOLDER", Path(".").c_str());
    m_values.SetText(L"LogFile", L"%ORBELL_TEST_FOLDER%\\expanded.log", REG_EXPAND_SZ);
    EXPECT_EQ(LevelsIn("expanded.log"), kAll);
}

TEST_F(LogSettingsTest, LevelsFromTheRegistryAreAMask)
{
    m_values.SetText(L"LogFile", Path("registry.log"));
    m_values.SetDword(L"Levels", 1 | 8);
    EXPECT_EQ(LevelsIn("registry.log"), "<1><8>");
}

TEST_F(LogSettingsTest, EnvironmentWinsOverTheRegistryEachOnItsOwn)
{
    m_values.SetText(L"LogFile", Path("registry.log"));
    m_values.SetDword(L"Levels", 8);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", Path("environment.log").c_str());
    EXPECT_EQ(LevelsIn("environment.log"), "<8>");
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", nullptr);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"4");
    EXPECT_EQ(LevelsIn("registry.log"), "<4>");
}

struct LevelsCase
{
    const char* reason;
    const wchar_t* text;
    const char* expected;
};

TEST_F(LogSettingsTest, LevelsInTheEnvironmentAreDecimalOrHexadecimal)
{
    const std::vector<LevelsCase> cases = {
        {"decimal", L"40", "<8><32>"},
        {"hexadecimal", L"0x28", "<8><32>"},
        {"hexadecimal in capitals", L"0XFFFFFFFF", kAll},
        {"a leading zero makes no octal number: 10 holds the bits 8 and 2", L"010", "<8>"},
        {"no digits behind the prefix", L"0x", "<4>"},
        {"no number: the registry holds", L"all", "<4>"},
        {"number with a tail: the registry holds", L"8 ", "<4>"},
        {"negative: the registry holds", L"-1", "<4>"},
        {"more than 32 bits: the registry holds", L"0x100000008", "<4>"},
        {"far more than 64 bits: the registry holds", L"99999999999999999999999999", "<4>"},
        {"empty counts as absent", L"", "<4>"},
        {"none", L"0", ""},
    };
    m_values.SetDword(L"Levels", 4);
    int number = 0;
    for (const LevelsCase& each : cases)
    {
        const std::string file = std::to_string(number++) + ".log";
        ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", Path(file.c_str()).c_str());
        ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", each.text);
        EXPECT_EQ(LevelsIn(file.c_str()), each.expected) << each.reason;
    }
}

TEST_F(LogSettingsTest, FileThatCannotBeOpenedLeavesLoggingOffUntilItCan)
{
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", Path("later\\a.log").c_str());
    LogSettings::Apply();
    EXPECT_FALSE(COBLogManager::IsLogging());
    std::filesystem::create_directory(m_folder / "later");
    EXPECT_EQ(LevelsIn("later\\a.log"), kAll);
}

TEST_F(LogSettingsTest, FileThatCannotBeOpenedEndsTheOldLog)
{
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", Path("a.log").c_str());
    EXPECT_EQ(LevelsIn("a.log"), kAll);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", Path("no-such-folder\\a.log").c_str());
    LogSettings::Apply();
    EXPECT_FALSE(COBLogManager::IsLogging());
}

TEST_F(LogSettingsTest, FileIsReopenedOnlyWhenSomethingChanged)
{
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", Path("a.log").c_str());
    EXPECT_EQ(LevelsIn("a.log"), kAll);
    // Renamed under the sink, the file goes on growing: it has not been opened anew.
    ASSERT_TRUE(::MoveFileW(Path("a.log").c_str(), Path("b.log").c_str())) << ::GetLastError();
    LogSettings::Apply();
    Log(LogLevel::Error, L"unchanged");
    EXPECT_NE(ReadFileBytes(m_folder / "b.log").find("unchanged"), std::string::npos);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"8");
    LogSettings::Apply();
    Log(LogLevel::Error, L"other levels");
    EXPECT_NE(ReadFileBytes(m_folder / "b.log").find("other levels"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "a.log"));
}

TEST_F(LogSettingsTest, SinkOfAnotherOwnerStaysWhileNothingChanges)
{
    LogSettings::Apply();
    CLogCapture log;
    LogSettings::Apply();
    Log(LogLevel::Error, L"captured");
    EXPECT_EQ(log.Count(L"captured"), 1u);
}
} // namespace
