#include "CameraSim/Ipela/IpelaModel.h"

#include "CameraSim/Text/Ascii.h"

#include <array>

namespace IpelaModels
{

namespace
{

constexpr auto kMpeg4 = IpelaCodec::Mpeg4;
constexpr auto kH264 = IpelaCodec::H264;

constexpr IpelaSize kGenericNtsc[] = {
    {1920, 1080, 20, kMpeg4}, {1280, 720, 30, kMpeg4}, {640, 480, 30, kMpeg4}, {320, 240, 30, kMpeg4}};
constexpr IpelaSize kGenericPal[] = {
    {1920, 1080, 20, kMpeg4}, {1280, 720, 25, kMpeg4}, {640, 480, 25, kMpeg4}, {320, 240, 25, kMpeg4}};
constexpr IpelaSize kVgaNtsc[] = {{640, 480, 30, kMpeg4}, {320, 240, 30, kMpeg4}};
constexpr IpelaSize kVgaPal[] = {{640, 480, 25, kMpeg4}, {320, 240, 25, kMpeg4}};
constexpr IpelaSize kHdNtsc[] = {{1280, 720, 30, kMpeg4}, {640, 480, 30, kMpeg4}, {320, 240, 30, kMpeg4}};
constexpr IpelaSize kHdPal[] = {{1280, 720, 25, kMpeg4}, {640, 480, 25, kMpeg4}, {320, 240, 25, kMpeg4}};
constexpr IpelaSize kEp550Ntsc[] = {{1280, 720, 30, kMpeg4}, {640, 368, 30, kMpeg4}, {640, 480, 30, kMpeg4},
                                    {320, 192, 30, kMpeg4},  {320, 240, 30, kMpeg4}, {1280, 720, 30, kH264},
                                    {640, 368, 30, kH264},   {640, 480, 30, kH264},  {320, 192, 30, kH264},
                                    {320, 240, 30, kH264}};
constexpr IpelaSize kEp550Pal[] = {{1280, 720, 25, kMpeg4}, {640, 368, 25, kMpeg4}, {640, 480, 25, kMpeg4},
                                   {320, 192, 25, kMpeg4},  {320, 240, 25, kMpeg4}, {1280, 720, 25, kH264},
                                   {640, 368, 25, kH264},   {640, 480, 25, kH264},  {320, 192, 25, kH264},
                                   {320, 240, 25, kH264}};
constexpr IpelaSize kEp520Ntsc[] = {
    {640, 480, 30, kMpeg4}, {320, 240, 30, kMpeg4}, {640, 480, 30, kH264}, {320, 240, 30, kH264}};
constexpr IpelaSize kEp520Pal[] = {
    {640, 480, 25, kMpeg4}, {320, 240, 25, kMpeg4}, {640, 480, 25, kH264}, {320, 240, 25, kH264}};
constexpr IpelaSize kWr600Ntsc[] = {{1280, 720, 30, kH264}, {640, 480, 30, kH264}, {320, 184, 30, kH264}};
constexpr IpelaSize kWr600Pal[] = {{1280, 720, 25, kH264}, {640, 480, 25, kH264}, {320, 184, 25, kH264}};
constexpr IpelaSize kEp580Ntsc[] = {{1920, 1080, 30, kH264}, {1280, 720, 30, kMpeg4}, {640, 480, 30, kMpeg4},
                                    {320, 192, 30, kMpeg4},  {1280, 720, 30, kH264},  {640, 480, 30, kH264},
                                    {320, 192, 30, kH264}};
// The smallest H.264 picture has 184 lines at 50 Hz and 192 at 60 Hz.
constexpr IpelaSize kEp580Pal[] = {{1920, 1080, 25, kH264}, {1280, 720, 25, kMpeg4}, {640, 480, 25, kMpeg4},
                                   {320, 192, 25, kMpeg4},  {1280, 720, 25, kH264},  {640, 480, 25, kH264},
                                   {320, 184, 25, kH264}};

constexpr IpelaModel kUnknown{"", false, IpelaSizeKey::M4ImageSize, kGenericNtsc, kGenericPal};
constexpr std::array<IpelaModel, 9> kKnown{{
    {"SNC-RZ25", false, IpelaSizeKey::ImageSize, kVgaNtsc, kVgaPal},
    {"SNC-RX550", false, IpelaSizeKey::M4ImageSize, kVgaNtsc, kVgaPal},
    {"SNC-RH124", false, IpelaSizeKey::ImageSize1, kHdNtsc, kHdPal},
    {"SNC-ER550", false, IpelaSizeKey::ImageSize1, kHdNtsc, kHdPal},
    {"SNC-ER580", false, IpelaSizeKey::ImageSize1, kHdNtsc, kHdPal},
    {"SNC-EP550", true, IpelaSizeKey::ImageSize1, kEp550Ntsc, kEp550Pal},
    {"SNC-EP520", true, IpelaSizeKey::ImageSize1, kEp520Ntsc, kEp520Pal},
    {"SNC-WR600", true, IpelaSizeKey::ImageSize1, kWr600Ntsc, kWr600Pal},
    {"SNC-EP580", true, IpelaSizeKey::ImageSize1, kEp580Ntsc, kEp580Pal},
}};

constexpr int kNtscRates[] = {1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30};
constexpr int kPalRates[] = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25};
constexpr int kBitRates[] = {64, 128, 256, 384, 512, 768, 1024, 1536, 2048, 3072, 4096, 5120, 6144, 7168, 8192};

} // namespace

std::span<const IpelaModel> Known() noexcept
{
    return kKnown;
}

const IpelaModel& Find(std::string_view modelName) noexcept
{
    for (const IpelaModel& model : kKnown)
    {
        if (Ascii::EqualNoCase(modelName.substr(0, model.name.size()), model.name))
            return model;
    }
    return kUnknown;
}

std::span<const int> FrameRates(VideoStandard standard) noexcept
{
    if (standard == VideoStandard::Ntsc)
        return kNtscRates;
    return kPalRates;
}

std::span<const int> BitRates() noexcept
{
    return kBitRates;
}

} // namespace IpelaModels
