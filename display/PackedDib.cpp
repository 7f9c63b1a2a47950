#include "display/PackedDib.h"

uint64_t PackedDibBytes(const Image& image) {
    const uint64_t table = DibHasColourTable(image) ? kDibColourTableBytes : 0;
    const uint64_t rows = image.height > 0 ? static_cast<uint64_t>(image.height) : 0;
    return kDibHeaderBytes + table + rows * DibRowBytes(image);
}

void WritePackedDib(const Image& image, uint8_t* block) {
    WriteDibHeader(image, image.height, block);
    uint8_t* next = block + kDibHeaderBytes;
    if (DibHasColourTable(image)) {
        WriteDibColourTable(image, next);
        next += kDibColourTableBytes;
    }
    WriteDibRows(image, true, next);
}
