#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// A colour in the range of studio video (ITU-R BT.601).
struct BlockColour
{
    std::uint8_t y = 16;
    std::uint8_t cb = 128;
    std::uint8_t cr = 128;

    bool operator==(const BlockColour&) const = default;
};

/// A picture of macroblocks of 16x16 pixels with one colour each.
struct BlockPicture
{
    BlockPicture(unsigned columnsIn, unsigned rowsIn)
        : columns(columnsIn), rows(rowsIn), blocks(std::size_t{columnsIn} * rowsIn)
    {
    }

    BlockColour& At(unsigned column, unsigned row)
    {
        return blocks[std::size_t{row} * columns + column];
    }
    const BlockColour& At(unsigned column, unsigned row) const
    {
        return blocks[std::size_t{row} * columns + column];
    }

    unsigned columns;
    unsigned rows;
    std::vector<BlockColour> blocks;
};
