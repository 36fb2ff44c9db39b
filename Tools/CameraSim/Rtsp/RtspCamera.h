#pragma once

#include "CameraSim/Auth/Authenticator.h"
#include "CameraSim/Camera/RtspConfiguration.h"
#include "CameraSim/Faults/Fault.h"
#include "CameraSim/Journal/JournalEntry.h"
#include "CameraSim/Rtsp/RtspOptions.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The camera as its RTSP server sees it. Any thread; an implementation does not call back.
class IRtspCamera
{
public:
    virtual ~IRtspCamera() = default;

    /// What it would stream now; nothing for a camera without RTSP.
    virtual std::optional<RtspConfiguration> RtspMedia() const = 0;
    virtual RtspOptions Rtsp() const = 0;
    /// As CFaultTable::Take.
    virtual std::vector<Fault> TakeFaults(std::string_view target, bool authenticated) = 0;
    /// As CAuthenticator::Check.
    virtual AuthenticationVerdict CheckCredentials(std::string_view method, std::string_view url,
                                                   const std::string* authorization) = 0;
    /// Writes into the journal; number and times are filled in there.
    virtual void Record(JournalEntry entry) = 0;
};
