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

/// What a run is to let fail: "all" for every call of every function, "first" for the first one that any session makes,
/// or names of functions, with commas between them, for every call of these. With "@" and the name of a script behind
/// it: in this script only. With "#2/4" at the end: the second of four shares, which together are the whole. FlsAlloc,
/// which a process calls once, wants a process of its own and is in neither.
class Mode
{
public:
    explicit Mode(const std::string& text);
    bool IsFirstOnly() const;
    bool Takes(const Script& script) const;
    bool Names(const Script& script) const;
    bool Takes(const FunctionRow& row) const;
    /// This one of its calls; only where the function and the script are taken.
    bool Takes(const FunctionRow& row, unsigned number) const;

private:
    std::string m_functions; ///< a comma on both sides of each
    std::string m_script;
    unsigned m_share = 1; ///< from 1
    unsigned m_countShares = 1;
};

/// Lets one call after another fail, each in a session of its own, and runs a session without a fault behind each.
/// Writes a record for everything that happens, before and after. A session that hangs ends the process.
class CFaultRun
{
public:
    CFaultRun(const std::string& resultsPath, const Surroundings& surroundings);

    /// Sessions without a fault: what they return, how often they call what, and what is left behind.
    void MakeReferences(const Mode& mode);
    void GoOnBehind(FaultName last);
    void Go(const Mode& mode);

private:
    struct Reference
    {
        std::vector<StepResult> steps;
        std::map<std::string, unsigned> calls;
    };

    void MakeReference(const Script& script);
    bool IsCalled(const Script& script, const FunctionRow& row);
    static void Arm(const FunctionRow& row, unsigned number);
    /// False when none of the calls came.
    bool FailCalls(const Script& script, const FunctionRow& row, const Mode& mode);
    /// False when the call did not come.
    bool FailCall(const Script& script, const FunctionRow& row, unsigned number);
    void RunWithoutFault(const Script& script);
    /// What one fault leaves behind may be there once and for all; what each leaves anew is a leak.
    void CheckLeaks(const Script& script, const FunctionRow& row, unsigned number);
    void CheckHandles(const char* script);
    std::optional<Resource> FindExcess(const Script& script);
    SessionOutcome RunSession(const Script& script);
    bool IsSkipped(const Script& script, const FunctionRow& row, unsigned number);
    void RecordErrors(const std::vector<std::string>& lines);
    void Record(std::initializer_list<std::string> fields);

    std::ofstream m_results;
    CSessionRunner m_sessions;
    std::map<std::string, Reference> m_references;
    Owned::Counts m_owned = {};
    unsigned m_handles = 0;
    std::optional<FaultName> m_last;
};
