// The in-memory raster every reader fills and every converter, display and
// writer consumes.
//
// Rows are top-down, row r at r * stride. Palette pictures (depth 1..8) hold
// one byte per pixel whatever the depth; colour pictures are depth 24 with
// blue, green, red bytes. The pixel block holds one spare row beyond the last
// ((rows + 1) * stride bytes): row writers copy or unpack whole padded source
// rows and may run past a row's end, and the spare row takes the overrun of
// the last one.
#pragma once
#include <cstddef>
#include <cstdint>

constexpr int kPaletteEntries = 256;
constexpr int kPaletteBytes = 768;       // 256 red, green, blue triples
constexpr int kPaletteBlockBytes = 772;  // what a palette block is allocated with

class Image {
public:
    // depth 0 chooses: 8 with a palette, 24 without. A palette is copied;
    // if its block cannot be allocated the picture goes on without one.
    // Pixel memory that cannot be allocated (or whose size does not fit the
    // address space, or is negative) ends the process: "EXIT: Out of memory".
    Image(int width, int height, int stride, int rows, const uint8_t* palette, int depth);
    virtual ~Image();

    // Display classes build their device-side representation here.
    virtual void Prepare() {}
    // Paints the picture into x, y, width, height of a device context. The
    // plain record has no device form and fills the rectangle white.
    virtual bool Draw(void* deviceContext, int unused1, int unused2, int x, int y, int width,
                      int height);
    // Display classes realise their palette into this device context.
    virtual void Hook(void* deviceContext) { (void)deviceContext; }

    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    uint8_t* Row(int row) { return pixels + static_cast<ptrdiff_t>(row) * stride; }
    const uint8_t* Row(int row) const { return pixels + static_cast<ptrdiff_t>(row) * stride; }
    // Bytes in the pixel block, spare row included. Writers that unpack whole
    // source rows clamp against this so no file can write past the block.
    size_t PixelBytes() const { return pixelBytes; }
    // Bytes that may be written starting at the beginning of `row` (0 when
    // the row lies outside the block).
    size_t BytesFromRow(int row) const;

    char label[81];
    char path[519];
    char* fileName;
    uint8_t* palette;  // 256 red, green, blue triples, or null
    int32_t width;
    int32_t height;
    int32_t depth;
    int32_t stride;
    uint8_t* pixels;
    const char* className;

protected:
    size_t pixelBytes;
};

// Where palette blocks come from: the ordinary heap (std::malloc; the record
// frees its block with std::free). Tests put in an allocator that fails, to
// see a record carry on without a palette. Returns the previous allocator.
using PaletteAllocator = void* (*)(size_t bytes);
PaletteAllocator SetPaletteAllocator(PaletteAllocator allocator);

// Points at the file-name part of a path: after the last backslash, slash or
// colon. (Forward slashes count too so POSIX paths behave.)
const char* FileNamePart(const char* path);
char* FileNamePart(char* path);
