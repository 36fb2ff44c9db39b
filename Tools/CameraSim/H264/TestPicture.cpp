#include "CameraSim/H264/TestPicture.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace
{

constexpr BlockColour kBlack{16, 128, 128};
constexpr BlockColour kWhite{235, 128, 128};

/// The bars at 75 % (ITU-R BT.471 in the colours of BT.601), white to blue, and black.
constexpr std::array kBars{BlockColour{180, 128, 128}, BlockColour{162, 44, 142}, BlockColour{131, 156, 44},
                           BlockColour{112, 72, 58},   BlockColour{84, 184, 198}, BlockColour{65, 100, 212},
                           BlockColour{35, 212, 114},  BlockColour{16, 128, 128}};

constexpr unsigned kGlyphRows = 5;

struct Glyph
{
    unsigned columns;
    std::array<std::string_view, kGlyphRows> rows;
};

constexpr std::array<Glyph, 10> kDigits{{{3, {"###", "# #", "# #", "# #", "###"}},
                                         {3, {" # ", "## ", " # ", " # ", "###"}},
                                         {3, {"###", "  #", "###", "#  ", "###"}},
                                         {3, {"###", "  #", "###", "  #", "###"}},
                                         {3, {"# #", "# #", "###", "  #", "  #"}},
                                         {3, {"###", "#  ", "###", "  #", "###"}},
                                         {3, {"###", "#  ", "###", "# #", "###"}},
                                         {3, {"###", "  #", "  #", "  #", "  #"}},
                                         {3, {"###", "# #", "###", "# #", "###"}},
                                         {3, {"###", "# #", "###", "  #", "###"}}}};
constexpr Glyph kColon{1, {" ", "#", " ", "#", " "}};

const Glyph& GlyphOf(char c)
{
    return c == ':' ? kColon : kDigits[static_cast<std::size_t>(c - '0')];
}

/// Columns of the text with one free column around and between the glyphs.
unsigned ColumnsOf(std::string_view text)
{
    unsigned columns = 1;
    for (const char c : text)
        columns += GlyphOf(c).columns + 1;
    return columns;
}

std::string TwoDigits(std::uint64_t number)
{
    const auto value = static_cast<char>(number % 100);
    return {static_cast<char>('0' + value / 10), static_cast<char>('0' + value % 10)};
}

/// "12:34:05", or as many of its last parts as there is room for.
std::string ClockText(std::uint64_t frame, unsigned framesPerSecond, unsigned columns)
{
    const std::uint64_t seconds = frame / framesPerSecond;
    std::string text =
        TwoDigits(seconds / 60 % 100) + ":" + TwoDigits(seconds % 60) + ":" + TwoDigits(frame % framesPerSecond);
    while (ColumnsOf(text) > columns && text.size() > 2)
        text.erase(0, 3);
    return text;
}

void Fill(BlockPicture& picture, unsigned left, unsigned top, unsigned columns, unsigned rows, BlockColour colour)
{
    for (unsigned row = top; row < std::min(top + rows, picture.rows); ++row)
    {
        for (unsigned column = left; column < std::min(left + columns, picture.columns); ++column)
            picture.At(column, row) = colour;
    }
}

void DrawGlyph(BlockPicture& picture, const Glyph& glyph, unsigned left, unsigned top, unsigned scale)
{
    for (unsigned row = 0; row < kGlyphRows; ++row)
    {
        for (unsigned column = 0; column < glyph.columns; ++column)
        {
            if (glyph.rows[row][column] == '#')
                Fill(picture, left + column * scale, top + row * scale, scale, scale, kWhite);
        }
    }
}

/// In the middle of the picture, as large as it fits, on black.
void DrawClock(BlockPicture& picture, std::string_view text)
{
    constexpr unsigned kRowsWithMargin = kGlyphRows + 2;
    const unsigned columns = ColumnsOf(text);
    const unsigned scale = std::max(1u, std::min(picture.columns / columns, picture.rows / (2 * kRowsWithMargin)));
    const unsigned width = columns * scale;
    const unsigned height = kRowsWithMargin * scale;
    const unsigned top = picture.rows > height ? (picture.rows - height) / 2 : 0;
    unsigned left = picture.columns > width ? (picture.columns - width) / 2 : 0;
    Fill(picture, left, top, width, height, kBlack);
    left += scale;
    for (const char c : text)
    {
        DrawGlyph(picture, GlyphOf(c), left, top + scale, scale);
        left += (GlyphOf(c).columns + 1) * scale;
    }
}

BlockPicture DrawBars(const H264Format& format)
{
    BlockPicture picture(format.Columns(), format.Rows());
    for (unsigned row = 0; row < picture.rows; ++row)
    {
        for (unsigned column = 0; column < picture.columns; ++column)
            picture.At(column, row) = kBars[column * kBars.size() / picture.columns];
    }
    return picture;
}

} // namespace

CTestPicture::CTestPicture(const H264Format& format)
    : m_framesPerSecond(std::max(1u, format.framesPerSecond)), m_background(DrawBars(format))
{
}

BlockPicture CTestPicture::Draw(std::uint64_t frame) const
{
    BlockPicture picture = m_background;
    DrawClock(picture, ClockText(frame, m_framesPerSecond, picture.columns));
    // The last row may be cropped to a sliver, so the mark runs in the one above.
    const unsigned markRow = picture.rows > 1 ? picture.rows - 2 : 0;
    Fill(picture, 0, markRow, picture.columns, 1, kBlack);
    Fill(picture, static_cast<unsigned>(frame % picture.columns), markRow, 1, 1, kWhite);
    return picture;
}
