#include "jpeg/YCbCr.h"

#include <cstddef>

#include "color/RangeLimit.h"
#include "jpeg/YCbCrSse2.h"

namespace {
struct YCbCrTables {
    int32_t redFromCr[256];
    int32_t blueFromCb[256];
    int32_t greenFromCr[256];  // scaled by 2^14
    int32_t greenFromCb[256];  // scaled by 2^14, with the rounding half folded in
    YCbCrTables() {
        for (int i = 0; i < 256; ++i) {
            const double c = i - 127.5;
            // Casting to an integer truncates toward zero, as wanted.
            redFromCr[i] = static_cast<int32_t>(1.402 * c + 0.5);
            blueFromCb[i] = static_cast<int32_t>(1.772 * c + 0.5);
            greenFromCr[i] = static_cast<int32_t>(-0.71414 * 16384 * c);
            greenFromCb[i] = static_cast<int32_t>(-0.34414 * 16384 * c) + 8192;
        }
    }
};
const YCbCrTables& Tables() {
    static const YCbCrTables tables;
    return tables;
}
}  // namespace

void jpegConvertYCbCr(uint8_t* pixels, int stride, int width, int height) {
    const YCbCrTables& t = Tables();
    for (int row = 0; row < height; ++row) {
        uint8_t* p = pixels + static_cast<ptrdiff_t>(row) * stride;
        for (int x = 0; x < width; ++x, p += 3) {
            const int y = p[0], cb = p[1], cr = p[2];
            p[2] = kRangeLimit[y + t.redFromCr[cr]];
            p[1] = kRangeLimit[y + ((t.greenFromCb[cb] + t.greenFromCr[cr]) >> 14)];
            p[0] = kRangeLimit[y + t.blueFromCb[cb]];
        }
    }
}

void jpegConvertYCbCrPlanes(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int count,
                            uint8_t* out) {
    int x = 0;
#ifdef VANTIREL_SSE2
    x = jpeg::ConvertYCbCrPlanesSse2(y, cb, cr, count, out);
    out += 3 * x;
#endif
    const YCbCrTables& t = Tables();
    for (; x < count; ++x, out += 3) {
        const int luma = y[x], blue = cb[x], red = cr[x];
        out[2] = kRangeLimit[luma + t.redFromCr[red]];
        out[1] = kRangeLimit[luma + ((t.greenFromCb[blue] + t.greenFromCr[red]) >> 14)];
        out[0] = kRangeLimit[luma + t.blueFromCb[blue]];
    }
}
