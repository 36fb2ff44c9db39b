#pragma once

#include "Media/MediaReceiver.h"
#include "Media/RunningStreams.h"

#include <functional>
#include <memory>

/// What streaming needs of the world; the program brings the real thing, the tests their own.
struct StreamSurroundings
{
    std::function<std::unique_ptr<IMediaReceiver>()> makeReceiver = {};
    /// The user wants the program to end.
    std::function<bool()> isInterrupted = {};
    std::shared_ptr<IRunningStreams> runningStreams = {};
};
