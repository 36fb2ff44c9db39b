#include "CameraSim/H264/TestPicture.h"

#include <gtest/gtest.h>

#include <set>

namespace
{

/// White blocks as '#', all else as '.', of the rows that hold the clock.
std::vector<std::string> ClockRows(const BlockPicture& picture, unsigned top, unsigned left, unsigned columns)
{
    std::vector<std::string> rows;
    for (unsigned row = top; row < top + 5; ++row)
    {
        std::string text;
        for (unsigned column = left; column < left + columns; ++column)
            text += picture.At(column, row).y == 235 ? '#' : '.';
        rows.push_back(text);
    }
    return rows;
}

TEST(TestPicture, TheClockCanBeRead)
{
    // 30 by 17 blocks: the digits are one block wide a stroke, 29 columns with margins, 7 rows with margins.
    const CTestPicture picture({.width = 480, .height = 270, .framesPerSecond = 25});
    const std::uint64_t twelveThirtyFourFive = (12 * 60 + 34) * 25 + 5;
    const std::vector<std::string> expected{
        ".#..###...###.#.#...###.###", //
        "##....#.#...#.#.#.#.#.#.#..", //
        ".#..###...###.###...#.#.###", //
        ".#..#...#...#...#.#.#.#...#", //
        "###.###...###...#...###.###",
    };
    EXPECT_EQ(expected, ClockRows(picture.Draw(twelveThirtyFourFive), 6, 1, 27));
}

TEST(TestPicture, NoTwoPicturesInARowAreEqual)
{
    for (const unsigned framesPerSecond : {1u, 25u, 60u})
    {
        const CTestPicture picture({.width = 176, .height = 144, .framesPerSecond = framesPerSecond});
        for (std::uint64_t frame = 0; frame < 200; ++frame)
            EXPECT_NE(picture.Draw(frame).blocks, picture.Draw(frame + 1).blocks) << frame;
    }
}

TEST(TestPicture, EveryBarIsThere)
{
    const BlockPicture picture = CTestPicture({.width = 1280, .height = 720}).Draw(0);
    std::set<int> lumas;
    for (unsigned column = 0; column < picture.columns; ++column)
        lumas.insert(picture.At(column, 0).y);
    EXPECT_EQ((std::set<int>{16, 35, 65, 84, 112, 131, 162, 180}), lumas);
}

TEST(TestPicture, SmallPicturesShowTheFastestDigits)
{
    // 11 columns have room for two digits, 2 columns for none; both still move.
    for (const unsigned width : {176u, 32u})
    {
        const CTestPicture picture({.width = width, .height = 144});
        EXPECT_NE(picture.Draw(3).blocks, picture.Draw(4).blocks) << width;
    }
}

} // namespace
