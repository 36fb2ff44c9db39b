#include "Protocol/AxisModels.h"

#include <algorithm>

namespace
{
using enum Compression;

struct ModelName
{
    std::wstring_view part;
    AxisModel model;
};

constexpr ModelName kModelNames[] = {
    {L"M5526", AxisModel::M5526},
    {L"M5525", AxisModel::M5525},
    {L"P5635", AxisModel::P5635},
    {L"V5915", AxisModel::V5915},
};

// The last size is M5526's alone.
constexpr ImageFormat kAt60Hz[] = {
    {480, 270, 30, H264}, {800, 450, 30, H264}, {1280, 720, 30, H264}, {1920, 1080, 30, H264}, {2688, 1512, 30, H264}};
constexpr ImageFormat kAt50Hz[] = {
    {480, 270, 25, H264}, {800, 450, 25, H264}, {1280, 720, 25, H264}, {1920, 1080, 25, H264}, {2688, 1512, 25, H264}};
constexpr std::size_t kCountForAll = 4;
} // namespace

AxisModel AxisModels::FromProductNumber(std::wstring_view productNumber) noexcept
{
    for (const ModelName& known : kModelNames)
    {
        if (productNumber.find(known.part) != std::wstring_view::npos)
            return known.model;
    }
    return AxisModel::Unknown;
}

std::span<const ImageFormat> AxisModels::ImageSizes(AxisModel model, VideoStandard standard) noexcept
{
    const std::span<const ImageFormat> all(standard == VideoStandard::Ntsc60Hz ? kAt60Hz : kAt50Hz);
    return model == AxisModel::M5526 ? all : all.first(kCountForAll);
}

bool AxisModels::IsImageSizeSupported(AxisModel model, VideoStandard standard, std::int32_t width, std::int32_t height,
                                      Compression compression) noexcept
{
    return std::ranges::any_of(ImageSizes(model, standard), [&](const ImageFormat& row) {
        return row.width == width && row.height == height && row.compression == compression;
    });
}

bool AxisModels::HasLowLatencyMode(AxisModel model) noexcept
{
    return model != AxisModel::M5526;
}

std::int32_t AxisModels::DefaultFrameRate(VideoStandard standard) noexcept
{
    return standard == VideoStandard::Ntsc60Hz ? 30 : 25;
}

std::int32_t AxisModels::PFrameLimit(VideoStandard standard) noexcept
{
    return DefaultFrameRate(standard) + 1;
}
