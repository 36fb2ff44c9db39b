#include "Protocol/ServerTable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr std::uint32_t kHourMs = 3'600'000;

TEST(ServerTable, FindsARowByHostAndPort)
{
    CServerTable table;
    const int first = table.FindOrAppend(L"camera", 80);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(table.FindOrAppend(L"camera", 80), first);
    EXPECT_EQ(table.FindOrAppend(L"camera", 8080), 1) << "another port";
    EXPECT_EQ(table.FindOrAppend(L"Camera", 80), 2) << "another spelling";
    EXPECT_EQ(table.FindOrAppend(L"camera ", 80), 3) << "compared exactly";
    EXPECT_EQ(table.FindOrAppend(L"", 80), 4);
    EXPECT_EQ(table.FindOrAppend(L"camera", 8080), 1) << "rows stay where they are";
}

struct ThrottleCase
{
    const char* reason;
    std::uint32_t firstTick;
    std::uint32_t secondTick;
    bool isReported;
};

TEST(ServerTable, ReportsAgainOnlyAfterMoreThanAnHour)
{
    const std::vector<ThrottleCase> cases = {
        {"at once", 1000, 1000, false},
        {"an hour later, exactly", 1000, 1000 + kHourMs, false},
        {"a millisecond more", 1000, 1001 + kHourMs, true},
        {"the count wraps around in between", 0xFFFFFFF0u, 0xFFFFFFF0u + kHourMs, false},
        {"more than an hour across the wrap-around", 0xFFFFFFF0u, 0xFFFFFFF1u + kHourMs, true},
        {"a tick before the first one is almost 50 days later", 1000, 999, true},
        {"tick 0 is kept as 1: an hour is not over", 0, kHourMs, false},
        {"tick 0 is kept as 1: an hour is over a millisecond later", 0, kHourMs + 1, false},
        {"tick 0 is kept as 1: two milliseconds later it is", 0, kHourMs + 2, true},
    };
    for (const ThrottleCase& each : cases)
    {
        CServerTable table;
        const int index = table.FindOrAppend(L"camera", 80);
        EXPECT_TRUE(table.ShouldReport(index, each.firstTick)) << each.reason;
        EXPECT_EQ(table.ShouldReport(index, each.secondTick), each.isReported) << each.reason;
    }
}

TEST(ServerTable, SuppressedReportLeavesTheTickAlone)
{
    CServerTable table;
    const int index = table.FindOrAppend(L"camera", 80);
    EXPECT_TRUE(table.ShouldReport(index, 1000));
    EXPECT_FALSE(table.ShouldReport(index, 1000 + kHourMs / 2));
    EXPECT_TRUE(table.ShouldReport(index, 1001 + kHourMs)) << "the hour counts from the report, not from the failure";
    EXPECT_FALSE(table.ShouldReport(index, 1001 + 2 * kHourMs)) << "and anew from each report";
}

TEST(ServerTable, SuccessLetsTheNextFailureBeReported)
{
    CServerTable table;
    const int index = table.FindOrAppend(L"camera", 80);
    EXPECT_TRUE(table.ShouldReport(index, 1000));
    table.ClearFailure(index);
    EXPECT_TRUE(table.ShouldReport(index, 1001));
    EXPECT_FALSE(table.ShouldReport(index, 1002));
}

TEST(ServerTable, KeepsItsRowsApart)
{
    CServerTable table;
    const int first = table.FindOrAppend(L"one", 80);
    const int second = table.FindOrAppend(L"two", 80);
    EXPECT_TRUE(table.ShouldReport(first, 1000));
    EXPECT_TRUE(table.ShouldReport(second, 1000));
    table.ClearFailure(second);
    EXPECT_FALSE(table.ShouldReport(first, 1001));
}

TEST(ServerTable, IndexOutsideTheTableReportsAndClearsNothing)
{
    CServerTable table;
    EXPECT_FALSE(table.ShouldReport(0, 1000)) << "no row yet";
    const int index = table.FindOrAppend(L"camera", 80);
    EXPECT_TRUE(table.ShouldReport(index, 1000));
    for (const int outside : {-1, 1, 1000, -2147483647 - 1, 2147483647})
    {
        EXPECT_FALSE(table.ShouldReport(outside, 1000)) << outside;
        table.ClearFailure(outside);
    }
    EXPECT_FALSE(table.ShouldReport(index, 1001)) << "the row is as it was";
}

TEST(ServerTable, ServesHundredsOfThreads)
{
    constexpr int kThreads = 200;
    constexpr int kHosts = 300;
    CServerTable table;
    std::atomic<int> reports{0};
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&] {
            // All at once and in the same order, so that many want to append the same row.
            start.arrive_and_wait();
            for (int host = 0; host < kHosts; ++host)
            {
                const int index = table.FindOrAppend(L"host" + std::to_wstring(host), 80);
                reports += table.ShouldReport(index, 5000) ? 1 : 0;
            }
        });
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(reports, kHosts) << "each camera once, whoever came first";
    std::set<int> indexes;
    for (int host = 0; host < kHosts; ++host)
        indexes.insert(table.FindOrAppend(L"host" + std::to_wstring(host), 80));
    EXPECT_EQ(indexes.size(), static_cast<std::size_t>(kHosts));
    EXPECT_EQ(*indexes.rbegin(), kHosts - 1) << "no row twice";
}
TEST(ServerTable, GrowingDoesNotDisturbThoseWhoReport)
{
    constexpr int kTables = 20;
    constexpr int kRows = 100;
    for (int round = 0; round < kTables; ++round)
    {
        CServerTable table;
        const int index = table.FindOrAppend(L"camera", 80);
        std::atomic<bool> isGrown{false};
        std::thread reporter([&] {
            // The memory that the table leaves behind when it grows must not be looked at.
            while (!isGrown)
            {
                EXPECT_TRUE(table.ShouldReport(index, 5000));
                table.ClearFailure(index);
            }
        });
        for (int row = 0; row < kRows; ++row)
            table.FindOrAppend(L"other", static_cast<std::uint16_t>(row));
        isGrown = true;
        reporter.join();
    }
}
} // namespace
