// What the screen can show, as the windows and display images need it: kept
// by the application, filled at start-up and refreshed when the display mode
// changes.
#pragma once

struct DisplayCaps {
    int width;           // screen width in pixels
    int height;          // screen height in pixels
    int bitsPerPixel;    // BITSPIXEL of the screen
    bool paletteDevice;  // RASTERCAPS has RC_PALETTE
    bool dibSections;    // false on Win32s, which has no DIB sections
    int dialogBaseX;     // dialog base units
    int dialogBaseY;
};

extern DisplayCaps g_display;

// Reads the screen's current values into g_display.
void RefreshDisplayCaps();
