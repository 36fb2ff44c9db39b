#include "Tests/Soak/SoakSamples.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
/// Five minutes: load, a long pause, load with a short pause in every twenty seconds, a long pause.
std::vector<SoakSample> Recorded()
{
    std::vector<SoakSample> samples;
    for (std::uint32_t second = 0; second < 300; ++second)
    {
        std::uint32_t quiet = second % 20 >= 17 ? second % 20 - 16 : 0;
        if (second >= 20 && second < 65)
            quiet = second - 19;
        if (second >= 255)
            quiet = second - 254;
        // What was given up goes on for 30 seconds.
        const std::uint32_t load = quiet > 30 ? 0 : 100 - 3 * quiet + second % 7;
        samples.push_back({.second = second,
                           .handles = 200 + load,
                           .threads = 12 + load / 10,
                           .held = 20 + load,
                           .heapBlocks = 5000 + 10 * load,
                           .heapKilobytes = 900 + load,
                           .privateKilobytes = 20'000 + 10 * load,
                           .visits = second * 5,
                           .quietSeconds = quiet});
    }
    return samples;
}

using Names = std::vector<std::string>;

Names Rising(const std::vector<SoakSample>& samples)
{
    Names names;
    for (const SoakTrend& trend : SoakVerdict::Judge(samples))
        if (!trend.IsFlat())
            names.push_back(trend.name);
    return names;
}

TEST(SoakVerdict, LoadAloneIsFlat)
{
    EXPECT_EQ(Names{}, Rising(Recorded()));
    const std::vector<SoakTrend> trends = SoakVerdict::Judge(Recorded());
    ASSERT_EQ(6u, trends.size());
    EXPECT_EQ(200u, trends[0].first);
    EXPECT_EQ(200u, trends[0].last);
}

TEST(SoakVerdict, SmallLeakIsNoticed)
{
    const struct
    {
        const char* name;
        std::uint32_t SoakSample::*member;
        std::uint32_t perHundredVisits;
    } rows[] = {
        {"handles", &SoakSample::handles, 2},
        {"threads", &SoakSample::threads, 1},
        {"held by the component", &SoakSample::held, 1},
        {"heap blocks", &SoakSample::heapBlocks, 50},
        {"heap KB", &SoakSample::heapKilobytes, 20},
        {"private KB", &SoakSample::privateKilobytes, 800},
    };
    for (const auto& row : rows)
    {
        std::vector<SoakSample> samples = Recorded();
        for (SoakSample& sample : samples)
            sample.*row.member += sample.visits * row.perHundredVisits / 100;
        EXPECT_EQ(Names{row.name}, Rising(samples));
    }
}

TEST(SoakVerdict, SlopeIsThatOfTheSecondHalf)
{
    std::vector<SoakSample> samples = Recorded();
    for (SoakSample& sample : samples)
        sample.handles = sample.second < 150 ? 1000 : 200 + sample.second / 2;
    EXPECT_NEAR(30, SoakVerdict::Judge(samples)[0].perMinute, 0.1);
}

TEST(SoakVerdict, WhatTheFirstRequestsBringDoesNotCount)
{
    std::vector<SoakSample> samples = Recorded();
    for (SoakSample& sample : samples)
        sample.handles -= sample.second < 20 ? 100 : 0;
    EXPECT_EQ(Names{}, Rising(samples));
}

TEST(SoakVerdict, FallingCountsAreFlat)
{
    std::vector<SoakSample> samples = Recorded();
    for (SoakSample& sample : samples)
        sample.handles -= sample.second / 3;
    EXPECT_EQ(Names{}, Rising(samples));
}

TEST(SoakVerdict, RunThatNeverSettlesIsNotJudged)
{
    std::vector<SoakSample> samples = Recorded();
    for (SoakSample& sample : samples)
        sample.quietSeconds = sample.second < 150 ? sample.quietSeconds : 0;
    EXPECT_THROW(SoakVerdict::Judge(samples), std::runtime_error) << "only the first pause";
    for (SoakSample& sample : samples)
        sample.quietSeconds = 0;
    EXPECT_THROW(SoakVerdict::Judge(samples), std::runtime_error);
    EXPECT_THROW(SoakVerdict::Judge({}), std::runtime_error);
}

TEST(SoakVerdict, MiddleOfTheRunMayLieInTheFirstPause)
{
    std::vector<SoakSample> samples;
    for (std::uint32_t second = 0; second < 115; ++second)
    {
        const bool isPause = (second >= 20 && second < 65) || second >= 70;
        const std::uint32_t quiet = isPause ? (second < 65 ? second - 19 : second - 69) : 0;
        samples.push_back({.second = second, .threads = second < 65 ? 12u : 100u, .quietSeconds = quiet});
    }
    EXPECT_EQ(Names{"threads"}, Rising(samples));
}

TEST(SoakVerdict, SamplesAreWrittenAsCommaSeparatedLines)
{
    std::ostringstream out;
    SoakVerdict::WriteCsvHead(out);
    SoakVerdict::WriteCsvLine(out, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    EXPECT_EQ("second,handles,threads,held,heap_blocks,lost_connections,heap_kb,private_kb,visits,quiet_seconds\n"
              "1,2,3,4,5,6,7,8,9,10\n",
              out.str());
}
} // namespace
