#pragma once

#include "Tests/FailedCalls/FaultPlan.h"

#include <windows.h>

#include <string>
#include <vector>

/// What is known of one function that the component imports.
struct FunctionRow
{
    enum class Kind
    {
        Fails,      ///< its calls are let fail
        NeverFails, ///< `reason` says why
        NotReached, ///< no session calls it, for the `reason` given; a call ends the process
    };

    std::string name;
    Kind kind = Kind::NeverFails;
    /// For what fails: why a session may go on as if nothing had happened; null when it may not.
    const char* reason = nullptr;
    /// Null where calls need not be seen.
    CHookedFunction* hook = nullptr;
    /// "level text" of the lines that a failure is known by; one of them is in the log whenever the session suffers.
    std::vector<std::string> lines = {};
    /// What the first call that suffers may return.
    std::vector<HRESULT> results = {};
    /// Reached only by a thread that throws, which no session does by itself: another call is let fail as well.
    bool needsThrow = false;
};

/// Everything that is known, one row for each function.
const std::vector<FunctionRow>& FunctionTable();

/// The error that every failing call reports: "not enough quota", 0x718, which nothing else in a session reports.
inline constexpr DWORD kInjectedError = ERROR_NOT_ENOUGH_QUOTA;
inline constexpr HRESULT kInjectedResult = static_cast<HRESULT>(0x80070718);
