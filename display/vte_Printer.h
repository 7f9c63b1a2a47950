// Printing the viewed picture: one page, the picture as large as the page
// allows with its proportions kept, centred above its file name.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// after windows.h, which it needs
#include <commdlg.h>

class Image;

// Shows the print dialog and prints. True when the page went out, and also
// when the user cancelled the dialog (nothing is printed then). False with
// the error report filled when the printer cannot take bitmaps ("Printer
// can't use bitmaps!") or refuses the document or the page ("StartDoc()
// failed", "StartPage() failed"). A picture the printer will not draw is
// only a warning ("StretchBlt() failed"): the page still goes out. A null
// picture prints nothing and succeeds.
bool vte_Printer(HWND window, Image* image);

// The system calls printing makes, replaceable so tests can answer the
// dialog, pose as a printer and make steps fail.
struct PrinterCalls {
    BOOL(WINAPI* printDialog)(PRINTDLGA* dialog);
    int(WINAPI* getDeviceCaps)(HDC dc, int index);
    int(WINAPI* startDoc)(HDC dc, const DOCINFOA* document);
    int(WINAPI* startPage)(HDC dc);
    int(WINAPI* stretchDIBits)(HDC dc, int x, int y, int width, int height, int sourceX,
                               int sourceY, int sourceWidth, int sourceHeight, const void* bits,
                               const BITMAPINFO* info, UINT usage, DWORD rop);
    int(WINAPI* endPage)(HDC dc);
    int(WINAPI* endDoc)(HDC dc);
    BOOL(WINAPI* deleteDC)(HDC dc);
};
PrinterCalls SystemPrinterCalls();
// Installs `calls` and returns the ones in use before.
PrinterCalls SetPrinterCalls(const PrinterCalls& calls);
