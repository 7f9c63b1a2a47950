#include "core/RowUtils.h"

#include <algorithm>
#include <cstring>

void CopyRows(uint8_t* destination, int destinationStride, const uint8_t* source, int sourceStride,
              int rows) {
    const size_t bytes = static_cast<size_t>(std::min(destinationStride, sourceStride));
    if (rows <= 0 || destinationStride <= 0 || sourceStride <= 0) return;
    const bool backwards = destination == source && destinationStride != sourceStride;
    for (int i = 0; i < rows; ++i) {
        const int row = backwards ? rows - 1 - i : i;
        std::memmove(destination + static_cast<ptrdiff_t>(row) * destinationStride,
                     source + static_cast<ptrdiff_t>(row) * sourceStride, bytes);
    }
}

void SwapRedBlue(uint8_t* firstRow, int width, int stride, int rows) {
    for (int row = 0; row < rows; ++row) {
        uint8_t* pixel = firstRow + static_cast<ptrdiff_t>(row) * stride;
        for (int x = 0; x < width; ++x, pixel += 3) std::swap(pixel[0], pixel[2]);
    }
}

void PlanesToPixels(uint8_t* destination, const uint8_t* firstPlane, int width,
                    ptrdiff_t planeDistance) {
    const uint8_t* first = firstPlane;
    const uint8_t* second = firstPlane + planeDistance;
    const uint8_t* third = firstPlane + 2 * planeDistance;
    for (int x = 0; x < width; ++x) {
        *destination++ = third[x];
        *destination++ = second[x];
        *destination++ = first[x];
    }
}

void BitPlanesToIndices(uint8_t* destination, const uint8_t* firstPlane, int width, int planes,
                        ptrdiff_t planeDistance) {
    if (width <= 0) return;
    const size_t padded = (static_cast<size_t>(width) + 7) & ~static_cast<size_t>(7);
    std::memset(destination, 0, padded);
    const size_t planeBytes = padded / 8;
    for (int plane = 0; plane < planes; ++plane) {
        const uint8_t* source = firstPlane + plane * planeDistance;
        const uint8_t bit = static_cast<uint8_t>(1u << plane);
        uint8_t* out = destination;
        for (size_t i = 0; i < planeBytes; ++i) {
            const unsigned byte = source[i];
            for (int b = 7; b >= 0; --b, ++out)
                if (byte & (1u << b)) *out |= bit;
        }
    }
}

void Unpack1Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes) {
    for (size_t i = 0; i < sourceBytes; ++i) {
        const unsigned byte = source[i];
        for (int b = 7; b >= 0; --b) *destination++ = static_cast<uint8_t>((byte >> b) & 1u);
    }
}

void Unpack2Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes) {
    for (size_t i = 0; i < sourceBytes; ++i) {
        const unsigned byte = source[i];
        *destination++ = static_cast<uint8_t>(byte >> 6);
        *destination++ = static_cast<uint8_t>((byte >> 4) & 3u);
        *destination++ = static_cast<uint8_t>((byte >> 2) & 3u);
        *destination++ = static_cast<uint8_t>(byte & 3u);
    }
}

void Unpack4Bit(uint8_t* destination, const uint8_t* source, size_t sourceBytes) {
    for (size_t i = 0; i < sourceBytes; ++i) {
        const unsigned byte = source[i];
        *destination++ = static_cast<uint8_t>(byte >> 4);
        *destination++ = static_cast<uint8_t>(byte & 15u);
    }
}
