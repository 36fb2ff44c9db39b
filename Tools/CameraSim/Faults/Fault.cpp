#include "CameraSim/Faults/Fault.h"

#include "CameraSim/Text/Ascii.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace FaultText
{

namespace
{

constexpr std::uint32_t kMaxMilliseconds = 10 * 60 * 1000;
constexpr std::size_t kMaxBodyBytes = 64 * 1024 * 1024;
constexpr std::size_t kMaxHeaders = 1'000'000;
constexpr std::size_t kTenMegabytes = 10 * 1024 * 1024;

constexpr std::array<std::pair<FaultKind, std::string_view>, 31> kNames{{
    {FaultKind::Delay, "delay"},
    {FaultKind::BodyDelay, "body-delay"},
    {FaultKind::Drop, "drop"},
    {FaultKind::DropInHeaders, "drop-in-headers"},
    {FaultKind::DropAfterHeaders, "drop-after-headers"},
    {FaultKind::Garbage, "garbage"},
    {FaultKind::Status, "status"},
    {FaultKind::Truncate, "truncate"},
    {FaultKind::Silent, "silent"},
    {FaultKind::NoChallenge, "no-challenge"},
    {FaultKind::BigBody, "big-body"},
    {FaultKind::Chunked, "chunked"},
    {FaultKind::Drip, "drip"},
    {FaultKind::Trickle, "trickle"},
    {FaultKind::Body, "body"},
    {FaultKind::Reset, "reset"},
    {FaultKind::HalfClose, "half-close"},
    {FaultKind::Interim, "interim"},
    {FaultKind::BigHead, "big-head"},
    {FaultKind::ManyHeaders, "many-headers"},
    {FaultKind::Length, "length"},
    {FaultKind::Redirect, "redirect"},
    {FaultKind::Challenge, "challenge"},
    {FaultKind::DropGet, "drop-get"},
    {FaultKind::DropPost, "drop-post"},
    {FaultKind::Split, "split"},
    {FaultKind::Glue, "glue"},
    {FaultKind::Append, "append"},
    {FaultKind::CSeq, "cseq"},
    {FaultKind::Header, "header"},
    {FaultKind::Expire, "expire"},
}};

[[noreturn]] void Complain(const std::string& text)
{
    throw std::invalid_argument(text);
}

template <class Integer>
Integer NumberOf(std::string_view argument, std::string_view what)
{
    const auto number = Ascii::Number<Integer>(argument);
    if (!number)
        Complain(std::string(what) + " \"" + std::string(argument) + "\" is not a number");
    return *number;
}

void ApplyArgument(Fault& fault, std::string_view argument)
{
    switch (fault.kind)
    {
    case FaultKind::Delay:
    case FaultKind::BodyDelay:
    case FaultKind::Drip:
    case FaultKind::Trickle:
        fault.milliseconds = NumberOf<std::uint32_t>(argument, "the time in milliseconds");
        break;
    case FaultKind::Status:
    case FaultKind::Interim:
        fault.status = NumberOf<unsigned>(argument, "the status");
        break;
    case FaultKind::BigBody:
    case FaultKind::BigHead:
    case FaultKind::Chunked:
    case FaultKind::Split:
        fault.sizeBytes = NumberOf<std::size_t>(argument, "the size in bytes");
        break;
    case FaultKind::ManyHeaders:
        fault.sizeBytes = NumberOf<std::size_t>(argument, "the number of headers");
        break;
    case FaultKind::Garbage:
    case FaultKind::Body:
    case FaultKind::DropGet:
    case FaultKind::DropPost:
    case FaultKind::Append:
    case FaultKind::CSeq:
    case FaultKind::Header:
    case FaultKind::Length:
    case FaultKind::Redirect:
        fault.text = argument;
        break;
    default:
        Complain("the fault \"" + std::string(Name(fault.kind)) + "\" takes no argument");
    }
}

} // namespace

std::string_view Name(FaultKind kind) noexcept
{
    for (const auto& [known, name] : kNames)
    {
        if (known == kind)
            return name;
    }
    return "unknown";
}

std::optional<FaultKind> KindFromName(std::string_view name) noexcept
{
    for (const auto& [kind, known] : kNames)
    {
        if (known == name)
            return kind;
    }
    return std::nullopt;
}

std::string AllNames()
{
    std::string names;
    for (const auto& entry : kNames)
        names += (names.empty() ? "" : ", ") + std::string(entry.second);
    return names;
}

Fault WithDefaults(FaultKind kind)
{
    Fault fault;
    fault.kind = kind;
    if (kind == FaultKind::Delay || kind == FaultKind::BodyDelay)
        fault.milliseconds = 1000;
    if (kind == FaultKind::Drip)
        fault.milliseconds = 1;
    if (kind == FaultKind::Trickle)
        fault.milliseconds = 100;
    if (kind == FaultKind::Status)
        fault.status = 503;
    if (kind == FaultKind::Interim)
        fault.status = 100;
    if (kind == FaultKind::BigBody)
        fault.sizeBytes = kTenMegabytes;
    if (kind == FaultKind::BigHead)
        fault.sizeBytes = 1024 * 1024;
    if (kind == FaultKind::ManyHeaders)
        fault.sizeBytes = 10'000;
    if (kind == FaultKind::Length)
        fault.text = "1000000";
    if (kind == FaultKind::Redirect)
        fault.text = "/";
    if (kind == FaultKind::Chunked)
        fault.sizeBytes = 16;
    if (kind == FaultKind::Split)
    {
        fault.sizeBytes = 1;
        fault.milliseconds = 100;
    }
    if (kind == FaultKind::Append)
        fault.text = "RTSP/1.0 200 OK\r\nCSeq: 0\r\n\r\n";
    if (kind == FaultKind::CSeq)
        fault.text = "99999";
    if (kind == FaultKind::Garbage)
        fault.text = std::string("\x01\xFF garbage \0 not HTTP\r\n\r\n", 25);
    return fault;
}

Fault Parse(std::string_view text)
{
    std::string_view rest = text;
    std::string_view count;
    if (const auto star = rest.rfind('*'); star != rest.npos)
    {
        count = rest.substr(star + 1);
        rest = rest.substr(0, star);
    }
    std::string_view path;
    if (const auto at = rest.find('@'); at != rest.npos)
    {
        path = rest.substr(at + 1);
        rest = rest.substr(0, at);
    }
    const auto colon = rest.find(':');
    const auto kind = KindFromName(rest.substr(0, colon));
    if (!kind)
        Complain("\"" + std::string(rest.substr(0, colon)) + "\" is no fault; known are " + AllNames());
    Fault fault = WithDefaults(*kind);
    fault.path = path.starts_with('/') ? path.substr(1) : path;
    fault.count = 0;
    if (count.data() != nullptr)
        fault.count = NumberOf<unsigned>(count, "the count");
    if (colon != rest.npos)
        ApplyArgument(fault, rest.substr(colon + 1));
    Validate(fault);
    return fault;
}

void Validate(const Fault& fault)
{
    if (fault.milliseconds > kMaxMilliseconds)
        Complain("a pause is at most " + std::to_string(kMaxMilliseconds) + " ms");
    if (fault.sizeBytes > kMaxBodyBytes)
        Complain("a body is at most " + std::to_string(kMaxBodyBytes) + " bytes");
    if (fault.kind == FaultKind::Status && (fault.status < 200 || fault.status > 999))
        Complain("a status is a number from 200 to 999");
    if (fault.kind == FaultKind::Interim && (fault.status < 100 || fault.status > 199))
        Complain("the status of an interim reply is a number from 100 to 199");
    if (fault.kind == FaultKind::ManyHeaders && fault.sizeBytes > kMaxHeaders)
        Complain("there are at most " + std::to_string(kMaxHeaders) + " headers");
    if ((fault.kind == FaultKind::BigBody || fault.kind == FaultKind::Chunked) && fault.sizeBytes == 0)
        Complain("the fault \"" + std::string(Name(fault.kind)) + "\" needs a size of at least 1 byte");
    if (fault.kind == FaultKind::DropGet && !fault.text.empty() && fault.text != "reset")
        Complain("the fault \"drop-get\" takes \"reset\" or nothing");
    if (fault.kind == FaultKind::DropPost && !fault.text.empty() && fault.text != "reset" && fault.text != "answer")
        Complain("the fault \"drop-post\" takes \"reset\", \"answer\" or nothing");
    if (fault.kind == FaultKind::Header && fault.headers.empty() && fault.text.find('=') == fault.text.npos)
        Complain("the fault \"header\" needs NAME=VALUE");
}

} // namespace FaultText
