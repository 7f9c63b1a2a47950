// Work the viewer and start-up hand to other parts of the program: the index
// window, the uninstaller, the clipboard, the printer and the properties
// sheet. Each returns false with the error report filled when it
// cannot do its work.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "display/vte_Clipboard.h"  // vte_Clipboard
#include "display/vte_Printer.h"    // vte_Printer

class Image;

// The index window for the directory of `path` (a path ending in index.vti);
// returns when the window has closed.
void IndexWindowMain(HINSTANCE instance, const char* path);
// Removes the program's registry entries and files ("-UNINSTALL"). Carried
// out, it ends the process with exit code 0; it returns false when the user
// declines (error report empty) or the batch file cannot be written (error
// report filled).
bool UninstallProgram(HINSTANCE instance);
// The properties sheet: picture, display and system information, options.
// A viewer passes its picture and gets the "Viewer" information page first;
// an index window passes null and gets the "Index" options page instead.
bool ShowPropertiesSheet(HWND window, Image* picture);
