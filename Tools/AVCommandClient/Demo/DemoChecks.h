#pragma once

#include "Demo/Simulator.h"
#include "Media/RtpPacket.h"

#include <span>
#include <string>
#include <vector>

/// Comparisons of what the component said with what the camera knows. Each returns one line per disagreement.
namespace DemoChecks
{
/// "*" alone as `expectedPaths` accepts any request. A 401 is part of authentication and not counted, as long as the
/// same target is carried out right after it; a tunnel's POST is not counted either, for WinInet may repeat it.
std::vector<std::string> Requests(std::span<const ReceivedRequest> received,
                                  const std::vector<std::string>& expectedPaths, bool needsAuthorization);

std::vector<std::string> Settings(const StreamSettings& component, const StreamSettings& camera);

std::vector<std::string> Format(const PictureFormat& asked, const PictureFormat& camera);

/// At least `count` packets of one source whose numbers rise one by one.
std::vector<std::string> Stream(std::span<const RtpHeader> packets, std::size_t count, std::size_t countForeign);

/// "pan 10, tilt 0, zoom 1"
std::string PositionText(const CameraPosition& position);
} // namespace DemoChecks
