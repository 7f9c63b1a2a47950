#include "core/Image.h"

#include <cstdlib>
#include <cstring>

#include "core/Platform.h"

namespace {
void* HeapPalette(size_t bytes) { return std::malloc(bytes); }
PaletteAllocator g_paletteAllocator = HeapPalette;
}  // namespace

PaletteAllocator SetPaletteAllocator(PaletteAllocator allocator) {
    const PaletteAllocator previous = g_paletteAllocator;
    g_paletteAllocator = allocator ? allocator : HeapPalette;
    return previous;
}

Image::Image(int w, int h, int rowStride, int rows, const uint8_t* sourcePalette, int bitsPerPixel)
    : fileName(nullptr),
      palette(nullptr),
      width(w),
      height(h),
      depth(0),
      stride(rowStride),
      pixels(nullptr),
      className("Image"),
      pixelBytes(0) {
    if (sourcePalette) {
        palette = static_cast<uint8_t*>(g_paletteAllocator(kPaletteBlockBytes));
        if (palette) {
            std::memcpy(palette, sourcePalette, kPaletteBytes);
            std::memset(palette + kPaletteBytes, 0, kPaletteBlockBytes - kPaletteBytes);
        }
    }
    depth = bitsPerPixel != 0 ? bitsPerPixel : (sourcePalette ? 8 : 24);
    label[0] = '\0';
    std::strcpy(path, "<none>");
    fileName = path;

    // (rows + 1) * stride in 64 bits: negative or unaddressable sizes take
    // the same road as an allocation the system refuses.
    const int64_t bytes = (static_cast<int64_t>(rows) + 1) * static_cast<int64_t>(rowStride);
    if (bytes < 0 || static_cast<uint64_t>(bytes) > static_cast<uint64_t>(SIZE_MAX / 2))
        platform::FatalExit("EXIT: Out of memory");
    pixelBytes = static_cast<size_t>(bytes);
    pixels = static_cast<uint8_t*>(platform::AllocFixed(pixelBytes));
    if (!pixels) platform::FatalExit("EXIT: Out of memory");
}

Image::~Image() {
    platform::FreeFixed(pixels);
    std::free(palette);
}

bool Image::Draw(void* deviceContext, int, int, int x, int y, int w, int h) {
    return platform::FillWhite(deviceContext, x, y, w, h);
}

size_t Image::BytesFromRow(int row) const {
    if (row < 0 || stride < 0) return 0;
    const uint64_t start = static_cast<uint64_t>(row) * static_cast<uint64_t>(stride);
    return start >= pixelBytes ? 0 : static_cast<size_t>(pixelBytes - start);
}

const char* FileNamePart(const char* path) {
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '\\' || *p == '/' || *p == ':') name = p + 1;
    return name;
}

char* FileNamePart(char* path) {
    return const_cast<char*>(FileNamePart(static_cast<const char*>(path)));
}
