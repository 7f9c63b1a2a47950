// The device-independent bitmap layout shared by the bitmap writer, the
// clipboard block and the printer: a 40-byte info header, for palette
// pictures a colour table of all 256 entries, then rows padded to a
// multiple of 4 bytes.
#pragma once
#include <cstdint>

#include "core/Image.h"

constexpr int kDibHeaderBytes = 40;
constexpr int kDibColourTableBytes = 1024;  // 256 entries of blue, green, red, 0

// Palette pictures go out as 8 bits per pixel with the colour table,
// everything else as 24 bits without.
inline bool DibHasColourTable(const Image& image) { return image.palette != nullptr; }
// width x (1 with a palette, 3 without), rounded up to a multiple of 4.
uint64_t DibRowBytes(const Image& image);

// The info header: size 40, width, the given height (positive for
// bottom-up rows, negative for top-down), 1 plane, 8 or 24 bits, no
// compression; image size, resolutions and colour counts 0.
void WriteDibHeader(const Image& image, int32_t height, uint8_t* header);
// The 256 palette entries as blue, green, red, 0.
void WriteDibColourTable(const Image& image, uint8_t* table);
// One row of DibRowBytes: the row-length bytes found at the row's start in
// the pixel block (so the padding repeats what follows the row there), cut
// off where the block ends and filled up with zeros.
void WriteDibRow(const Image& image, int row, uint8_t* out);
// height rows of DibRowBytes each, the picture's last row first when
// bottomUp.
void WriteDibRows(const Image& image, bool bottomUp, uint8_t* rows);
