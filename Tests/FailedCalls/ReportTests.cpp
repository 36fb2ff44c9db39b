#include "Tests/FailedCalls/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(FailedCallsReport, DeathBelongsToTheCallThatHasBegun)
{
    Report report;
    report.Add("begin\tipela\tCreateEventW\t1");
    report.Add("reported\tipela\tCreateEventW\t1\topen -> 0x80004005\t0x10 0x20 0x30\t15");
    report.Add("begin\tipela\tmalloc\t7");
    report.Add("died\tthe process has died, exit code 5");
    EXPECT_THAT(report.defects, ElementsAre("ipela, call 7 of malloc: the process has died, exit code 5"));
    EXPECT_EQ("7", report.begun.number);
    EXPECT_THAT(report.NamesThatFailed(), ElementsAre("CreateEventW"));
    EXPECT_FALSE(report.isFinished);
}

TEST(FailedCallsReport, DefectCarriesItsLogLines)
{
    Report report;
    report.Add("defect\taxis\tmalloc\t3\tplay: no line in the log\t0x10 0x20");
    report.Add("log\t8 COne, out of luck");
    report.Add("finished");
    EXPECT_THAT(report.defects, ElementsAre("axis, call 3 of malloc: play: no line in the log\n    at 0x10 0x20\n"
                                            "    8 COne, out of luck"));
    EXPECT_TRUE(report.isFinished);
}

TEST(FailedCallsReport, KeepsWhatNobodyHasNoticedForALaterVerdict)
{
    Report report;
    report.Add("unnoticed\tipela, no log\tmalloc\t9\tset size\t0x10 0x20\t15");
    ASSERT_EQ(1u, report.unnoticed.size());
    report.AddDefect(report.unnoticed[0], "ought to be noticed");
    EXPECT_THAT(report.defects, ElementsAre("ipela, no log, call 9 of malloc: ought to be noticed\n    at 0x10 0x20"));
    EXPECT_EQ(1u, report.functions["malloc"].defects);
    EXPECT_EQ(0u, report.functions["malloc"].unnoticed);
    EXPECT_THAT(report.NamesThatFailed(), ElementsAre("malloc"));
}

TEST(FailedCallsReport, WhatIsStartedAgainIsNotFinished)
{
    Report report;
    report.Add("started\tFlsAlloc");
    report.Add("finished");
    EXPECT_TRUE(report.isFinished);
    report.Add("started\tall");
    EXPECT_FALSE(report.isFinished);
}

TEST(FailedCallsReport, SumsUpEveryFunction)
{
    Report report;
    report.Add("calls\tipela\tCreateEventW\t2");
    report.Add("calls\taxis\tCreateEventW\t3");
    report.Add("reported\tipela\tCreateEventW\t1\topen\t0x10 0x20\t15");
    report.Add("unnoticed\tipela\tCreateEventW\t2\topen\t0x10 0x30\t40");
    report.Add("handles\tipela\t\t100\t102");
    EXPECT_THAT(report.defects, IsEmpty()) << "the event that waiting takes, and one of the system's";
    report.Add("handles\tipela\t\t100\t104");
    EXPECT_THAT(report.defects, ElementsAre("ipela: leaves 2 handles of the process behind"));
    EXPECT_EQ(2u, report.functions["CreateEventW"].places.size());
    EXPECT_EQ(40u, report.functions["CreateEventW"].longestMs);
    report.Add("wrong\tipela\tCreateEventW\t3\tnobody has noticed\t0x10 0x40\t5");
    EXPECT_EQ(1u, report.unnoticed.size()) << "its defect has a record of its own";
    EXPECT_THAT(report.Table(), HasSubstr("1 functions"));
}
} // namespace
