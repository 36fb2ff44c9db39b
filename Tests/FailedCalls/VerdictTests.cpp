// What counts as a defect: the rules by which failed calls are judged.

#include "Tests/FailedCalls/Verdict.h"

#include <gtest/gtest.h>

namespace
{
using Kind = Verdict::Kind;

const std::vector<StepResult> kReference = {{"open", S_OK, ""}, {"probe", S_FALSE, ""}, {"settings", S_OK, "640x480"}};

FunctionRow Row(const char* reason = nullptr, bool isAlwaysLogged = false)
{
    FunctionRow row;
    row.name = "CreateEventW";
    row.kind = FunctionRow::Kind::Fails;
    row.reason = reason;
    row.lines = {"8 COne, failed to CreateEvent, dwLastError = 1816"};
    row.results = {E_FAIL};
    row.isAlwaysLogged = isAlwaysLogged;
    return row;
}

constexpr Script kLogging = {"ipela", nullptr, true};
constexpr Script kSilent = {"ipela, no log", nullptr, false};
constexpr Script kAxis = {"axis streaming", nullptr, true};

struct Case
{
    const char* reason;
    Kind expected;
    std::vector<StepResult> steps;
    std::vector<std::string> lines = {"8 COne, failed to CreateEvent, dwLastError = 1816"};
    FunctionRow row = Row();
    Script script = kLogging;
    const char* step = "open";
};

TEST(Verdict, TellsDefectsFromFailuresThatAreReported)
{
    const std::vector<StepResult> openFails = {{"open", E_FAIL, ""}, {"probe", E_FAIL, ""}, {"settings", E_FAIL, ""}};
    const std::vector<StepResult> wrongSize = {kReference[0], kReference[1], {"settings", S_OK, "0x0"}};
    const std::vector<StepResult> otherResult = {{"open", E_UNEXPECTED, ""}, kReference[1], kReference[2]};
    const std::vector<std::string> line = Row().lines;
    const Case cases[] = {
        {"result and line", Kind::Reported, openFails},
        {"no line", Kind::Defect, openFails, {"8 COne, something else"}},
        {"the line without the error", Kind::Defect, openFails, {"8 COne, failed to CreateEvent, dwLastError = 0"}},
        {"nobody logs", Kind::Reported, openFails, {}, Row(), kSilent},
        {"another result", Kind::Defect, otherResult},
        {"a wrong value in spite of success", Kind::Defect, wrongSize},
        {"a wrong value, and harmless as a rule", Kind::Defect, wrongSize, {}, Row("whatever")},
        {"nobody has noticed", Kind::Defect, kReference},
        {"nobody needs to notice", Kind::Unnoticed, kReference, {}, Row("for a reason")},
        {"nobody suffers, and the log says it", Kind::Unnoticed, kReference, line, Row("for a reason", true)},
        {"nobody suffers, and the log must say it", Kind::Defect, kReference, {}, Row("for a reason", true)},
        {"nobody suffers, and nobody logs", Kind::Unnoticed, kReference, {}, Row("for a reason", true), kSilent},
        {"the other family's probe fails either way", Kind::Unnoticed, kReference, line, Row(), kAxis, "probe"},
        {"and says so", Kind::Defect, kReference, {}, Row(), kAxis, "probe"},
        {"a size that nobody needs", Kind::Unnoticed, kReference, line, Row(), kAxis, "h264 joined"},
        {"a check that only improves", Kind::Unnoticed, kReference, line, Row(), kAxis, "connect"},
        {"a beat", Kind::Unnoticed, kReference, line, Row(), kAxis, "keep-alive"},
        {"an older camera's is none of these", Kind::Defect, kReference, line, Row(), kLogging, "h264"},
        {"a later request of that camera does not", Kind::Defect, kReference, line, Row(), kAxis, "settings"},
        {"the session ends early", Kind::Defect, {kReference[0]}, {}, Row("for a reason")},
        {"a call that is none of the session's", Kind::Defect, {{"close", S_OK, ""}}, {}, Row("for a reason")},
    };
    for (const Case& each : cases)
    {
        SCOPED_TRACE(each.reason);
        const SessionOutcome outcome = {true, 0, each.steps, each.lines};
        const Verdict verdict = Judge(each.row, each.script, {true, each.step, {}}, kReference, outcome);
        EXPECT_EQ(each.expected, verdict.kind) << verdict.text;
    }
}

TEST(Verdict, WhatNobodyNoticesIsHarmlessInTheTablesPlacesOnly)
{
    FunctionRow row = Row("in few places only");
    row.places = {{"COne::Retry", "for a reason"}, {"CLog::", "what cannot be logged is lost", true}};
    const struct
    {
        const char* reason;
        bool isDefect;
        std::vector<std::string> callers;
        Script script = kLogging;
        const char* step = "open";
    } cases[] = {
        {"a place of the table", false, {"operator new(unsigned int)", "COne::Retry(int)", "COne::Call()"}},
        {"a place of the table, without a log", false, {"COne::Retry(int)"}, kSilent},
        {"another place of the same class", true, {"COne::Call()"}},
        {"a name that contains one", true, {"COther::COne::Retry(int)"}},
        {"nothing is known of the place", true, {}},
        {"the log's, and there is one", false, {"CLog::Write()"}},
        {"the log's, and there is none", true, {"CLog::Write()"}, kSilent},
        {"the other family's probe", false, {"COne::Call()"}, kAxis, "probe"},
    };
    for (const auto& each : cases)
    {
        SCOPED_TRACE(each.reason);
        EXPECT_EQ(each.isDefect, !JudgePlaces(row, each.script, each.step, each.callers).empty());
    }
    row.places.clear();
    EXPECT_EQ("", JudgePlaces(row, kLogging, "open", {})) << "a row without places allows all of them";
}
} // namespace
