#include "Fuzz/FuzzTarget.h"
#include "Protocol/RtspMessage.h"

using Fuzz::Require;

namespace
{
std::string Write(const RtspResponse& response)
{
    std::string text = "RTSP/1.0 " + std::to_string(response.statusCode) + " " + response.reason + "\r\n";
    for (const auto& [name, value] : response.headers)
        text += name + ": " + value + "\r\n";
    return text + "\r\n" + response.body;
}

/// One reply, as far as it goes.
void FeedResponse(std::string_view input)
{
    RtspResponse response;
    response.headers["CSeq"] = "of an earlier reply";
    Require(response.ParseResponse(input) == !input.empty(), "whatever comes is a reply");
    Require(response.IsSuccess() == (response.statusCode / 100 == 2), "success is 2xx");
    Require(input.ends_with(response.body), "the body is the end of the reply");
    Require(response.body.empty() || !input.starts_with("\r\n\r\n"), "a body stands behind something");
    for (const auto& [name, value] : response.headers)
        Require(response.Header(name) == value, "every header can be looked up");

    const std::string written = Write(response);
    RtspResponse again;
    Require(again.ParseResponse(written) && Write(again) == written, "a reply reads the same when it is written down");
    Require(response.headers.count("CSeq") == 0 || again.CSeq() == response.CSeq(), "and has the same CSeq");
}

const CFuzzTarget kRtspResponse("RtspResponse", FeedResponse);
} // namespace
