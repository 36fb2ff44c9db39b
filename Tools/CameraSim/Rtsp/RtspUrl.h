#pragma once

#include <optional>
#include <string>
#include <string_view>

/// An RTSP URL of a camera, taken apart: rtsp://HOST/PATH/trackID=N?QUERY. One track is one stream of a presentation.
struct RtspUrl
{
    std::string host;   ///< with its port, when the URL names one
    std::string path;   ///< of the presentation, without slashes at its ends
    std::string query;  ///< without "?"
    unsigned track = 0; ///< 0: the whole presentation

    /// Nothing for anything else than an rtsp URL with a host. The track may stand before or behind the query: players
    /// that glue a relative control to the URL which they were given produce the latter.
    static std::optional<RtspUrl> Parse(std::string_view text);

    /// The whole presentation.
    std::string Presentation() const;
    std::string Track(unsigned number) const;
    /// What relative controls are relative to.
    std::string Base() const;
};
