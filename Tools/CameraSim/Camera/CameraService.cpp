#include "CameraSim/Camera/CameraService.h"

#include "CameraSim/Axis/AxisFamily.h"
#include "CameraSim/Faults/FaultScript.h"
#include "CameraSim/Ipela/IpelaFamily.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace
{

void Validate(const AuthenticationOptions& options)
{
    if (options.scheme == AuthenticationScheme::DigestSession && options.qop.empty() && options.challenge.empty())
        throw std::invalid_argument("MD5-sess needs qop, which brings the client's cnonce along");
}

void Validate(const RtspOptions& options)
{
    constexpr unsigned kMaxTimeoutSeconds = 24 * 3600;
    if (options.timeoutSeconds == 0 || options.timeoutSeconds > kMaxTimeoutSeconds)
        throw std::invalid_argument("an RTSP session's time is 1 to " + std::to_string(kMaxTimeoutSeconds) +
                                    " seconds");
}

} // namespace

CCameraService::CCameraService(CameraServiceOptions options, IMediaStreams& streams)
    : m_options(std::move(options)), m_streams(streams), m_head(m_options.clock),
      m_authenticator(m_options.authentication, m_options.nonces)
{
    Validate(m_options.authentication);
    Validate(m_options.rtsp);
    m_family = MakeFamily();
}

std::unique_ptr<ICameraFamily> CCameraService::MakeFamily() const
{
    if (AxisModels::IsAxis(m_options.model))
    {
        return std::make_unique<CAxisFamily>(AxisOptions{m_options.model, m_options.standard, m_options.factorySettings,
                                                         m_options.requireStreamSettings},
                                             m_head);
    }
    return std::make_unique<CIpelaFamily>(
        IpelaOptions{m_options.model, m_options.standard, m_options.factorySettings, m_options.requireStreamSettings},
        m_head, m_streams);
}

ReplyScript CCameraService::OnRequest(const HttpRequest& request)
{
    const Answer answer = Decide(request);
    const bool keepAlive = request.WantsKeepAlive();
    RecordAnswer(request, answer, keepAlive, answer.reply.status >= 400 ? answer.reply.body : std::string());
    return FaultScript::Build(answer.reply, answer.faults, keepAlive, request.method == "HEAD");
}

CCameraService::Answer CCameraService::Decide(const HttpRequest& request)
{
    const std::lock_guard lock(m_mutex);
    Answer answer;
    const auto replaced = [&] {
        return std::any_of(answer.faults.begin(), answer.faults.end(), FaultScript::ReplacesAnswer);
    };
    answer.faults = m_faults.Take(request.target, false);
    answer.verdict.why = "not checked";
    if (!replaced())
    {
        answer.verdict = m_authenticator.Check(request.method, request.target, request.Header("Authorization"));
        if (answer.verdict.accepted)
        {
            std::vector<Fault> later = m_faults.Take(request.target, true);
            answer.faults.insert(answer.faults.end(), later.begin(), later.end());
            if (!replaced())
                answer.reply = m_family->Answer(request);
        }
        else
        {
            answer.reply = HttpReply::Text(401, answer.verdict.why);
            answer.reply.headers.push_back({"WWW-Authenticate", answer.verdict.challenge});
        }
    }
    const auto challenges = [](const Fault& fault) { return fault.kind == FaultKind::Challenge; };
    if (std::any_of(answer.faults.begin(), answer.faults.end(), challenges))
        answer.reply =
            FaultScript::Challenged(m_authenticator.Check(request.method, request.target, nullptr).challenge);
    answer.reply = FaultScript::Alter(std::move(answer.reply), answer.faults);
    return answer;
}

ReplyScript CCameraService::OnRefused(const HttpRequest& partial, unsigned status, const std::string& why)
{
    Answer answer;
    answer.reply = HttpReply::Text(status, why);
    answer.verdict.why = "not checked";
    RecordAnswer(partial, answer, false, why);
    return {ReplyStep::Send(HttpText::FormatHead(answer.reply, answer.reply.body.size(), false) + answer.reply.body)};
}

void CCameraService::RecordAnswer(const HttpRequest& request, const Answer& answer, bool keepAlive, std::string note)
{
    JournalEntry entry;
    entry.request = request;
    if (!FaultScript::SwallowsReply(answer.faults))
    {
        entry.status = answer.reply.status;
        entry.bodyBytes = answer.reply.body.size();
        entry.answerHead = HttpText::FormatHead(answer.reply, entry.bodyBytes, keepAlive);
    }
    entry.authenticated = answer.verdict.accepted;
    entry.authentication = answer.verdict.why;
    for (const Fault& fault : answer.faults)
        entry.faults.emplace_back(FaultText::Name(fault.kind));
    entry.note = std::move(note);
    Record(std::move(entry));
}

std::optional<RtspConfiguration> CCameraService::RtspMedia() const
{
    const std::lock_guard lock(m_mutex);
    return m_family->Rtsp();
}

RtspOptions CCameraService::Rtsp() const
{
    const std::lock_guard lock(m_mutex);
    return m_options.rtsp;
}

std::vector<Fault> CCameraService::TakeFaults(std::string_view target, bool authenticated)
{
    const std::lock_guard lock(m_mutex);
    return m_faults.Take(target, authenticated);
}

AuthenticationVerdict CCameraService::CheckCredentials(std::string_view method, std::string_view url,
                                                       const std::string* authorization)
{
    const std::lock_guard lock(m_mutex);
    return m_authenticator.Check(method, url, authorization);
}

void CCameraService::Record(JournalEntry entry)
{
    entry.when = std::chrono::system_clock::now();
    entry.microseconds = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_made).count());
    entry.number = m_journal.Add(entry);
    if (m_options.onRequest)
        m_options.onRequest(entry);
}

CameraState CCameraService::State() const
{
    const std::lock_guard lock(m_mutex);
    CameraState state;
    state.family = m_family->FamilyName();
    state.model = m_family->ModelName();
    state.standard = m_family->Standard();
    state.requireStreamSettings = m_options.requireStreamSettings;
    state.authentication = m_authenticator.Options();
    state.rtsp = m_options.rtsp;
    state.settings = m_family->Settings();
    state.position = m_head.Position();
    state.speed = m_head.Speed();
    state.faults = m_faults.Waiting();
    state.requests = m_journal.Written();
    return state;
}

void CCameraService::Change(const CameraChange& change)
{
    if (change.authentication)
        Validate(*change.authentication);
    if (change.rtsp)
        Validate(*change.rtsp);
    if (change.model && change.model->empty())
        throw std::invalid_argument("the model has no name");
    const std::lock_guard lock(m_mutex);
    m_options.model = change.model.value_or(m_options.model);
    m_options.standard = change.standard.value_or(m_options.standard);
    m_options.factorySettings = change.factorySettings.value_or(m_options.factorySettings);
    m_options.requireStreamSettings = change.requireStreamSettings.value_or(m_options.requireStreamSettings);
    if (change.requireStreamSettings)
        m_family->RequireStreamSettings(*change.requireStreamSettings);
    if (change.model || change.standard || change.factorySettings)
        m_family = MakeFamily();
    if (change.authentication)
        m_authenticator.Configure(*change.authentication);
    m_options.rtsp = change.rtsp.value_or(m_options.rtsp);
    for (const auto& [name, value] : change.settings)
        m_family->ForceSetting(name, value);
    if (change.position)
        m_head.MoveTo(*change.position);
}

void CCameraService::AddFaults(std::vector<Fault> faults)
{
    const std::lock_guard lock(m_mutex);
    CFaultTable table = m_faults;
    for (Fault& fault : faults)
        table.Add(std::move(fault));
    m_faults = std::move(table);
}

void CCameraService::ClearFaults()
{
    const std::lock_guard lock(m_mutex);
    m_faults.Clear();
}
