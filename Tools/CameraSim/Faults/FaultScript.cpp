#include "CameraSim/Faults/FaultScript.h"

#include <algorithm>
#include <cstdio>

namespace FaultScript
{

namespace
{

/// Announced by a truncated reply whose body is too short to be cut.
constexpr std::size_t kAnnouncedForNothing = 100;

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

/// The scripts of faults that leave nothing of the reply; empty when there is none among them.
ReplyScript WithoutReply(const std::vector<Fault>& faults)
{
    if (Find(faults, FaultKind::Silent))
        return {ReplyStep::Hold()};
    if (Find(faults, FaultKind::Drop))
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
    if (!body.empty())
        script.push_back(ReplyStep::Send(std::move(body)));
    if (truncated)
        script.push_back(ReplyStep::Close());
}

void SlowDown(ReplyScript& script, std::uint32_t milliseconds)
{
    for (ReplyStep& step : script)
    {
        if (step.kind == ReplyStep::Kind::Send)
            step = ReplyStep::SendSlowly(std::move(step.bytes), milliseconds);
    }
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
        return true;
    default:
        return false;
    }
}

bool SwallowsReply(const std::vector<Fault>& faults) noexcept
{
    return Find(faults, FaultKind::Silent) || Find(faults, FaultKind::Drop) || Find(faults, FaultKind::Garbage);
}

HttpReply Alter(HttpReply reply, const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults)
    {
        if (!ReplacesAnswer(fault))
            continue;
        reply = HttpReply::Text(200, fault.text);
        if (fault.kind == FaultKind::Status)
            reply.status = fault.status;
        if (fault.kind == FaultKind::NoChallenge)
            reply.status = 401;
        if (fault.kind == FaultKind::BigBody)
            reply.body.assign(fault.sizeBytes, 'x');
        reply.headers.insert(reply.headers.end(), fault.headers.begin(), fault.headers.end());
    }
    return reply;
}

ReplyScript Build(const HttpReply& reply, const std::vector<Fault>& faults, bool keepAlive, bool isHead)
{
    ReplyScript script;
    if (const Fault* fault = Find(faults, FaultKind::Delay))
        script.push_back(ReplyStep::Wait(fault->milliseconds));
    if (ReplyScript damage = WithoutReply(faults); !damage.empty())
    {
        script.insert(script.end(), damage.begin(), damage.end());
        return script;
    }

    HttpReply sent = reply;
    // Whatever followed the head of one of these would be read as the beginning of the next reply (RFC 9112, 6.3),
    // so the faults of a body have nothing to act on.
    const bool isBodiless = sent.status == 204 || sent.status == 304;
    if (isBodiless)
        sent.body.clear();
    std::size_t announcedBytes = sent.body.size();
    if (announcedBytes < 2 && !isBodiless && Find(faults, FaultKind::Truncate))
        announcedBytes = kAnnouncedForNothing;
    if (const Fault* fault = Find(faults, FaultKind::Chunked); fault && !isBodiless)
    {
        sent.headers.push_back({"Transfer-Encoding", "chunked"});
        sent.body = InChunks(sent.body, fault->sizeBytes);
    }
    std::string head = HttpText::FormatHead(sent, announcedBytes, keepAlive);
    if (isHead)
        sent.body.clear();

    if (Find(faults, FaultKind::DropInHeaders))
        script.insert(script.end(), {ReplyStep::Send(head.substr(0, head.size() / 2)), ReplyStep::Close()});
    else if (Find(faults, FaultKind::DropAfterHeaders))
        script.insert(script.end(), {ReplyStep::Send(std::move(head)), ReplyStep::Close()});
    else if (faults.empty() || isBodiless)
        // One write, as a camera's small reply travels in one packet.
        script.push_back(ReplyStep::Send(head + sent.body));
    else
    {
        script.push_back(ReplyStep::Send(std::move(head)));
        SendBody(script, faults, std::move(sent.body));
    }
    if (const Fault* fault = Find(faults, FaultKind::Drip))
        SlowDown(script, fault->milliseconds);
    if (!keepAlive)
        script.push_back(ReplyStep::Close());
    return script;
}

} // namespace FaultScript
