#pragma once

#include "CameraSim/Http/HttpMessage.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The ways in which a camera, or the network before it, misbehaves.
enum class FaultKind
{
    Delay,            ///< waits before the status line
    BodyDelay,        ///< waits in the middle of the body
    Drop,             ///< closes without a byte
    DropInHeaders,    ///< closes in the middle of the head
    DropAfterHeaders, ///< closes behind the head
    Garbage,          ///< sends bytes that are not HTTP, closes
    Status,           ///< answers with another status
    Truncate,         ///< sends half of the announced body, closes
    Silent,           ///< accepts and never answers
    NoChallenge,      ///< 401 without WWW-Authenticate
    BigBody,          ///< a body of many bytes
    Chunked,          ///< Transfer-Encoding: chunked, small chunks
    Drip,             ///< everything byte by byte
    Trickle,          ///< the body in pieces of 4096 bytes
    Body,             ///< answers 200 with the given text instead of the camera's own answer
    Reset,            ///< resets the connection where it would be closed; without an answer when nothing else closes it
    HalfClose,        ///< ends what it sends where it would close, or behind the answer, and keeps listening
    Interim,          ///< a 1xx reply before the answer
    BigHead,          ///< one header of many bytes in the answer
    ManyHeaders,      ///< many headers in the answer
    Length,           ///< another Content-Length
    Redirect,         ///< 302 to another place
    Challenge,        ///< 401 with a fresh challenge, whatever the credentials are
    // Of RTSP in its tunnel only; HTTP requests pass them unharmed.
    DropGet,  ///< closes the GET instead of replying
    DropPost, ///< replies and closes the POST
    Split,    ///< sends so many bytes of the reply, waits, sends the rest
    Glue,     ///< holds the reply back and sends it in one write with the next one
    Append,   ///< sends bytes behind the reply in the same write
    CSeq,     ///< replies with another CSeq, or none
    Header,   ///< sets a header of the camera's own reply, or takes one away
    Expire,   ///< all sessions are over before the request is looked at
};

struct Fault
{
    FaultKind kind = FaultKind::Delay;
    /// Beginning of the target without its leading slash; empty: every request. Of an RTSP request the target is
    /// "rtsp:METHOD URL", of the two HTTP requests of its tunnel "tunnel:METHOD TARGET".
    std::string path = {};
    unsigned skip = 0;  ///< so many matching requests pass unharmed first
    unsigned count = 1; ///< then so many are hit; 0: until the fault is removed
    /// Hits only requests whose credentials were accepted. Always so for Body, which stands in for the camera's answer.
    bool afterAuthentication = false;
    std::uint32_t milliseconds = 0;       ///< Delay, BodyDelay, Split: the pause; Drip, Trickle: between two pieces
    unsigned status = 0;                  ///< Status, Interim
    std::size_t sizeBytes = 0;            ///< BigBody, BigHead; Chunked: of one chunk; Split: before the pause;
                                          ///< ManyHeaders: how many
    std::string text = {};                ///< Body, Status: the body; Garbage, Append: the bytes; CSeq: the number;
                                          ///< Header: "NAME=VALUE"; Length: its value; Redirect: where to;
                                          ///< DropGet, DropPost: "", "reset" or "answer"
    std::vector<HttpHeader> headers = {}; ///< Body, Status: added to the reply; Header: set in it
};

namespace FaultText
{

/// The name used by the options and the control interface, for instance "drop-in-headers".
std::string_view Name(FaultKind kind) noexcept;
std::optional<FaultKind> KindFromName(std::string_view name) noexcept;
/// All names in their order, separated by ", ".
std::string AllNames();

/// A fault of that kind with the arguments that it has when none are given (a delay of 1000 ms, a status of 503, ...).
Fault WithDefaults(FaultKind kind);

/// "KIND[:ARGUMENT][@PATH][*COUNT]", for instance "delay:1500@command/inquiry.cgi*2"; without a count the fault stays.
/// Throws std::invalid_argument with a text for the user.
Fault Parse(std::string_view text);

/// Throws std::invalid_argument when an argument makes no sense for the kind.
void Validate(const Fault& fault);

} // namespace FaultText
