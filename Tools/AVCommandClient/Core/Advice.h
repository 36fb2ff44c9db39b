#pragma once

#include "Core/HResult.h"

#include <string>

/// What was being done when a call failed; the same code means different things in different places.
enum class Activity
{
    kCreate,
    kRegister,
    kUnregister,
    kOpen,
    kConnect,
    kRead,
    kSetSize,
    kSetVolume,
    kArea,
    kMove,
    kStream,
    kOther
};

namespace Advice
{
/// What the user can do about `hr`: one clause without a full stop. `camera` is "host:port".
std::string For(HResult hr, Activity activity, const std::string& camera);
} // namespace Advice
