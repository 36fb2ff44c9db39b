#include "Core/TextTable.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
using Align = CTextTable::Align;

std::string Printed(const CTextTable& table)
{
    std::ostringstream out;
    table.Print(out);
    return out.str();
}

TEST(TextTable, ColumnsAreAsWideAsTheirWidestCell)
{
    CTextTable table({Align::kRight, Align::kLeft}, {"Width", "Codec"});
    table.AddRow({"1920", "h264"});
    table.AddRow({"640", "mpeg4"});
    EXPECT_EQ(Printed(table), "Width  Codec\n"
                              " 1920  h264\n"
                              "  640  mpeg4\n");
}

TEST(TextTable, CharactersAreCountedNotBytes)
{
    CTextTable table({Align::kLeft, Align::kLeft}, {});
    table.AddRow({"\xC3\xA4\xE2\x82\xAC", "x"});
    table.AddRow({"abc", "y"});
    EXPECT_EQ(Printed(table), "\xC3\xA4\xE2\x82\xAC   x\n"
                              "abc  y\n");
}

TEST(TextTable, LinesHaveNoSpacesAtTheirEnd)
{
    CTextTable table({Align::kLeft, Align::kLeft}, {});
    table.AddRow({"a", "long"});
    table.AddRow({"b"});
    EXPECT_EQ(Printed(table), "a  long\nb\n");
}

TEST(TextTable, SurplusCellsAreDropped)
{
    CTextTable table({Align::kLeft}, {});
    table.AddRow({"a", "b"});
    EXPECT_EQ(Printed(table), "a\n");
}
} // namespace
