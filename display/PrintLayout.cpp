#include "display/PrintLayout.h"

#include <cstdint>
#include <limits>

namespace {

// a x b / c, truncated, for non-negative a and b and positive c. The
// products of real page sizes and aspect values fit 64 bits easily; absurd
// device values fall back to long double rather than overflow.
int64_t ScaleTruncating(int64_t a, int64_t b, int64_t c) {
    if (b == 0 || a <= std::numeric_limits<int64_t>::max() / b) return a * b / c;
    return static_cast<int64_t>(static_cast<long double>(a) * b / c);
}

int ToInt(int64_t value) {
    if (value > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
    if (value < std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

}  // namespace

PrintLayout LayOutPrintedPage(int pageWidth, int pageHeight, int aspectX, int aspectY,
                              int captionWidth, int captionHeight, int imageWidth,
                              int imageHeight) {
    PrintLayout layout = {};
    layout.captionX = ToInt((static_cast<int64_t>(pageWidth) - captionWidth) / 2);
    layout.captionY = ToInt(static_cast<int64_t>(pageHeight) - captionHeight);

    // A device that reports no pixel aspect is taken as square, a page with
    // no room above the caption or a picture without pixels gets an empty
    // rectangle: nothing here divides by zero.
    const int64_t ax = aspectX > 0 ? aspectX : 1;
    const int64_t ay = aspectY > 0 ? aspectY : 1;
    const int64_t freeWidth = pageWidth > 0 ? pageWidth : 0;
    const int64_t freeHeight = static_cast<int64_t>(pageHeight) - captionHeight;
    const int64_t a = freeWidth * ax;
    const int64_t b = freeHeight > 0 ? freeHeight * ay : 0;
    if (imageWidth <= 0 || imageHeight <= 0 || a == 0 || b == 0) {
        layout.x = ToInt(a / (2 * ax));
        layout.y = ToInt(b / (2 * ay));
        return layout;
    }

    int64_t w;
    int64_t h;
    if (static_cast<double>(a) / static_cast<double>(b) >=
        static_cast<double>(imageWidth) / static_cast<double>(imageHeight)) {
        h = b;
        w = ScaleTruncating(b, imageWidth, imageHeight);
    } else {
        w = a;
        h = ScaleTruncating(a, imageHeight, imageWidth);
    }
    layout.x = ToInt((a - w) / (2 * ax));
    layout.y = ToInt((b - h) / (2 * ay));
    layout.width = ToInt(w / ax);
    layout.height = ToInt(h / ay);
    return layout;
}
