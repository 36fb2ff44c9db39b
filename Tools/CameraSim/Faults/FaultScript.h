#pragma once

#include "CameraSim/Faults/Fault.h"
#include "CameraSim/Http/ReplyScript.h"

#include <vector>

namespace FaultScript
{

/// True when the camera never gets to carry out the request: the fault stands in for its whole answer.
bool ReplacesAnswer(const Fault& fault) noexcept;

/// True when not even a status line leaves the camera.
bool SwallowsReply(const std::vector<Fault>& faults) noexcept;

/// A reset that no other fault says the place of comes instead of the answer.
bool IsResetAlone(const std::vector<Fault>& faults) noexcept;

/// The headers that faults add to a reply: too many, too long, a wrong length.
void AddHeaders(HttpReply& reply, const std::vector<Fault>& faults);

/// The answer of a camera to which no credentials are good enough; without a challenge of its own it names Basic.
HttpReply Challenged(const std::string& challenge);

/// The answer of a camera that is hit by a fault of that kind. `reply` is its own answer, which most kinds keep.
HttpReply Alter(HttpReply reply, const std::vector<Fault>& faults);

/// The replies that come before the answer.
std::string Interim(const std::vector<Fault>& faults);

/// What goes over the wire: the reply, cut, slowed and damaged as the faults say.
/// `isHead`: the request was a HEAD, so the body is announced and not sent.
ReplyScript Build(const HttpReply& reply, const std::vector<Fault>& faults, bool keepAlive, bool isHead);

} // namespace FaultScript
