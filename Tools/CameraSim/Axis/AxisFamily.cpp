#include "CameraSim/Axis/AxisFamily.h"

#include "CameraSim/Axis/AxisPtz.h"

#include <algorithm>

namespace
{

std::string ValueOf(const std::vector<QueryString::Parameter>& parameters, std::string_view name)
{
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const QueryString::Parameter& parameter) { return parameter.name == name; });
    return found == parameters.end() ? std::string() : found->value;
}

} // namespace

CAxisFamily::CAxisFamily(AxisOptions options, CPtzHead& head)
    : m_options(std::move(options)), m_parameters(m_options.modelName, m_options.standard, m_options.factorySettings),
      m_head(head)
{
}

std::string_view CAxisFamily::FamilyName() const
{
    return "axis";
}

std::string_view CAxisFamily::ModelName() const
{
    return m_options.modelName;
}

VideoStandard CAxisFamily::Standard() const
{
    return m_options.standard;
}

std::vector<CameraSetting> CAxisFamily::Settings() const
{
    return m_parameters.All();
}

void CAxisFamily::ForceSetting(std::string_view name, std::optional<std::string> value)
{
    m_parameters.Force(name, std::move(value));
}

void CAxisFamily::RequireStreamSettings(bool require)
{
    m_options.requireStreamSettings = require;
}

std::optional<RtspConfiguration> CAxisFamily::Rtsp() const
{
    const AxisSize size = m_parameters.Resolution();
    const int rate = m_parameters.Number("Image.I0.Stream.FPS");
    return RtspConfiguration{.isEnabled =
                                 m_parameters.Get("Network.RTSP.Enabled") == "yes" || !m_options.requireStreamSettings,
                             .needsCredentials = m_parameters.Get("Network.RTSP.AuthenticateRTSPOverHTTP") == "yes",
                             .width = size.width,
                             .height = size.height,
                             .framesPerSecond = rate > 0 ? rate : AxisModels::HighestRate(m_options.standard),
                             // PCount is the number of P pictures between two key pictures.
                             .framesPerGroup = std::max(m_parameters.Number("Image.I0.MPEG.PCount"), 0) + 1,
                             .h264Profile = m_parameters.Get("Image.I0.MPEG.H264.Profile"),
                             .kilobitsPerSecond = m_parameters.Number("Image.I0.RateControl.TargetBitrate"),
                             .hasPcmuAudio = m_parameters.Get("AudioSource.A0.AudioEncoding") == "g711" &&
                                             m_parameters.Get("AudioSource.A0.SampleRate") == "8000"};
}

HttpReply CAxisFamily::Answer(const HttpRequest& request)
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
        return HttpReply::Text(400, "a percent sign is not followed by two hexadecimal digits");
    const std::string_view path = request.Path();
    if (path == "axis-cgi/param.cgi")
        return Param(*parameters);
    if (path == "axis-cgi/com/ptz.cgi")
        return Ptz(*parameters);
    if (path == "axis-cgi/imagesize.cgi")
        return ImageSize(*parameters);
    return HttpReply::Text(404, "this camera has no " + std::string(path));
}

HttpReply CAxisFamily::Param(const Parameters& parameters)
{
    const std::string action = ValueOf(parameters, "action");
    if (action == "list")
        return List(parameters);
    if (action == "update")
        return Update(parameters);
    return HttpReply::Text(200, "# Error: Unknown action '" + action + "'\r\n");
}

HttpReply CAxisFamily::List(const Parameters& parameters) const
{
    const std::string groups = ValueOf(parameters, "group");
    std::string body;
    for (std::size_t start = 0; start <= groups.size();)
    {
        const std::size_t end = std::min(groups.find(',', start), groups.size());
        const std::string group = groups.substr(start, end - start);
        const std::string lines = m_parameters.List(group);
        body += lines.empty() ? "# Error: Error -1 getting param in group '" + group + "'\r\n" : lines;
        start = end + 1;
    }
    return HttpReply::Text(200, std::move(body));
}

HttpReply CAxisFamily::Update(const Parameters& parameters)
{
    std::string errors;
    for (const auto& [name, value] : parameters)
    {
        if (name != "action" && !m_parameters.Update(name, value))
            errors += "# Error: Error setting '" + name + "' to '" + value + "'!\r\n";
    }
    return HttpReply::Text(200, errors.empty() ? "OK\r\n" : std::move(errors));
}

HttpReply CAxisFamily::Ptz(const Parameters& parameters)
{
    AxisPtz::Outcome outcome = AxisPtz::Apply(parameters, m_parameters.Get("Brand.ProdShortName"), m_head);
    if (!outcome.isDone)
        return HttpReply::Text(200, "Error: " + outcome.text + "\r\n");
    return outcome.text.empty() ? HttpReply::Text(204, "") : HttpReply::Text(200, std::move(outcome.text));
}

HttpReply CAxisFamily::ImageSize(const Parameters& parameters) const
{
    if (ValueOf(parameters, "camera") != "1")
        return HttpReply::Text(200, "Error: imagesize.cgi needs camera=1\r\n");
    const AxisSize size = m_parameters.Resolution();
    return HttpReply::Text(200, "image width = " + std::to_string(size.width) +
                                    "\r\nimage height = " + std::to_string(size.height) + "\r\n");
}
