#pragma once

#include "Tests/FailedCalls/FaultPlan.h"

#include <windows.h>

#include <string>
#include <vector>

/// Where in the component a call may fail without that anybody notices.
struct HarmlessPlace
{
    std::string function; ///< the beginning of its name, which stands among the callers
    const char* reason;
    bool isLogging = false; ///< only in sessions that write a log
};

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
    /// Not empty: what nobody notices has one of these among its callers, and the `reason` alone is not enough.
    std::vector<HarmlessPlace> places = {};
    /// One of the lines is in the log even where nobody suffers.
    bool isAlwaysLogged = false;
    /// Reached only by a thread that throws, which no session does by itself: another call is let fail as well.
    bool needsThrow = false;
};

/// Everything that is known, one row for each function.
const std::vector<FunctionRow>& FunctionTable();

/// The error that every failing call reports: "not enough quota", 0x718, which nothing else in a session reports.
inline constexpr DWORD kInjectedError = ERROR_NOT_ENOUGH_QUOTA;
inline constexpr HRESULT kInjectedResult = static_cast<HRESULT>(0x80070718);
