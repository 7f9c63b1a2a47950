// What the screen can show, kept by the window program (display/DisplayCaps
// fills it at start-up and when the display mode changes). Portable code
// (the slide-show identify routine) reads it too; programs without a screen
// keep the defaults below. There is one record in the whole program.
#pragma once

struct DisplayCapabilities {
    int width = 1024;            // screen width in pixels
    int height = 768;            // screen height in pixels
    int bitsPerPixel = 24;       // BITSPIXEL of the screen
    bool paletteDevice = false;  // raster capabilities include the palette flag
    bool dibSections = true;     // false on Win32s, which has no DIB sections
    int dialogBaseX = 8;         // dialog base units
    int dialogBaseY = 16;
};

extern DisplayCapabilities g_display;
