#include "Core/Advice.h"
#include "Core/CallTrace.h"
#include "Core/HResult.h"

#include <gmock/gmock.h>

#include <sstream>

namespace
{
using testing::HasSubstr;
using testing::MatchesRegex;

TEST(HResultName, KnownCodesHaveTheirSystemNames)
{
    struct Row
    {
        const char* reason;
        HResult hr;
        const char* name;
        const char* hex;
    };
    const Row rows[] = {
        {"success", 0, "S_OK", "0x00000000"},
        {"success that says no", 1, "S_FALSE", "0x00000001"},
        {"the component's general no", HResults::FromBits(0x80004005), "E_FAIL", "0x80004005"},
        {"an operation that a family lacks", HResults::FromBits(0x80004001), "E_NOTIMPL", "0x80004001"},
        {"a refused value", HResults::FromBits(0x80070057), "E_INVALIDARG", "0x80070057"},
        {"not registered", HResults::FromBits(0x80040154), "REGDB_E_CLASSNOTREG", "0x80040154"},
        {"missing DLL", HResults::FromBits(0x8007007E), "ERROR_MOD_NOT_FOUND", "0x8007007E"},
        {"the time-out is no HTTP status", HResults::FromBits(0x800C05B4), "ERROR_TIMEOUT", "0x800C05B4"},
        {"a failing HTTP status", HResults::FromBits(0x800C0194), "HTTP 404", "0x800C0194"},
        {"a successful HTTP status", HResults::FromBits(0x000C00CA), "HTTP 202", "0x000C00CA"},
        {"an unnamed Win32 error keeps its number", HResults::FromBits(0x80070020), "Win32 error 32", "0x80070020"},
        {"nothing is known about it", HResults::FromBits(0x8ABCDEF0), "unknown", "0x8ABCDEF0"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(HResults::Name(row.hr), row.name);
        EXPECT_EQ(HResults::Hex(row.hr), row.hex);
    }
}

TEST(HResultName, DescriptionHasNameAndValue)
{
    EXPECT_EQ(HResults::Describe(HResults::kFail), "E_FAIL (0x80004005)");
}

TEST(Advice, SaysWhatToDoWhereTheCodeAppears)
{
    struct Row
    {
        const char* reason;
        HResult hr;
        Activity activity;
        const char* hint;
    };
    const Row rows[] = {
        {"unknown ProgID", HResults::kClassString, Activity::kCreate, "avcommand register"},
        {"unknown class", HResults::kClassNotRegistered, Activity::kCreate, "--unregistered"},
        {"no DLL", HResults::kModuleNotFound, Activity::kCreate, "--dll"},
        {"no DLL while registering", HResults::kModuleNotFound, Activity::kRegister, "--dll"},
        {"no DLL where it was registered", HResults::kAccessDenied, Activity::kCreate, "register again"},
        {"64-bit DLL", HResults::kBadImageFormat, Activity::kCreate, "32-bit"},
        {"some other DLL", HResults::kEntryPointNotFound, Activity::kRegister, "not the AVCommand component"},
        {"registering without rights", HResults::kAccessDenied, Activity::kRegister, "administrator"},
        {"unregistering without rights", HResults::kAccessDenied, Activity::kUnregister, "administrator"},
        {"unregistering twice", HResults::kTypeLibRegistry, Activity::kUnregister, "not registered"},
        {"type library without rights", HResults::kTypeLibRegistry, Activity::kRegister, "administrator"},
        {"a size", HResults::kInvalidArgument, Activity::kSetSize, "avcommand sizes"},
        {"a volume", HResults::kInvalidArgument, Activity::kSetVolume, "-10 and 10"},
        {"an area", HResults::kInvalidArgument, Activity::kArea, "negative"},
        {"an operation that the family lacks", HResults::kNotImplemented, Activity::kMove, "family"},
        {"started before it was set up", HResults::kUnexpected, Activity::kStream, "avcommand stream"},
        {"no answer in time", HResults::kTimeOut, Activity::kRead, "in time"},
        {"an HTTP status", HResults::FromBits(0x800C0194), Activity::kMove, "HTTP status 404"},
        {"refused after connecting", HResults::kFail, Activity::kMove, "ORBELL_LOG_FILE"},
        {"a code that nobody foresaw", HResults::FromBits(0x8ABCDEF0), Activity::kMove, "ORBELL_LOG_FILE"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const std::string advice = Advice::For(row.hr, row.activity, "cam:80");
        EXPECT_THAT(advice, HasSubstr(row.hint));
        EXPECT_THAT(advice, Not(HasSubstr("\n")));
    }
}

TEST(Advice, FailedProbeNamesBothTheAddressAndTheCredentials)
{
    const std::string advice = Advice::For(HResults::kFail, Activity::kConnect, "cam.example:8080");
    EXPECT_THAT(advice, HasSubstr("cam.example:8080"));
    EXPECT_THAT(advice, HasSubstr("user name and password"));
}

TEST(CallTrace, WritesNameResultAndDuration)
{
    std::ostringstream sink;
    EXPECT_EQ(CCallTrace(&sink).Run("IThing::Do", [] { return HResults::kFail; }), HResults::kFail);
    // GoogleTest's own regular expressions, which Windows gets, know no character classes in brackets.
    EXPECT_THAT(sink.str(), MatchesRegex("IThing::Do -> E_FAIL .0x80004005., .+\\.. ms\n"));
}

TEST(CallTrace, WithoutSinkOnlyMakesTheCall)
{
    int countCalls = 0;
    EXPECT_EQ(CCallTrace(nullptr).Run("IThing::Do",
                                      [&] {
                                          ++countCalls;
                                          return HResults::kOk;
                                      }),
              HResults::kOk);
    EXPECT_EQ(countCalls, 1);
}
} // namespace
