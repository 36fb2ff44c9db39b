#include "CameraSim/Faults/FaultScript.h"

#include <algorithm>
#include <cstdio>

namespace FaultScript
{

namespace
{

/// Announced by a truncated reply whose body is too short to be cut.
constexpr std::size_t kAnnouncedForNothing = 100;
constexpr std::size_t kTrickleBytes = 4096;

const Fault* Find(const std::vector<Fault>& faults, FaultKind kind)
{
    const auto found = std::find_if(faults.begin(), faults.end(), [&](const Fault& f) { return f.kind == kind; });
    return found == faults.end() ? nullptr : &*found;
}

std::string InChunks(const std::string& body, std::size_t chunkBytes)
{
    std::string result;
    for (std::size_t at = 0; at < body.size(); at += chunkBytes)
    {
        const std::string chunk = body.substr(at, chunkBytes);
        char length[20];
        std::snprintf(length, sizeof length, "%zx\r\n", chunk.size());
        result += length + chunk + "\r\n";
    }
    return result + "0\r\n\r\n";
}

bool Has(const std::vector<Fault>& faults, std::initializer_list<FaultKind> kinds)
{
    return std::any_of(kinds.begin(), kinds.end(), [&](FaultKind kind) { return Find(faults, kind) != nullptr; });
}

/// The scripts of faults that leave nothing of the reply; empty when there is none among them.
ReplyScript WithoutReply(const std::vector<Fault>& faults)
{
    if (Find(faults, FaultKind::Silent))
        return {ReplyStep::Hold()};
    if (Find(faults, FaultKind::Drop) || IsResetAlone(faults))
        return {ReplyStep::Close()};
    if (const Fault* fault = Find(faults, FaultKind::Garbage))
        return {ReplyStep::Send(fault->text), ReplyStep::Close()};
    return {};
}

void SendBody(ReplyScript& script, const std::vector<Fault>& faults, std::string body)
{
    const std::size_t half = body.size() / 2;
    const bool truncated = Find(faults, FaultKind::Truncate) != nullptr;
    if (const Fault* fault = Find(faults, FaultKind::BodyDelay))
    {
        script.push_back(ReplyStep::Send(body.substr(0, half)));
        script.push_back(ReplyStep::Wait(fault->milliseconds));
        body.erase(0, half);
        if (truncated)
            body.clear();
    }
    else if (truncated)
        body.resize(half);
    if (const Fault* fault = Find(faults, FaultKind::Trickle))
    {
        std::size_t sent = 0;
        for (; sent + kTrickleBytes < body.size(); sent += kTrickleBytes)
        {
            script.push_back(ReplyStep::Send(body.substr(sent, kTrickleBytes)));
            script.push_back(ReplyStep::Wait(fault->milliseconds));
        }
        body.erase(0, sent);
    }
    if (!body.empty())
        script.push_back(ReplyStep::Send(std::move(body)));
    if (truncated)
        script.push_back(ReplyStep::Close());
}

/// Where the script closes the connection it ends in another way, if a fault says so.
void EndOtherwise(ReplyScript& script, const std::vector<Fault>& faults)
{
    const bool resets = Find(faults, FaultKind::Reset) != nullptr;
    if (!resets && !Find(faults, FaultKind::HalfClose))
        return;
    std::erase_if(script, [&](const ReplyStep& step) { return step.kind == ReplyStep::Kind::Close; });
    if (resets)
        script.push_back(ReplyStep::Reset());
    else
        script.insert(script.end(), {ReplyStep::HalfClose(), ReplyStep::Hold()});
}

void SlowDown(ReplyScript& script, std::uint32_t milliseconds)
{
    for (ReplyStep& step : script)
    {
        if (step.kind == ReplyStep::Kind::Send)
            step = ReplyStep::SendSlowly(std::move(step.bytes), milliseconds);
    }
}

void AddHeaders(HttpReply& reply, const Fault& fault)
{
    if (fault.kind == FaultKind::BigHead)
        reply.headers.push_back({"X-Padding", std::string(fault.sizeBytes, 'x')});
    if (fault.kind == FaultKind::Length)
        reply.headers.push_back({"Content-Length", fault.text});
    for (std::size_t i = 0; fault.kind == FaultKind::ManyHeaders && i < fault.sizeBytes; ++i)
        reply.headers.push_back({"X-Header-" + std::to_string(i), "x"});
}

void AppendAnswer(ReplyScript& script, HttpReply reply, const std::vector<Fault>& faults, bool keepAlive, bool isHead)
{
    // Whatever followed the head of one of these would be read as the beginning of the next reply (RFC 9112, 6.3),
    // so the faults of a body have nothing to act on.
    const bool isBodiless = reply.status == 204 || reply.status == 304;
    if (isBodiless)
        reply.body.clear();
    std::size_t announcedBytes = reply.body.size();
    if (announcedBytes < 2 && !isBodiless && Find(faults, FaultKind::Truncate))
        announcedBytes = kAnnouncedForNothing;
    if (const Fault* fault = Find(faults, FaultKind::Chunked); fault && !isBodiless)
    {
        reply.headers.push_back({"Transfer-Encoding", "chunked"});
        reply.body = InChunks(reply.body, fault->sizeBytes);
    }
    std::string head = HttpText::FormatHead(reply, announcedBytes, keepAlive);
    if (isHead)
        reply.body.clear();

    if (Find(faults, FaultKind::DropInHeaders))
        script.insert(script.end(), {ReplyStep::Send(head.substr(0, head.size() / 2)), ReplyStep::Close()});
    else if (Find(faults, FaultKind::DropAfterHeaders))
        script.insert(script.end(), {ReplyStep::Send(std::move(head)), ReplyStep::Close()});
    else if (faults.empty() || isBodiless)
        // One write, as a camera's small reply travels in one packet.
        script.push_back(ReplyStep::Send(head + reply.body));
    else
    {
        script.push_back(ReplyStep::Send(std::move(head)));
        SendBody(script, faults, std::move(reply.body));
    }
    if (const Fault* fault = Find(faults, FaultKind::Drip))
        SlowDown(script, fault->milliseconds);
    if (!keepAlive)
        script.push_back(ReplyStep::Close());
}

} // namespace

bool ReplacesAnswer(const Fault& fault) noexcept
{
    switch (fault.kind)
    {
    case FaultKind::Drop:
    case FaultKind::Garbage:
    case FaultKind::Status:
    case FaultKind::Silent:
    case FaultKind::NoChallenge:
    case FaultKind::BigBody:
    case FaultKind::Body:
    case FaultKind::Redirect:
    case FaultKind::Challenge:
        return true;
    default:
        return false;
    }
}

bool IsResetAlone(const std::vector<Fault>& faults) noexcept
{
    return Find(faults, FaultKind::Reset) &&
           !Has(faults, {FaultKind::Drop, FaultKind::DropInHeaders, FaultKind::DropAfterHeaders, FaultKind::Garbage,
                         FaultKind::Truncate});
}

bool SwallowsReply(const std::vector<Fault>& faults) noexcept
{
    return Has(faults, {FaultKind::Silent, FaultKind::Drop, FaultKind::Garbage}) || IsResetAlone(faults);
}

void AddHeaders(HttpReply& reply, const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults)
        AddHeaders(reply, fault);
}

HttpReply Challenged(const std::string& challenge)
{
    HttpReply reply = HttpReply::Text(401, "");
    reply.headers.push_back({"WWW-Authenticate", challenge.empty() ? "Basic realm=\"Camera\"" : challenge});
    return reply;
}

HttpReply Alter(HttpReply reply, const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults)
    {
        // A challenge is the camera's own affair.
        if (!ReplacesAnswer(fault) || fault.kind == FaultKind::Challenge)
            continue;
        reply = HttpReply::Text(200, fault.text);
        if (fault.kind == FaultKind::Status)
            reply.status = fault.status;
        if (fault.kind == FaultKind::NoChallenge)
            reply.status = 401;
        if (fault.kind == FaultKind::BigBody)
            reply.body.assign(fault.sizeBytes, 'x');
        if (fault.kind == FaultKind::Redirect)
        {
            reply = HttpReply::Text(302, "");
            reply.headers.push_back({"Location", fault.text});
        }
        reply.headers.insert(reply.headers.end(), fault.headers.begin(), fault.headers.end());
    }
    AddHeaders(reply, faults);
    return reply;
}

std::string Interim(const std::vector<Fault>& faults)
{
    std::string text;
    for (const Fault& fault : faults)
    {
        if (fault.kind == FaultKind::Interim)
            text += "HTTP/1.1 " + std::to_string(fault.status) + " Interim\r\n\r\n";
    }
    return text;
}

ReplyScript Build(const HttpReply& reply, const std::vector<Fault>& faults, bool keepAlive, bool isHead)
{
    ReplyScript script;
    if (const Fault* fault = Find(faults, FaultKind::Delay))
        script.push_back(ReplyStep::Wait(fault->milliseconds));
    if (std::string interim = Interim(faults); !interim.empty())
        script.push_back(ReplyStep::Send(std::move(interim)));
    if (ReplyScript damage = WithoutReply(faults); !damage.empty())
        script.insert(script.end(), damage.begin(), damage.end());
    else
        AppendAnswer(script, reply, faults, keepAlive, isHead);
    EndOtherwise(script, faults);
    return script;
}

} // namespace FaultScript
