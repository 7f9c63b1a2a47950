#include "display/DisplayImages.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/Platform.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "display/DisplayChoice.h"

namespace {

int RoundUp4(int value) { return (value + 3) & ~3; }

// BITMAPINFO with a full 256-entry colour table.
struct BitmapInfo256 {
    BITMAPINFOHEADER header;
    RGBQUAD colours[256];
};

void FillHeader(BitmapInfo256* info, int width, int height, bool hasPalette,
                const uint8_t* palette) {
    std::memset(info, 0, sizeof *info);
    info->header.biSize = sizeof(BITMAPINFOHEADER);
    info->header.biWidth = width;
    info->header.biHeight = height;
    info->header.biPlanes = 1;
    info->header.biBitCount = hasPalette ? 8 : 24;
    info->header.biCompression = BI_RGB;
    if (!palette) return;
    for (int i = 0; i < 256; ++i) {
        info->colours[i].rgbRed = palette[3 * i];
        info->colours[i].rgbGreen = palette[3 * i + 1];
        info->colours[i].rgbBlue = palette[3 * i + 2];
        info->colours[i].rgbReserved = 0;
    }
}

void RealisePalette(HDC deviceContext, HPALETTE palette) {
    SelectPalette(deviceContext, palette, FALSE);
    RealizePalette(deviceContext);
}

// A failed blit leaves the window unpaintable; the program has always ended
// here, and with exit code 0.
bool BlitOrEnd(HDC target, int x, int y, int width, int height, HDC source, int sourceX,
               int sourceY) {
    if (BitBlt(target, x, y, width, height, source, sourceX, sourceY, SRCCOPY)) return true;
    platform::Warning("BitBlt() failed");
    ExitProcess(0);
}

}  // namespace

HPALETTE CreatePicturePalette(const Image& image) {
    const int entries = 1 << (image.depth < 1 ? 1 : image.depth > 8 ? 8 : image.depth);
    std::vector<unsigned char> block(sizeof(LOGPALETTE) + 256 * sizeof(PALETTEENTRY));
    auto* logical = reinterpret_cast<LOGPALETTE*>(block.data());
    logical->palVersion = 0x300;
    logical->palNumEntries = static_cast<WORD>(entries);
    for (int i = 0; i < entries; ++i) {
        logical->palPalEntry[i].peRed = image.palette[3 * i];
        logical->palPalEntry[i].peGreen = image.palette[3 * i + 1];
        logical->palPalEntry[i].peBlue = image.palette[3 * i + 2];
        logical->palPalEntry[i].peFlags = 0;
    }
    HPALETTE palette = CreatePalette(logical);
    if (!palette) platform::Warning("CreatePalette() failed");
    return palette;
}

// The base record is built without a pixel block of its own (rows -1 asks
// for none but the allocator's minimum, which is given back at once).
DDBImage::DDBImage(const Image& source)
    : Image(source.width, source.height, 0, -1, source.palette, source.depth) {
    className = "DDBImage";
    platform::FreeFixed(pixels);
    pixels = nullptr;
    pixelBytes = 0;
    const int bytesPerPixel = palette ? 1 : 3;
    stride = RoundUp4(bytesPerPixel * width);
    std::strcpy(label, source.label);
    std::strcpy(path, source.path);
    fileName = FileNamePart(path);

    // The bitmap is made from 32-bit aligned rows; a source whose stride is
    // not aligned is first copied row by row.
    const uint8_t* bits = source.pixels;
    std::vector<uint8_t> aligned;
    int dibWidth = source.stride / bytesPerPixel;
    if (source.stride % 4 != 0 || source.stride < bytesPerPixel * width) {
        const int rowBytes = bytesPerPixel * width;
        aligned.assign(static_cast<size_t>(stride) * (height > 0 ? height : 0), 0);
        for (int row = 0; row < height; ++row)
            std::memcpy(aligned.data() + static_cast<size_t>(row) * stride, source.Row(row),
                        static_cast<size_t>(rowBytes));
        bits = aligned.data();
        dibWidth = width;
    }
    BitmapInfo256 info;
    FillHeader(&info, dibWidth, -height, palette != nullptr, palette);
    if (palette) paletteHandle_ = CreatePicturePalette(*this);

    HDC display = CreateDCA("DISPLAY", nullptr, nullptr, nullptr);
    Hook(display);
    bitmap_ = CreateDIBitmap(display, &info.header, CBM_INIT, bits,
                             reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
    DeleteDC(display);
    if (!bitmap_) platform::Warning("CreateDIBitmap() failed");
}

DDBImage::~DDBImage() {
    if (bitmap_) DeleteObject(bitmap_);
    if (paletteHandle_) DeleteObject(paletteHandle_);
}

bool DDBImage::Draw(void* deviceContext, int sourceX, int sourceY, int x, int y, int w, int h) {
    HDC target = static_cast<HDC>(deviceContext);
    HDC source = CreateCompatibleDC(target);
    HGDIOBJ previous = SelectObject(source, bitmap_);
    BlitOrEnd(target, x, y, w, h, source, sourceX, sourceY);
    SelectObject(source, previous);
    DeleteDC(source);
    return true;
}

void DDBImage::Hook(void* deviceContext) {
    if (paletteHandle_) RealisePalette(static_cast<HDC>(deviceContext), paletteHandle_);
}

DIBSImage::DIBSImage(int w, int h, int rowStride, int rows, const uint8_t* sourcePalette,
                     int bitsPerPixel)
    : Image(w, h, RoundUp4(rowStride), -1, sourcePalette, bitsPerPixel) {
    className = "DIBSImage";
    platform::FreeFixed(pixels);
    pixels = nullptr;
    pixelBytes = 0;

    const int bytesPerPixel = palette ? 1 : 3;
    BitmapInfo256 info;
    // The section is top-down and one row taller: Image's spare row.
    FillHeader(&info, stride / bytesPerPixel, -(rows + 1), palette != nullptr, palette);
    HDC screen = GetDC(nullptr);
    memoryDC_ = CreateCompatibleDC(screen);
    ReleaseDC(nullptr, screen);
    void* bits = nullptr;
    section_ = CreateDIBSection(memoryDC_, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS,
                                &bits, nullptr, 0);
    if (!section_ || !bits) platform::FatalExit("EXIT: CreateDIBSection() failed");
    pixels = static_cast<uint8_t*>(bits);
    pixelBytes = (static_cast<size_t>(rows) + 1) * static_cast<size_t>(stride);
    previousBitmap_ = SelectObject(memoryDC_, section_);
}

DIBSImage::~DIBSImage() {
    if (memoryDC_) {
        SelectObject(memoryDC_, previousBitmap_);
        DeleteDC(memoryDC_);
    }
    if (section_) DeleteObject(section_);
    if (paletteHandle_) DeleteObject(paletteHandle_);
    pixels = nullptr;  // the section owned them
}

void DIBSImage::Prepare() {
    if (!palette || !memoryDC_) return;
    RGBQUAD colours[256];
    for (int i = 0; i < 256; ++i) {
        colours[i].rgbRed = palette[3 * i];
        colours[i].rgbGreen = palette[3 * i + 1];
        colours[i].rgbBlue = palette[3 * i + 2];
        colours[i].rgbReserved = 0;
    }
    if (paletteHandle_) {
        DeleteObject(paletteHandle_);
        paletteHandle_ = nullptr;
    }
    SetDIBColorTable(memoryDC_, 0, 256, colours);
}

bool DIBSImage::Draw(void* deviceContext, int sourceX, int sourceY, int x, int y, int w, int h) {
    return BlitOrEnd(static_cast<HDC>(deviceContext), x, y, w, h, memoryDC_, sourceX, sourceY);
}

void DIBSImage::Hook(void* deviceContext) {
    if (!palette) return;
    if (!paletteHandle_) paletteHandle_ = CreatePicturePalette(*this);
    if (paletteHandle_) RealisePalette(static_cast<HDC>(deviceContext), paletteHandle_);
}

Image* CreateDisplayImage(int width, int height, int stride, int rows, const uint8_t* palette,
                          int depth) {
    const DisplayClass choice =
        ChooseDisplayClass(palette != nullptr, g_display.bitsPerPixel, g_display.dibSections,
                           g_settings->disp.bFixedPalette != 0, g_settings->disp.bDither15 != 0);
    if (choice == DisplayClass::DIBSection)
        return new DIBSImage(width, height, stride, rows, palette, depth);
    return new Image(width, height, stride, rows, palette, depth);
}
