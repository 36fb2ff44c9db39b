#include "Protocol/Log.h"
#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

namespace
{
using testing::ElementsAre;

TEST(LogManager, IsOffUntilASinkIsSet)
{
    EXPECT_FALSE(COBLogManager::IsLogging());
    EXPECT_FALSE(QuorvaneLogger().IsLogging(LogLevel::Error));
    {
        CLogCapture log;
        EXPECT_TRUE(COBLogManager::IsLogging());
        EXPECT_TRUE(QuorvaneLogger().IsLogging(LogLevel::Error));
    }
    EXPECT_FALSE(COBLogManager::IsLogging());
}

TEST(LogManager, DeliversComponentLevelPlaceAndText)
{
    CLogCapture log;
    const unsigned line = __LINE__ + 1;
    Log(LogLevel::Debug, L"CTest::Run, server = '%s', nPort = %d", L"cam", 80);
    const std::vector<CapturedMessage> messages = log.Messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].component, L"VIDEO_QUORVANE");
    EXPECT_EQ(messages[0].level, LogLevel::Debug);
    EXPECT_EQ(messages[0].file, "LogManagerTests.cpp");
    EXPECT_EQ(messages[0].line, line);
    EXPECT_EQ(messages[0].text, L"CTest::Run, server = 'cam', nPort = 80");
}

TEST(LogManager, PassesOnlyTheLevelsOfTheMask)
{
    CLogCapture log(static_cast<std::uint32_t>(LogLevel::Error) | static_cast<std::uint32_t>(LogLevel::Information));
    Log(LogLevel::Debug, L"debug");
    Log(LogLevel::Information, L"information");
    Log(LogLevel::Error, L"error");
    Log(LogLevel::Trace, L"trace");
    QuorvaneLogger().Write(LogLevel::Debug, "File.cpp", 1, L"written without asking");
    EXPECT_THAT(log.Lines(), ElementsAre(L"4 information", L"8 error"));
}

TEST(LogManager, MaskOfNoLevelIsOff)
{
    CLogCapture log(0);
    EXPECT_FALSE(COBLogManager::IsLogging());
    Log(LogLevel::Error, L"error");
    EXPECT_TRUE(log.Lines().empty());
}

TEST(LogManager, WriteCutsThePathOfTheFile)
{
    CLogCapture log;
    const COBLoggerComponent& logger = COBLogManager::GetLogger(L"TEST");
    logger.Write(LogLevel::Debug, "a/b/C.cpp", 1, L"");
    logger.Write(LogLevel::Debug, "a\\b/D.cpp", 1, L"");
    logger.Write(LogLevel::Debug, "E.cpp", 1, L"");
    logger.Write(LogLevel::Debug, nullptr, 1, L"");
    std::vector<std::string> files;
    for (const CapturedMessage& message : log.Messages())
        files.push_back(message.file);
    EXPECT_THAT(files, ElementsAre("C.cpp", "D.cpp", "E.cpp", ""));
}

TEST(LogManager, HandsOutOneLoggerForEachName)
{
    COBLoggerComponent& first = COBLogManager::GetLogger(L"FIRST");
    COBLoggerComponent& second = COBLogManager::GetLogger(L"SECOND");
    EXPECT_NE(&first, &second);
    EXPECT_EQ(&COBLogManager::GetLogger(L"FIRST"), &first);
    EXPECT_EQ(first.Name(), L"FIRST");
    EXPECT_EQ(second.Name(), L"SECOND");
}

TEST(LogManager, CutsNamesThatAreTooLong)
{
    const std::wstring longName(COBLoggerComponent::kMaxNameChars + 5, L'x');
    COBLoggerComponent& logger = COBLogManager::GetLogger(longName);
    EXPECT_EQ(logger.Name(), longName.substr(0, COBLoggerComponent::kMaxNameChars));
    EXPECT_EQ(&COBLogManager::GetLogger(longName), &logger);
}

/// Stays in Write until it is let go, and tells whether it has been destroyed.
class CSlowSink final : public ILogSink
{
public:
    void Write(const LogMessage&) noexcept override
    {
        m_entered = true;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!m_letGo && std::chrono::steady_clock::now() < limit)
            std::this_thread::yield();
        m_left = true;
    }
    std::atomic<bool> m_entered{false};
    std::atomic<bool> m_letGo{false};
    std::atomic<bool> m_left{false};
};

TEST(LogManager, SetSinkReturnsAfterTheLastMessageToTheOldSink)
{
    const auto slow = std::make_shared<CSlowSink>();
    COBLogManager::SetSink(slow, COBLogManager::kAllLevels);
    std::thread writer([] { Log(LogLevel::Error, L"message"); });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!slow->m_entered && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    ASSERT_TRUE(slow->m_entered);

    std::atomic<bool> leftWhenReturned{false};
    std::atomic<bool> aboutToReplace{false};
    std::thread replacer([&] {
        aboutToReplace = true;
        COBLogManager::SetSink(nullptr, 0);
        leftWhenReturned = slow->m_left.load();
    });
    while (!aboutToReplace && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    // Gives a SetSink that does not wait every chance to return before the sink is let go.
    for (int round = 0; round < 1000; ++round)
        std::this_thread::yield();
    slow->m_letGo = true;
    replacer.join();
    writer.join();
    EXPECT_TRUE(leftWhenReturned);
    EXPECT_EQ(slow.use_count(), 1);
}

TEST(LogManager, DeliversEveryMessageOfManyThreads)
{
    constexpr int kThreads = 8;
    constexpr int kMessages = 200;
    CLogCapture log;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([thread] {
            for (int index = 0; index < kMessages; ++index)
                Log(LogLevel::Debug, L"thread %d message %d", thread, index);
        });
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(log.Messages().size(), static_cast<std::size_t>(kThreads * kMessages));
    EXPECT_EQ(log.Count(L"thread 7 message 199"), 1u);
}

TEST(LogCapture, WaitsForAMessageOfAnotherThread)
{
    CLogCapture log;
    std::thread writer([] { Log(LogLevel::Debug, L"arrived at last"); });
    EXPECT_TRUE(log.Sink().WaitFor(L"arrived", 1, std::chrono::seconds(20)));
    EXPECT_FALSE(log.Sink().WaitFor(L"arrived", 2, std::chrono::milliseconds(1)));
    writer.join();
}

#ifdef _WIN32
/// Leaves another last error behind, as a sink that writes files may.
class CErrorLeavingSink final : public ILogSink
{
public:
    void Write(const LogMessage&) noexcept override
    {
        ++m_calls;
        ::SetLastError(ERROR_DISK_FULL);
    }
    int m_calls = 0;
};

TEST(LogManager, KeepsTheLastErrorOfTheThread)
{
    const auto sink = std::make_shared<CErrorLeavingSink>();
    COBLogManager::SetSink(sink, COBLogManager::kAllLevels);
    ::SetLastError(ERROR_FILE_NOT_FOUND);
    Log(LogLevel::Error, L"message, dwLastError = %d", ::GetLastError());
    const DWORD lastError = ::GetLastError();
    COBLogManager::SetSink(nullptr, 0);
    EXPECT_EQ(sink->m_calls, 1);
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}
#endif
} // namespace
