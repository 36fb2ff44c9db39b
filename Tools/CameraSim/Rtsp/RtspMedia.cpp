#include "CameraSim/Rtsp/RtspMedia.h"

#include "CameraSim/Text/Ascii.h"
#include "CameraSim/Text/QueryString.h"

#include <algorithm>

namespace
{

constexpr int kMinSide = 16;
constexpr int kMaxSide = 4096;
constexpr unsigned kMaxFramesPerSecond = 60;

H264Profile ProfileOf(std::string_view name)
{
    if (Ascii::EqualNoCase(name, "baseline"))
        return H264Profile::Baseline;
    return Ascii::EqualNoCase(name, "high") ? H264Profile::High : H264Profile::Main;
}

H264Format FormatOf(const RtspConfiguration& configuration)
{
    // A test may have put any number in place of a setting.
    const auto positive = [](int number, int least) { return static_cast<unsigned>(std::max(number, least)); };
    H264Format format;
    format.width = positive(configuration.width, kMinSide);
    format.height = positive(configuration.height, kMinSide);
    format.framesPerSecond = positive(configuration.framesPerSecond, 1);
    format.profile = ProfileOf(configuration.h264Profile);
    format.keyFrameDistance = positive(configuration.framesPerGroup, 1);
    format.kilobitsPerSecond = positive(configuration.kilobitsPerSecond, 0);
    return format;
}

bool TakeResolution(std::string_view text, H264Format& format)
{
    const auto cross = text.find('x');
    if (cross == text.npos)
        return false;
    const auto isSide = [](const std::optional<int>& side) {
        return side && *side >= kMinSide && *side <= kMaxSide && *side % 2 == 0;
    };
    const auto width = Ascii::Number<int>(text.substr(0, cross));
    const auto height = Ascii::Number<int>(text.substr(cross + 1));
    if (!isSide(width) || !isSide(height))
        return false;
    format.width = static_cast<unsigned>(*width);
    format.height = static_cast<unsigned>(*height);
    return true;
}

/// Empty when the parameter is taken or unknown, else what is wrong with it.
std::string TakeParameter(const QueryString::Parameter& parameter, RtspMedia& media)
{
    const std::string& value = parameter.value;
    if (parameter.name == "videocodec" && value != "h264")
        return "videocodec " + value + " is not streamed here";
    if (parameter.name == "audio")
        media.hasAudio = media.hasAudio && value != "0";
    if (parameter.name == "resolution" && !TakeResolution(value, media.video))
        return "resolution " + value + " is not WIDTHxHEIGHT in even numbers from 16 to 4096";
    if (parameter.name == "fps")
    {
        const auto rate = Ascii::Number<unsigned>(value);
        if (!rate || *rate > kMaxFramesPerSecond)
            return "fps " + value + " is not a number up to 60";
        if (*rate != 0)
            media.video.framesPerSecond = *rate;
    }
    return "";
}

} // namespace

std::optional<RtspMedia> RtspMedia::Resolve(const RtspConfiguration& configuration, const RtspUrl& url,
                                            std::string& why)
{
    RtspMedia media{FormatOf(configuration), configuration.hasPcmuAudio};
    if (url.path != kPath)
        why = "this camera streams " + std::string(kPath) + " and nothing else";
    const auto parameters = QueryString::Parse(url.query);
    if (!parameters)
        why = "the URL's query cannot be decoded";
    for (std::size_t i = 0; why.empty() && i < parameters->size(); ++i)
        why = TakeParameter((*parameters)[i], media);
    if (!why.empty())
        return std::nullopt;
    return media;
}
