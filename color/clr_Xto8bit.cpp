// Quantisation of a 24-bit or 8-bit picture to an 8-bit palette picture.
//
// Colours are counted in a 64 x 64 x 64 histogram (6 bits per channel). The
// cube is split recursively into as many boxes as colours are wanted, each
// box's mean becomes a palette entry, and the same memory is then reused as
// the inverse map from cell to palette index, so mapping a pixel is one table
// lookup. A fixed palette goes through the same splitting with each of its
// colours counted once, which yields the map for that palette.
#include <algorithm>
#include <climits>
#include <vector>

#include "color/ColourBox.h"
#include "color/ColourConvert.h"
#include "color/ErrorLimit.h"
#include "color/FixedPalettes.h"
#include "color/RangeLimit.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"

namespace {
// Cell of a pixel given as bytes b0, b1, b2 (blue, green, red for 24-bit
// pictures): red major.
inline int PixelCell(const uint8_t* p) { return CellIndex(p[2] >> 2, p[1] >> 2, p[0] >> 2); }

// Gives the pixels of one source row as 3-byte triples in the order the
// cell index reads them. A 24-bit row is used as it is. An 8-bit row is
// expanded through the palette with the palette's red in the major position
// but its blue in the middle and its green in the minor one: palette
// pictures have always been counted and mapped that way, so their green and
// blue come out exchanged in the optimised palette, and that is kept.
class SourceRows {
public:
    explicit SourceRows(Image* source) : source_(source) {
        if (source->palette) expanded_.resize(3 * static_cast<size_t>(source->width));
    }
    const uint8_t* Row(int row) {
        if (!source_->palette) return source_->Row(row);
        const uint8_t* in = source_->Row(row);
        const uint8_t* palette = source_->palette;
        uint8_t* out = expanded_.data();
        for (int x = 0; x < source_->width; ++x, out += 3) {
            const uint8_t* entry = palette + 3 * in[x];
            out[0] = entry[1];
            out[1] = entry[2];
            out[2] = entry[0];
        }
        return expanded_.data();
    }

private:
    Image* source_;
    std::vector<uint8_t> expanded_;
};

void PaintRegion(uint8_t* map, const ColourBox& box, uint8_t index) {
    for (int r = box.regionRedMin; r <= box.regionRedMax; ++r)
        for (int g = box.regionGreenMin; g <= box.regionGreenMax; ++g)
            for (int b = box.regionBlueMin; b <= box.regionBlueMax; ++b)
                map[CellIndex(r, g, b)] = index;
}

const FixedColour* FixedTable(int size) {
    if (size == 2) return kFixedPalette2.data();
    if (size == 16) return kFixedPalette16.data();
    return kFixedPalette256.data();
}

// Splits the cube into at most `wanted` boxes; returns how many were made.
int SplitBoxes(std::vector<ColourBox>* boxes, int wanted, const uint16_t* histogram,
               Progress* progress) {
    ColourBox& first = (*boxes)[0];
    first.redMin = first.greenMin = first.blueMin = 0;
    first.redMax = first.greenMax = first.blueMax = 63;
    first.regionRedMin = first.regionGreenMin = first.regionBlueMin = 0;
    first.regionRedMax = first.regionGreenMax = first.regionBlueMax = 63;
    ShrinkColourBox(&first, histogram);
    CountColourBox(&first, histogram);
    int count = 1;
    while (count < wanted) {
        if (progress && (count & 63) == 31) progress->SetProgress(count, wanted);
        const int chosen = SelectColourBox(boxes->data(), count, wanted);
        if (chosen < 0) break;  // nothing left to split: fewer colours
        ColourBox& box = (*boxes)[chosen];
        ColourBox& upper = (*boxes)[count];
        upper = box;
        ++count;
        const SplitAxis axis = ChooseSplitAxis(box);
        if (axis != SplitAxis::None) SplitColourBox(&box, &upper, axis, histogram);
    }
    return count;
}

// Floyd-Steinberg over the serpentine scan, the errors scaled by 16 in one
// row of (width + 2) triples: the current pixel's sums sit one triple ahead
// of the pointer, the triple before and after the row take the shares that
// fall off the edges.
void MapDithered(Image* destination, Image* source, const uint8_t* map, Progress* progress) {
    const int width = source->width;
    const int height = source->height;
    // Palette as integers in pixel byte order (blue, green, red).
    int32_t colours[256][3];
    for (int i = 0; i < 256; ++i) {
        colours[i][0] = destination->palette[3 * i + 2];
        colours[i][1] = destination->palette[3 * i + 1];
        colours[i][2] = destination->palette[3 * i + 0];
    }
    std::vector<int32_t> errors(3 * (static_cast<size_t>(width) + 2), 0);
    SourceRows rows(source);
    ReportStatus(progress, "Dithering", 0, 100);
    for (int row = 0; row < height; ++row) {
        const bool leftToRight = (row & 1) == 0;
        const int direction = leftToRight ? 1 : -1;
        const int direction3 = 3 * direction;
        const uint8_t* in = rows.Row(row);
        uint8_t* out = destination->Row(row);
        int32_t* errorAt = errors.data();
        if (!leftToRight) {
            in += 3 * (width - 1);
            out += width - 1;
            errorAt += 3 * (width + 1);
        }
        int32_t carried[3] = {0, 0, 0};      // 7 x the error of the pixel behind
        int32_t below[3] = {0, 0, 0};        // 1 x the error of the pixel behind
        int32_t belowBehind[3] = {0, 0, 0};  // pending sum for the slot behind
        for (int count = width; count > 0; --count) {
            uint8_t value[3];
            for (int c = 0; c < 3; ++c) {
                const int32_t e = LimitError((carried[c] + errorAt[direction3 + c] + 8) >> 4);
                value[c] = kRangeLimit[in[c] + e];
            }
            const uint8_t index = map[PixelCell(value)];
            *out = index;
            for (int c = 0; c < 3; ++c) {
                int32_t q = value[c] - colours[index][c];
                const int32_t once = q;
                const int32_t twice = 2 * q;
                q += twice;  // 3q below and behind
                errorAt[c] = belowBehind[c] + q;
                q += twice;  // 5q below
                belowBehind[c] = below[c] + q;
                below[c] = once;  // 1q below and ahead
                q += twice;       // 7q to the next pixel
                carried[c] = q;
            }
            in += direction3;
            out += direction;
            errorAt += direction3;
        }
        for (int c = 0; c < 3; ++c) errorAt[c] = belowBehind[c];
        if (progress && (row & 63) == 63) progress->SetProgress(row, height);
    }
}

void MapPlain(Image* destination, Image* source, const uint8_t* map) {
    SourceRows rows(source);
    for (int row = 0; row < source->height; ++row) {
        const uint8_t* in = rows.Row(row);
        uint8_t* out = destination->Row(row);
        for (int x = 0; x < source->width; ++x, in += 3) out[x] = map[PixelCell(in)];
    }
}

int SquaredDistance(const uint8_t* rgb, int red, int green, int blue) {
    const int dr = rgb[0] - red, dg = rgb[1] - green, db = rgb[2] - blue;
    return dr * dr + dg * dg + db * db;
}
}  // namespace

bool clr_Xto8bit(Image* destination, Image* source, int wantedColours, bool dither,
                 bool fixedPalette, Progress* progress) {
    if (wantedColours < 2 || wantedColours > 256)
        return SetError("clr_Xto8bit", "iWantColors not in [2..256]");
    if (!destination->palette) return SetError("clr_Xto8bit", "pimDst not 8bit");
    if (source->width != destination->width || source->height != destination->height)
        return SetError("clr_Xto8bit", "Src vs Dst image size missmatch");
    // Records whose rows do not hold their pixels cannot be walked safely.
    if (!RowsFitPixelBlock(source, source->palette ? 1 : 3) || !RowsFitPixelBlock(destination, 1))
        return SetError("clr_Xto8bit", "Src vs Dst image size missmatch");

    // 2^18 16-bit counters that wrap; later the first 2^18 bytes are the map.
    std::vector<uint16_t> histogram(kCubeCells, 0);
    int wanted = wantedColours;
    const FixedColour* fixedTable = nullptr;
    if (!fixedPalette) {
        ReportStatus(progress, "Calculating histogram", 0, 100);
        SourceRows rows(source);
        for (int row = 0; row < source->height; ++row) {
            const uint8_t* in = rows.Row(row);
            for (int x = 0; x < source->width; ++x, in += 3) ++histogram[PixelCell(in)];
        }
        ReportStatus(progress, "Optimizing colors", 0, 100);
    } else {
        ReportStatus(progress, "Creating fixed palette", 0, 100);
        wanted = wantedColours < 16 ? 2 : wantedColours < 128 ? 16 : 256;
        fixedTable = FixedTable(wanted);
        for (int i = 0; i < wanted; ++i) ++histogram[PixelCell(fixedTable[i].data())];
    }

    std::vector<ColourBox> boxes(wanted, ColourBox{});
    const int boxCount = SplitBoxes(&boxes, wanted, histogram.data(), progress);

    uint8_t* map = reinterpret_cast<uint8_t*>(histogram.data());
    uint8_t* palette = destination->palette;
    if (!fixedPalette) {
        for (int i = 0; i < boxCount; ++i) {
            palette[3 * i + 0] = static_cast<uint8_t>(boxes[i].meanRed);
            palette[3 * i + 1] = static_cast<uint8_t>(boxes[i].meanGreen);
            palette[3 * i + 2] = static_cast<uint8_t>(boxes[i].meanBlue);
            PaintRegion(map, boxes[i], static_cast<uint8_t>(i));
        }
    } else {
        std::vector<bool> painted(boxCount, false);
        for (int i = 0; i < wanted; ++i) {
            const FixedColour& colour = fixedTable[i];
            palette[3 * i + 0] = colour[2];
            palette[3 * i + 1] = colour[1];
            palette[3 * i + 2] = colour[0];
            for (int k = 0; k < boxCount; ++k) {
                const ColourBox& box = boxes[k];
                if ((box.meanRed >> 2) == (colour[2] >> 2) &&
                    (box.meanGreen >> 2) == (colour[1] >> 2) &&
                    (box.meanBlue >> 2) == (colour[0] >> 2)) {
                    PaintRegion(map, box, static_cast<uint8_t>(i));
                    painted[k] = true;
                    break;
                }
            }
        }
        // A box no table colour claimed would leave counters in the map;
        // it gets the table colour nearest to its mean instead.
        for (int k = 0; k < boxCount; ++k) {
            if (painted[k]) continue;
            int best = 0, bestDistance = INT_MAX;
            for (int i = 0; i < wanted; ++i) {
                const int distance = SquaredDistance(palette + 3 * i, boxes[k].meanRed,
                                                     boxes[k].meanGreen, boxes[k].meanBlue);
                if (distance < bestDistance) best = i, bestDistance = distance;
            }
            PaintRegion(map, boxes[k], static_cast<uint8_t>(best));
        }
    }

    destination->Prepare();
    ReportProgress(progress, 100, 100);

    if (dither)
        MapDithered(destination, source, map, progress);
    else
        MapPlain(destination, source, map);
    return true;
}
