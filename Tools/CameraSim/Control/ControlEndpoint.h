#pragma once

#include "CameraSim/Camera/CameraService.h"
#include "CameraSim/Http/HttpHandler.h"
#include "CameraSim/Rtp/RtpSender.h"
#include "CameraSim/Rtsp/RtspService.h"

#include <cstdint>
#include <functional>

struct ControlPorts
{
    std::uint16_t camera = 0;
    std::uint16_t control = 0;
};

/// The JSON control interface on its own port, for scripts and for tests in other processes:
///   GET /state, PATCH /state (PUT means the same), GET /faults, POST /faults, DELETE /faults, GET /journal,
///   DELETE /journal, DELETE /streams, DELETE /rtsp-sessions, POST /stop.
/// Borrows the camera, the streams and the RTSP service. Runs on the simulator's thread.
/// A refusal is 400, 404 or 405 with {"error": "..."}, and then nothing has changed.
class CControlEndpoint final : public IHttpHandler
{
public:
    CControlEndpoint(CCameraService& camera, CRtpSender& streams, CRtspService& rtsp,
                     std::function<ControlPorts()> ports, std::function<void()> stop);

    ReplyScript OnRequest(const HttpRequest& request) override;
    ReplyScript OnRefused(const HttpRequest& partial, unsigned status, const std::string& why) override;

private:
    HttpReply Answer(const HttpRequest& request);
    HttpReply State() const;

    CCameraService& m_camera;
    CRtpSender& m_streams;
    CRtspService& m_rtsp;
    std::function<ControlPorts()> m_ports;
    std::function<void()> m_stop;
};
