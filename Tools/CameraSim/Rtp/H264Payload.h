#pragma once

#include "CameraSim/Rtp/MediaSource.h"

#include <string>
#include <vector>

/// RFC 6184, packetization mode 1.
namespace H264Payload
{

/// The payloads of one access unit, given as NAL units without start codes. A sequence parameter set and the picture
/// parameter set behind it travel together (STAP-A), what is longer than `maxPayloadBytes` in fragments (FU-A),
/// everything else alone. The last payload has the marker.
std::vector<MediaPayload> Packetise(const std::vector<std::string>& units, std::size_t maxPayloadBytes);

} // namespace H264Payload
