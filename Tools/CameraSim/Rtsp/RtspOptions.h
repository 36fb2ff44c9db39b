#pragma once

#include <string>

/// How the camera's RTSP server behaves where cameras differ.
struct RtspOptions
{
    unsigned timeoutSeconds = 60; ///< a session without a request for so long is over
    /// The Session header of a SETUP reply; "{id}" and "{timeout}" are filled in. Others carry the id alone.
    std::string sessionHeader = "{id};timeout={timeout}";
    /// Controls of the session description are whole URLs; false: "*" for the session, "trackID=N" for a stream.
    bool absoluteControls = true;
    /// A session goes on until its time is over when its tunnel was closed, as RFC 2326 allows.
    bool sessionsOutliveTunnels = false;

    bool operator==(const RtspOptions&) const = default;
};
