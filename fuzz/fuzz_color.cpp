// The colour routines on pictures of any small geometry, with pixel blocks
// cut to exactly their rows (no spare row) so a read past the last row is
// caught: expansion, 15-bit dithering, quantisation and both resamplers.
//
// Input: source width, source height, destination width, destination
// height (each byte % 40 + 1), a flag byte (bit 0: palette source, bit 1:
// dither, bit 2: fixed palette), the wanted colours, then palette and pixels.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "color/ColourConvert.h"
#include "color/ResampleBicubic.h"
#include "core/Image.h"
#include "core/Platform.h"

namespace {
void Silent(const char*, const char*) {}

// A picture whose pixel block ends with its last row.
Image* Tight(int width, int height, int bytesPerPixel, const uint8_t* palette) {
    return new Image(width, height, bytesPerPixel * width, height - 1, palette, palette ? 8 : 24);
}

void Fill(Image* image, const uint8_t*& data, size_t& size) {
    const size_t bytes = static_cast<size_t>(image->height) * image->stride;
    for (size_t i = 0; i < bytes; ++i) image->pixels[i] = size ? (--size, *data++) : uint8_t(i);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    platform::SetMessageBoxHook(Silent);
    if (size < 6) return 0;
    const int sourceWidth = data[0] % 40 + 1, sourceHeight = data[1] % 40 + 1;
    const int width = data[2] % 40 + 1, height = data[3] % 40 + 1;
    const bool paletteSource = data[4] & 1, dither = data[4] & 2, fixed = data[4] & 4;
    const int wanted = data[5] + 1;
    data += 6;
    size -= 6;
    uint8_t palette[kPaletteBytes] = {};
    for (int i = 0; i < kPaletteBytes && size; ++i, --size) palette[i] = *data++;

    Image* source =
        Tight(sourceWidth, sourceHeight, paletteSource ? 1 : 3, paletteSource ? palette : nullptr);
    Fill(source, data, size);

    Image* resampled = Tight(width, height, 3, nullptr);
    ResampleBicubic(resampled, source, nullptr);
    ResampleNearest(resampled, source, nullptr);
    Image* nearest = Tight(width, height, paletteSource ? 1 : 3, paletteSource ? palette : nullptr);
    ResampleNearest(nearest, source, nullptr);

    Image* quantised = Tight(sourceWidth, sourceHeight, 1, palette);
    clr_Xto8bit(quantised, source, wanted, dither, fixed, nullptr);

    Image* colour = Tight(sourceWidth, sourceHeight, 3, nullptr);
    if (paletteSource)
        clr_8to24bit(colour, source, nullptr);
    else
        std::memcpy(colour->pixels, source->pixels, colour->PixelBytes());
    clr_Dither24to15bit(colour, colour, nullptr);

    delete colour;
    delete quantised;
    delete nearest;
    delete resampled;
    delete source;
    return 0;
}
