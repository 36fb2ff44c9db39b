#pragma once

#include "CameraSim/Faults/Fault.h"
#include "CameraSim/Http/HttpMessage.h"
#include "CameraSim/Http/ReplyScript.h"
#include "CameraSim/Rtsp/RtspChannel.h"

#include <optional>
#include <string>
#include <vector>

/// What faults make of an RTSP reply. Those kinds that only HTTP has (chunked bodies) leave it as it is.
namespace RtspFaults
{

const Fault* Find(const std::vector<Fault>& faults, FaultKind kind) noexcept;

/// True when the camera never gets to carry out the request: the fault stands in for its whole answer.
bool ReplacesAnswer(const std::vector<Fault>& faults) noexcept;

/// True when not even a status line leaves the camera.
bool SwallowsReply(const std::vector<Fault>& faults) noexcept;

/// Replaces the reply, or sets headers of it, and the CSeq.
void Alter(HttpReply& reply, std::string& cseq, const std::vector<Fault>& faults);

/// What goes over the GET: head and body, cut, slowed and damaged. Garbage and silence leave it open.
ReplyScript Build(const std::string& head, const std::string& body, const std::vector<Fault>& faults);

/// How a fault of that kind closes a half of the tunnel; nothing when there is none.
std::optional<RtspClosing> Closing(const std::vector<Fault>& faults, FaultKind kind) noexcept;

} // namespace RtspFaults
