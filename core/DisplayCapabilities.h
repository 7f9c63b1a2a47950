// What the screen can show, kept by the window program and refreshed when
// the display mode changes. Portable code (the slide-show identify routine)
// reads it; programs without a screen keep the defaults below.
#pragma once

struct DisplayCapabilities {
    int width = 1024;
    int height = 768;
    int bitsPerPixel = 24;
    bool paletteDevice = false;  // raster capabilities include the palette flag
    int dialogBaseX = 8;         // dialog base units
    int dialogBaseY = 16;
    bool win32s = false;  // no DIB sections there
};

extern DisplayCapabilities g_display;
