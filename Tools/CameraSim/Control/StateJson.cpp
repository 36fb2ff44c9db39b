#include "CameraSim/Control/StateJson.h"

#include <chrono>
#include <stdexcept>

namespace StateJson
{

namespace
{

using Clock = std::chrono::system_clock;

[[noreturn]] void Complain(const std::string& text)
{
    throw std::invalid_argument(text);
}

template <class T>
T Read(const Json& value, const std::string& name)
{
    try
    {
        if constexpr (std::is_unsigned_v<T> && !std::is_same_v<T, bool>)
        {
            if (!value.is_number_unsigned() || value.get<std::uint64_t>() > std::numeric_limits<T>::max())
                Complain("\"" + name + "\" must be a number from 0 to " +
                         std::to_string(std::numeric_limits<T>::max()));
        }
        return value.get<T>();
    }
    catch (const Json::exception&)
    {
        Complain("\"" + name + "\" has the wrong type: " + value.dump());
    }
}

void NeedObject(const Json& json, const std::string& what)
{
    if (!json.is_object())
        Complain(what + " must be a JSON object");
}

std::string Latin1ToUtf8(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
            text += c;
        else
        {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

/// UTC, "2024-05-06T07:08:09.123Z".
std::string Timestamp(Clock::time_point when)
{
    const auto days = std::chrono::floor<std::chrono::days>(when);
    const std::chrono::year_month_day date(days);
    const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::milliseconds>(when - days));
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
    return text;
}

Json FromHeaders(const std::vector<HttpHeader>& headers)
{
    Json json = Json::array();
    for (const HttpHeader& header : headers)
        json.push_back({{"name", Latin1ToUtf8(header.name)}, {"value", Latin1ToUtf8(header.value)}});
    return json;
}

Json FromAuthentication(const AuthenticationOptions& options)
{
    return {{"scheme", SchemeName(options.scheme)},
            {"user", options.user},
            {"password", options.password},
            {"realm", options.realm},
            {"qop", options.qop},
            {"opaque", options.opaque},
            {"nonceRequests", options.nonceRequests},
            {"challenge", options.challenge}};
}

Json FromEntry(const JournalEntry& entry)
{
    const HttpRequest& request = entry.request;
    return {{"number", entry.number},
            {"when", Timestamp(entry.when)},
            {"microseconds", entry.microseconds},
            {"connection", request.connection},
            {"peer", request.peerAddress},
            {"method", Latin1ToUtf8(request.method)},
            {"target", Latin1ToUtf8(request.target)},
            {"headers", FromHeaders(request.headers)},
            {"head", Latin1ToUtf8(request.head)},
            {"body", Latin1ToUtf8(request.body)},
            {"authenticated", entry.authenticated},
            {"authentication", entry.authentication},
            {"faults", entry.faults},
            {"note", entry.note},
            {"answer",
             {{"status", entry.status}, {"bodyBytes", entry.bodyBytes}, {"head", Latin1ToUtf8(entry.answerHead)}}}};
}

AuthenticationOptions ToAuthentication(const Json& json, AuthenticationOptions options)
{
    NeedObject(json, "\"authentication\"");
    for (const auto& [name, value] : json.items())
    {
        if (name == "scheme")
        {
            const auto scheme = SchemeFromName(Read<std::string>(value, name));
            if (!scheme)
                Complain("\"scheme\" is none, basic, digest or digest-sess");
            options.scheme = *scheme;
        }
        else if (name == "user")
            options.user = Read<std::string>(value, name);
        else if (name == "password")
            options.password = Read<std::string>(value, name);
        else if (name == "realm")
            options.realm = Read<std::string>(value, name);
        else if (name == "qop")
            options.qop = Read<std::string>(value, name);
        else if (name == "opaque")
            options.opaque = Read<std::string>(value, name);
        else if (name == "nonceRequests")
            options.nonceRequests = Read<unsigned>(value, name);
        else if (name == "challenge")
            options.challenge = Read<std::string>(value, name);
        else
            Complain("\"authentication\" has no field \"" + name + "\"");
    }
    return options;
}

Json FromRtsp(const RtspOptions& options)
{
    return {{"timeoutSeconds", options.timeoutSeconds},
            {"sessionHeader", options.sessionHeader},
            {"absoluteControls", options.absoluteControls},
            {"sessionsOutliveTunnels", options.sessionsOutliveTunnels}};
}

RtspOptions ToRtsp(const Json& json, RtspOptions options)
{
    NeedObject(json, "\"rtsp\"");
    for (const auto& [name, value] : json.items())
    {
        if (name == "timeoutSeconds")
            options.timeoutSeconds = Read<unsigned>(value, name);
        else if (name == "sessionHeader")
            options.sessionHeader = Read<std::string>(value, name);
        else if (name == "absoluteControls")
            options.absoluteControls = Read<bool>(value, name);
        else if (name == "sessionsOutliveTunnels")
            options.sessionsOutliveTunnels = Read<bool>(value, name);
        else
            Complain("\"rtsp\" has no field \"" + name + "\"");
    }
    return options;
}

PtzPosition ToPosition(const Json& json, PtzPosition position)
{
    NeedObject(json, "\"position\"");
    for (const auto& [name, value] : json.items())
    {
        if (name == "pan")
            position.pan = Read<double>(value, name);
        else if (name == "tilt")
            position.tilt = Read<double>(value, name);
        else if (name == "zoom")
            position.zoom = Read<double>(value, name);
        else
            Complain("\"position\" has no field \"" + name + "\"");
    }
    return position;
}

void ToSettings(const Json& json, CameraChange& change)
{
    NeedObject(json, "\"settings\"");
    for (const auto& [name, value] : json.items())
    {
        if (value.is_null())
            change.settings.emplace_back(name, std::nullopt);
        else
            change.settings.emplace_back(name, value.is_number() ? value.dump() : Read<std::string>(value, name));
    }
}

Fault ToFault(const Json& json)
{
    if (json.is_string())
        return FaultText::Parse(json.get<std::string>());
    NeedObject(json, "a fault");
    if (!json.contains("kind"))
        Complain("a fault needs a \"kind\": " + FaultText::AllNames());
    const std::string kindName = Read<std::string>(json["kind"], "kind");
    const auto kind = FaultText::KindFromName(kindName);
    if (!kind)
        Complain("\"" + kindName + "\" is no fault; known are " + FaultText::AllNames());
    Fault fault = FaultText::WithDefaults(*kind);
    for (const auto& [name, value] : json.items())
    {
        if (name == "path")
        {
            fault.path = Read<std::string>(value, name);
            fault.path.erase(0, fault.path.starts_with('/') ? 1 : 0);
        }
        else if (name == "skip")
            fault.skip = Read<unsigned>(value, name);
        else if (name == "count")
            fault.count = Read<unsigned>(value, name);
        else if (name == "afterAuthentication")
            fault.afterAuthentication = Read<bool>(value, name);
        else if (name == "milliseconds")
            fault.milliseconds = Read<std::uint32_t>(value, name);
        else if (name == "status")
            fault.status = Read<unsigned>(value, name);
        else if (name == "sizeBytes")
            fault.sizeBytes = Read<std::size_t>(value, name);
        else if (name == "text")
            fault.text = Read<std::string>(value, name);
        else if (name == "headers")
        {
            NeedObject(value, "\"headers\"");
            for (const auto& [headerName, headerValue] : value.items())
                fault.headers.push_back({headerName, Read<std::string>(headerValue, headerName)});
        }
        else if (name != "kind")
            Complain("a fault has no field \"" + name + "\"");
    }
    FaultText::Validate(fault);
    return fault;
}

} // namespace

Json Parse(const std::string& text)
{
    try
    {
        return Json::parse(text);
    }
    catch (const Json::exception& error)
    {
        Complain(std::string("the body is not JSON: ") + error.what());
    }
}

std::string Text(const Json& json)
{
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json FromState(const CameraState& state)
{
    Json settings = Json::object();
    for (const CameraSetting& setting : state.settings)
        settings[setting.name] = setting.value;
    Json faults = Json::array();
    for (const Fault& fault : state.faults)
        faults.push_back(FromFault(fault));
    return {{"family", state.family},
            {"model", state.model},
            {"standard", state.standard == VideoStandard::Ntsc ? "ntsc" : "pal"},
            {"requireStreamSettings", state.requireStreamSettings},
            {"authentication", FromAuthentication(state.authentication)},
            {"rtsp", FromRtsp(state.rtsp)},
            {"settings", settings},
            {"position", {{"pan", state.position.pan}, {"tilt", state.position.tilt}, {"zoom", state.position.zoom}}},
            {"speed", {{"pan", state.speed.pan}, {"tilt", state.speed.tilt}, {"zoom", state.speed.zoom}}},
            {"faults", faults},
            {"requests", state.requests}};
}

Json FromStreams(const std::vector<StreamStatus>& streams)
{
    Json json = Json::array();
    for (const StreamStatus& stream : streams)
    {
        const auto kind = stream.order.kind;
        json.push_back({{"kind", kind == MediaKind::Pcmu   ? "pcmu"
                                 : kind == MediaKind::H264 ? "h264"
                                                           : "mpeg4"},
                        {"multicast", stream.order.multicast},
                        {"multicastAddress", stream.order.multicastAddress},
                        {"sentTo", "127.0.0.1:" + std::to_string(stream.order.port)},
                        {"ssrc", stream.ssrc},
                        {"packets", stream.packets}});
    }
    return json;
}

Json FromRtspSessions(const std::vector<RtspSessionStatus>& sessions)
{
    Json json = Json::array();
    for (const RtspSessionStatus& session : sessions)
    {
        Json tracks = Json::array();
        for (const RtspSessionStatus::Track& track : session.tracks)
        {
            tracks.push_back({{"url", Latin1ToUtf8(track.url)},
                              {"transport", Latin1ToUtf8(track.transport)},
                              {"ssrc", track.ssrc},
                              {"packets", track.packets}});
        }
        json.push_back({{"id", session.id},
                        {"playing", session.playing},
                        {"idleSeconds", session.idleSeconds},
                        {"tracks", tracks}});
    }
    return json;
}

Json FromFault(const Fault& fault)
{
    Json headers = Json::object();
    for (const HttpHeader& header : fault.headers)
        headers[header.name] = header.value;
    return {{"kind", FaultText::Name(fault.kind)},
            {"path", fault.path},
            {"skip", fault.skip},
            {"count", fault.count},
            {"afterAuthentication", fault.afterAuthentication},
            {"milliseconds", fault.milliseconds},
            {"status", fault.status},
            {"sizeBytes", fault.sizeBytes},
            {"text", Latin1ToUtf8(fault.text)},
            {"headers", headers}};
}

Json FromJournal(const std::vector<JournalEntry>& entries)
{
    Json json = Json::array();
    for (const JournalEntry& entry : entries)
        json.push_back(FromEntry(entry));
    return json;
}

CameraChange ToChange(const Json& json, const CameraState& current)
{
    NeedObject(json, "the state");
    CameraChange change;
    for (const auto& [name, value] : json.items())
    {
        if (name == "model")
            change.model = Read<std::string>(value, name);
        else if (name == "standard")
        {
            change.standard = StandardFromName(Read<std::string>(value, name));
            if (!change.standard)
                Complain("\"standard\" is ntsc or pal");
        }
        else if (name == "factorySettings")
            change.factorySettings = Read<bool>(value, name);
        else if (name == "requireStreamSettings")
            change.requireStreamSettings = Read<bool>(value, name);
        else if (name == "authentication")
            change.authentication = ToAuthentication(value, current.authentication);
        else if (name == "rtsp")
            change.rtsp = ToRtsp(value, current.rtsp);
        else if (name == "settings")
            ToSettings(value, change);
        else if (name == "position")
            change.position = ToPosition(value, current.position);
        else
            Complain("the state has no field \"" + name + "\" that can be changed");
    }
    return change;
}

std::vector<Fault> ToFaults(const Json& json)
{
    std::vector<Fault> faults;
    if (!json.is_array())
        faults.push_back(ToFault(json));
    else
    {
        for (const Json& item : json)
            faults.push_back(ToFault(item));
    }
    return faults;
}

std::string_view SchemeName(AuthenticationScheme scheme) noexcept
{
    switch (scheme)
    {
    case AuthenticationScheme::None:
        break;
    case AuthenticationScheme::Basic:
        return "basic";
    case AuthenticationScheme::Digest:
        return "digest";
    case AuthenticationScheme::DigestSession:
        return "digest-sess";
    }
    return "none";
}

std::optional<AuthenticationScheme> SchemeFromName(std::string_view name) noexcept
{
    for (const auto scheme : {AuthenticationScheme::None, AuthenticationScheme::Basic, AuthenticationScheme::Digest,
                              AuthenticationScheme::DigestSession})
    {
        if (SchemeName(scheme) == name)
            return scheme;
    }
    return std::nullopt;
}

std::optional<VideoStandard> StandardFromName(std::string_view name) noexcept
{
    if (name == "ntsc")
        return VideoStandard::Ntsc;
    if (name == "pal")
        return VideoStandard::Pal;
    return std::nullopt;
}

} // namespace StateJson
