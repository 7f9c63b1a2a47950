#define WIN32_LEAN_AND_MEAN
#include "display/DisplayCaps.h"

#include <windows.h>

void RefreshDisplayCaps() {
    HDC screen = GetDC(nullptr);
    g_display.bitsPerPixel = GetDeviceCaps(screen, BITSPIXEL) * GetDeviceCaps(screen, PLANES);
    g_display.width = GetDeviceCaps(screen, HORZRES);
    g_display.height = GetDeviceCaps(screen, VERTRES);
    g_display.paletteDevice = (GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) != 0;
    ReleaseDC(nullptr, screen);

    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    g_display.dibSections = version.dwPlatformId != VER_PLATFORM_WIN32s;

    const LONG units = GetDialogBaseUnits();
    g_display.dialogBaseX = LOWORD(units);
    g_display.dialogBaseY = HIWORD(units);
}
