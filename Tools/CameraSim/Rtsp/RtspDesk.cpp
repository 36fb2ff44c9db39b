#include "CameraSim/Rtsp/RtspDesk.h"

#include "CameraSim/Rtsp/RtspFaults.h"

#include <memory>

CRtspDesk::CRtspDesk(IRtspCamera& camera, CRtspService& service) : m_camera(camera), m_service(service) {}

void CRtspDesk::Serve(CRtspTunnel& tunnel, const RtspItem& item)
{
    if (item.kind == RtspItem::Kind::Interleaved)
        return; // a receiver report, most likely; nobody here changes anything because of it
    const Answer answer = Decide(tunnel, item);
    const std::string head = RtspText::FormatHead(answer.reply, answer.cseq, answer.reply.body.size());
    Record(tunnel, item, answer, head);
    Send(tunnel, answer, head, item.hopeless);
}

CRtspDesk::Answer CRtspDesk::Decide(CRtspTunnel& tunnel, const RtspItem& item)
{
    const HttpRequest& request = item.request;
    const std::string faultTarget = "rtsp:" + request.method + " " + request.target;
    const std::string* cseq = request.Header("CSeq");
    Answer answer;
    answer.cseq = cseq ? *cseq : "";
    answer.verdict.why = "not checked";
    answer.faults = m_camera.TakeFaults(faultTarget, false);
    if (RtspFaults::Find(answer.faults, FaultKind::Expire))
        m_service.ExpireAll();
    const auto refuse = [&](unsigned status, const std::string& why) {
        answer.reply.status = status;
        answer.note = why;
    };
    if (RtspFaults::ReplacesAnswer(answer.faults))
        ChallengeAgain(request, answer);
    else if (item.kind == RtspItem::Kind::Unreadable)
        refuse(item.refusal, item.why);
    else if (!cseq)
        refuse(400, "the request has no CSeq");
    else if (answer.verdict = Authenticate(request); !answer.verdict.accepted)
    {
        refuse(401, answer.verdict.why);
        answer.reply.headers.push_back({"WWW-Authenticate", answer.verdict.challenge});
    }
    else
    {
        const std::vector<Fault> later = m_camera.TakeFaults(faultTarget, true);
        answer.faults.insert(answer.faults.end(), later.begin(), later.end());
        if (RtspFaults::ReplacesAnswer(later))
            ChallengeAgain(request, answer);
        else
        {
            RtspReply reply = m_service.Answer(request, tunnel);
            answer.reply = std::move(reply.reply);
            answer.note = std::move(reply.note);
        }
    }
    RtspFaults::Alter(answer.reply, answer.cseq, answer.faults);
    return answer;
}

AuthenticationVerdict CRtspDesk::Authenticate(const HttpRequest& request)
{
    const auto configuration = m_camera.RtspMedia();
    if (configuration && !configuration->needsCredentials)
        return {true, "RTSP asks for no credentials", {}};
    return m_camera.CheckCredentials(request.method, request.target, request.Header("Authorization"));
}

void CRtspDesk::ChallengeAgain(const HttpRequest& request, Answer& answer)
{
    if (!RtspFaults::Find(answer.faults, FaultKind::Challenge))
        return;
    const std::string challenge = m_camera.CheckCredentials(request.method, request.target, nullptr).challenge;
    answer.reply.status = 401;
    answer.reply.headers.push_back({"WWW-Authenticate", challenge.empty() ? "Basic realm=\"Camera\"" : challenge});
}

void CRtspDesk::Record(const CRtspTunnel& tunnel, const RtspItem& item, const Answer& answer, const std::string& head)
{
    JournalEntry entry;
    entry.request = item.request;
    entry.request.connection = tunnel.Post().connection;
    entry.request.peerAddress = tunnel.Post().peerAddress;
    entry.request.fromThisMachine = tunnel.Post().fromThisMachine;
    if (!RtspFaults::SwallowsReply(answer.faults))
    {
        entry.status = answer.reply.status;
        entry.bodyBytes = answer.reply.body.size();
        entry.answerHead = head;
    }
    entry.authenticated = answer.verdict.accepted;
    entry.authentication = answer.verdict.why;
    for (const Fault& fault : answer.faults)
        entry.faults.emplace_back(FaultText::Name(fault.kind));
    entry.note = answer.note;
    m_camera.Record(std::move(entry));
}

void CRtspDesk::Send(CRtspTunnel& tunnel, const Answer& answer, const std::string& head, bool closes)
{
    const std::vector<Fault>& faults = answer.faults;
    const std::weak_ptr<CRtspTunnel> weak = tunnel.weak_from_this();
    const auto dropGet = RtspFaults::Closing(faults, FaultKind::DropGet);
    ReplyScript script;
    if (!dropGet)
        script = RtspFaults::Build(head, answer.reply.body, faults);
    else
    {
        script.push_back(ReplyStep::Call([weak, how = *dropGet] {
            if (const auto alive = weak.lock())
                alive->CloseGet(how);
        }));
    }
    if (const auto dropPost = RtspFaults::Closing(faults, FaultKind::DropPost))
    {
        script.push_back(ReplyStep::Call([weak, how = *dropPost] {
            if (const auto alive = weak.lock())
                alive->ClosePost(how);
        }));
    }
    if (closes)
        script.push_back(ReplyStep::Close());
    tunnel.Send(std::move(script), RtspFaults::Find(faults, FaultKind::Glue) != nullptr);
}
