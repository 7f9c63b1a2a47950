// Floyd-Steinberg dithering of a 24-bit picture down to 5 bits per channel.
//
// Every channel keeps its top five bits (value & 0xF8); the three bits cut
// off are the error, which is never negative, and go 7/16 to the next pixel
// in the direction of travel, 3/16 below and behind, 5/16 below and 1/16
// below and ahead. Rows are scanned serpentine so the errors do not drift to
// one side. The result is still a 24-bit picture whose channels are
// multiples of 8: the conversion to the screen's format only drops bits.
#include <vector>

#include "color/ColourConvert.h"
#include "color/ErrorLimit.h"
#include "color/RangeLimit.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"

bool clr_Dither24to15bit(Image* destination, Image* source, Progress* progress) {
    if (source->width != destination->width || source->height != destination->height)
        return SetError("clr_Dither24to15bit", "Src Dst image size missmatch");
    if (destination->palette) return SetError("clr_Dither24to15bit", "Dst not 24bit");
    if (source->palette) return SetError("clr_Dither24to15bit", "Src not 24bit");
    // A record whose rows do not hold 3 bytes per pixel cannot be walked safely.
    if (!RowsFitPixelBlock(source, 3) || !RowsFitPixelBlock(destination, 3))
        return SetError("clr_Dither24to15bit", "Src Dst image size missmatch");

    ReportStatus(progress, "Dithering", 0, 100);
    const int width = source->width;
    const int height = source->height;

    // One triple of error sums (scaled by 16) per pixel of the row plus one
    // before and one after it, which take the shares that fall off the edges.
    std::vector<int32_t> errors(3 * (static_cast<size_t>(width) + 2), 0);

    for (int row = 0; row < height; ++row) {
        const bool leftToRight = (row & 1) == 0;
        const int direction = leftToRight ? 1 : -1;
        const int direction3 = 3 * direction;
        const uint8_t* in = source->Row(row);
        uint8_t* out = destination->Row(row);
        // errorAt points at the triple just behind the current pixel; the
        // current pixel's sums are at errorAt[direction3].
        int32_t* errorAt = errors.data();
        if (!leftToRight) {
            in += 3 * (width - 1);
            out += 3 * (width - 1);
            errorAt += 3 * (width + 1);
        }
        int32_t carried[3] = {0, 0, 0};      // 7 x the error of the pixel behind
        int32_t below[3] = {0, 0, 0};        // 1 x the error of the pixel behind
        int32_t belowBehind[3] = {0, 0, 0};  // pending sum for the slot behind
        for (int count = width; count > 0; --count) {
            for (int c = 0; c < 3; ++c) {
                int32_t e = (carried[c] + errorAt[direction3 + c] + 8) >> 4;
                e = LimitError(e);
                const int32_t value = kRangeLimit[in[c] + e];
                out[c] = static_cast<uint8_t>(value & 0xF8);
                int32_t q = value & 7;
                // Running multiples: 3q joins the slot behind, 5q the one
                // below, 1q waits for the slot ahead, 7q goes to the next pixel.
                const int32_t once = q;
                const int32_t twice = 2 * q;
                q += twice;  // 3q
                errorAt[c] = belowBehind[c] + q;
                q += twice;  // 5q
                belowBehind[c] = below[c] + q;
                below[c] = once;
                q += twice;  // 7q
                carried[c] = q;
            }
            in += direction3;
            out += direction3;
            errorAt += direction3;
        }
        // The last pending sums belong to the slot under the last pixel.
        for (int c = 0; c < 3; ++c) errorAt[c] = belowBehind[c];
        if (progress && ((row + 1) & 63) == 63) progress->SetProgress(row + 1, height);
    }
    ReportProgress(progress, 100, 100);
    return true;
}
