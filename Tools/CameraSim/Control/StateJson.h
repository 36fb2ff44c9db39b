#pragma once

#include "CameraSim/Camera/CameraState.h"
#include "CameraSim/Camera/MediaStreams.h"
#include "CameraSim/Journal/JournalEntry.h"
#include "CameraSim/Rtsp/RtspSessionStatus.h"

#include <nlohmann/json.hpp>

#include <vector>

/// The control interface's JSON. Bytes of requests are written as ISO-8859-1 characters, one for each byte, so that
/// nothing is lost; everything else is UTF-8.
/// Reading throws std::invalid_argument with a text for the user: a wrong type, an unknown field or word.
namespace StateJson
{

using Json = nlohmann::ordered_json;

/// Throws std::invalid_argument.
Json Parse(const std::string& text);
/// Indented, with a final newline; bytes that are not UTF-8 become replacement characters.
std::string Text(const Json& json);

Json FromState(const CameraState& state);
Json FromStreams(const std::vector<StreamStatus>& streams);
Json FromRtspSessions(const std::vector<RtspSessionStatus>& sessions);
Json FromFault(const Fault& fault);
Json FromJournal(const std::vector<JournalEntry>& entries);

/// `current` is what a partial authentication, rtsp or position is completed from.
CameraChange ToChange(const Json& json, const CameraState& current);
/// One fault or an array of them. A fault is an object, or a text as the --fault option takes it.
std::vector<Fault> ToFaults(const Json& json);

std::string_view SchemeName(AuthenticationScheme scheme) noexcept;
std::optional<AuthenticationScheme> SchemeFromName(std::string_view name) noexcept;
std::optional<VideoStandard> StandardFromName(std::string_view name) noexcept;

} // namespace StateJson
