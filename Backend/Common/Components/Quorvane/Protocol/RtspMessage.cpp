#include "Protocol/RtspMessage.h"

#include "Protocol/TextUtil.h"
#include "TextEncoding/Encoding.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kBlankLine = "\r\n\r\n";

/// Takes the text before `end` off the front of `rest`, and `end` with it; all of `rest` when there is no `end`.
std::string_view TakeUntil(std::string_view& rest, std::string_view end) noexcept
{
    const std::size_t position = rest.find(end);
    const std::string_view taken = rest.substr(0, position);
    rest = position != std::string_view::npos ? rest.substr(position + end.size()) : std::string_view();
    return taken;
}

std::string_view TakeWord(std::string_view& rest) noexcept
{
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return TakeUntil(rest, " ");
}
} // namespace

void RtspRequest::SetHeader(std::wstring_view name, std::wstring_view value)
{
    const auto present = std::ranges::find_if(
        headers, [name](const auto& header) { return TextUtil::EqualsIgnoreCase(header.first, name); });
    if (present != headers.end())
        present->second = value;
    else
        headers.emplace_back(name, value);
}

std::string RtspRequest::FormatRequest() const
{
    std::wstring text = method + L" " + url + L" RTSP/1.0\r\nCSeq: " + std::to_wstring(cseq) + L"\r\n";
    for (const auto& [name, value] : headers)
        text += name + L": " + value + L"\r\n";
    return CUTF8Encoding().EncodeString(text + L"\r\n");
}

std::int32_t NextCSeq(std::int32_t cseq) noexcept
{
    return cseq < std::numeric_limits<std::int32_t>::max() ? cseq + 1 : 1;
}

bool RtspResponse::ParseResponse(std::string_view text)
{
    *this = RtspResponse();
    if (text.empty())
        return false;

    const std::size_t blankLine = text.find(kBlankLine);
    if (blankLine != std::string_view::npos && blankLine > 0)
        body = text.substr(blankLine + kBlankLine.size());

    std::string_view statusLine = TakeUntil(text, kLineEnd);
    TakeWord(statusLine); // the version: cameras write what they like
    statusCode = TextUtil::ToNumber(TakeWord(statusLine));
    reason = statusLine;

    for (std::string_view line = TakeUntil(text, kLineEnd); !line.empty(); line = TakeUntil(text, kLineEnd))
    {
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos)
            headers[std::string(line.substr(0, colon))] = TextUtil::Trim(line.substr(colon + 1));
    }
    return true;
}

std::string_view RtspResponse::Header(std::string_view name) const noexcept
{
    const auto header = headers.find(name);
    return header != headers.end() ? std::string_view(header->second) : std::string_view();
}

std::string_view RtspResponse::CSeq() const noexcept
{
    const auto header =
        std::ranges::find_if(headers, [](const auto& each) { return TextUtil::EqualsIgnoreCase(each.first, "CSeq"); });
    return header != headers.end() ? std::string_view(header->second) : std::string_view();
}
