#include "Protocol/IpelaModels.h"

#include <algorithm>

namespace
{
using IpelaReply::Lookup;
using enum Compression;

struct ModelName
{
    std::wstring_view prefix;
    IpelaModel model;
};

constexpr ModelName kModelNames[] = {
    {L"SNC-RZ25", IpelaModel::SncRz25},   {L"SNC-RX550", IpelaModel::SncRx550}, {L"SNC-RH124", IpelaModel::SncRh124},
    {L"SNC-ER550", IpelaModel::SncEr550}, {L"SNC-ER580", IpelaModel::SncEr580}, {L"SNC-EP550", IpelaModel::SncEp550},
    {L"SNC-EP520", IpelaModel::SncEp520}, {L"SNC-WR600", IpelaModel::SncWr600}, {L"SNC-EP580", IpelaModel::SncEp580},
};

constexpr IpelaKeySet kMpeg4Keys = {
    .codec = {L"ImageCodec"},
    .imageSize = {L"M4ImageSize"},
    .frameRate = {L"M4FrameRate"},
    .bitRate = {L"M4BitRate"},
    .autoRateControl = {L"M4AutoRateCtrl"},
    .multicastAddress = {L"McAddress"},
    .multicastVideoPort = {L"McVideoPort"},
    .unicastVideoPort = {L"UcVideoPort"},
    .multicastAudioPort = {L"McAudioPort"},
    .unicastAudioPort = {L"UcAudioPort"},
    .audioInVolume = {L"AudioInVolume"},
};

constexpr IpelaKeySet kH264Keys = {
    .codec = {L"ImageCodec1"},
    .imageSize = {L"ImageSize1"},
    .frameRate = {L"FrameRate1"},
    .bitRate = {L"BitRate1"},
    .autoRateControl = {L"AutoRateCtrl1", Lookup::Exact},
    .multicastAddress = {L"McAddress1", Lookup::Exact},
    .multicastVideoPort = {L"McVideoPort1", Lookup::Exact},
    .unicastVideoPort = {L"UcVideoPort1", Lookup::Exact},
    .multicastAudioPort = {L"McAudioPort"},
    .unicastAudioPort = {L"UcAudioPort"},
    .audioInVolume = {L"AudioInVolume"},
};

// Full HD is offered at 20 frames a second in either standard, because not every model can do more.
constexpr ImageFormat kUnknown60Hz[] = {
    {1920, 1080, 20, Mpeg4}, {1280, 720, 30, Mpeg4}, {640, 480, 30, Mpeg4}, {320, 240, 30, Mpeg4}};
constexpr ImageFormat kUnknown50Hz[] = {
    {1920, 1080, 20, Mpeg4}, {1280, 720, 25, Mpeg4}, {640, 480, 25, Mpeg4}, {320, 240, 25, Mpeg4}};

constexpr ImageFormat kRx550Rz25At60Hz[] = {{640, 480, 30, Mpeg4}, {320, 240, 30, Mpeg4}};
constexpr ImageFormat kRx550Rz25At50Hz[] = {{640, 480, 25, Mpeg4}, {320, 240, 25, Mpeg4}};

constexpr ImageFormat kRh124Er550Er580At60Hz[] = {{1280, 720, 30, Mpeg4}, {640, 480, 30, Mpeg4}, {320, 240, 30, Mpeg4}};
constexpr ImageFormat kRh124Er550Er580At50Hz[] = {{1280, 720, 25, Mpeg4}, {640, 480, 25, Mpeg4}, {320, 240, 25, Mpeg4}};

constexpr ImageFormat kEp550At60Hz[] = {
    {1280, 720, 30, Mpeg4}, {640, 368, 30, Mpeg4}, {640, 480, 30, Mpeg4}, {320, 192, 30, Mpeg4}, {320, 240, 30, Mpeg4},
    {1280, 720, 30, H264},  {640, 368, 30, H264},  {640, 480, 30, H264},  {320, 192, 30, H264},  {320, 240, 30, H264},
};
constexpr ImageFormat kEp550At50Hz[] = {
    {1280, 720, 25, Mpeg4}, {640, 368, 25, Mpeg4}, {640, 480, 25, Mpeg4}, {320, 192, 25, Mpeg4}, {320, 240, 25, Mpeg4},
    {1280, 720, 25, H264},  {640, 368, 25, H264},  {640, 480, 25, H264},  {320, 192, 25, H264},  {320, 240, 25, H264},
};

constexpr ImageFormat kEp520At60Hz[] = {
    {640, 480, 30, Mpeg4}, {320, 240, 30, Mpeg4}, {640, 480, 30, H264}, {320, 240, 30, H264}};
constexpr ImageFormat kEp520At50Hz[] = {
    {640, 480, 25, Mpeg4}, {320, 240, 25, Mpeg4}, {640, 480, 25, H264}, {320, 240, 25, H264}};

constexpr ImageFormat kWr600At60Hz[] = {{1280, 720, 30, H264}, {640, 480, 30, H264}, {320, 184, 30, H264}};
constexpr ImageFormat kWr600At50Hz[] = {{1280, 720, 25, H264}, {640, 480, 25, H264}, {320, 184, 25, H264}};

// The smallest H.264 picture has 192 lines at 60 Hz and 184 at 50 Hz.
constexpr ImageFormat kEp580At60Hz[] = {
    {1920, 1080, 30, H264}, {1280, 720, 30, Mpeg4}, {640, 480, 30, Mpeg4}, {320, 192, 30, Mpeg4},
    {1280, 720, 30, H264},  {640, 480, 30, H264},   {320, 192, 30, H264},
};
constexpr ImageFormat kEp580At50Hz[] = {
    {1920, 1080, 25, H264}, {1280, 720, 25, Mpeg4}, {640, 480, 25, Mpeg4}, {320, 192, 25, Mpeg4},
    {1280, 720, 25, H264},  {640, 480, 25, H264},   {320, 184, 25, H264},
};

struct SizeTables
{
    std::span<const ImageFormat> at60Hz;
    std::span<const ImageFormat> at50Hz;
};

SizeTables TablesOf(IpelaModel model) noexcept
{
    switch (model)
    {
    case IpelaModel::SncRx550:
    case IpelaModel::SncRz25:
        return {kRx550Rz25At60Hz, kRx550Rz25At50Hz};
    case IpelaModel::SncRh124:
    case IpelaModel::SncEr550:
    case IpelaModel::SncEr580:
        return {kRh124Er550Er580At60Hz, kRh124Er550Er580At50Hz};
    case IpelaModel::SncEp550:
        return {kEp550At60Hz, kEp550At50Hz};
    case IpelaModel::SncEp520:
        return {kEp520At60Hz, kEp520At50Hz};
    case IpelaModel::SncWr600:
        return {kWr600At60Hz, kWr600At50Hz};
    case IpelaModel::SncEp580:
        return {kEp580At60Hz, kEp580At50Hz};
    case IpelaModel::Unknown:
        break;
    }
    return {kUnknown60Hz, kUnknown50Hz};
}

constexpr std::int32_t kBitRateSteps[] = {64,   128,  256,  384,  512,  768,  1024, 1536,
                                          2048, 3072, 4096, 5120, 6144, 7168, 8192};
} // namespace

IpelaModel IpelaModels::FromModelName(std::wstring_view modelName) noexcept
{
    for (const ModelName& known : kModelNames)
    {
        if (modelName.starts_with(known.prefix))
            return known.model;
    }
    return IpelaModel::Unknown;
}

bool IpelaModels::IsH264Family(IpelaModel model) noexcept
{
    return model >= IpelaModel::SncEp550 && model <= IpelaModel::SncEp580;
}

const IpelaKeySet& IpelaModels::Keys(IpelaModel model) noexcept
{
    return IsH264Family(model) ? kH264Keys : kMpeg4Keys;
}

std::span<const ImageFormat> IpelaModels::ImageSizes(IpelaModel model, VideoStandard standard) noexcept
{
    const SizeTables tables = TablesOf(model);
    return standard == VideoStandard::Ntsc60Hz ? tables.at60Hz : tables.at50Hz;
}

bool IpelaModels::IsImageSizeSupported(IpelaModel model, VideoStandard standard, std::int32_t width,
                                       std::int32_t height, Compression compression) noexcept
{
    return std::ranges::any_of(ImageSizes(model, standard), [&](const ImageFormat& row) {
        return row.width == width && row.height == height && row.compression == compression;
    });
}

std::int32_t IpelaModels::HeightForWidth(IpelaModel model, VideoStandard standard, std::int32_t width) noexcept
{
    const auto rows = ImageSizes(model, standard);
    const auto row = std::ranges::find(rows, width, &ImageFormat::width);
    return row == rows.end() ? 0 : row->height;
}

std::span<const std::int32_t> IpelaModels::BitRateSteps() noexcept
{
    return kBitRateSteps;
}
