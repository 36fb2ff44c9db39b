#include "Media/StreamStatistics.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
using namespace std::chrono_literals;

constexpr std::uint32_t kClockHz = 8000;
const CStreamStatistics::Time kStart{1h};

RtpHeader Header(std::uint16_t number, std::uint32_t timestamp = 0, std::uint32_t ssrc = 7)
{
    return {0, number, timestamp, ssrc};
}

StreamFigures Count(const std::vector<RtpHeader>& headers)
{
    CStreamStatistics statistics(kClockHz);
    for (const RtpHeader& header : headers)
        statistics.Add(header, 100, kStart);
    return statistics.Figures();
}

TEST(StreamStatistics, LossIsWhatTheNumbersSayLessWhatCame)
{
    struct Row
    {
        const char* reason;
        std::vector<RtpHeader> headers;
        std::uint64_t lost;
    };
    const Row rows[] = {
        {"nothing came", {}, 0},
        {"one packet is no gap", {Header(5)}, 0},
        {"two are missing", {Header(5), Header(8)}, 2},
        {"the numbers wrap", {Header(65534), Header(65535), Header(0), Header(2)}, 1},
        {"late is not lost", {Header(1), Header(3), Header(2), Header(4)}, 0},
        {"late across the wrap", {Header(65535), Header(1), Header(0)}, 0},
        {"more duplicates than losses count as none", {Header(1), Header(1), Header(1), Header(3)}, 0},
        {"a new source begins anew, and the old one's losses stay",
         {Header(1), Header(3), Header(9000, 0, 8), Header(9002, 0, 8)},
         2},
        {"a single stray number is no gap of thousands", {Header(1), Header(2), Header(30000), Header(3)}, 0},
        {"a sender that restarts in place", {Header(1), Header(2), Header(30000), Header(30001), Header(30003)}, 1},
        {"restarting at 0", {Header(20000), Header(65535), Header(0), Header(1)}, 0},
    };
    for (const Row& row : rows)
    {
        const StreamFigures figures = Count(row.headers);
        EXPECT_EQ(row.lost, figures.lost) << row.reason;
        EXPECT_EQ(row.headers.size(), figures.packets) << row.reason;
        EXPECT_EQ(100 * row.headers.size(), figures.bytes) << row.reason;
    }
}

TEST(StreamStatistics, LostPercentIsOfWhatWasExpected)
{
    EXPECT_DOUBLE_EQ(0, Count({}).LostPercent());
    EXPECT_DOUBLE_EQ(50, Count({Header(1), Header(4)}).LostPercent());
}

TEST(StreamStatistics, JitterFollowsRfc3550)
{
    CStreamStatistics statistics(kClockHz);
    // Every 20 ms as sent; the third comes 16 ms late (128 ticks), the fourth on time again.
    statistics.Add(Header(1, 0), 100, kStart);
    statistics.Add(Header(2, 160), 100, kStart + 20ms);
    EXPECT_DOUBLE_EQ(0, statistics.Figures().jitterMs);
    statistics.Add(Header(3, 320), 100, kStart + 56ms);
    EXPECT_NEAR(1.0, statistics.Figures().jitterMs, 1e-6) << "16 ms / 16";
    statistics.Add(Header(4, 480), 100, kStart + 60ms);
    EXPECT_NEAR(1.9375, statistics.Figures().jitterMs, 1e-6) << "1 + (16 - 1) / 16";
}

TEST(StreamStatistics, JitterSurvivesTheWrapOfTheTimestamp)
{
    CStreamStatistics statistics(kClockHz);
    statistics.Add(Header(1, 0xFFFFFFFF - 79), 100, kStart);
    statistics.Add(Header(2, 80), 100, kStart + 20ms);
    EXPECT_NEAR(0, statistics.Figures().jitterMs, 1e-6);
}

TEST(StreamStatistics, WhatIsMissingAfterAnInterruptionIsNotLost)
{
    CStreamStatistics statistics(kClockHz);
    statistics.Add(Header(1), 100, kStart);
    statistics.Add(Header(3), 100, kStart);
    statistics.Interrupt();
    statistics.Add(Header(500), 100, kStart + 10s);
    statistics.Add(Header(501), 100, kStart + 10s);
    EXPECT_EQ(1u, statistics.Figures().lost);
    EXPECT_EQ(4u, statistics.Figures().packets);
}
} // namespace
