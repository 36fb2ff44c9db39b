#include "Fuzz/FuzzTarget.h"
#include "Protocol/RtspHeaders.h"

#include <cstdint>
#include <limits>

using Fuzz::Require;

namespace
{
struct Session
{
    std::string id;
    std::int32_t timeoutSeconds = -1;

    bool operator==(const Session&) const = default;
};

Session ParseSession(std::string_view value)
{
    Session session{"old id"};
    RtspHeaders::ParseRtspSessionHeader(value, session.id, session.timeoutSeconds);
    return session;
}

/// The Session header of a reply to SETUP.
void FeedSession(std::string_view input)
{
    const Session session = ParseSession(input);
    Require(input.starts_with(session.id), "the id is what the header begins with");
    Require(session.timeoutSeconds >= 0, "no time-out is negative");
    const std::uint32_t periodMs = RtspHeaders::KeepAlivePeriodMs(session.timeoutSeconds);
    Require(periodMs <= std::uint32_t{std::numeric_limits<std::int32_t>::max()}, "a timer can take the period");
    Require((periodMs == 0) == (session.timeoutSeconds == 0), "whoever names a time-out is kept alive");
    if (session.timeoutSeconds != 0)
        Require(ParseSession(session.id + ";timeout=" + std::to_string(session.timeoutSeconds)) == session,
                "a session reads the same when it is written down");
}

const CFuzzTarget kSessionHeader("SessionHeader", FeedSession);
} // namespace
