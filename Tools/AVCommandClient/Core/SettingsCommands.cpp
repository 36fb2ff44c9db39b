#include "Core/Commands.h"
#include "Core/Names.h"
#include "Core/Report.h"

#include <ostream>
#include <utility>

namespace SettingsCommands
{
namespace
{
using Commands::Check;

StreamSettings ReadSettings(ICamera& camera)
{
    StreamSettings settings;
    Check(camera.GetSettings(settings), "GetCameraSettings3", Activity::kRead);
    return settings;
}

std::vector<PictureFormat> ReadSizes(ICamera& camera)
{
    std::vector<PictureFormat> sizes;
    Check(camera.GetSupportedImageSizes(sizes), "GetSupportedImageSizes2", Activity::kRead);
    return sizes;
}

std::vector<std::int32_t> ReadFrameRates(ICamera& camera)
{
    std::vector<std::int32_t> rates;
    Check(camera.GetSupportedFrameRates(rates), "GetSupportedFrameRates", Activity::kRead);
    return rates;
}

StreamCodec ReadCodecInUse(ICamera& camera)
{
    PictureFormat format;
    Check(camera.GetCameraImageSize(format), "GetCameraImageSize", Activity::kRead);
    return format.codec;
}
} // namespace

void Info(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    CameraSummary summary;
    summary.address = Commands::AddressText(arguments.camera);
    summary.isConnected = camera.IsConnected() == HResults::kOk;
    // A camera whose RTSP server fails is still worth a look.
    const HResult rtsp = camera.ConnectToRtspServer(false);
    summary.isRtsp = rtsp != HResults::kFalse;
    H264Description description;
    if (rtsp == HResults::kOk && HResults::Succeeded(camera.GetH264Parameters(description)))
        summary.h264 = std::move(description);
    summary.settings = ReadSettings(camera);
    summary.sizes = ReadSizes(camera);
    summary.frameRates = ReadFrameRates(camera);
    if (arguments.isJson)
        Report::Print(out, Report::ToJson(summary));
    else
        Report::Print(out, summary);
}

void Settings(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    const StreamSettings settings = ReadSettings(camera);
    if (arguments.isJson)
        Report::Print(out, Report::ToJson(settings));
    else
        Report::Print(out, settings);
}

void Sizes(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    const std::vector<PictureFormat> sizes = ReadSizes(camera);
    std::optional<std::vector<std::int32_t>> rates;
    if (arguments.withRates)
        rates = ReadFrameRates(camera);
    if (arguments.isJson)
        Report::Print(out, Report::SizesToJson(sizes, rates));
    else
        Report::PrintSizes(out, sizes, rates);
}

void SetSize(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    PictureFormat format = arguments.picture;
    format.codec = arguments.codec ? *arguments.codec : ReadCodecInUse(camera);
    Check(camera.SetImageSize(format), "SetImageSize2", Activity::kSetSize);
    if (arguments.isJson)
        Report::Print(out, Json{{"command", arguments.verbText}, {"picture", Report::ToJson(format)}});
    else
        out << "Picture set to " << Names::PictureFormatText(format) << ' ' << Names::CodecText(format.codec) << '\n';
}

void SetBitRate(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    Check(camera.SetBitRate(arguments.number), "SetBitRate", Activity::kOther);
    // The component raises the number to the camera's next step, so what counts is what the camera says now.
    const StreamSettings settings = ReadSettings(camera);
    const std::int32_t bitRateKbps = settings.bitRateKbps;
    if (arguments.isJson)
    {
        Report::Print(
            out,
            Json{{"command", arguments.verbText}, {"requestedKbps", arguments.number}, {"bitRateKbps", bitRateKbps}});
    }
    else if (Report::IsPictureAlone(settings))
        out << "Bit rate set to " << arguments.number << " kbit/s\n";
    else
        out << "Bit rate is now " << bitRateKbps << " kbit/s (asked for " << arguments.number << ")\n";
}

void SetVolume(ICamera& camera, const ClientArguments& arguments, std::ostream& out)
{
    // Not read back: the component may answer the next settings inquiry from a cache that this call does not empty.
    Check(camera.SetAudioInVolume(arguments.number), "SetAudioInVolume", Activity::kSetVolume);
    if (arguments.isJson)
        Report::Print(out, Json{{"command", arguments.verbText}, {"audioInVolume", arguments.number}});
    else
        out << "Microphone volume set to " << arguments.number << '\n';
}
} // namespace SettingsCommands
