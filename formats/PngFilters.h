// Undoing the five PNG row filters (none, Sub, Up, Average, Paeth).
#pragma once
#include <cstddef>
#include <cstdint>

enum PngFilter : uint8_t {
    kPngFilterNone = 0,
    kPngFilterSub = 1,
    kPngFilterUp = 2,
    kPngFilterAverage = 3,
    kPngFilterPaeth = 4,
};

// The Paeth predictor: of left (a), above (b) and upper-left (c), the one
// closest to a + b - c; ties go to left, then above, then upper-left.
uint8_t PaethPredictor(int a, int b, int c);

// Reconstructs one row of `rowBytes` bytes in place. `previous` is the
// reconstructed row above (null for the first row of a pass, which counts as
// zeros). `pixelBytes` is the distance to the byte of the same sample in
// the pixel on the left, at least 1. A filter type above 4 leaves the row as
// it stands.
void UnfilterPngRow(unsigned filterType, uint8_t* row, const uint8_t* previous, size_t rowBytes,
                    size_t pixelBytes);
