#include "Protocol/Log.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
/// Long enough to need memory once it is formatted.
constexpr const wchar_t* kFormat = L"CTest::Run, a message that no small buffer would hold, url = '%s', code = %d";

unsigned AllocationsOf(LogLevel level)
{
    const unsigned before = CountedAllocations::Count();
    Log(level, kFormat, L"command/inquiry.cgi?inq=camera&inq=ptzf&inq=system", 401);
    return CountedAllocations::Count() - before;
}

TEST(LogCost, NothingIsAllocatedWhileLoggingIsOff)
{
    COBLogManager::SetSink(nullptr, 0);
    EXPECT_EQ(AllocationsOf(LogLevel::Error), 0u);
}

TEST(LogCost, NothingIsAllocatedForALevelOutsideTheMask)
{
    CLogCapture log(static_cast<std::uint32_t>(LogLevel::Error));
    EXPECT_EQ(AllocationsOf(LogLevel::Trace), 0u);
    EXPECT_GT(AllocationsOf(LogLevel::Error), 0u) << "the counter counts";
}

/// Takes no memory of its own.
class CCountingSink final : public ILogSink
{
public:
    void Write(const LogMessage&) noexcept override
    {
        ++m_calls;
    }
    int m_calls = 0;
};

TEST(LogCost, MessageIsLostWhenMemoryIsShort)
{
    const auto sink = std::make_shared<CCountingSink>();
    COBLogManager::SetSink(sink, COBLogManager::kAllLevels);
    {
        const CountedAllocations::CFailAfter noMemory(0);
        Log(LogLevel::Error, kFormat, L"url", 1);
    }
    EXPECT_EQ(sink->m_calls, 0);
    Log(LogLevel::Error, kFormat, L"url", 1);
    EXPECT_EQ(sink->m_calls, 1);
    COBLogManager::SetSink(nullptr, 0);
}
} // namespace
