#pragma once

#include "Protocol/H264FormatParameters.h"
#include "Protocol/SdpParser.h"

#include <string_view>

/// Which media and formats of a session description the component can stream: H.264 video and G.711 mu-law audio over
/// RTP. What does not fit is logged. Pure functions of the description; they throw std::bad_alloc only.
namespace MediaFormats
{
/// The first format that is H.264 at 90 kHz, with parameters, and not packetized in interleaved mode (RFC 6184, 5.4),
/// which receivers lack. Its parameters are returned; without such a format they stay untouched.
bool MediaHasH264Video(const MediaDescription& media, H264FormatParameters& formatParameters);

/// A format must say itself, in an rtpmap, that it is PCMU at 8 kHz, payload type 0 or not.
bool MediaHasPCMUAudio(const MediaDescription& media);

/// The first "video" media of H.264. Untouched parameters and false when there is none.
bool FindH264Video(const CSessionDescription& description, H264FormatParameters& formatParameters);

/// The control attribute of the first media of a type, "video" or "audio", whose format can be streamed. Empty when
/// there is none, and, logged, when it has no control.
std::string_view MediaControl(const CSessionDescription& description, std::string_view mediaType);

/// Whether a control attribute is a URL of its own.
bool IsAbsoluteUrl(std::string_view url) noexcept;
} // namespace MediaFormats
