#include "core/DibLayout.h"

#include <cstring>

namespace {

void PutLE16(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

void PutLE32(uint8_t* at, uint32_t value) {
    PutLE16(at, value & 0xFFFF);
    PutLE16(at + 2, value >> 16);
}

}  // namespace

uint64_t DibRowBytes(const Image& image) {
    const uint64_t width = image.width > 0 ? static_cast<uint64_t>(image.width) : 0;
    const uint64_t bytesPerPixel = DibHasColourTable(image) ? 1 : 3;
    return (width * bytesPerPixel + 3) & ~uint64_t{3};
}

void WriteDibHeader(const Image& image, int32_t height, uint8_t* header) {
    std::memset(header, 0, kDibHeaderBytes);
    PutLE32(header, kDibHeaderBytes);
    PutLE32(header + 4, static_cast<uint32_t>(image.width));
    PutLE32(header + 8, static_cast<uint32_t>(height));
    PutLE16(header + 12, 1);
    PutLE16(header + 14, DibHasColourTable(image) ? 8 : 24);
    // Compression (uncompressed RGB), image size, resolutions and colour
    // counts stay 0: readers take the size from the geometry and use the
    // whole table.
}

void WriteDibColourTable(const Image& image, uint8_t* table) {
    for (int i = 0; i < kPaletteEntries; ++i) {
        table[4 * i] = image.palette[3 * i + 2];
        table[4 * i + 1] = image.palette[3 * i + 1];
        table[4 * i + 2] = image.palette[3 * i];
        table[4 * i + 3] = 0;
    }
}

void WriteDibRow(const Image& image, int row, uint8_t* out) {
    const uint64_t rowBytes = DibRowBytes(image);
    // Image rows carry no padding of their own: the DIB's padding bytes are
    // those that follow the row in the pixel block (the next row, or the
    // spare row after the last one), never beyond the block.
    const uint64_t available = image.BytesFromRow(row);
    const uint64_t take = available < rowBytes ? available : rowBytes;
    if (take) std::memcpy(out, image.Row(row), static_cast<size_t>(take));
    std::memset(out + take, 0, static_cast<size_t>(rowBytes - take));
}

void WriteDibRows(const Image& image, bool bottomUp, uint8_t* rows) {
    const uint64_t rowBytes = DibRowBytes(image);
    const int height = image.height > 0 ? image.height : 0;
    uint8_t* out = rows;
    for (int i = 0; i < height; ++i, out += rowBytes)
        WriteDibRow(image, bottomUp ? height - 1 - i : i, out);
}
