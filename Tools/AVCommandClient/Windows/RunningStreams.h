#pragma once

#include "Media/RunningStreams.h"

/// By way of small blocks of named memory, one for each running stream of this user's session: their names make them
/// findable, and the system removes them with the last process that holds them, however that process ends.
class CRunningStreams final : public IRunningStreams
{
public:
    std::unique_ptr<IStreamTicket> Announce(const std::string& camera) override;
    Answer Ask(const std::string& camera, StreamRequest request, std::chrono::milliseconds limit) override;
};
