#include "CameraSim/Control/ControlEndpoint.h"

#include "CameraSim/Control/StateJson.h"

#include <array>
#include <stdexcept>
#include <string_view>

namespace
{

using StateJson::Json;

constexpr std::array<std::string_view, 6> kPaths{"state", "faults", "journal", "streams", "rtsp-sessions", "stop"};

HttpReply JsonReply(unsigned status, const Json& json)
{
    return {status, {}, {{"Content-Type", "application/json"}}, StateJson::Text(json)};
}

HttpReply Error(unsigned status, const std::string& why)
{
    return JsonReply(status, {{"error", why}});
}

ReplyScript Script(const HttpReply& reply, bool keepAlive)
{
    ReplyScript script{ReplyStep::Send(HttpText::FormatHead(reply, reply.body.size(), keepAlive) + reply.body)};
    return script;
}

} // namespace

CControlEndpoint::CControlEndpoint(CCameraService& camera, CRtpSender& streams, CRtspService& rtsp,
                                   std::function<ControlPorts()> ports, std::function<void()> stop)
    : m_camera(camera), m_streams(streams), m_rtsp(rtsp), m_ports(std::move(ports)), m_stop(std::move(stop))
{
}

ReplyScript CControlEndpoint::OnRequest(const HttpRequest& request)
{
    HttpReply reply;
    try
    {
        reply = Answer(request);
    }
    catch (const std::invalid_argument& error)
    {
        reply = Error(400, error.what());
    }
    const bool stops = request.method == "POST" && request.Path() == "stop";
    ReplyScript script = Script(reply, request.WantsKeepAlive());
    if (stops)
        script.push_back(ReplyStep::Call(m_stop));
    return script;
}

ReplyScript CControlEndpoint::OnRefused(const HttpRequest&, unsigned status, const std::string& why)
{
    return Script(Error(status, why), false);
}

HttpReply CControlEndpoint::Answer(const HttpRequest& request)
{
    const std::string_view method = request.method;
    const std::string_view path = request.Path();
    if (path == "state" && method == "GET")
        return State();
    if (path == "state" && (method == "PATCH" || method == "PUT"))
    {
        m_camera.Change(StateJson::ToChange(StateJson::Parse(request.body), m_camera.State()));
        return State();
    }
    if (path == "faults" && method == "POST")
        m_camera.AddFaults(StateJson::ToFaults(StateJson::Parse(request.body)));
    else if (path == "faults" && method == "DELETE")
        m_camera.ClearFaults();
    else if (path == "journal" && method == "GET")
        return JsonReply(200, StateJson::FromJournal(m_camera.Journal().Entries()));
    else if (path == "journal" && method == "DELETE")
    {
        m_camera.Journal().Clear();
        return JsonReply(200, Json::array());
    }
    else if (path == "streams" && method == "DELETE")
    {
        m_streams.StopAll();
        return State();
    }
    else if (path == "rtsp-sessions" && method == "DELETE")
    {
        m_rtsp.ExpireAll();
        return State();
    }
    else if (path == "stop" && method == "POST")
        return JsonReply(200, {{"stopping", true}});
    else if (path != "faults" || method != "GET")
    {
        const bool known = std::find(kPaths.begin(), kPaths.end(), path) != kPaths.end();
        return known ? Error(405, "/" + std::string(path) + " does not know " + std::string(method))
                     : Error(404, "known here: GET and PATCH /state, GET, POST and DELETE /faults, GET and DELETE "
                                  "/journal, DELETE /streams, DELETE /rtsp-sessions, POST /stop");
    }
    return JsonReply(200, StateJson::FromState(m_camera.State())["faults"]);
}

HttpReply CControlEndpoint::State() const
{
    Json json = StateJson::FromState(m_camera.State());
    json["streams"] = StateJson::FromStreams(m_streams.Streams());
    json["rtspSessions"] = StateJson::FromRtspSessions(m_rtsp.Sessions());
    const ControlPorts ports = m_ports();
    json["ports"] = {{"camera", ports.camera}, {"control", ports.control}};
    return JsonReply(200, json);
}
