#pragma once

#include "Tests/FailedCalls/Verdict.h"

#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// One fault: the number-th call of a function, from 1, in a session of a script.
struct FaultName
{
    std::string script;
    std::string function;
    unsigned number = 0;
};

/// Lets one call after another fail, each in a session of its own, and runs a session without a fault behind each.
/// Writes a record for everything that happens, before and after. A session that hangs ends the process.
class CFaultRun
{
public:
    CFaultRun(const std::string& resultsPath, const Surroundings& surroundings);

    /// Sessions without a fault: what they return, how often they call what, and what is left behind.
    void MakeReferences(const std::string& mode);
    void GoOnBehind(FaultName last);
    /// "all": every call of every function; "first": of each the first call that any session makes; the name of a
    /// function: every call of this one.
    void Go(const std::string& mode);
    /// The one call that a process makes only once, whatever it does afterwards.
    void GoForSlots();

private:
    struct Reference
    {
        std::vector<StepResult> steps;
        std::map<std::string, unsigned> calls;
    };

    void MakeReference(const Script& script);
    bool IsCalled(const Script& script, const FunctionRow& row);
    static void Arm(const FunctionRow& row, unsigned number);
    void FailCalls(const Script& script, const FunctionRow& row, bool isEveryCall);
    /// False when the call did not come.
    bool FailCall(const Script& script, const FunctionRow& row, unsigned number);
    void RunWithoutFault(const Script& script);
    /// What one fault leaves behind may be there once and for all; what each leaves anew is a leak.
    void CheckLeaks(const Script& script, const FunctionRow& row, unsigned number);
    void CheckHandles();
    std::optional<Resource> FindExcess();
    SessionOutcome RunSession(const Script& script);
    bool IsSkipped(const Script& script, const FunctionRow& row, unsigned number);
    void Record(std::initializer_list<std::string> fields);

    std::ofstream m_results;
    CSessionRunner m_sessions;
    std::map<std::string, Reference> m_references;
    Owned::Counts m_owned = {};
    unsigned m_handles = 0;
    std::optional<FaultName> m_last;
};
