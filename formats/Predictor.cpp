#include "formats/Predictor.h"

#include <cstddef>

void UndoHorizontalPredictor(uint8_t* pixels, int width, int height, int stride,
                             int samplesPerPixel) {
    if (samplesPerPixel != 1 && samplesPerPixel != 3) return;
    if (width <= 0 || height <= 0) return;
    const size_t rowBytes = static_cast<size_t>(width) * static_cast<size_t>(samplesPerPixel);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = pixels + static_cast<ptrdiff_t>(y) * stride;
        if (samplesPerPixel == 1) {
            uint8_t sum = 0;
            for (size_t x = 0; x < rowBytes; ++x) row[x] = sum = static_cast<uint8_t>(sum + row[x]);
        } else {
            uint8_t first = 0, second = 0, third = 0;
            for (size_t x = 0; x < rowBytes; x += 3) {
                row[x] = first = static_cast<uint8_t>(first + row[x]);
                row[x + 1] = second = static_cast<uint8_t>(second + row[x + 1]);
                row[x + 2] = third = static_cast<uint8_t>(third + row[x + 2]);
            }
        }
    }
}

void UndoHorizontalPredictorSwappingRedBlue(uint8_t* pixels, int width, int height, int stride) {
    if (width <= 0 || height <= 0) return;
    for (int y = 0; y < height; ++y) {
        uint8_t* pixel = pixels + static_cast<ptrdiff_t>(y) * stride;
        uint8_t first = 0, second = 0, third = 0;
        for (int x = 0; x < width; ++x, pixel += 3) {
            first = static_cast<uint8_t>(first + pixel[0]);
            second = static_cast<uint8_t>(second + pixel[1]);
            third = static_cast<uint8_t>(third + pixel[2]);
            pixel[0] = third;
            pixel[1] = second;
            pixel[2] = first;
        }
    }
}
