#include "Demo/DemoReport.h"

#include <iomanip>
#include <ostream>
#include <sstream>

namespace
{
std::string RequestText(const ReceivedRequest& request)
{
    return request.method + " " + request.target + (request.isAuthorized ? " [authorized]" : "") + " -> " +
           std::to_string(request.status);
}

std::string ResultText(const DemoStep& step)
{
    std::ostringstream text;
    text << HResults::Describe(*step.hr) << ", " << std::fixed << std::setprecision(1) << step.durationMs << " ms";
    return text.str();
}

Json StepToJson(const DemoStep& step)
{
    Json json = {{"step", step.title}, {"asked", step.asked}, {"received", Json::array()}};
    for (const ReceivedRequest& request : step.received)
    {
        json["received"].push_back({{"method", request.method},
                                    {"target", request.target},
                                    {"authorized", request.isAuthorized},
                                    {"status", request.status}});
    }
    if (step.hr)
    {
        json["hresult"] = HResults::Hex(*step.hr);
        json["name"] = HResults::Name(*step.hr);
        json["durationMs"] = step.durationMs;
    }
    json["returned"] = step.returned;
    json["problems"] = step.problems;
    json["ok"] = step.problems.empty();
    return json;
}
} // namespace

CDemoReport::CDemoReport(std::ostream& out, bool isJson) noexcept : m_out(out), m_isJson(isJson) {}

void CDemoReport::Add(const DemoStep& step)
{
    ++m_countSteps;
    if (step.problems.empty())
        ++m_countGood;
    else if (!m_firstProblem)
        m_firstProblem = "step " + std::to_string(m_countSteps) + " (" + step.title + "): " + step.problems.front();
    if (m_isJson)
        m_steps.push_back(StepToJson(step));
    else
        PrintStep(step);
}

void CDemoReport::Abort(const std::string& reason)
{
    if (!m_firstProblem)
        m_firstProblem = "stopped after step " + std::to_string(m_countSteps) + ": " + reason;
}

bool CDemoReport::Finish()
{
    const bool isGood = !m_firstProblem && m_countSteps > 0;
    std::string verdict = "Demo " + std::string(isGood ? "passed" : "FAILED") + ": " + std::to_string(m_countGood) +
                          " of " + std::to_string(m_countSteps) + " steps as expected";
    if (m_firstProblem)
        verdict += "; " + *m_firstProblem;
    if (m_isJson)
        Report::Print(m_out, Json{{"passed", isGood}, {"verdict", verdict}, {"steps", m_steps}});
    else
        m_out << verdict << std::endl;
    return isGood;
}

void CDemoReport::PrintStep(const DemoStep& step) const
{
    m_out << std::setw(2) << m_countSteps << ". " << step.title << '\n';
    m_out << "    asked     " << step.asked << '\n';
    if (step.received.empty())
        m_out << "    camera    received nothing\n";
    for (const ReceivedRequest& request : step.received)
        m_out << "    camera    " << RequestText(request) << '\n';
    if (step.hr)
        m_out << "    returned  " << ResultText(step) << '\n';
    for (const std::string& line : step.returned)
        m_out << "              " << line << '\n';
    for (const std::string& problem : step.problems)
        m_out << "    WRONG     " << problem << '\n';
    if (step.problems.empty())
        m_out << "    ok\n";
    m_out << std::flush;
}
