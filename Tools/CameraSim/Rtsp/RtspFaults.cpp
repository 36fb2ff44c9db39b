#include "CameraSim/Rtsp/RtspFaults.h"

#include "CameraSim/Faults/FaultScript.h"
#include "CameraSim/Text/Ascii.h"

#include <algorithm>

namespace RtspFaults
{

namespace
{

/// An empty value takes the header away.
void SetHeader(HttpReply& reply, const HttpHeader& wanted)
{
    const auto isMeant = [&](const HttpHeader& header) { return Ascii::EqualNoCase(header.name, wanted.name); };
    const auto found = std::find_if(reply.headers.begin(), reply.headers.end(), isMeant);
    if (wanted.value.empty())
        std::erase_if(reply.headers, isMeant);
    else if (found == reply.headers.end())
        reply.headers.push_back(wanted);
    else
        *found = wanted;
}

void Replace(HttpReply& reply, const Fault& fault)
{
    reply = {};
    reply.body = fault.text;
    if (fault.kind == FaultKind::Status)
        reply.status = fault.status;
    if (fault.kind == FaultKind::NoChallenge)
        reply.status = 401;
    if (fault.kind == FaultKind::BigBody)
        reply.body.assign(fault.sizeBytes, 'x');
    reply.headers = fault.headers;
    if (fault.kind == FaultKind::Redirect)
    {
        reply = {302, {}, {{"Location", fault.text}}, {}};
        reply.headers.insert(reply.headers.end(), fault.headers.begin(), fault.headers.end());
    }
}

/// The head of a reply with that status which is not the final one; of the protocol, and with the CSeq, of `head`.
std::string InterimHead(const std::string& head, unsigned status)
{
    std::string text = head.substr(0, head.find(' ')) + " " + std::to_string(status) + " Interim\r\n";
    if (const auto cseq = head.find("CSeq: "); cseq != head.npos)
        text += head.substr(cseq, head.find("\r\n", cseq) + 2 - cseq);
    return text + "\r\n";
}

void SendInPieces(ReplyScript& script, const std::string& text, std::size_t firstBytes, std::uint32_t milliseconds)
{
    script.push_back(ReplyStep::Send(text.substr(0, firstBytes)));
    script.push_back(ReplyStep::Wait(milliseconds));
    if (firstBytes < text.size())
        script.push_back(ReplyStep::Send(text.substr(firstBytes)));
}

/// As FaultScript does, but without a Hold: the tunnel itself reads what still comes.
void EndOtherwise(ReplyScript& script, const std::vector<Fault>& faults)
{
    const bool resets = Find(faults, FaultKind::Reset) != nullptr;
    if (!resets && !Find(faults, FaultKind::HalfClose))
        return;
    std::erase_if(script, [](const ReplyStep& step) { return step.kind == ReplyStep::Kind::Close; });
    script.push_back(resets ? ReplyStep::Reset() : ReplyStep::HalfClose());
}

} // namespace

const Fault* Find(const std::vector<Fault>& faults, FaultKind kind) noexcept
{
    const auto found = std::find_if(faults.begin(), faults.end(), [&](const Fault& f) { return f.kind == kind; });
    return found == faults.end() ? nullptr : &*found;
}

bool ReplacesAnswer(const std::vector<Fault>& faults) noexcept
{
    return std::any_of(faults.begin(), faults.end(), FaultScript::ReplacesAnswer) ||
           Find(faults, FaultKind::Challenge) != nullptr;
}

bool SwallowsReply(const std::vector<Fault>& faults) noexcept
{
    return FaultScript::SwallowsReply(faults) || Find(faults, FaultKind::DropGet) != nullptr;
}

void Alter(HttpReply& reply, std::string& cseq, const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults)
    {
        // A challenge is the camera's own.
        if (FaultScript::ReplacesAnswer(fault) && fault.kind != FaultKind::Challenge)
            Replace(reply, fault);
        if (fault.kind == FaultKind::CSeq)
            cseq = fault.text;
        if (fault.kind != FaultKind::Header)
            continue;
        if (const auto equals = fault.text.find('='); equals != fault.text.npos)
            SetHeader(reply, {fault.text.substr(0, equals), fault.text.substr(equals + 1)});
        for (const HttpHeader& header : fault.headers)
            SetHeader(reply, header);
    }
    FaultScript::AddHeaders(reply, faults);
}

ReplyScript Build(const std::string& head, const std::string& body, const std::vector<Fault>& faults)
{
    ReplyScript script;
    if (const Fault* fault = Find(faults, FaultKind::Delay))
        script.push_back(ReplyStep::Wait(fault->milliseconds));
    for (const Fault& fault : faults)
    {
        if (fault.kind == FaultKind::Interim)
            script.push_back(ReplyStep::Send(InterimHead(head, fault.status)));
    }
    const Fault* append = Find(faults, FaultKind::Append);
    const std::string whole = head + body + (append ? append->text : "");
    const std::size_t halfBody = head.size() + body.size() / 2;
    if (Find(faults, FaultKind::Silent))
        return {};
    if (Find(faults, FaultKind::Drop) || FaultScript::IsResetAlone(faults))
        script.push_back(ReplyStep::Close());
    else if (const Fault* garbage = Find(faults, FaultKind::Garbage))
        script.push_back(ReplyStep::Send(garbage->text));
    else if (Find(faults, FaultKind::DropInHeaders))
        script.insert(script.end(), {ReplyStep::Send(head.substr(0, head.size() / 2)), ReplyStep::Close()});
    else if (Find(faults, FaultKind::DropAfterHeaders))
        script.insert(script.end(), {ReplyStep::Send(head), ReplyStep::Close()});
    else if (Find(faults, FaultKind::Truncate))
        script.insert(script.end(), {ReplyStep::Send(whole.substr(0, halfBody)), ReplyStep::Close()});
    else if (const Fault* drip = Find(faults, FaultKind::Drip))
        script.push_back(ReplyStep::SendSlowly(whole, drip->milliseconds));
    else if (const Fault* pause = Find(faults, FaultKind::BodyDelay))
        SendInPieces(script, whole, halfBody, pause->milliseconds);
    else if (const Fault* split = Find(faults, FaultKind::Split))
        SendInPieces(script, whole, std::min(split->sizeBytes, whole.size()), split->milliseconds);
    else
        // One write, as a camera's small reply travels in one packet.
        script.push_back(ReplyStep::Send(whole));
    EndOtherwise(script, faults);
    return script;
}

std::optional<RtspClosing> Closing(const std::vector<Fault>& faults, FaultKind kind) noexcept
{
    const Fault* fault = Find(faults, kind);
    if (!fault)
        return std::nullopt;
    if (fault->text == "reset")
        return RtspClosing::Reset;
    return fault->text == "answer" ? RtspClosing::Answer : RtspClosing::Close;
}

} // namespace RtspFaults
