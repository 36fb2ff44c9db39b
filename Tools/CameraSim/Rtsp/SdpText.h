#pragma once

#include "CameraSim/Rtsp/RtspMedia.h"
#include "CameraSim/Rtsp/RtspUrl.h"

#include <cstdint>
#include <string>

namespace SdpText
{

/// The session description (RFC 4566) of a presentation: H.264 video (RFC 6184) with the parameter sets that its stream
/// carries, and G.711 mu-law audio (RFC 3551). `version` has to grow with each change of the text.
std::string Write(const RtspUrl& url, const RtspMedia& media, bool absoluteControls, std::uint64_t version);

} // namespace SdpText
