#include "Protocol/IpelaSettings.h"
#include "Fuzz/FuzzTarget.h"
#include "Protocol/IpelaReply.h"
#include "Protocol/TextUtil.h"

using Fuzz::Require;

namespace
{
bool IsPort(int number)
{
    return number >= 1024 && number <= 65534;
}

void CheckSettings(std::wstring_view content, IpelaModel model, VideoStandard standard)
{
    IpelaCameraSettings settings;
    if (IpelaSettings::ReadCameraSettings(content, model, standard, settings) != IpelaReading::Ok)
    {
        Require(settings.bitRate == 0 && settings.targets.multicastAddress.empty(), "a failure leaves all untouched");
        return;
    }
    const IpelaStreamTargets& targets = settings.targets;
    Require(!targets.multicastAddress.empty(), "an accepted reply has an address");
    Require(Fuzz::IsInside(targets.multicastAddress, content), "the address is a view of the reply");
    for (const bool isMulticast : {false, true})
        for (const bool isAudio : {false, true})
            Require(IsPort(targets.RtpPort(isMulticast, isAudio)), "a port is one that streams may use");
    const IpelaPicture& picture = settings.picture;
    Require(picture.size.width != 0 && picture.size.height != 0, "an accepted picture has a size");
    Require(picture.frameRate != 0 && settings.bitRate != 0, "an accepted reply has rates");
}

/// The reply to the camera inquiry, for every model.
void FeedIpelaSettings(std::string_view input)
{
    const std::wstring content = Fuzz::Wide(input);
    for (int number = 0; number <= static_cast<int>(IpelaModel::SncEp580); ++number)
    {
        const auto model = static_cast<IpelaModel>(number);
        for (const VideoStandard standard : {VideoStandard::Ntsc60Hz, VideoStandard::Pal50Hz})
            CheckSettings(content, model, standard);
        IpelaSettings::ReadImageCodec(content, model);
        IpelaSettings::HasRequiredStreamSettings(content, model);
    }
    IpelaSettings::ReadVideoStandard(content);
    const std::wstring name = TextUtil::ToUpper(IpelaReply::GetValue(content, L"ModelName"));
    Require(IpelaModels::FromModelName(name) == IpelaModel::Unknown || name.starts_with(L"SNC-"),
            "a known model has the maker's prefix");
}

const CFuzzTarget kIpelaSettings("IpelaSettings", FeedIpelaSettings);
} // namespace
