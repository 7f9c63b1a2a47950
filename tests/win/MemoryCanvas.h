// A 32-bit top-down DIB section selected into a memory DC: a surface the
// code under test draws on (a window's client area, a printer's page) whose
// pixels the test reads back.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdint>

struct MemoryCanvas {
    // Every pixel starts as `fill` (0xRRGGBB).
    MemoryCanvas(int width, int height, uint32_t fill = 0) : width(width), height(height) {
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = -height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        dc = CreateCompatibleDC(nullptr);
        bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&bits),
                                  nullptr, 0);
        previous = SelectObject(dc, bitmap);
        for (int i = 0; i < width * height; ++i) bits[i] = fill;
    }
    ~MemoryCanvas() {
        SelectObject(dc, previous);
        DeleteObject(bitmap);
        DeleteDC(dc);
    }
    MemoryCanvas(const MemoryCanvas&) = delete;
    MemoryCanvas& operator=(const MemoryCanvas&) = delete;

    // 0xRRGGBB at x, y, once GDI has finished drawing.
    uint32_t At(int x, int y) const {
        GdiFlush();
        return bits[static_cast<size_t>(y) * width + x] & 0xFFFFFF;
    }

    int width, height;
    HDC dc;
    HBITMAP bitmap;
    HGDIOBJ previous;
    uint32_t* bits = nullptr;
};
