#include "Tests/Faults/CellResult.h"

#include <sstream>

namespace
{
constexpr CellResult kGood{.isRun = true, .isDelivered = true};
constexpr CellResult Slow(CellResult result)
{
    result.releaseMs = 11;
    result.releaseLimitMs = 10;
    return result;
}
// No cell of the broken table can make these.
static_assert(kGood.IsGood() && !kGood.DeservesAnotherTry());
static_assert(Slow(kGood).IsOverLimit() && Slow(kGood).DeservesAnotherTry() && !Slow(kGood).IsGood());
static_assert(ProcessUsage{{50, 4}, {50, 9}}.IsGrown() && !ProcessUsage{{50, 4}, {40, 8}}.IsGrown());
} // namespace

std::string CellProtocol::Begin(std::size_t cell, DWORD deadlineMs)
{
    std::ostringstream text;
    text << "begin " << cell << ' ' << deadlineMs;
    return text.str();
}

std::string CellProtocol::End(std::size_t cell, const CellResult& result)
{
    std::ostringstream text;
    text << "end " << cell << ' ' << result.hr << ' ' << result.tookMs << ' ' << result.limitMs << ' '
         << result.before.handles << ' ' << result.before.threads << ' ' << result.after.handles << ' '
         << result.after.threads << ' ' << result.recovery << ' ' << result.runs << ' ' << result.releaseMs << ' '
         << result.releaseLimitMs << ' ' << result.isDelivered << ' ' << result.isWrong;
    return text.str();
}

std::string CellProtocol::Process(const ProcessUsage& usage)
{
    std::ostringstream text;
    text << "process " << usage.first.handles << ' ' << usage.first.threads << ' ' << usage.last.handles << ' '
         << usage.last.threads;
    return text.str();
}

std::optional<CellProtocol::Line> CellProtocol::Parse(const std::string& line)
{
    std::istringstream text(line);
    std::string word;
    Line parsed;
    text >> word;
    if (word == "begin")
        text >> parsed.cell >> parsed.deadlineMs;
    else if (word == "process")
    {
        ProcessUsage& usage = parsed.process.emplace();
        text >> usage.first.handles >> usage.first.threads >> usage.last.handles >> usage.last.threads;
    }
    else if (word == "end")
    {
        text >> parsed.cell;
        CellResult& result = parsed.result.emplace();
        result.isRun = true;
        text >> result.hr >> result.tookMs >> result.limitMs >> result.before.handles >> result.before.threads >>
            result.after.handles >> result.after.threads >> result.recovery >> result.runs >> result.releaseMs >>
            result.releaseLimitMs >> result.isDelivered >> result.isWrong;
    }
    else
        return std::nullopt;
    if (text.fail())
        return std::nullopt;
    return parsed;
}
