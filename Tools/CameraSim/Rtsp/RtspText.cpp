#include "CameraSim/Rtsp/RtspText.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>

namespace RtspText
{

namespace
{

RtspItem& Refuse(RtspItem& item, unsigned status, std::string why)
{
    item.kind = RtspItem::Kind::Unreadable;
    item.refusal = status;
    item.why = std::move(why);
    return item;
}

void ParseRequestLine(std::string_view line, RtspItem& item)
{
    HttpRequest& request = item.request;
    const auto firstBlank = line.find(' ');
    const auto lastBlank = line.rfind(' ');
    if (firstBlank == line.npos || firstBlank == lastBlank || firstBlank == 0)
    {
        Refuse(item, 400, "the request line is not \"METHOD url RTSP/1.0\"");
        return;
    }
    request.method = line.substr(0, firstBlank);
    request.target = line.substr(firstBlank + 1, lastBlank - firstBlank - 1);
    request.version = line.substr(lastBlank + 1);
    if (!request.version.starts_with("RTSP/"))
        Refuse(item, 400, "the request line does not end in an RTSP version");
    else if (request.version != "RTSP/1.0")
        Refuse(item, 505, "only RTSP/1.0 is spoken here");
    else if (request.target.find(' ') != std::string::npos)
        Refuse(item, 400, "the URL holds a blank");
}

void ParseHead(std::string_view head, RtspItem& item)
{
    item.kind = RtspItem::Kind::Request;
    item.request.head = head;
    bool isRequestLine = true;
    while (!head.starts_with("\r\n") && !head.empty())
    {
        const auto line = head.substr(0, head.find("\r\n"));
        head.remove_prefix(std::min(line.size() + 2, head.size()));
        const auto colon = line.find(':');
        if (std::exchange(isRequestLine, false))
            ParseRequestLine(line, item);
        else if (colon == line.npos || colon == 0)
            Refuse(item, 400, "a header line is not \"Name: value\"");
        else
            item.request.headers.push_back(
                {std::string(line.substr(0, colon)), std::string(Ascii::Trim(line.substr(colon + 1)))});
    }
}

RtspItem TakeInterleaved(std::string& bytes)
{
    constexpr std::size_t kFrameHeadBytes = 4;
    RtspItem item;
    if (bytes.size() < kFrameHeadBytes)
        return item;
    const std::size_t length = (static_cast<unsigned char>(bytes[2]) << 8) | static_cast<unsigned char>(bytes[3]);
    if (bytes.size() < kFrameHeadBytes + length)
        return item;
    bytes.erase(0, kFrameHeadBytes + length);
    item.kind = RtspItem::Kind::Interleaved;
    return item;
}

} // namespace

RtspItem Take(std::string& bytes)
{
    while (bytes.starts_with("\r\n"))
        bytes.erase(0, 2);
    if (bytes.starts_with('$'))
        return TakeInterleaved(bytes);
    RtspItem item;
    const auto end = bytes.find("\r\n\r\n");
    const std::size_t headBytes = end == bytes.npos ? bytes.size() : end + 4;
    if (headBytes > kMaxHeadBytes)
    {
        item.request.head = bytes.substr(0, kMaxHeadBytes);
        item.hopeless = true;
        return Refuse(item, 400, "the request head is longer than " + std::to_string(kMaxHeadBytes) + " bytes");
    }
    if (end == bytes.npos)
        return item;
    ParseHead(std::string_view(bytes).substr(0, headBytes), item);
    std::size_t bodyBytes = 0;
    if (const std::string* text = item.request.Header("Content-Length"))
    {
        const auto length = Ascii::Number<std::size_t>(*text);
        item.hopeless = !length || *length > kMaxBodyBytes;
        if (item.hopeless)
            Refuse(item, length ? 413 : 400, "Content-Length is not a number up to " + std::to_string(kMaxBodyBytes));
        else
            bodyBytes = *length;
    }
    if (bytes.size() < headBytes + bodyBytes)
        return {};
    item.request.body = bytes.substr(headBytes, bodyBytes);
    bytes.erase(0, headBytes + bodyBytes);
    return item;
}

std::string_view ReasonPhrase(unsigned status) noexcept
{
    switch (status)
    {
    case 406:
        return "Not Acceptable";
    case 451:
        return "Parameter Not Understood";
    case 453:
        return "Not Enough Bandwidth";
    case 454:
        return "Session Not Found";
    case 455:
        return "Method Not Valid in This State";
    case 456:
        return "Header Field Not Valid for Resource";
    case 457:
        return "Invalid Range";
    case 459:
        return "Aggregate Operation Not Allowed";
    case 460:
        return "Only Aggregate Operation Allowed";
    case 461:
        return "Unsupported Transport";
    case 505:
        return "RTSP Version Not Supported";
    case 551:
        return "Option Not Supported";
    default:
        return HttpText::ReasonPhrase(status);
    }
}

std::string FormatHead(const HttpReply& reply, std::string_view cseq, std::size_t contentLengthBytes)
{
    std::string head = "RTSP/1.0 " + std::to_string(reply.status) + " ";
    head += reply.reason.empty() ? std::string(ReasonPhrase(reply.status)) : reply.reason;
    head += "\r\n";
    if (!cseq.empty())
        head += "CSeq: " + std::string(cseq) + "\r\n";
    bool bringsLength = false;
    for (const HttpHeader& header : reply.headers)
    {
        head += header.name + ": " + header.value + "\r\n";
        bringsLength = bringsLength || Ascii::EqualNoCase(header.name, "Content-Length");
    }
    if (contentLengthBytes != 0 && !bringsLength)
        head += "Content-Length: " + std::to_string(contentLengthBytes) + "\r\n";
    return head + "\r\n";
}

} // namespace RtspText
