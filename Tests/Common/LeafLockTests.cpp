#include "Threading/LeafLock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{
constinit CLeafLock s_constantInitialised;

TEST(LeafLock, LetsOneThreadInAtATime)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&counter] {
            for (int round = 0; round < kRounds; ++round)
            {
                const CLeafLock::Holder holder(s_constantInitialised);
                // Read and write apart, so that a second thread in here would be noticed.
                const int value = counter;
                if (round % 64 == 0)
                    std::this_thread::yield();
                counter = value + 1;
            }
        });
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(counter, kThreads * kRounds);
}
} // namespace
