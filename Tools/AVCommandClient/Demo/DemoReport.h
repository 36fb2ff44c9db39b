#pragma once

#include "Core/Report.h"
#include "Demo/Simulator.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// One step of the walk-through: what was asked, what the camera received, what came back, and what is wrong with it.
struct DemoStep
{
    std::string title;
    std::string asked;
    std::vector<ReceivedRequest> received;
    /// Empty for a step that makes no call.
    std::optional<HResult> hr;
    double durationMs = 0;
    std::vector<std::string> returned;
    std::vector<std::string> problems;
};

/// Prints steps as they come and counts them; with JSON, prints everything at the end in one object.
/// Borrows the stream.
class CDemoReport
{
public:
    CDemoReport(std::ostream& out, bool isJson) noexcept;

    void Add(const DemoStep& step);
    /// The walk could not go on.
    void Abort(const std::string& reason);
    /// The verdict, in one line; true when at least one step was made and all were as expected.
    bool Finish();

private:
    void PrintStep(const DemoStep& step) const;

    std::ostream& m_out;
    bool m_isJson;
    std::size_t m_countSteps = 0;
    std::size_t m_countGood = 0;
    std::optional<std::string> m_firstProblem;
    Json m_steps = Json::array();
};
