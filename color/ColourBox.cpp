// Box statistics and splitting for the 8-bit quantiser.
#include "color/ColourBox.h"

#include <algorithm>
#include <climits>

#include "core/Platform.h"

namespace {
// Sum of the counters in the box [r0..r1] x [g0..g1] x [b0..b1].
int64_t CountCells(const uint16_t* histogram, int r0, int r1, int g0, int g1, int b0, int b1) {
    int64_t sum = 0;
    for (int r = r0; r <= r1; ++r)
        for (int g = g0; g <= g1; ++g) {
            const uint16_t* cell = histogram + CellIndex(r, g, 0);
            for (int b = b0; b <= b1; ++b) sum += cell[b];
        }
    return sum;
}

int32_t RoundedMean6(int32_t mean) { return (mean + 2) >> 2; }
}  // namespace

void ShrinkColourBox(ColourBox* box, const uint16_t* histogram) {
    ColourBox& b = *box;
    // A bound stops at the opposite one: a box whose cells are all empty
    // (counters that wrapped to 0) collapses to a single cell.
    while (b.redMin < b.redMax && CountCells(histogram, b.redMin, b.redMin, b.greenMin, b.greenMax,
                                             b.blueMin, b.blueMax) == 0)
        ++b.redMin;
    while (b.redMax > b.redMin && CountCells(histogram, b.redMax, b.redMax, b.greenMin, b.greenMax,
                                             b.blueMin, b.blueMax) == 0)
        --b.redMax;
    while (b.greenMin < b.greenMax && CountCells(histogram, b.redMin, b.redMax, b.greenMin,
                                                 b.greenMin, b.blueMin, b.blueMax) == 0)
        ++b.greenMin;
    while (b.greenMax > b.greenMin && CountCells(histogram, b.redMin, b.redMax, b.greenMax,
                                                 b.greenMax, b.blueMin, b.blueMax) == 0)
        --b.greenMax;
    while (b.blueMin < b.blueMax && CountCells(histogram, b.redMin, b.redMax, b.greenMin,
                                               b.greenMax, b.blueMin, b.blueMin) == 0)
        ++b.blueMin;
    while (b.blueMax > b.blueMin && CountCells(histogram, b.redMin, b.redMax, b.greenMin,
                                               b.greenMax, b.blueMax, b.blueMax) == 0)
        --b.blueMax;
    b.redExtent = b.redMax - b.redMin;
    b.greenExtent = b.greenMax - b.greenMin;
    b.blueExtent = b.blueMax - b.blueMin;
    b.squaredDiagonal =
        b.redExtent * b.redExtent + b.greenExtent * b.greenExtent + b.blueExtent * b.blueExtent;
}

void CountColourBox(ColourBox* box, const uint16_t* histogram) {
    ColourBox& b = *box;
    // 64-bit sums: index x count over a large picture passes 2^31.
    int64_t count = 0, sumRed = 0, sumGreen = 0, sumBlue = 0;
    for (int r = b.redMin; r <= b.redMax; ++r)
        for (int g = b.greenMin; g <= b.greenMax; ++g) {
            const uint16_t* cell = histogram + CellIndex(r, g, 0);
            for (int bl = b.blueMin; bl <= b.blueMax; ++bl) {
                const int64_t n = cell[bl];
                count += n;
                sumRed += r * n;
                sumGreen += g * n;
                sumBlue += bl * n;
            }
        }
    b.pixelCount = static_cast<int32_t>(std::min<int64_t>(count, INT32_MAX));
    if (count == 0) {
        // Only a box of wrapped or no pixels; it has collapsed to one cell.
        b.meanRed = 4 * b.redMin;
        b.meanGreen = 4 * b.greenMin;
        b.meanBlue = 4 * b.blueMin;
        return;
    }
    // Rounded means in 8-bit units: (count / 2 + 4 x sum) / count.
    b.meanRed = static_cast<int32_t>((count / 2 + 4 * sumRed) / count);
    b.meanGreen = static_cast<int32_t>((count / 2 + 4 * sumGreen) / count);
    b.meanBlue = static_cast<int32_t>((count / 2 + 4 * sumBlue) / count);
}

SplitAxis ChooseSplitAxis(const ColourBox& b) {
    const int32_t mRed = RoundedMean6(b.meanRed);
    const int32_t mGreen = RoundedMean6(b.meanGreen);
    const int32_t mBlue = RoundedMean6(b.meanBlue);
    const int32_t dRed = std::min(mRed - b.redMin, b.redMax - mRed);
    const int32_t dGreen = std::min(mGreen - b.greenMin, b.greenMax - mGreen);
    const int32_t dBlue = std::min(mBlue - b.blueMin, b.blueMax - mBlue);
    if (dGreen <= dRed && dBlue <= dRed && b.redExtent != 0) return SplitAxis::Red;
    if (dBlue <= dGreen && b.greenExtent != 0) return SplitAxis::Green;
    if (b.blueExtent != 0) return SplitAxis::Blue;
    platform::ShowMessage("Attention!", "UNSPLITTABLE");
    return SplitAxis::None;
}

void SplitColourBox(ColourBox* box, ColourBox* upper, SplitAxis axis, const uint16_t* histogram) {
    int32_t* lowerMax;
    int32_t* lowerRegionMax;
    int32_t* upperMin;
    int32_t* upperRegionMin;
    int32_t mean;
    switch (axis) {
        case SplitAxis::Red:
            lowerMax = &box->redMax, lowerRegionMax = &box->regionRedMax;
            upperMin = &upper->redMin, upperRegionMin = &upper->regionRedMin;
            mean = box->meanRed;
            break;
        case SplitAxis::Green:
            lowerMax = &box->greenMax, lowerRegionMax = &box->regionGreenMax;
            upperMin = &upper->greenMin, upperRegionMin = &upper->regionGreenMin;
            mean = box->meanGreen;
            break;
        case SplitAxis::Blue:
            lowerMax = &box->blueMax, lowerRegionMax = &box->regionBlueMax;
            upperMin = &upper->blueMin, upperRegionMin = &upper->regionBlueMin;
            mean = box->meanBlue;
            break;
        default:
            return;
    }
    int32_t m = RoundedMean6(mean);
    // The mean can round onto the top plane; the upper box must keep it.
    if (m >= *lowerMax) m = *lowerMax - 1;
    *lowerMax = *lowerRegionMax = m;
    *upperMin = *upperRegionMin = m + 1;
    ShrinkColourBox(box, histogram);
    ShrinkColourBox(upper, histogram);
    CountColourBox(box, histogram);
    CountColourBox(upper, histogram);
}

int SelectColourBox(const ColourBox* boxes, int count, int wanted) {
    auto mostPixels = [&] {
        int best = -1;
        int32_t bestCount = 0;
        for (int i = 0; i < count; ++i)
            if (boxes[i].squaredDiagonal > 0 && boxes[i].pixelCount > bestCount) {
                best = i;
                bestCount = boxes[i].pixelCount;
            }
        return best;
    };
    auto largestDiagonal = [&] {
        int best = -1;
        int32_t bestDiagonal = 0;
        for (int i = 0; i < count; ++i)
            if (boxes[i].squaredDiagonal > bestDiagonal) {
                best = i;
                bestDiagonal = boxes[i].squaredDiagonal;
            }
        return best;
    };
    int chosen;
    if (count < wanted / 2) {
        chosen = mostPixels();
        if (chosen < 0) chosen = largestDiagonal();
    } else {
        chosen = largestDiagonal();
        if (chosen < 0) chosen = mostPixels();
    }
    return chosen;
}
