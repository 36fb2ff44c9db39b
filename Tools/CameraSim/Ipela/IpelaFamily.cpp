#include "CameraSim/Ipela/IpelaFamily.h"

#include "CameraSim/Text/Ascii.h"

namespace
{

HttpReply Done()
{
    return HttpReply::Text(200, "");
}

HttpReply Refused(const std::string& why)
{
    return HttpReply::Text(400, why);
}

std::string ValueNoCase(const std::vector<QueryString::Parameter>& parameters, std::string_view name)
{
    for (const auto& parameter : parameters)
    {
        if (Ascii::EqualNoCase(parameter.name, name))
            return parameter.value;
    }
    return "";
}

} // namespace

CIpelaFamily::CIpelaFamily(IpelaOptions options, CPtzHead& head, IMediaStreams& streams)
    : m_options(std::move(options)), m_model(IpelaModels::Find(m_options.modelName)),
      m_settings(m_model, m_options.standard, m_options.factorySettings), m_head(head), m_streams(streams)
{
}

std::string_view CIpelaFamily::FamilyName() const
{
    return "ipela";
}

std::string_view CIpelaFamily::ModelName() const
{
    return m_options.modelName;
}

VideoStandard CIpelaFamily::Standard() const
{
    return m_options.standard;
}

std::vector<CameraSetting> CIpelaFamily::Settings() const
{
    return m_settings.All();
}

void CIpelaFamily::ForceSetting(std::string_view name, std::optional<std::string> value)
{
    m_settings.Force(name, std::move(value));
}

void CIpelaFamily::RequireStreamSettings(bool require)
{
    m_options.requireStreamSettings = require;
}

HttpReply CIpelaFamily::Answer(const HttpRequest& request)
{
    if (request.method != "GET" && request.method != "HEAD" && request.method != "POST")
    {
        HttpReply reply = HttpReply::Text(405, "this camera knows GET and POST");
        reply.headers.push_back({"Allow", "GET, HEAD, POST"});
        return reply;
    }
    // A POST carries its parameters as a form.
    const auto parameters = QueryString::Parse(request.method == "POST" ? request.body : request.Query());
    if (!parameters)
        return Refused("a percent sign is not followed by two hexadecimal digits");
    const std::string_view path = request.Path();
    if (path == "command/inquiry.cgi")
        return Inquire(*parameters);
    if (path == "command/camera.cgi" || path == "command/ptzf.cgi")
        return Control(path == "command/camera.cgi", *parameters);
    if (path == "audio" || path == (m_model.isH264Family ? "image1" : "mpeg4"))
        return StartStream(request, *parameters);
    return HttpReply::Text(404, "this camera has no " + std::string(path));
}

HttpReply CIpelaFamily::Inquire(const std::vector<QueryString::Parameter>& parameters) const
{
    std::string body;
    for (const auto& parameter : parameters)
    {
        if (parameter.name != "inq" || (parameter.value != "system" && parameter.value != "camera"))
            return Refused("inquiry.cgi answers inq=system and inq=camera");
        body += (body.empty() ? "" : "&") + (parameter.value == "system" ? SystemLine() : m_settings.InquiryLine());
    }
    return body.empty() ? Refused("inquiry.cgi needs inq=system or inq=camera") : HttpReply::Text(200, body);
}

HttpReply CIpelaFamily::Control(bool isCamera, const std::vector<QueryString::Parameter>& parameters)
{
    const std::string why = isCamera ? m_settings.Change(parameters) : IpelaPtz::Apply(parameters, Picture(), m_head);
    return why.empty() ? Done() : Refused(why);
}

HttpReply CIpelaFamily::StartStream(const HttpRequest& request, const std::vector<QueryString::Parameter>& parameters)
{
    const bool isAudio = request.Path() == "audio";
    const std::string mode = ValueNoCase(parameters, "UdpMode");
    if (mode != "multicast" && mode != "unicast")
        return Refused("UdpMode is multicast or unicast");
    const std::string obstacle = m_settings.WhyNotStreaming();
    if (m_options.requireStreamSettings && !obstacle.empty())
        return Refused("no stream: " + obstacle);
    if (!request.fromThisMachine)
        return HttpReply::Text(503, "the simulator sends media to programs on its own machine only");

    StreamOrder order;
    order.kind = isAudio                                            ? MediaKind::Pcmu
                 : m_settings.Get(m_settings.CodecName()) == "h264" ? MediaKind::H264
                                                                    : MediaKind::Mpeg4;
    order.multicast = mode == "multicast";
    if (order.kind == MediaKind::H264)
    {
        order.width = static_cast<unsigned>(Picture().width);
        order.height = static_cast<unsigned>(Picture().height);
    }
    order.framesPerSecond = m_settings.FrameRate();
    order.kilobitsPerSecond = m_settings.BitRate();
    std::string port = ValueNoCase(parameters, "UdpPort");
    if (order.multicast)
    {
        order.multicastAddress = m_settings.Get(m_settings.StreamName("McAddress"));
        port = m_settings.Get(isAudio ? "McAudioPort" : m_settings.StreamName("McVideoPort"));
    }
    order.port = Ascii::Number<std::uint16_t>(port).value_or(0);
    if (order.port == 0)
        return Refused(order.multicast ? "the multicast port is no port" : "UdpPort is 1 to 65535");
    if (!m_streams.StartStream(order))
        return HttpReply::Text(503, "too many streams");
    return Done();
}

std::string CIpelaFamily::SystemLine() const
{
    return "ModelName=" + m_options.modelName + "&Serial=1000001&SoftVersion=1.50.00&HardVersion=1.00";
}

IpelaPtz::Picture CIpelaFamily::Picture() const
{
    const std::string size = m_settings.Get(m_settings.SizeName());
    const auto comma = size.find(',');
    const int width = Ascii::Number<int>(std::string_view(size).substr(0, comma)).value_or(0);
    const int second =
        comma == std::string::npos ? 0 : Ascii::Number<int>(std::string_view(size).substr(comma + 1)).value_or(0);
    for (const IpelaSize& row : m_model.Sizes(m_options.standard))
    {
        if (row.width == width && (m_model.sizeKey != IpelaSizeKey::ImageSize1 || row.height == second))
            return {row.width, row.height};
    }
    return {};
}
