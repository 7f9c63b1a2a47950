// The boxes of the colour-cube partition the 8-bit quantiser splits.
//
// Colours are cells of a 64 x 64 x 64 cube (6 bits per channel, red major:
// index = red << 12 | green << 6 | blue). The histogram holds one 16-bit
// counter per cell; counters wrap, so a cell of exactly 65536 pixels reads
// as empty, and the quantiser lives with that.
#pragma once
#include <cstdint>

constexpr int kCubeCells = 1 << 18;

inline int CellIndex(int red6, int green6, int blue6) { return red6 << 12 | green6 << 6 | blue6; }

struct ColourBox {
    // The box shrunk to its occupied cells (6-bit units).
    int32_t redMin, redMax, greenMin, greenMax, blueMin, blueMax;
    // The part of the cube the box owns in the partition; the inverse map is
    // painted over it.
    int32_t regionRedMin, regionRedMax, regionGreenMin, regionGreenMax, regionBlueMin,
        regionBlueMax;
    // Population-weighted means in 8-bit units (4 x the 6-bit mean, rounded).
    int32_t meanRed, meanGreen, meanBlue;
    // max - min of the shrunk bounds; 0 means the axis cannot be split.
    int32_t redExtent, greenExtent, blueExtent;
    int32_t pixelCount;
    int32_t squaredDiagonal;
};

enum class SplitAxis { Red, Green, Blue, None };

// Moves each bound inward while the whole plane at it is empty (red min up,
// red max down, then green, then blue), then sets extents and diagonal.
void ShrinkColourBox(ColourBox* box, const uint16_t* histogram);
// Pixel count and means over the shrunk bounds.
void CountColourBox(ColourBox* box, const uint16_t* histogram);
// The axis whose rounded mean lies farthest from both of its edges, red
// before green before blue on ties, skipping axes of extent 0. None when no
// axis can be split; the user is then told "UNSPLITTABLE".
SplitAxis ChooseSplitAxis(const ColourBox& box);
// Splits `box` at the rounded mean of `axis`: `box` keeps the lower part,
// `upper` (a copy of the box before the split) gets the rest. Both are shrunk
// and counted again.
void SplitColourBox(ColourBox* box, ColourBox* upper, SplitAxis axis, const uint16_t* histogram);
// The box to split next among `count` boxes: while count < wanted / 2 the one
// with most pixels, then the one with the largest diagonal; only boxes with a
// non-zero diagonal; -1 when none can be split.
int SelectColourBox(const ColourBox* boxes, int count, int wanted);
