// Windows bitmap writer: 40-byte info header, 8 bits per pixel with a full
// 256-entry colour table for palette pictures, 24 bits otherwise.
#include <vector>

#include "core/DibLayout.h"
#include "core/Image.h"
#include "core/Platform.h"
#include "formats/Writers.h"

bool vte_BMP(platform::Handle file, Image* image, Progress*) {
    const bool hasPalette = DibHasColourTable(*image);
    // File rows are padded to 32 bits. Image rows carry no padding, so the
    // padding bytes are whatever follows the row in memory (the next row, or
    // the spare row for the last one); readers ignore padding.
    const uint32_t rowSize = static_cast<uint32_t>(DibRowBytes(*image));
    const uint32_t dataOffset = 14 + kDibHeaderBytes + (hasPalette ? kDibColourTableBytes : 0);

    // The 14-byte file header ("BM", file size, two reserved words, offset of
    // the rows), then the info header.
    uint8_t header[14 + kDibHeaderBytes] = {'B', 'M'};
    const uint32_t fileSize = static_cast<uint32_t>(image->height) * rowSize + dataOffset;
    for (int i = 0; i < 4; ++i) {
        header[2 + i] = static_cast<uint8_t>(fileSize >> (8 * i));
        header[10 + i] = static_cast<uint8_t>(dataOffset >> (8 * i));
    }
    WriteDibHeader(*image, image->height, header + 14);
    platform::WriteBytes(file, header, sizeof header);

    if (hasPalette) {
        uint8_t table[kDibColourTableBytes];
        WriteDibColourTable(*image, table);
        platform::WriteBytes(file, table, sizeof table);
    }

    // Write errors are not checked: a full disk leaves a truncated file.
    std::vector<uint8_t> row(rowSize);
    for (int r = image->height - 1; r >= 0; --r) {
        WriteDibRow(*image, r, row.data());
        platform::WriteBytes(file, row.data(), rowSize);
    }
    return true;
}
