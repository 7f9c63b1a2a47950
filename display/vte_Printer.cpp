#include "display/vte_Printer.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/DibLayout.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Platform.h"
#include "display/PrintLayout.h"
#include "display/ProgressDialog.h"

// The 32-bit program hands the system structures of these sizes; a 64-bit
// build has its own, larger ones.
static_assert(sizeof(void*) != 4 || sizeof(PRINTDLGA) == 66, "PRINTDLGA is 66 bytes");
static_assert(sizeof(void*) != 4 || sizeof(DOCINFOA) == 20, "DOCINFOA is 20 bytes");

namespace {

PrinterCalls g_printer = SystemPrinterCalls();

bool Fail(const char* text) { return SetError("vte_Printer()", "%s", text); }

// BITMAPINFO with room for a full colour table.
struct BitmapInfo256 {
    BITMAPINFOHEADER header;
    RGBQUAD colours[256];
};

// The picture as StretchDIBits wants it: a top-down DIB of the whole
// picture, 8 bits with the palette as colour table or 24 bits.
void FillBitmapInfo(const Image& image, BitmapInfo256* info) {
    std::memset(info, 0, sizeof *info);
    info->header.biSize = sizeof info->header;
    info->header.biWidth = image.width;
    info->header.biHeight = -image.height;
    info->header.biPlanes = 1;
    info->header.biBitCount = DibHasColourTable(image) ? 8 : 24;
    info->header.biCompression = BI_RGB;
    if (!DibHasColourTable(image)) return;
    for (int i = 0; i < 256; ++i) {
        info->colours[i].rgbBlue = image.palette[3 * i + 2];
        info->colours[i].rgbGreen = image.palette[3 * i + 1];
        info->colours[i].rgbRed = image.palette[3 * i];
        info->colours[i].rgbReserved = 0;
    }
}

// Rows handed to the printer must be 32-bit aligned. A picture whose stride
// already is the DIB row length is passed as it is; any other is copied
// row by row. Null when the copy cannot be had.
class PrintableRows {
public:
    explicit PrintableRows(const Image& image) {
        const uint64_t rowBytes = DibRowBytes(image);
        const uint64_t rows = image.height > 0 ? static_cast<uint64_t>(image.height) : 0;
        if (image.stride >= 0 && static_cast<uint64_t>(image.stride) == rowBytes &&
            rows * rowBytes <= image.PixelBytes()) {
            bits_ = image.pixels;
            return;
        }
        const uint64_t bytes = rows * rowBytes;
        if (bytes == 0 || bytes > static_cast<uint64_t>(SIZE_MAX)) return;
        copy_ = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(bytes)));
        if (!copy_) return;
        WriteDibRows(image, false, copy_);
        bits_ = copy_;
    }
    ~PrintableRows() { std::free(copy_); }
    PrintableRows(const PrintableRows&) = delete;
    PrintableRows& operator=(const PrintableRows&) = delete;

    const void* Bits() const { return bits_; }

private:
    const uint8_t* bits_ = nullptr;
    uint8_t* copy_ = nullptr;
};

bool DrawPicture(HDC printer, const Image& image, const PrintLayout& layout) {
    PrintableRows rows(image);
    if (!rows.Bits()) return false;
    BitmapInfo256 info;
    FillBitmapInfo(image, &info);
    const int lines = g_printer.stretchDIBits(
        printer, layout.x, layout.y, layout.width, layout.height, 0, 0, image.width, image.height,
        rows.Bits(), reinterpret_cast<const BITMAPINFO*>(&info), DIB_RGB_COLORS, SRCCOPY);
    return lines > 0;  // 0 and GDI_ERROR (-1) mean failure
}

// Deletes the printer's device context when printing ends, however it ends.
class PrinterContext {
public:
    explicit PrinterContext(HDC dc) : dc_(dc) {}
    ~PrinterContext() { g_printer.deleteDC(dc_); }
    PrinterContext(const PrinterContext&) = delete;
    PrinterContext& operator=(const PrinterContext&) = delete;

private:
    HDC dc_;
};

// Prints on the printer the dialog gave and deletes its device context.
bool PrintPage(HDC printer, const Image& image) {
    if (!(g_printer.getDeviceCaps(printer, RASTERCAPS) & RC_BITBLT)) {
        g_printer.deleteDC(printer);
        return Fail("Printer can't use bitmaps!");
    }
    const int pageWidth = g_printer.getDeviceCaps(printer, HORZRES);
    const int pageHeight = g_printer.getDeviceCaps(printer, VERTRES);
    const int aspectX = g_printer.getDeviceCaps(printer, ASPECTX);
    const int aspectY = g_printer.getDeviceCaps(printer, ASPECTY);
    // The caption is the file name as the window title shows it: the path
    // after its last backslash, colon or slash.
    const char* caption = FileNamePart(image.path);
    const int captionLength = static_cast<int>(std::strlen(caption));

    // The dialog has no cancel button: it shows that printing is under way
    // and closes when this function returns, however it returns.
    ProgressDialog progress(caption, "Printing");
    const PrinterContext context(printer);  // deleted before the dialog closes

    DOCINFOA document = {};
    document.cbSize = sizeof document;
    document.lpszDocName = caption;
    if (g_printer.startDoc(printer, &document) <= 0) return Fail("StartDoc() failed");
    if (g_printer.startPage(printer) <= 0) return Fail("StartPage() failed");

    // The caption in the printer's default font, centred on the last line.
    SIZE extent = {0, 0};
    GetTextExtentPoint32A(printer, caption, captionLength, &extent);
    const PrintLayout layout = LayOutPrintedPage(pageWidth, pageHeight, aspectX, aspectY, extent.cx,
                                                 extent.cy, image.width, image.height);
    TextOutA(printer, layout.captionX, layout.captionY, caption, captionLength);

    if (!DrawPicture(printer, image, layout)) platform::Warning("StretchBlt() failed");

    g_printer.endPage(printer);
    g_printer.endDoc(printer);
    return true;
}

}  // namespace

PrinterCalls SystemPrinterCalls() {
    return {PrintDlgA,     GetDeviceCaps, StartDocA, StartPage,
            StretchDIBits, EndPage,       EndDoc,    DeleteDC};
}

PrinterCalls SetPrinterCalls(const PrinterCalls& calls) {
    const PrinterCalls previous = g_printer;
    g_printer = calls;
    return previous;
}

bool vte_Printer(HWND window, Image* image) {
    if (!image) return true;
    PRINTDLGA dialog = {};
    dialog.lStructSize = sizeof dialog;
    dialog.hwndOwner = window;
    dialog.Flags = PD_RETURNDC | PD_NOSELECTION | PD_NOPAGENUMS | PD_USEDEVMODECOPIESANDCOLLATE;
    dialog.nCopies = 1;
    // Cancelled (or no printer to choose): nothing to print, nothing wrong.
    if (!g_printer.printDialog(&dialog)) return true;
    // The dialog's copies of the printer settings are not needed after it.
    if (dialog.hDevMode) GlobalFree(dialog.hDevMode);
    if (dialog.hDevNames) GlobalFree(dialog.hDevNames);

    return PrintPage(dialog.hDC, *image);
}
