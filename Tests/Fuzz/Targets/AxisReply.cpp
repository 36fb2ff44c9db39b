#include "Protocol/AxisReply.h"
#include "Fuzz/FuzzTarget.h"
#include "Protocol/AxisModels.h"
#include "Protocol/TextUtil.h"

#include <algorithm>

using Fuzz::Require;

namespace
{
void CheckLines(std::wstring_view reply)
{
    const CAxisLines lines = AxisReply::Lines(reply);
    std::wstring written;
    for (const AxisParameter& line : lines)
    {
        Require(Fuzz::IsInside(line.name, reply) && Fuzz::IsInside(line.value, reply), "lines are views of the reply");
        Require(TextUtil::Trim(line.name) == line.name, "no white space is around a name");
        Require(TextUtil::Trim(line.value) == line.value, "no white space is around a value");
        written.append(line.name).append(L"=").append(line.value).append(L"\r\n");
    }
    Require(std::ranges::equal(AxisReply::Lines(written), lines), "lines read the same when they are written down");

    const std::wstring_view count = AxisReply::ValueOf(reply, L".PCount");
    const auto hasCount = [count](const AxisParameter& line) { return line.value == count; };
    Require(count.empty() || std::ranges::any_of(lines, hasCount), "a value is that of a line");
}

void CheckSizes(std::wstring_view reply)
{
    if (const auto size = AxisReply::ReadImageSize(reply))
        Require(size->width > 0 && size->height > 0, "a picture has a size");
    const auto sizes = AxisReply::ToResolutions(reply);
    if (!sizes)
        return;
    std::wstring written;
    for (const AxisPictureSize& size : *sizes)
        written += std::to_wstring(size.width) + L"x" + std::to_wstring(size.height) + L",";
    Require(AxisReply::ToResolutions(written) == sizes, "sizes read the same when they are written down");
}

/// The replies to param.cgi and imagesize.cgi, and what single values are read as.
void FeedAxisReply(std::string_view input)
{
    const std::wstring reply = Fuzz::Wide(input);
    CheckLines(reply);
    CheckSizes(reply);
    const AxisVersion version = AxisReply::ToVersion(reply);
    const std::wstring written = std::to_wstring(version.first) + L"." + std::to_wstring(version.second);
    Require(AxisReply::ToVersion(written) == version, "a version reads the same when it is written down");
    Require(!AxisModels::ImageSizes(AxisModels::FromProductNumber(reply), VideoStandard::Pal50Hz).empty(),
            "every model has image sizes");
}

const CFuzzTarget kAxisReply("AxisReply", FeedAxisReply);
} // namespace
