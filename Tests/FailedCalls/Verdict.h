#pragma once

#include "Tests/FailedCalls/FunctionTable.h"
#include "Tests/FailedCalls/SessionRunner.h"

#include <string>

/// What a failed call has come to.
struct Verdict
{
    enum class Kind
    {
        Reported,  ///< a call of the client has failed, and the log says why
        Unnoticed, ///< nothing suffered, as the table allows
        Defect,
    };
    Kind kind = Kind::Unnoticed;
    std::string text; ///< the call that suffered, or what is wrong
};

/// Whether a call that nobody has noticed may fail where it did. `callers`: names of functions, innermost first, as far
/// as they are known. Empty, or what is wrong.
std::string JudgePlaces(const FunctionRow& row, const Script& script, const std::string& step,
                        const std::vector<std::string>& callers);

/// The rules: what suffers says so by its result, hands out nothing wrong, returns what belongs to the failure, and
/// leaves the line that belongs to it in the log. What does not suffer needs a reason in the table.
Verdict Judge(const FunctionRow& row, const Script& script, const FaultPlan::Hit& hit,
              const std::vector<StepResult>& reference, const SessionOutcome& outcome);
