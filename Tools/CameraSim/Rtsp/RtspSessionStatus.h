#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// A picture of one session at one moment.
struct RtspSessionStatus
{
    struct Track
    {
        std::string url;
        std::string transport; ///< as in the SETUP reply
        std::uint32_t ssrc = 0;
        std::uint64_t packets = 0;
    };

    std::string id;
    bool playing = false;
    unsigned idleSeconds = 0;
    std::vector<Track> tracks;
};
