#include "Protocol/IpelaSettings.h"

#include "Protocol/IpelaReply.h"
#include "Protocol/TextUtil.h"

#include <algorithm>

namespace
{
using IpelaReply::GetValue;
using IpelaReply::Read;
using IpelaReply::ReadNumber;
using IpelaReply::ToNumber;
using TextUtil::EqualsIgnoreCase;

constexpr std::int32_t kLowestPort = 1024;
constexpr std::int32_t kHighestPort = 65534;

bool IsPort(std::int32_t number) noexcept
{
    return number >= kLowestPort && number <= kHighestPort;
}

/// "640,480"
IpelaImageSize SplitSize(std::wstring_view text) noexcept
{
    const std::size_t comma = text.find(L',');
    if (comma == 0 || comma == std::wstring_view::npos)
        return {};
    return {ToNumber(text.substr(0, comma)), ToNumber(text.substr(comma + 1))};
}
} // namespace

IpelaReading IpelaSettings::ReadStreamTargets(std::wstring_view content, IpelaModel model,
                                              IpelaStreamTargets& targets) noexcept
{
    const IpelaKeySet& keys = IpelaModels::Keys(model);
    const std::wstring_view address = Read(content, keys.multicastAddress);
    const std::wstring_view ports[] = {Read(content, keys.multicastVideoPort), Read(content, keys.multicastAudioPort),
                                       Read(content, keys.unicastVideoPort), Read(content, keys.unicastAudioPort)};
    if (address.empty() || std::ranges::any_of(ports, &std::wstring_view::empty))
        return IpelaReading::EmptySettings;
    if (!std::ranges::all_of(ports, IsPort, ToNumber))
        return IpelaReading::InvalidNumbers;

    const auto port = [&ports](std::size_t index) { return static_cast<std::uint16_t>(ToNumber(ports[index])); };
    targets = {address, port(0), port(1), port(2), port(3)};
    return IpelaReading::Ok;
}

IpelaReading IpelaSettings::ReadPicture(std::wstring_view content, IpelaModel model, VideoStandard standard,
                                        IpelaPicture& picture) noexcept
{
    const IpelaPicture read = {ReadImageSize(content, model, standard),
                               ReadNumber(content, IpelaModels::Keys(model).frameRate)};
    if (read.size.width == 0 || read.size.height == 0 || read.frameRate == 0)
        return IpelaReading::InvalidNumbers;
    picture = read;
    return IpelaReading::Ok;
}

IpelaReading IpelaSettings::ReadCameraSettings(std::wstring_view content, IpelaModel model, VideoStandard standard,
                                               IpelaCameraSettings& settings) noexcept
{
    IpelaCameraSettings read;
    if (const IpelaReading reading = ReadStreamTargets(content, model, read.targets); reading != IpelaReading::Ok)
        return reading;
    if (const IpelaReading reading = ReadPicture(content, model, standard, read.picture); reading != IpelaReading::Ok)
        return reading;

    const IpelaKeySet& keys = IpelaModels::Keys(model);
    read.bitRate = ReadNumber(content, keys.bitRate);
    read.audioInVolume = ReadNumber(content, keys.audioInVolume);
    if (read.bitRate == 0)
        return IpelaReading::InvalidNumbers;
    settings = read;
    return IpelaReading::Ok;
}

IpelaImageSize IpelaSettings::ReadImageSize(std::wstring_view content, IpelaModel model,
                                            VideoStandard standard) noexcept
{
    const std::wstring_view text = Read(content, IpelaModels::Keys(model).imageSize);
    if (IpelaModels::IsH264Family(model))
        return SplitSize(text);

    // SNC-RZ25 has one size for all codecs; newer MPEG-4 models report "ImageSize1", which "ImageSize" finds too.
    const std::int32_t width = ToNumber(text.empty() ? GetValue(content, L"ImageSize") : text);
    return {width, IpelaModels::HeightForWidth(model, standard, width)};
}

Compression IpelaSettings::ReadImageCodec(std::wstring_view content, IpelaModel model) noexcept
{
    const std::wstring_view codec = Read(content, IpelaModels::Keys(model).codec);
    if (EqualsIgnoreCase(codec, L"MPEG4"))
        return Compression::Mpeg4;
    if (EqualsIgnoreCase(codec, L"H264"))
        return Compression::H264;
    return Compression::None;
}

VideoStandard IpelaSettings::ReadVideoStandard(std::wstring_view content) noexcept
{
    return EqualsIgnoreCase(GetValue(content, L"VideoStd"), L"pal") ? VideoStandard::Pal50Hz : VideoStandard::Ntsc60Hz;
}

bool IpelaSettings::HasRequiredStreamSettings(std::wstring_view content, IpelaModel model) noexcept
{
    return EqualsIgnoreCase(GetValue(content, L"AudioIn"), L"on") &&
           EqualsIgnoreCase(GetValue(content, L"AudInCodec"), L"g711_64") &&
           EqualsIgnoreCase(Read(content, IpelaModels::Keys(model).autoRateControl), L"off");
}
