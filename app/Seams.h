// Work the viewer and start-up hand to other parts of the program: the index
// window, the uninstaller, the clipboard, the printer and the properties
// sheet. Each returns false with the error report filled when it
// cannot do its work.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

class Image;

// The index window for the directory of `path` (a path ending in index.vti);
// returns when the window has closed.
void IndexWindowMain(HINSTANCE instance, const char* path);
// Removes the program's registry entries and files ("-UNINSTALL"). Carried
// out, it ends the process with exit code 0; it returns false when the user
// declines (error report empty) or the batch file cannot be written (error
// report filled).
bool UninstallProgram(HINSTANCE instance);
// Copies the picture to the clipboard as a packed device-independent bitmap.
bool vte_Clipboard(HWND window, Image* image);
// Prints the picture, one page.
bool vte_Printer(HWND window, Image* image);
// The properties sheet: picture, display and system information, options.
// A viewer passes its picture and gets the "Viewer" information page first;
// an index window passes null and gets the "Index" options page instead.
bool ShowPropertiesSheet(HWND window, Image* picture);
