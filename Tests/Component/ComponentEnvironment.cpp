#include "Tests/Component/ComponentEnvironment.h"

#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/SoundHeaps.h"
#include "Tests/Support/TemporaryFolder.h"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <regex>
#include <stdexcept>

namespace
{
std::optional<CTemporaryFolder> g_folder;
std::filesystem::path g_logFile;

/// The log file lies in the folder until the library, which holds it open, is gone.
class CRegisteredComponent final : public testing::Environment
{
public:
    void SetUp() override
    {
        g_folder.emplace();
        g_logFile = *g_folder / "component.log";
        ComponentEnvironment::UseLogFile();
        ASSERT_EQ(S_OK, CComponentLibrary().RegisterServer());
    }
    void TearDown() override
    {
        EXPECT_EQ(S_OK, CComponentLibrary().UnregisterServer());
        g_folder.reset();
    }
};

/// Whoever damages a heap is named, instead of whoever happens to use it next.
class CHeapWatch final : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_TRUE(AreHeapsSound()) << "this test has damaged a heap";
    }
};
} // namespace

testing::Environment* ComponentEnvironment::Make()
{
    testing::UnitTest::GetInstance()->listeners().Append(new CHeapWatch);
    return new CRegisteredComponent;
}

void ComponentEnvironment::UseLogFile()
{
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", g_logFile.c_str());
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"0xD");
}

const std::filesystem::path& ComponentEnvironment::LogFile()
{
    return g_logFile;
}

CComponentLog::CComponentLog()
{
    Clear();
}

void CComponentLog::Clear()
{
    std::error_code absent;
    const std::uintmax_t sizeBytes = std::filesystem::file_size(ComponentEnvironment::LogFile(), absent);
    m_startBytes = absent ? 0 : sizeBytes;
}

std::vector<std::string> CComponentLog::Lines() const
{
    std::ifstream file(ComponentEnvironment::LogFile(), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(m_startBytes));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
    {
        if (line.ends_with('\r'))
            line.pop_back();
        lines.push_back(WithoutPrefix(line));
    }
    return lines;
}

std::size_t CComponentLog::Count(const std::string& part) const
{
    const std::vector<std::string> lines = Lines();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

std::string WithoutPrefix(const std::string& line)
{
    // Matched on the beginning only: messages may be as long as a camera's answer.
    static const std::regex kPrefix(
        R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[\d+\] VIDEO_QUORVANE (\d+) [A-Za-z0-9]+\.(?:cpp|h)\(\d+\) )");
    std::smatch match;
    const std::string start = line.substr(0, 200);
    if (!std::regex_search(start, match, kPrefix))
        throw std::runtime_error("no line of a log: " + line);
    return match[1].str() + " " + line.substr(static_cast<std::size_t>(match.length(0)));
}
