#pragma once

#include "CameraSim/Http/HttpMessage.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

/// One request as the camera received it, and what it answered.
struct JournalEntry
{
    std::uint64_t number = 0; ///< counts from 1 since the start, also across a cleared journal
    std::chrono::system_clock::time_point when;
    std::uint64_t microseconds = 0; ///< since the simulator was made, by the steady clock
    HttpRequest request;            ///< `request.head` holds the exact bytes

    unsigned status = 0;             ///< as sent; 0 when no status line left (silent, dropped, garbage)
    std::size_t bodyBytes = 0;       ///< of the answer, before a fault cut it
    std::string answerHead;          ///< the reply's head as far as it was to be sent; empty with status 0
    bool authenticated = false;      ///< credentials accepted, or none asked for
    std::string authentication;      ///< what became of the credentials, in words
    std::vector<std::string> faults; ///< names of the faults that hit this request
    std::string note;                ///< why a request was refused; empty when it was not
};
