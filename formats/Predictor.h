// Undoing the TIFF horizontal predictor (predictor 2) on finished rows.
#pragma once
#include <cstdint>

// Along each row every sample becomes the running 8-bit sum of itself and the
// samples of the same position in the pixels before it; the sums restart at
// zero on each row and wrap modulo 256. Works for one and three samples per
// pixel (one byte or three bytes per pixel); any other count is left alone.
// Rows are `width` pixels long and `stride` bytes apart.
void UndoHorizontalPredictor(uint8_t* pixels, int width, int height, int stride,
                             int samplesPerPixel);

// The same for three samples per pixel, with the first and third byte of
// every pixel swapped afterwards (red/blue order), in one pass: the bytes
// UndoHorizontalPredictor and then SwapRedBlue would leave.
void UndoHorizontalPredictorSwappingRedBlue(uint8_t* pixels, int width, int height, int stride);
