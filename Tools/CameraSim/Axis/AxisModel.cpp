#include "CameraSim/Axis/AxisModel.h"

#include "CameraSim/Text/Ascii.h"

#include <array>

namespace AxisModels
{

namespace
{

constexpr AxisSize kFullHd[] = {{480, 270}, {800, 450}, {1280, 720}, {1920, 1080}};
constexpr AxisSize kQuadHd[] = {{480, 270}, {800, 450}, {1280, 720}, {1920, 1080}, {2688, 1512}};

constexpr AxisModel kUnknown{"", kFullHd, true};
constexpr std::array<AxisModel, 4> kKnown{{
    {"M5526-E", kQuadHd, false},
    {"M5525-E", kFullHd, true},
    {"P5635-E", kFullHd, true},
    {"V5915", kFullHd, true},
}};

} // namespace

std::span<const AxisModel> Known() noexcept
{
    return kKnown;
}

const AxisModel& Find(std::string_view modelName) noexcept
{
    for (const AxisModel& model : kKnown)
    {
        for (std::size_t start = 0; start + model.name.size() <= modelName.size(); ++start)
        {
            if (Ascii::EqualNoCase(modelName.substr(start, model.name.size()), model.name))
                return model;
        }
    }
    return kUnknown;
}

bool IsAxis(std::string_view modelName) noexcept
{
    return !Find(modelName).name.empty() || Ascii::EqualNoCase(modelName.substr(0, 4), "AXIS");
}

int HighestRate(VideoStandard standard) noexcept
{
    return standard == VideoStandard::Ntsc ? 30 : 25;
}

} // namespace AxisModels
