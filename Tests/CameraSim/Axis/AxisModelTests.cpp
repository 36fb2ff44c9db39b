#include "CameraSim/Axis/AxisModel.h"

#include <gtest/gtest.h>

namespace
{

TEST(AxisModel, IsFoundAnywhereInTheName)
{
    const struct
    {
        const char* why;
        const char* name;
        const char* model;
        bool isAxis;
    } rows[] = {
        {"with the maker's name", "AXIS M5526-E", "M5526-E", true},
        {"without it", "M5525-E", "M5525-E", true},
        {"in small letters", "axis p5635-e mk ii", "P5635-E", true},
        {"letters behind it", "V5915-X", "V5915", true},
        {"a part of the name is not enough", "M5526", "", false},
        {"unknown, but of the maker", "AXIS Q6055", "", true},
        {"the maker's name in small letters", "axis x", "", true},
        {"the maker's name is not in front", "MY AXIS", "", false},
        {"another maker", "SNC-EP580", "", false},
        {"nothing", "", "", false},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(row.model, AxisModels::Find(row.name).name) << row.why;
        EXPECT_EQ(row.isAxis, AxisModels::IsAxis(row.name)) << row.why;
    }
}

TEST(AxisModel, OnlyOneHasTheLargePictureAndNoLowLatencyMode)
{
    for (const AxisModel& model : AxisModels::Known())
    {
        const bool isLarge = model.name == "M5526-E";
        EXPECT_EQ(isLarge ? 5u : 4u, model.sizes.size()) << model.name;
        EXPECT_EQ(!isLarge, model.hasLowLatencyMode) << model.name;
    }
    EXPECT_EQ((AxisSize{2688, 1512}), AxisModels::Find("M5526-E").sizes.back());
    EXPECT_EQ((AxisSize{1920, 1080}), AxisModels::Find("AXIS X").sizes.back());
}

} // namespace
