#pragma once

#include "CameraSim/Http/HttpMessage.h"

#include <cstddef>
#include <string>
#include <string_view>

/// The next whole thing that a client sent. RTSP requests have the shape of HTTP requests (RFC 2326, 4), so they are
/// kept in the same record: `target` is the URL, `version` is "RTSP/1.0".
struct RtspItem
{
    enum class Kind
    {
        Incomplete, ///< more bytes are needed; nothing was taken
        Request,
        Unreadable, ///< a request that is to be refused; `request` holds what could be read
        Interleaved ///< a packet of the client, RFC 2326, 10.12
    };

    Kind kind = Kind::Incomplete;
    HttpRequest request;
    unsigned refusal = 0; ///< status, when unreadable
    std::string why;
    bool hopeless = false; ///< the end of the request cannot be told, so nothing behind it can be read either
};

namespace RtspText
{

inline constexpr std::size_t kMaxHeadBytes = 16 * 1024;
inline constexpr std::size_t kMaxBodyBytes = 64 * 1024;

/// Takes the next item from the front of the bytes. A head without its end beyond kMaxHeadBytes is hopeless.
RtspItem Take(std::string& bytes);

std::string_view ReasonPhrase(unsigned status) noexcept;

/// Status line, CSeq unless it is empty, the reply's headers, Content-Length when there is a body.
std::string FormatHead(const HttpReply& reply, std::string_view cseq, std::size_t contentLengthBytes);

} // namespace RtspText
