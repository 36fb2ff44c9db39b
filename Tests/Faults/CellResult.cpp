#include "Tests/Faults/CellResult.h"

#include <sstream>

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
         << result.after.threads << ' ' << result.recovery;
    return text.str();
}

std::optional<CellProtocol::Line> CellProtocol::Parse(const std::string& line)
{
    std::istringstream text(line);
    std::string word;
    Line parsed;
    text >> word >> parsed.cell;
    if (word == "begin")
        text >> parsed.deadlineMs;
    else if (word == "end")
    {
        CellResult& result = parsed.result.emplace();
        result.isRun = true;
        text >> result.hr >> result.tookMs >> result.limitMs >> result.before.handles >> result.before.threads >>
            result.after.handles >> result.after.threads >> result.recovery;
    }
    if ((word != "begin" && word != "end") || text.fail())
        return std::nullopt;
    return parsed;
}
