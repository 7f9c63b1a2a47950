// Windows bitmap writer: 40-byte info header, 8 bits per pixel with a full
// 256-entry colour table for palette pictures, 24 bits otherwise.
#include <cstring>
#include <vector>

#include "core/Image.h"
#include "core/Platform.h"
#include "formats/Writers.h"

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

bool vte_BMP(platform::Handle file, Image* image, Progress*) {
    const bool hasPalette = image->palette != nullptr;
    const int bytesPerPixel = hasPalette ? 1 : 3;
    // File rows are padded to 32 bits. Image rows carry no padding, so the
    // padding bytes are whatever follows the row in memory (the next row, or
    // the spare row for the last one); readers ignore padding.
    const uint32_t width = image->width > 0 ? static_cast<uint32_t>(image->width) : 0;
    const uint32_t rowSize = (bytesPerPixel * width + 3) & ~3u;
    const uint32_t dataOffset = hasPalette ? 14 + 40 + 1024 : 14 + 40;

    uint8_t header[54] = {'B', 'M'};
    PutLE32(header + 2, static_cast<uint32_t>(image->height) * rowSize + dataOffset);
    PutLE32(header + 10, dataOffset);
    PutLE32(header + 14, 40);
    PutLE32(header + 18, static_cast<uint32_t>(image->width));
    PutLE32(header + 22, static_cast<uint32_t>(image->height));
    PutLE16(header + 26, 1);
    PutLE16(header + 28, hasPalette ? 8 : 24);
    // Compression, image size, resolutions and colour counts stay 0.
    platform::WriteBytes(file, header, sizeof header);

    if (hasPalette) {
        uint8_t table[1024];
        for (int i = 0; i < 256; ++i) {
            table[4 * i] = image->palette[3 * i + 2];
            table[4 * i + 1] = image->palette[3 * i + 1];
            table[4 * i + 2] = image->palette[3 * i];
            table[4 * i + 3] = 0;
        }
        platform::WriteBytes(file, table, sizeof table);
    }

    // Write errors are not checked: a full disk leaves a truncated file.
    std::vector<uint8_t> row(rowSize);
    for (int r = image->height - 1; r >= 0; --r) {
        const size_t available = image->BytesFromRow(r);
        const size_t take = available < rowSize ? available : rowSize;
        std::memcpy(row.data(), image->Row(r), take);
        std::memset(row.data() + take, 0, rowSize - take);
        platform::WriteBytes(file, row.data(), rowSize);
    }
    return true;
}
