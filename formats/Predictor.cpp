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
            unsigned first = 0, second = 0, third = 0;
            for (size_t x = 0; x < rowBytes; x += 3) {
                row[x] = static_cast<uint8_t>(first += row[x]);
                row[x + 1] = static_cast<uint8_t>(second += row[x + 1]);
                row[x + 2] = static_cast<uint8_t>(third += row[x + 2]);
            }
        }
    }
}

void UndoHorizontalPredictorSwappingRedBlue(uint8_t* pixels, int width, int height, int stride) {
    if (width <= 0 || height <= 0) return;
    for (int y = 0; y < height; ++y) {
        uint8_t* pixel = pixels + static_cast<ptrdiff_t>(y) * stride;
        // Sums in whole registers, cut to bytes as they are stored: byte-sized
        // ones made the compiler pair them in halves of one register.
        unsigned first = 0, second = 0, third = 0;
        for (int x = 0; x < width; ++x, pixel += 3) {
            first += pixel[0];
            second += pixel[1];
            third += pixel[2];
            pixel[0] = static_cast<uint8_t>(third);
            pixel[1] = static_cast<uint8_t>(second);
            pixel[2] = static_cast<uint8_t>(first);
        }
    }
}
