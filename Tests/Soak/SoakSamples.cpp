#include "Tests/Soak/SoakSamples.h"

#include <algorithm>
#include <stdexcept>

namespace
{
struct Count
{
    const char* name;
    std::uint32_t SoakSample::*member;
    /// What varies from one settled moment to the next without being a leak: kept-alive connections of WinInet and
    /// worker threads of the system that have not gone home yet; of what the component holds, the slot that each of the
    /// ten visiting threads gets with its first exception and keeps until it ends.
    std::uint32_t bound;
};

constexpr Count kCounts[] = {
    {"handles", &SoakSample::handles, 16},
    {"threads", &SoakSample::threads, 4},
    {"held by the component", &SoakSample::held, 10},
    {"heap blocks", &SoakSample::heapBlocks, 400},
    {"heap KB", &SoakSample::heapKilobytes, 128},
    {"private KB", &SoakSample::privateKilobytes, 4096},
};

std::uint32_t Least(std::span<const SoakSample> samples, const Count& count)
{
    return std::ranges::min(samples, {}, count.member).*count.member;
}

bool IsSettled(const SoakSample& sample)
{
    return sample.quietSeconds >= SoakVerdict::kSettledSeconds;
}

/// The settled looks of the first pause that has some.
template <class Iterator>
std::vector<SoakSample> FirstSettled(Iterator begin, Iterator end)
{
    const Iterator settled = std::find_if(begin, end, &IsSettled);
    return {settled, std::find_if_not(settled, end, &IsSettled)};
}

double SlopePerMinute(std::span<const SoakSample> samples, const Count& count)
{
    double seconds = 0;
    double values = 0;
    for (const SoakSample& sample : samples)
    {
        seconds += sample.second;
        values += sample.*count.member;
    }
    const double meanSecond = seconds / static_cast<double>(samples.size());
    const double meanValue = values / static_cast<double>(samples.size());
    double product = 0;
    double square = 0;
    for (const SoakSample& sample : samples)
    {
        product += (sample.second - meanSecond) * (sample.*count.member - meanValue);
        square += (sample.second - meanSecond) * (sample.second - meanSecond);
    }
    return square > 0 ? product / square * 60 : 0;
}
} // namespace

std::vector<SoakTrend> SoakVerdict::Judge(std::span<const SoakSample> samples)
{
    const std::vector<SoakSample> first = FirstSettled(samples.begin(), samples.end());
    const std::vector<SoakSample> last = FirstSettled(samples.rbegin(), samples.rend());
    // The last ones come in reverse.
    if (first.empty() || first.front().second == last.back().second)
        throw std::runtime_error("a run without two settled pauses");
    const std::span half = samples.subspan(samples.size() / 2);
    std::vector<SoakTrend> trends;
    for (const Count& count : kCounts)
        trends.push_back(
            {count.name, Least(first, count), Least(last, count), count.bound, SlopePerMinute(half, count)});
    return trends;
}

void SoakVerdict::WriteCsvHead(std::ostream& out)
{
    out << "second,handles,threads,held,heap_blocks,lost_connections,heap_kb,private_kb,visits,quiet_seconds\n";
}

void SoakVerdict::WriteCsvLine(std::ostream& out, const SoakSample& sample)
{
    out << sample.second << ',' << sample.handles << ',' << sample.threads << ',' << sample.held << ','
        << sample.heapBlocks << ',' << sample.lostConnections << ',' << sample.heapKilobytes << ','
        << sample.privateKilobytes << ',' << sample.visits << ',' << sample.quietSeconds << '\n';
}
