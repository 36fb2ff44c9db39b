#pragma once

#include "CameraSim/Rtsp/RtspCamera.h"
#include "CameraSim/Rtsp/RtspService.h"
#include "CameraSim/Rtsp/RtspTunnel.h"

#include <string>
#include <vector>

/// What happens to an RTSP request from the tunnel to the tunnel: faults, credentials, the service's answer, the
/// journal, in this order. Borrows both. Runs on the simulator's thread.
class CRtspDesk
{
public:
    CRtspDesk(IRtspCamera& camera, CRtspService& service);

    void Serve(CRtspTunnel& tunnel, const RtspItem& item);

private:
    struct Answer
    {
        HttpReply reply;
        std::string cseq;
        std::string note;
        AuthenticationVerdict verdict;
        std::vector<Fault> faults;
    };

    Answer Decide(CRtspTunnel& tunnel, const RtspItem& item);
    AuthenticationVerdict Authenticate(const HttpRequest& request);
    void ChallengeAgain(const HttpRequest& request, Answer& answer);
    void Record(const CRtspTunnel& tunnel, const RtspItem& item, const Answer& answer, const std::string& head);
    void Send(CRtspTunnel& tunnel, const Answer& answer, const std::string& head, bool closes);

    IRtspCamera& m_camera;
    CRtspService& m_service;
};
