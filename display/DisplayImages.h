// Pictures a window can paint. DDBImage holds a device-dependent bitmap made
// once from a finished Image; DIBSImage is an Image whose pixel block is the
// bits of a DIB section, so converters write straight into what is painted.
// Both realise a logical palette made from the picture's palette.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "core/Image.h"

class DDBImage : public Image {
public:
    // Copies geometry, palette, label and path; the bitmap is made from the
    // source's pixels. The caller keeps (and later destroys) the source.
    explicit DDBImage(const Image& source);
    ~DDBImage() override;

    bool Draw(void* deviceContext, int sourceX, int sourceY, int x, int y, int width,
              int height) override;
    void Hook(void* deviceContext) override;  // realise the palette

    HBITMAP Bitmap() const { return bitmap_; }
    HPALETTE Palette() const { return paletteHandle_; }

private:
    HBITMAP bitmap_ = nullptr;
    HPALETTE paletteHandle_ = nullptr;
};

class DIBSImage : public Image {
public:
    // As Image; the stride is rounded up to a multiple of 4 and the section
    // is one row taller than `rows`, matching Image's spare row.
    DIBSImage(int width, int height, int stride, int rows, const uint8_t* palette, int depth);
    ~DIBSImage() override;

    void Prepare() override;  // the palette changed: rebuild the colour table
    bool Draw(void* deviceContext, int sourceX, int sourceY, int x, int y, int width,
              int height) override;
    void Hook(void* deviceContext) override;  // realise the palette

    HDC MemoryDC() const { return memoryDC_; }
    HBITMAP Section() const { return section_; }
    HPALETTE Palette() const { return paletteHandle_; }

private:
    HDC memoryDC_ = nullptr;
    HBITMAP section_ = nullptr;
    HGDIOBJ previousBitmap_ = nullptr;
    HPALETTE paletteHandle_ = nullptr;  // made on the first realise
};

// A logical palette (version 0x300) of 2^depth entries from the picture's
// palette; says "CreatePalette() failed" when it cannot be made.
HPALETTE CreatePicturePalette(const Image& image);

// Makes the display image for a picture of this shape: a DIBSImage or a plain
// Image, as the screen (g_display) and the display options decide.
Image* CreateDisplayImage(int width, int height, int stride, int rows, const uint8_t* palette,
                          int depth);
