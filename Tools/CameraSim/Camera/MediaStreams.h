#pragma once

#include <cstdint>
#include <string>

enum class MediaKind
{
    Mpeg4,
    H264,
    Pcmu ///< G.711 mu-law, 8 kHz
};

/// A stream that a camera was asked to send.
struct StreamOrder
{
    MediaKind kind = MediaKind::Mpeg4;
    bool multicast = false;
    std::string multicastAddress = {}; ///< what the camera announces; packets do not go there
    std::uint16_t port = 0;
    unsigned width = 640; ///< of H.264 pictures
    unsigned height = 480;
    unsigned framesPerSecond = 30;
    unsigned kilobitsPerSecond = 1024;
};

/// One stream that is being sent.
struct StreamStatus
{
    StreamOrder order;
    std::uint32_t ssrc = 0;
    std::uint64_t packets = 0;
};

/// Starts the media that a family's requests ask for. Called on the simulator's thread; must not block.
class IMediaStreams
{
public:
    virtual ~IMediaStreams() = default;

    /// A second order for the same kind and port replaces the first. False when no more streams can be sent.
    virtual bool StartStream(const StreamOrder& order) = 0;
};
