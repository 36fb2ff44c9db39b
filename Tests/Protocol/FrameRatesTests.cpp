#include "Protocol/FrameRates.h"

#include <gmock/gmock.h>

#include <limits>

using testing::ElementsAre;

TEST(FrameRates, SixtyHertzCamerasOfferTwelveRatesUpTo30)
{
    EXPECT_THAT(FrameRates::Supported(VideoStandard::Ntsc60Hz), ElementsAre(1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30));
}

TEST(FrameRates, FiftyHertzCamerasOfferTwelveRatesUpTo25)
{
    EXPECT_THAT(FrameRates::Supported(VideoStandard::Pal50Hz), ElementsAre(1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25));
}

TEST(FrameRates, RateIsSupportedWhenItStandsInTheTable)
{
    const struct
    {
        const char* reason;
        std::int32_t rate;
        bool at60Hz;
        bool at50Hz;
    } rows[] = {
        {"lowest rate", 1, true, true},
        {"between two rates", 7, false, false},
        {"60 Hz only", 15, true, false},
        {"60 Hz only, highest", 30, true, false},
        {"50 Hz only", 12, false, true},
        {"50 Hz only", 16, false, true},
        {"in both though it divides neither 60 nor 30", 25, true, true},
        {"zero", 0, false, false},
        {"negative", -1, false, false},
        {"above the highest at 50 Hz", 26, false, false},
        {"above the highest", 31, false, false},
        {"lowest number", std::numeric_limits<std::int32_t>::min(), false, false},
        {"highest number", std::numeric_limits<std::int32_t>::max(), false, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ": " << row.rate);
        EXPECT_EQ(FrameRates::IsFrameRateSupported(VideoStandard::Ntsc60Hz, row.rate), row.at60Hz);
        EXPECT_EQ(FrameRates::IsFrameRateSupported(VideoStandard::Pal50Hz, row.rate), row.at50Hz);
    }
}
