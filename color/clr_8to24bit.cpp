// Palette expansion: every index byte becomes the blue, green, red bytes of
// its palette entry (palettes hold red, green, blue).
#include "color/ColourConvert.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"

bool RowsFitPixelBlock(const Image* image, int bytesPerPixel) {
    if (image->width < 0 || image->height < 0 || image->stride < 0) return false;
    const int64_t rowBytes = static_cast<int64_t>(image->width) * bytesPerPixel;
    if (image->height == 0 || image->width == 0) return true;
    if (image->stride < rowBytes || !image->pixels) return false;
    const int64_t needed = static_cast<int64_t>(image->height - 1) * image->stride + rowBytes;
    return needed <= static_cast<int64_t>(image->PixelBytes());
}

bool clr_8to24bit(Image* destination, Image* source, Progress* progress) {
    if (!source->palette) return SetError("clr_8to24bit()", "Source not 8bit");
    if (source->width != destination->width || source->height != destination->height)
        return SetError("clr_8to24bit()", "Src-Dst image size missmatch");
    // A record whose rows do not hold the pixels cannot be converted safely.
    if (!RowsFitPixelBlock(source, 1) || !RowsFitPixelBlock(destination, 3))
        return SetError("clr_8to24bit()", "Src-Dst image size missmatch");

    ReportStatus(progress, "Converting to 24bit", 0, 100);
    const uint8_t* palette = source->palette;
    for (int row = 0; row < source->height; ++row) {
        const uint8_t* in = source->Row(row);
        uint8_t* out = destination->Row(row);
        for (int x = 0; x < source->width; ++x, out += 3) {
            const uint8_t* entry = palette + 3 * in[x];
            out[0] = entry[2];
            out[1] = entry[1];
            out[2] = entry[0];
        }
    }
    ReportProgress(progress, 100, 100);
    return true;
}
