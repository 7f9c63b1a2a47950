// YCbCr to blue, green, red, in place. The tables are centred at 127.5 rather
// than 128: that is this program's choice and is kept, so (128, 128, 128)
// converts to red 129, green 127, blue 129.
#pragma once
#include <cstdint>

// Every 3-byte pixel (Y, Cb, Cr) of `height` rows of `width` pixels becomes
// (blue, green, red).
void jpegConvertYCbCr(uint8_t* pixels, int stride, int width, int height);

// One row from separate planes: pixel x of `out` becomes the blue, green
// and red of (y[x], cb[x], cr[x]), exactly as jpegConvertYCbCr converts it.
void jpegConvertYCbCrPlanes(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int count,
                            uint8_t* out);
