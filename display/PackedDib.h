// The packed device-independent bitmap the clipboard carries (CF_DIB): the
// info header, for palette pictures the 256-entry colour table, then the
// rows bottom-up (core/DibLayout.h). Portable so the bytes are tested
// natively.
#pragma once
#include <cstdint>

#include "core/DibLayout.h"

// 40, plus 1024 with a palette, plus height x row length.
uint64_t PackedDibBytes(const Image& image);
// Header (bottom-up), colour table when there is a palette, rows: the whole
// clipboard block of PackedDibBytes(image) bytes.
void WritePackedDib(const Image& image, uint8_t* block);
