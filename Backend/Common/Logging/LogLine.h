#pragma once

#include <cstdint>
#include <string>

struct LogMessage;

/// Local time of a log line.
struct LogTime
{
    unsigned year = 0;
    unsigned month = 0;
    unsigned day = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    unsigned milliseconds = 0;
};

namespace LogLine
{
/// The UTF-8 line of one message, its line feed included:
/// `YYYY-MM-DD HH:MM:SS.mmm [threadid] component level file(line) text`.
/// CR and LF in the text become the characters `\r` and `\n`, so that what a camera sends cannot forge a line.
/// Throws std::bad_alloc only.
std::string Compose(const LogMessage& message, const LogTime& time, std::uint32_t threadId);
} // namespace LogLine
