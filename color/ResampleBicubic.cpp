// Scaling with a separable cubic convolution filter, a = -1.
//
// Each source row is filtered horizontally once into one of four row
// buffers; the buffers rotate as the vertical position moves down, and each
// destination row is the vertical filter over the four buffers. Positions
// are 16.16 fixed point; the 8 bits below the integer part choose the
// weights from a table, so all arithmetic is integer.
//
// The tap origins differ between the axes: horizontally the four taps are
// s[i] .. s[i+3] for position i, so destination pixel 0 sits on source
// pixel 1 and the step spans width - 3 pixels; vertically they are rows
// n-1 .. n+2 starting half a row down, and the step spans height - 2 rows.
#include "color/ResampleBicubic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "color/ColourConvert.h"
#include "color/RangeLimit.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"

namespace {
// w(t) for a = -1: |t|^3 - 2|t|^2 + 1 inside 1, -|t|^3 + 5|t|^2 - 8|t| + 4
// between 1 and 2.
double Kernel(double t) {
    const double a = -1.0;
    t = std::fabs(t);
    if (t <= 1.0) return (a + 2) * t * t * t - (a + 3) * t * t + 1;
    if (t < 2.0) return a * t * t * t - 5 * a * t * t + 8 * a * t - 4 * a;
    return 0.0;
}

// Weights scaled by 65536 for the taps at distances 1+f, f, 1-f and 2-f,
// f in units of 1/256.
struct Weights {
    std::array<int32_t, 256> tap[4];
    Weights() {
        for (int f = 0; f < 256; ++f) {
            const double t = f / 256.0;
            tap[0][f] = static_cast<int32_t>(std::lround(Kernel(1 + t) * 65536));
            tap[1][f] = static_cast<int32_t>(std::lround(Kernel(t) * 65536));
            tap[2][f] = static_cast<int32_t>(std::lround(Kernel(1 - t) * 65536));
            tap[3][f] = static_cast<int32_t>(std::lround(Kernel(2 - t) * 65536));
        }
    }
};

const Weights& KernelWeights() {
    static const Weights weights;
    return weights;
}

// Filters one source row of sourceWidth pixels into width + 1 pixels of
// `out` (the last a copy of the one before). Taps reach s[i + 3]; when the
// source is narrower than 4 pixels they would run past its row, so such a
// row is first copied with its last pixel repeated.
void HorizontalPass(const uint8_t* source, int sourceWidth, uint8_t* out, int width, int64_t step,
                    std::vector<uint8_t>* padded) {
    const Weights& w = KernelWeights();
    if (sourceWidth < 4) {
        for (int k = 0; k < 4; ++k)
            for (int c = 0; c < 3; ++c)
                (*padded)[3 * k + c] = source[3 * std::min(k, sourceWidth - 1) + c];
        source = padded->data();
    }
    int64_t x = 0;
    for (int j = 0; j < width; ++j, out += 3) {
        const int64_t i = x >> 16;
        const int f = static_cast<int>((x >> 8) & 255);
        x += step;
        const uint8_t* s = source + 3 * i;
        const int32_t w0 = w.tap[0][f], w1 = w.tap[1][f], w2 = w.tap[2][f], w3 = w.tap[3][f];
        for (int c = 0; c < 3; ++c)
            out[c] = kRangeLimit[(s[c] * w0 + s[3 + c] * w1 + s[6 + c] * w2 + s[9 + c] * w3) >> 16];
    }
    out[0] = out[-3];
    out[1] = out[-2];
    out[2] = out[-1];
}

}  // namespace

int32_t BicubicWeight(int tap, int fraction) {
    return KernelWeights().tap[tap & 3][fraction & 255];
}

namespace {
void Resample24(Image* destination, const Image* source, Progress* progress) {
    const int width = destination->width;
    const int height = destination->height;
    const int sourceWidth = source->width;
    const int sourceHeight = source->height;
    // 64-bit so that sources wider than 32767 pixels do not overflow.
    const int64_t xStep =
        sourceWidth > 3 ? (static_cast<int64_t>(sourceWidth - 3) << 16) / width : 0;
    const int64_t yStep =
        sourceHeight > 2 ? (static_cast<int64_t>(sourceHeight - 2) << 16) / height : 0;

    const size_t bufferBytes = 3 * (static_cast<size_t>(width) + 1);
    std::vector<uint8_t> storage(4 * bufferBytes);
    std::vector<uint8_t> padded(12);
    uint8_t* buffers[4];
    for (int k = 0; k < 4; ++k) buffers[k] = storage.data() + k * bufferBytes;

    // Rows above the top and below the bottom repeat the edge rows; the
    // filter reaches one row past the bottom when enlarging.
    auto filterRow = [&](int64_t row, uint8_t* out) {
        const int clamped = static_cast<int>(std::clamp<int64_t>(row, 0, sourceHeight - 1));
        HorizontalPass(source->Row(clamped), sourceWidth, out, width, xStep, &padded);
    };
    // Buffers k = 0..3 hold source rows top - 1 + k.
    int64_t top = 0;
    for (int k = 0; k < 4; ++k) filterRow(top - 1 + k, buffers[k]);

    const Weights& w = KernelWeights();
    int64_t y = 0x8000;
    int row = 0;
    for (int remaining = height; remaining > 0; --remaining, ++row) {
        if (progress && remaining % 32 == 0) progress->SetProgress(height - remaining, height);
        const int64_t n = y >> 16;
        const int f = static_cast<int>((y >> 8) & 255);
        y += yStep;
        if (n != top) {
            const int64_t moved = n - top;
            if (moved >= 1 && moved <= 3) {
                // Keep the rows still inside the span, filter the new ones.
                std::rotate(buffers, buffers + moved, buffers + 4);
                for (int k = static_cast<int>(4 - moved); k < 4; ++k)
                    filterRow(n - 1 + k, buffers[k]);
            } else {
                for (int k = 0; k < 4; ++k) filterRow(n - 1 + k, buffers[k]);
            }
            top = n;
        }
        const int32_t w0 = w.tap[0][f], w1 = w.tap[1][f], w2 = w.tap[2][f], w3 = w.tap[3][f];
        const uint8_t* r0 = buffers[0];
        const uint8_t* r1 = buffers[1];
        const uint8_t* r2 = buffers[2];
        const uint8_t* r3 = buffers[3];
        uint8_t* out = destination->Row(row);
        for (int b = 0; b < 3 * width; ++b)
            out[b] = kRangeLimit[(r0[b] * w0 + r1[b] * w1 + r2[b] * w2 + r3[b] * w3) >> 16];
    }
}
}  // namespace

bool ResampleBicubic(Image* destination, Image* source, Progress* progress) {
    if (destination->palette) return SetError("ResampleBicubic()", "Dst not 24bit");
    if (destination->width < 1 || destination->height < 1) return true;
    // Nothing to sample from: the destination is left as it is.
    if (source->width < 1 || source->height < 1) return true;
    if (!RowsFitPixelBlock(destination, 3)) return SetError("ResampleBicubic()", "Dst not 24bit");

    std::unique_ptr<Image> converted;
    Image* from = source;
    if (source->palette) {
        converted = std::make_unique<Image>(source->width, source->height, 3 * source->width,
                                            source->height, nullptr, 24);
        if (!clr_8to24bit(converted.get(), source, progress)) return false;
        from = converted.get();
    } else if (!RowsFitPixelBlock(source, 3)) {
        return SetError("ResampleBicubic()", "Src not 24bit");
    }
    ReportStatus(progress, "Resampling image", 0, 100);
    Resample24(destination, from, progress);
    return true;
}

bool ResampleNearest(Image* destination, Image* source, Progress* progress) {
    ReportStatus(progress, "Resampling image", 0, 100);
    const bool colour = !source->palette;
    // Only pairs of equal depth, and records whose rows hold their pixels.
    if (colour != !destination->palette) return true;
    const int bytes = colour ? 3 : 1;
    if (destination->width < 1 || destination->height < 1 || source->width < 1 ||
        source->height < 1)
        return true;
    if (!RowsFitPixelBlock(destination, bytes) || !RowsFitPixelBlock(source, bytes)) return true;

    const int64_t xStep = (static_cast<int64_t>(source->width) << 16) / destination->width;
    const int64_t yStep = (static_cast<int64_t>(source->height) << 16) / destination->height;
    const int64_t lastByte = static_cast<int64_t>(source->PixelBytes()) - bytes;
    int64_t y = yStep / 2;
    for (int row = 0; row < destination->height; ++row, y += yStep) {
        const int64_t rowStart = (y >> 16) * source->stride;
        uint8_t* out = destination->Row(row);
        int64_t x = xStep / 2;
        if (colour) {
            for (int j = 0; j < destination->width; ++j, x += xStep, out += 3) {
                // The column is a signed 16-bit number: sources wider than
                // 32767 pixels wrap, but never outside the pixel block.
                const int16_t column = static_cast<int16_t>(x >> 16);
                const int64_t at = std::clamp<int64_t>(rowStart + 3 * column, 0, lastByte);
                const uint8_t* s = source->pixels + at;
                out[0] = s[0];
                out[1] = s[1];
                out[2] = s[2];
            }
        } else {
            const uint8_t* s = source->pixels + rowStart;
            for (int j = 0; j < destination->width; ++j, x += xStep) out[j] = s[x >> 16];
        }
    }
    return true;
}
