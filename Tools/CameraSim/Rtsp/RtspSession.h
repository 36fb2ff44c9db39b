#pragma once

#include "CameraSim/Rtp/RtpStream.h"
#include "CameraSim/Rtsp/TransportHeader.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// One stream that a session has set up.
struct RtspTrack
{
    unsigned number = 0;
    std::string url; ///< as the client wrote it in SETUP, for RTP-Info
    RtspTransport transport;
    std::shared_ptr<CRtpStream> stream;
};

/// A session from its first SETUP to its end. Destroying it stops its streams.
struct RtspSession
{
    using Clock = std::chrono::steady_clock;

    RtspSession() = default;
    RtspSession(const RtspSession&) = delete;
    RtspSession& operator=(const RtspSession&) = delete;
    ~RtspSession()
    {
        for (const RtspTrack& track : tracks)
            track.stream->Finish();
    }

    void Play()
    {
        playing = true;
        for (const RtspTrack& track : tracks)
            track.stream->Start();
    }
    void Pause()
    {
        playing = false;
        for (const RtspTrack& track : tracks)
            track.stream->Stop();
    }

    std::string id;
    bool playing = false;
    std::vector<RtspTrack> tracks;
    std::uint64_t channel = 0;  ///< the one that its last request came through
    Clock::time_point lastSeen; ///< when that was
};
