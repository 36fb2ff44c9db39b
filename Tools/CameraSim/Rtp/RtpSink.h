#pragma once

#include <string_view>

/// Where the packets of one stream go: a pair of UDP ports, or two channels of an RTSP connection.
/// Called on the simulator's thread; must not block. What cannot be delivered is lost without a word.
class IRtpSink
{
public:
    virtual ~IRtpSink() = default;

    virtual void SendRtp(std::string_view packet) = 0;
    virtual void SendRtcp(std::string_view packet) = 0;
};
