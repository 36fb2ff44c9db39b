#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// One RTSP/1.0 request (RFC 2326, 6), made anew for each call. Functions throw only std::bad_alloc.
struct RtspRequest
{
    std::wstring method;
    std::wstring url;
    std::int32_t cseq = 0; ///< stamped when the request is transmitted
    /// In the order in which they go on the wire.
    std::vector<std::pair<std::wstring, std::wstring>> headers;

    /// Replaces the value of a header of that name (any case) where it stands, or appends the header.
    void SetHeader(std::wstring_view name, std::wstring_view value);

    /// The whole request as UTF-8: request line, CSeq, headers, blank line.
    std::string FormatRequest() const;
};

/// The number of the request after that of number `cseq`: the largest is followed by 1.
std::int32_t NextCSeq(std::int32_t cseq) noexcept;

/// One RTSP/1.0 reply (RFC 2326, 7). All texts are 8-bit, as they came. Functions throw only std::bad_alloc.
/// Header names are compared exactly, capitals included, unlike those of requests; the last of two headers of one name
/// wins.
struct RtspResponse
{
    std::int32_t statusCode = 0; ///< 0 when the status line has none
    std::string reason;
    std::string body;
    std::map<std::string, std::string, std::less<>> headers;

    /// Forgets what was there and takes `text`. False for an empty text; whatever else a camera sends is a reply, of
    /// which as much is taken as is there.
    bool ParseResponse(std::string_view text);

    /// The value of a header, empty when there is none. Valid until the reply changes.
    std::string_view Header(std::string_view name) const noexcept;
    /// The CSeq, however a camera writes that name: mistaking a late reply for the right one is worse than leniency.
    std::string_view CSeq() const noexcept;

    bool IsSuccess() const noexcept
    {
        return statusCode >= 200 && statusCode <= 299;
    }
};
