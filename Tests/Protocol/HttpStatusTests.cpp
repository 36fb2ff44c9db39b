#include "Protocol/HttpStatus.h"

#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

std::uint32_t Mapped(std::uint32_t statusCode)
{
    return static_cast<std::uint32_t>(HResultFromHttpStatusCode(statusCode));
}

struct StatusCase
{
    const char* reason;
    std::uint32_t statusCode;
    std::uint32_t expected;
};

TEST(HttpStatus, MapsEveryRange)
{
    CLogCapture log;
    const std::vector<StatusCase> cases = {
        {"lowest status", 100, 0x800C0064},
        {"last informational", 199, 0x800C00C7},
        {"OK", 200, 0},
        {"created", 201, 0x000C00C9},
        {"accepted is a success, but not S_OK", 202, 0x000C00CA},
        {"partial answer", 203, 0x000C00CB},
        {"no content", 204, 0},
        {"reset content", 205, 0x000C00CD},
        {"last success", 299, 0x000C012B},
        {"first redirection", 300, 0x800C012C},
        {"not modified", 304, 0x800C0130},
        {"bad request", 400, 0x800C0190},
        {"unauthorized", 401, 0x80070005},
        {"payment required", 402, 0x800C0192},
        {"not found", 404, 0x800C0194},
        {"last client error", 499, 0x800C01F3},
        {"the body of a 500 explains itself", 500, 0},
        {"not implemented", 501, 0x800C01F5},
        {"unavailable", 503, 0x800C01F7},
        {"last known status", 505, 0x800C01F9},
    };
    for (const StatusCase& each : cases)
        EXPECT_EQ(Mapped(each.statusCode), each.expected) << each.reason;
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(HttpStatus, LogsWhatIsNoStatus)
{
    CLogCapture log;
    for (const std::uint32_t statusCode : {0u, 99u, 506u, 0x80004005u})
        EXPECT_EQ(Mapped(statusCode), 0x80004005u) << statusCode;
    EXPECT_THAT(log.Lines(), ElementsAre(L"1 HResultFromHttpStatusCode, unexpected statusCode (0)",
                                         L"1 HResultFromHttpStatusCode, unexpected statusCode (99)",
                                         L"1 HResultFromHttpStatusCode, unexpected statusCode (506)",
                                         L"1 HResultFromHttpStatusCode, unexpected statusCode (-2147467259)"));
}

TEST(HttpStatus, EveryOtherCodeCarriesItselfAndItsKind)
{
    for (std::uint32_t code = 100; code <= 505; ++code)
    {
        if (code == 200 || code == 204 || code == 401 || code == 500)
            continue;
        const std::uint32_t family = code >= 200 && code < 300 ? 0x000C0000u : 0x800C0000u;
        EXPECT_EQ(Mapped(code), family + code);
    }
}
} // namespace
