#include "Protocol/FrameRates.h"

#include <algorithm>

namespace
{
// 25 at 60 Hz, and 12 and 16 at 50 Hz, are no slips: clients show exactly these lists.
constexpr std::int32_t kRates60Hz[] = {1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30};
constexpr std::int32_t kRates50Hz[] = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25};

static_assert(std::ranges::is_sorted(kRates60Hz) && std::ranges::is_sorted(kRates50Hz));
} // namespace

std::span<const std::int32_t> FrameRates::Supported(VideoStandard standard) noexcept
{
    if (standard == VideoStandard::Ntsc60Hz)
        return kRates60Hz;
    return kRates50Hz;
}

bool FrameRates::IsFrameRateSupported(VideoStandard standard, std::int32_t rate) noexcept
{
    return std::ranges::binary_search(Supported(standard), rate);
}
