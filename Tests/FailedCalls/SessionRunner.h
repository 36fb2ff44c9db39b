#pragma once

#include "Tests/FailedCalls/Script.h"
#include "Tests/Support/RegistryValues.h"
#include "Tests/Support/TemporaryFolder.h"

#include <string>
#include <vector>

/// What came of one session.
struct SessionOutcome
{
    bool hasEnded = false; ///< false: it hangs, and the process is of no more use
    unsigned durationMs = 0;
    std::vector<StepResult> steps;
    std::vector<std::string> lines; ///< of the log, as "level text"
};

/// Runs sessions, each on a thread and in an apartment of its own and with a log file of its own. The component's
/// settings in the registry belong to it as long as it lives; tests that use it carry the CTest lock "registry".
class CSessionRunner
{
public:
    explicit CSessionRunner(const Surroundings& surroundings);

    SessionOutcome Run(const Script& script);

    /// No session may take longer: several calls that run into the component's own time limits fit in.
    static constexpr unsigned kLimitMs = 60'000;

private:
    std::vector<std::string> TakeLines(const std::string& fileName) const;

    Surroundings m_surroundings;
    CTemporaryFolder m_folder;
    CTestRegistryKey m_videoSettings{L"Software\\Orbell\\Video"};
    CTestRegistryKey m_logSettings{L"Software\\Orbell\\Logging"};
    unsigned m_sessionCount = 0;
};
