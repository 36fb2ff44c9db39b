#include "RecordLayout.h"

#include <gmock/gmock.h>

namespace
{
using InterfaceModel::Record;
using testing::ElementsAre;

Record MakeRecord(std::initializer_list<InterfaceModel::TypeReference> types)
{
    Record record{{}, "Any", {}};
    for (const InterfaceModel::TypeReference& type : types)
        record.fields.push_back({type, "any"});
    return record;
}

TEST(RecordLayout, ShortsShareAWordAndLongsAreAligned)
{
    const RecordLayout layout =
        LayOutRecord(MakeRecord({{"unsigned short"}, {"unsigned short"}, {"unsigned short"}, {"long"}}));
    EXPECT_THAT(layout.fieldOffsets, ElementsAre(0u, 2u, 4u, 8u));
    EXPECT_EQ(12u, layout.sizeBytes);
}

TEST(RecordLayout, SizeIsRoundedUpToTheLargestField)
{
    EXPECT_EQ(8u, LayOutRecord(MakeRecord({{"long"}, {"byte"}})).sizeBytes);
    EXPECT_EQ(4u, LayOutRecord(MakeRecord({{"unsigned short"}, {"byte"}})).sizeBytes);
    EXPECT_EQ(3u, LayOutRecord(MakeRecord({{"byte"}, {"byte"}, {"byte"}})).sizeBytes);
}

TEST(RecordLayout, RecordIsAlignedAsItsLargestField)
{
    EXPECT_EQ(1u, LayOutRecord(MakeRecord({{"byte"}, {"byte"}})).alignmentBytes);
    EXPECT_EQ(2u, LayOutRecord(MakeRecord({{"unsigned short"}, {"byte"}})).alignmentBytes);
    EXPECT_EQ(4u, LayOutRecord(MakeRecord({{"byte"}, {"byte", 1}})).alignmentBytes);
}

TEST(RecordLayout, PointersAndEnumerationsHaveFourBytes)
{
    const RecordLayout layout = LayOutRecord(MakeRecord({{"byte", 1}, {"SomeEnumeration"}, {"BSTR"}, {"BOOL"}}));
    EXPECT_THAT(layout.fieldOffsets, ElementsAre(0u, 4u, 8u, 12u));
}
} // namespace
