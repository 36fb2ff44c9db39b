#include "Tests/FailedCalls/Report.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace
{
std::vector<std::string> Split(const std::string& record)
{
    std::vector<std::string> fields;
    std::istringstream stream(record);
    for (std::string field; std::getline(stream, field, '\t');)
        fields.push_back(field);
    fields.resize(std::max<std::size_t>(fields.size(), 7));
    return fields;
}

unsigned Number(const std::string& text)
{
    return text.empty() ? 0 : static_cast<unsigned>(std::stoul(text));
}

/// The call itself and its caller: what allocates memory is called from few places, for many.
std::string PlaceOf(const std::string& places)
{
    const std::size_t second = places.find(' ');
    return places.substr(0, second == std::string::npos ? second : places.find(' ', second + 1));
}
} // namespace

void Report::Add(const std::string& record)
{
    const std::vector<std::string> fields = Split(record);
    const std::string& kind = fields[0];
    Function& function = functions[fields[2]];
    if (kind == "calls")
        function.calls[fields[1]] = Number(fields[3]);
    else if (kind == "begin")
        begun = {fields[1], fields[2], fields[3]};
    else if (kind == "missed")
        begun = {};
    else if (kind == "reported" || kind == "unnoticed" || kind == "wrong")
    {
        ++(kind == "reported" ? function.reported : kind == "unnoticed" ? function.unnoticed : function.wrong);
        function.places.insert(PlaceOf(fields[5]));
        if (kind == "unnoticed")
            unnoticed.push_back({fields[1], fields[2], fields[3], fields[4], fields[5]});
        function.longestMs = std::max(function.longestMs, Number(fields[6]));
        begun = {};
    }
    else if (kind == "defect")
    {
        ++function.defects;
        defects.push_back(fields[1] + ", call " + fields[3] + " of " + fields[2] + ": " + fields[4] + "\n    at " +
                          fields[5]);
    }
    else if (kind == "log" && !defects.empty())
        defects.back() += "\n    " + fields[1];
    else if (kind == "handles")
    {
        const unsigned most = Number(fields[3]) + kHandlesOnce;
        const unsigned now = Number(fields[4]);
        if (now > most)
            defects.push_back(fields[1] + ": leaves " + std::to_string(now - most) + " handles of the process behind");
    }
    else if (kind == "died")
    {
        ++functions[begun.function].defects;
        defects.push_back(begun.script + ", call " + begun.number + " of " + begun.function + ": " + fields[1]);
    }
    else if (kind == "started")
    {
        isFinished = false;
        begun = {};
    }
    else if (kind == "finished")
        isFinished = true;
}

void Report::AddDefect(const Unnoticed& call, const std::string& text)
{
    --functions[call.function].unnoticed;
    ++functions[call.function].wrong;
    ++functions[call.function].defects;
    defects.push_back(call.script + ", call " + call.number + " of " + call.function + ": " + text + "\n    at " +
                      call.places);
}

std::set<std::string> Report::NamesThatFailed() const
{
    std::set<std::string> names;
    for (const auto& [name, function] : functions)
        if (function.reported + function.unnoticed + function.wrong != 0)
            names.insert(name);
    return names;
}

std::string Report::Table() const
{
    std::ostringstream text;
    const auto line = [&text](const auto& name, const auto&... columns) {
        text << std::left << std::setw(40) << name << std::right;
        ((text << std::setw(11) << columns), ...);
        text << '\n';
    };
    Function sum;
    unsigned countCalls = 0;
    unsigned countFunctions = 0;
    std::size_t countPlaces = 0;
    line("function", "calls", "failed", "reported", "harmless", "defects", "places", "longest");
    for (const auto& [name, function] : functions)
    {
        const unsigned failed = function.reported + function.unnoticed + function.wrong;
        if (name.empty() || failed + function.defects == 0)
            continue;
        unsigned calls = 0;
        for (const auto& [script, count] : function.calls)
            calls += count;
        line(name, calls, failed, function.reported, function.unnoticed, function.defects, function.places.size(),
             std::to_string(function.longestMs) + " ms");
        ++countFunctions;
        countPlaces += function.places.size();
        countCalls += calls;
        sum.reported += function.reported;
        sum.unnoticed += function.unnoticed;
        sum.wrong += function.wrong;
        sum.longestMs = std::max(sum.longestMs, function.longestMs);
    }
    line(std::to_string(countFunctions) + " functions", countCalls, sum.reported + sum.unnoticed + sum.wrong,
         sum.reported, sum.unnoticed, defects.size(), countPlaces, std::to_string(sum.longestMs) + " ms");
    return text.str();
}
