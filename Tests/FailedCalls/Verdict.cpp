#include "Tests/FailedCalls/Verdict.h"

#include <algorithm>
#include <string_view>

namespace
{
std::string Hex(HRESULT hr)
{
    std::ostringstream text;
    text << "0x" << std::hex << static_cast<unsigned long>(hr);
    return text.str();
}

std::string Describe(const StepResult& step)
{
    return step.name + " -> " + Hex(step.hr) + (step.values.empty() ? "" : " (" + step.values + ")");
}

bool HasLine(const FunctionRow& row, const SessionOutcome& outcome)
{
    return std::ranges::any_of(outcome.lines, [&](const std::string& line) {
        return std::ranges::any_of(row.lines,
                                   [&](const std::string& part) { return line.find(part) != std::string::npos; });
    });
}

/// An Axis camera is asked first whether it is one of the other family; connecting goes on without the checks that only
/// improve its settings, and H.264 parameters without knowing whether they are outdated; of a beat nobody is told. Such
/// a failure needs its line in the log, and nothing else.
bool IsAskedInPassing(const Script& script, std::string_view step)
{
    return std::string_view(script.name).starts_with("axis") &&
           (step.starts_with("probe") || step == "connect" || step.starts_with("h264") || step == "keep-alive");
}

Verdict JudgeSuffering(const FunctionRow& row, const Script& script, const StepResult& first,
                       const SessionOutcome& outcome)
{
    if (std::ranges::find(row.results, first.hr) == row.results.end())
        return {Verdict::Kind::Defect, "another result than belongs to it: " + Describe(first)};
    if (script.isLogging && !HasLine(row, outcome))
        return {Verdict::Kind::Defect, "no line in the log: " + Describe(first)};
    return {Verdict::Kind::Reported, Describe(first)};
}
} // namespace

std::string JudgePlaces(const FunctionRow& row, const Script& script, const std::string& step,
                        const std::vector<std::string>& callers)
{
    if (row.places.empty() || IsAskedInPassing(script, step))
        return "";
    for (const HarmlessPlace& place : row.places)
        for (const std::string& caller : callers)
            if ((script.isLogging || !place.isLogging) && caller.starts_with(place.function))
                return "";
    return step + ": nobody has noticed, and not where the table allows it";
}

Verdict Judge(const FunctionRow& row, const Script& script, const FaultPlan::Hit& hit,
              const std::vector<StepResult>& reference, const SessionOutcome& outcome)
{
    const StepResult* first = nullptr;
    for (std::size_t i = 0; i < outcome.steps.size(); ++i)
    {
        const StepResult& step = outcome.steps[i];
        const auto expected = std::ranges::find(reference, step.name, &StepResult::name);
        if (expected == reference.end())
            return {Verdict::Kind::Defect, "not in the session without a fault: " + Describe(step)};
        const bool isSame =
            i < reference.size() && reference[i].name == step.name ? reference[i] == step : *expected == step;
        if (isSame)
            continue;
        if (step.hr == S_OK)
            return {Verdict::Kind::Defect, "success with a wrong outcome: " + Describe(step)};
        first = first != nullptr ? first : &step;
    }
    if (first != nullptr)
        return JudgeSuffering(row, script, *first, outcome);
    if (outcome.steps.size() != reference.size())
        return {Verdict::Kind::Defect, "the session ended early"};
    if (row.reason == nullptr && !IsAskedInPassing(script, hit.step))
        return {Verdict::Kind::Defect, "nobody has noticed"};
    const bool needsLine = row.isAlwaysLogged || row.reason == nullptr;
    if (needsLine && script.isLogging && !HasLine(row, outcome))
        return {Verdict::Kind::Defect, "nobody suffers, and no line in the log"};
    return {Verdict::Kind::Unnoticed, hit.step};
}
