#pragma once

#include "CameraSim/Rtsp/RtspService.h"

/// One request on its way to its answer. Lives for one call of CRtspService::Answer, under its lock.
struct CRtspService::Call
{
    const HttpRequest& request;
    IRtspChannel& channel;
    const RtspConfiguration configuration;
    const RtspOptions options;
    RtspUrl url;
    RtspSession* session = nullptr;
    RtspMedia media = {};

    /// 200, with the session if there is one.
    RtspReply Good() const
    {
        RtspReply reply;
        if (session)
            reply.reply.headers.push_back({"Session", session->id});
        return reply;
    }
};
