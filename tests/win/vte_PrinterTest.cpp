#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "display/DisplayCaps.h"
#include "display/vte_Printer.h"
#include "tests/support/TestSupport.h"
#include "tests/win/MemoryCanvas.h"

// after windows.h, which it needs
#include <commctrl.h>

namespace {

// A canvas posing as the printer's page, white to begin with.
struct Page : MemoryCanvas {
    Page(int width, int height) : MemoryCanvas(width, height, 0xFFFFFF) {}
    bool AllWhite(int left, int top, int right, int bottom) const {
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x)
                if (At(x, y) != 0xFFFFFF) return false;
        return true;
    }
};

// What the fake printer is told to do and what it saw.
struct FakePrinter {
    Page* page = nullptr;
    BOOL dialogAnswer = TRUE;
    int rasterCaps = RC_BITBLT | RC_STRETCHDIB;
    int pageWidth = 0, pageHeight = 0, aspectX = 1, aspectY = 1;
    int startDocResult = 1, startPageResult = 1;
    bool stretchFails = false;

    std::vector<std::string> calls;
    PRINTDLGA dialog = {};
    UINT docInfoSize = 0;
    std::string docName;
    bool docOutputIsNull = false;
    std::string progressWhileStarting;  // "caption|status" of the progress dialog
    int destination[4] = {};
    int source[4] = {};
    BITMAPINFOHEADER header = {};
    std::vector<RGBQUAD> colours;
    std::vector<uint8_t> firstRow;
    UINT usage = 0;
    DWORD rop = 0;
    HDC deleted = nullptr;
};
FakePrinter* g_fake = nullptr;

struct FindProgress {
    std::string caption;
    HWND found = nullptr;
};
BOOL CALLBACK FindWindowTitled(HWND window, LPARAM data) {
    auto* search = reinterpret_cast<FindProgress*>(data);
    char title[256] = {};
    GetWindowTextA(window, title, sizeof title);
    if (search->caption == title && IsWindowVisible(window)) {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}
HWND ThreadWindowTitled(const std::string& caption) {
    FindProgress search;
    search.caption = caption;
    EnumThreadWindows(GetCurrentThreadId(), FindWindowTitled, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

BOOL WINAPI FakeDialog(PRINTDLGA* dialog) {
    g_fake->calls.push_back("dialog");
    g_fake->dialog = *dialog;
    if (g_fake->dialogAnswer) dialog->hDC = g_fake->page->dc;
    return g_fake->dialogAnswer;
}
int WINAPI FakeCaps(HDC dc, int index) {
    EXPECT_EQ(dc, g_fake->page->dc);
    switch (index) {
        case RASTERCAPS:
            g_fake->calls.push_back("caps RASTERCAPS");
            return g_fake->rasterCaps;
        case HORZRES:
            g_fake->calls.push_back("caps HORZRES");
            return g_fake->pageWidth;
        case VERTRES:
            g_fake->calls.push_back("caps VERTRES");
            return g_fake->pageHeight;
        case ASPECTX:
            g_fake->calls.push_back("caps ASPECTX");
            return g_fake->aspectX;
        case ASPECTY:
            g_fake->calls.push_back("caps ASPECTY");
            return g_fake->aspectY;
    }
    g_fake->calls.push_back("caps " + std::to_string(index));
    return GetDeviceCaps(dc, index);
}
int WINAPI FakeStartDoc(HDC, const DOCINFOA* document) {
    g_fake->calls.push_back("startDoc");
    g_fake->docInfoSize = static_cast<UINT>(document->cbSize);
    g_fake->docName = document->lpszDocName ? document->lpszDocName : "(null)";
    g_fake->docOutputIsNull = document->lpszOutput == nullptr;
    if (HWND progress = ThreadWindowTitled(g_fake->docName)) {
        char status[128] = {};
        GetDlgItemTextA(progress, 97, status, sizeof status);
        g_fake->progressWhileStarting = g_fake->docName + "|" + status;
    }
    return g_fake->startDocResult;
}
int WINAPI FakeStartPage(HDC) {
    g_fake->calls.push_back("startPage");
    return g_fake->startPageResult;
}
int WINAPI FakeStretch(HDC dc, int x, int y, int width, int height, int sourceX, int sourceY,
                       int sourceWidth, int sourceHeight, const void* bits, const BITMAPINFO* info,
                       UINT usage, DWORD rop) {
    g_fake->calls.push_back("stretch");
    const int dest[4] = {x, y, width, height};
    const int src[4] = {sourceX, sourceY, sourceWidth, sourceHeight};
    std::memcpy(g_fake->destination, dest, sizeof dest);
    std::memcpy(g_fake->source, src, sizeof src);
    g_fake->header = info->bmiHeader;
    g_fake->colours.assign(info->bmiColors,
                           info->bmiColors + (info->bmiHeader.biBitCount == 8 ? 256 : 0));
    const int rowBytes = ((info->bmiHeader.biBitCount / 8) * info->bmiHeader.biWidth + 3) & ~3;
    const auto* first = static_cast<const uint8_t*>(bits);
    g_fake->firstRow.assign(first, first + rowBytes);
    g_fake->usage = usage;
    g_fake->rop = rop;
    if (g_fake->stretchFails) return 0;
    return StretchDIBits(dc, x, y, width, height, sourceX, sourceY, sourceWidth, sourceHeight, bits,
                         info, usage, rop);
}
int WINAPI FakeEndPage(HDC) {
    g_fake->calls.push_back("endPage");
    return 1;
}
int WINAPI FakeEndDoc(HDC) {
    g_fake->calls.push_back("endDoc");
    return 1;
}
BOOL WINAPI FakeDeleteDC(HDC dc) {
    g_fake->calls.push_back("deleteDC");
    g_fake->deleted = dc;
    return TRUE;  // the page belongs to the test
}

class PrinterTest : public ::testing::Test {
protected:
    void SetUp() override {
        InitCommonControls();
        RefreshDisplayCaps();
        window_ = CreateWindowA("STATIC", "viewer", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                GetModuleHandleA(nullptr), nullptr);
        g_fake = &fake_;
        saved_ = SetPrinterCalls({FakeDialog, FakeCaps, FakeStartDoc, FakeStartPage, FakeStretch,
                                  FakeEndPage, FakeEndDoc, FakeDeleteDC});
        ClearError();
    }
    void TearDown() override {
        SetPrinterCalls(saved_);
        g_fake = nullptr;
        DestroyWindow(window_);
    }
    void UsePage(Page* page) {
        fake_.page = page;
        fake_.pageWidth = page->width;
        fake_.pageHeight = page->height;
    }
    static SIZE CaptionSize(Page* page, const char* caption) {
        SIZE size = {};
        GetTextExtentPoint32A(page->dc, caption, static_cast<int>(std::strlen(caption)), &size);
        return size;
    }

    HWND window_ = nullptr;
    FakePrinter fake_;
    PrinterCalls saved_;
};

// 2 x 1: a red pixel and a blue one.
struct RedBluePicture {
    RedBluePicture() : image(2, 1, 6, 1, nullptr, 24) {
        const uint8_t row[6] = {0x00, 0x00, 0xFF, 0xFF, 0x00, 0x00};
        std::memcpy(image.Row(0), row, 6);
        std::strcpy(image.path, "Z:\\pictures\\REDBLUE.BMP");
    }
    Image image;
};

const std::vector<std::string> kWholeJob = {
    "dialog",   "caps RASTERCAPS", "caps HORZRES", "caps VERTRES", "caps ASPECTX", "caps ASPECTY",
    "startDoc", "startPage",       "stretch",      "endPage",      "endDoc",       "deleteDC"};

}  // namespace

TEST_F(PrinterTest, CancellingTheDialogPrintsNothingAndSucceeds) {
    Page page(100, 100);
    UsePage(&page);
    fake_.dialogAnswer = FALSE;
    RedBluePicture picture;
    EXPECT_TRUE(vte_Printer(window_, &picture.image));
    EXPECT_EQ(fake_.calls, std::vector<std::string>{"dialog"});
    EXPECT_EQ(g_errorText[0], '\0');
    EXPECT_TRUE(page.AllWhite(0, 0, 100, 100));
}

TEST_F(PrinterTest, DialogAsksForAPrinterContextAndOneCopyWithoutSelectionOrPages) {
    Page page(100, 100);
    UsePage(&page);
    fake_.dialogAnswer = FALSE;
    RedBluePicture picture;
    vte_Printer(window_, &picture.image);
    const PRINTDLGA& d = fake_.dialog;
    EXPECT_EQ(d.lStructSize, sizeof(PRINTDLGA));
    EXPECT_EQ(d.hwndOwner, window_);
    // PD_RETURNDC | PD_NOSELECTION | PD_NOPAGENUMS | PD_USEDEVMODECOPIESANDCOLLATE
    EXPECT_EQ(d.Flags, 0x0004010Cu);
    EXPECT_EQ(d.nCopies, 1);
    EXPECT_EQ(d.hDevMode, nullptr);
    EXPECT_EQ(d.hDevNames, nullptr);
    EXPECT_EQ(d.hDC, nullptr);
    EXPECT_EQ(d.nFromPage, 0);
    EXPECT_EQ(d.nToPage, 0);
    EXPECT_EQ(d.nMinPage, 0);
    EXPECT_EQ(d.nMaxPage, 0);
    EXPECT_EQ(d.hInstance, nullptr);
    EXPECT_EQ(d.lCustData, 0);
    EXPECT_EQ(d.lpfnPrintHook, nullptr);
    EXPECT_EQ(d.lpfnSetupHook, nullptr);
    EXPECT_EQ(d.lpPrintTemplateName, nullptr);
    EXPECT_EQ(d.lpSetupTemplateName, nullptr);
    EXPECT_EQ(d.hPrintTemplate, nullptr);
    EXPECT_EQ(d.hSetupTemplate, nullptr);
}

TEST_F(PrinterTest, WidePictureOnAPortraitPageFillsTheWidthCentredAboveTheCaption) {
    Page page(300, 400);
    UsePage(&page);
    RedBluePicture picture;
    test::MessageRecorder boxes;
    ASSERT_TRUE(vte_Printer(window_, &picture.image)) << g_errorText;
    EXPECT_EQ(fake_.calls, kWholeJob);
    EXPECT_TRUE(boxes.messages.empty());
    EXPECT_EQ(fake_.deleted, page.dc);

    // Square pixels: the 2:1 picture is 300 x 150, in the middle of what the
    // caption leaves.
    const SIZE caption = CaptionSize(&page, "REDBLUE.BMP");
    ASSERT_GT(caption.cy, 0);
    const int top = (400 - caption.cy - 150) / 2;
    EXPECT_EQ(fake_.destination[0], 0);
    EXPECT_EQ(fake_.destination[1], top);
    EXPECT_EQ(fake_.destination[2], 300);
    EXPECT_EQ(fake_.destination[3], 150);
    EXPECT_EQ(page.At(10, top + 75), 0xFF0000u);
    EXPECT_EQ(page.At(149, top), 0xFF0000u);
    EXPECT_EQ(page.At(150, top + 149), 0x0000FFu);
    EXPECT_EQ(page.At(289, top + 75), 0x0000FFu);
    EXPECT_TRUE(page.AllWhite(0, 0, 300, top));
    EXPECT_TRUE(page.AllWhite(0, top + 150, 300, 400 - caption.cy));

    // The caption: drawn only inside its box at the bottom, centred.
    const int captionX = (300 - caption.cx) / 2;
    EXPECT_FALSE(page.AllWhite(captionX, 400 - caption.cy, captionX + caption.cx, 400));
    EXPECT_TRUE(page.AllWhite(0, 400 - caption.cy, captionX, 400));
    EXPECT_TRUE(page.AllWhite(captionX + caption.cx, 400 - caption.cy, 300, 400));
}

TEST_F(PrinterTest, DocumentIsNamedAfterTheFileAndPrintsUnderAProgressDialog) {
    Page page(120, 120);
    UsePage(&page);
    RedBluePicture picture;
    ASSERT_TRUE(vte_Printer(window_, &picture.image));
    EXPECT_EQ(fake_.docInfoSize, sizeof(DOCINFOA));
    EXPECT_EQ(fake_.docName, "REDBLUE.BMP");
    EXPECT_TRUE(fake_.docOutputIsNull);
    EXPECT_EQ(fake_.progressWhileStarting, "REDBLUE.BMP|Printing");
    EXPECT_EQ(ThreadWindowTitled("REDBLUE.BMP"), nullptr);  // closed afterwards
}

TEST_F(PrinterTest, WholeTrueColourPictureGoesOutAsATopDownBitmap) {
    Page page(120, 120);
    UsePage(&page);
    // 3 x 2 with 9-byte rows: handed over as 12-byte rows, first row first.
    Image image(3, 2, 9, 2, nullptr, 24);
    for (int i = 0; i < 9; ++i) image.Row(0)[i] = static_cast<uint8_t>(i + 1);
    for (int i = 0; i < 9; ++i) image.Row(1)[i] = static_cast<uint8_t>(0x41 + i);
    ASSERT_TRUE(vte_Printer(window_, &image));
    EXPECT_EQ(fake_.header.biSize, 40u);
    EXPECT_EQ(fake_.header.biWidth, 3);
    EXPECT_EQ(fake_.header.biHeight, -2);
    EXPECT_EQ(fake_.header.biPlanes, 1);
    EXPECT_EQ(fake_.header.biBitCount, 24);
    EXPECT_EQ(fake_.header.biCompression, static_cast<DWORD>(BI_RGB));
    EXPECT_EQ(fake_.header.biSizeImage, 0u);
    EXPECT_EQ(fake_.header.biClrUsed, 0u);
    EXPECT_EQ(fake_.source[0], 0);
    EXPECT_EQ(fake_.source[1], 0);
    EXPECT_EQ(fake_.source[2], 3);
    EXPECT_EQ(fake_.source[3], 2);
    EXPECT_EQ(fake_.usage, static_cast<UINT>(DIB_RGB_COLORS));
    EXPECT_EQ(fake_.rop, static_cast<DWORD>(SRCCOPY));
    EXPECT_EQ(fake_.firstRow, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 0x41, 0x42, 0x43}));
}

TEST_F(PrinterTest, PalettePictureGoesOutWithEightBitsAndItsColourTable) {
    Page page(64, 80);
    UsePage(&page);
    std::vector<uint8_t> palette(768, 0);
    palette[3] = 0x10, palette[4] = 0x80, palette[5] = 0xF0;  // 1: a light blue
    palette[6] = 0xFF;                                        // 2: red
    Image image(2, 2, 2, 2, palette.data(), 8);
    image.Row(0)[0] = 1, image.Row(0)[1] = 2;
    image.Row(1)[0] = 2, image.Row(1)[1] = 1;
    std::strcpy(image.path, "C:PAL.GIF");  // drive-relative
    ASSERT_TRUE(vte_Printer(window_, &image));
    EXPECT_EQ(fake_.docName, "PAL.GIF");
    EXPECT_EQ(fake_.header.biBitCount, 8);
    EXPECT_EQ(fake_.header.biHeight, -2);
    ASSERT_EQ(fake_.colours.size(), 256u);
    EXPECT_EQ(fake_.colours[1].rgbBlue, 0xF0);
    EXPECT_EQ(fake_.colours[1].rgbGreen, 0x80);
    EXPECT_EQ(fake_.colours[1].rgbRed, 0x10);
    EXPECT_EQ(fake_.colours[1].rgbReserved, 0);
    EXPECT_EQ(fake_.colours[2].rgbRed, 0xFF);
    EXPECT_EQ(fake_.colours[255].rgbRed, 0);
    EXPECT_EQ(fake_.firstRow, (std::vector<uint8_t>{1, 2, 2, 1}));
    // The picture's 2 x 2 pixels appear as quarters of the printed square.
    const int size = fake_.destination[2];
    ASSERT_EQ(fake_.destination[3], size);
    const int x = fake_.destination[0], y = fake_.destination[1];
    EXPECT_EQ(page.At(x + 1, y + 1), 0x1080F0u);
    EXPECT_EQ(page.At(x + size - 2, y + 1), 0xFF0000u);
    EXPECT_EQ(page.At(x + 1, y + size - 2), 0xFF0000u);
    EXPECT_EQ(page.At(x + size - 2, y + size - 2), 0x1080F0u);
}

TEST_F(PrinterTest, PictureKeepsItsProportionsOnADeviceWithNonSquarePixels) {
    // Pixels twice as tall as wide (ASPECTX 1, ASPECTY 2): a square picture
    // is twice as many pixels wide as high.
    Page page(400, 300);
    UsePage(&page);
    fake_.aspectX = 1;
    fake_.aspectY = 2;
    Image image(10, 10, 30, 10, nullptr, 24);
    std::strcpy(image.path, "Z:\\work/pictures/SQUARE.PNG");  // slashes separate too
    ASSERT_TRUE(vte_Printer(window_, &image));
    EXPECT_EQ(fake_.docName, "SQUARE.PNG");
    const SIZE caption = CaptionSize(&page, "SQUARE.PNG");
    // A = 400, B = (300 - cy) x 2; square pictures take the smaller of both.
    const int b = (300 - caption.cy) * 2;
    const int side = b < 400 ? b : 400;
    EXPECT_EQ(fake_.destination[2], side);
    EXPECT_EQ(fake_.destination[3], side / 2);
    EXPECT_EQ(fake_.destination[2] * 1, fake_.destination[3] * 2);
    EXPECT_EQ(fake_.destination[0], (400 - side) / 2);
    EXPECT_EQ(fake_.destination[1], (b - side) / 4);
}

TEST_F(PrinterTest, PrinterWithoutBitmapsIsRefusedBeforeTheDocumentStarts) {
    Page page(100, 100);
    UsePage(&page);
    fake_.rasterCaps = RC_STRETCHDIB;
    RedBluePicture picture;
    EXPECT_FALSE(vte_Printer(window_, &picture.image));
    EXPECT_STREQ(g_errorPlace, "vte_Printer()");
    EXPECT_STREQ(g_errorText, "Printer can't use bitmaps!");
    EXPECT_EQ(fake_.calls, (std::vector<std::string>{"dialog", "caps RASTERCAPS", "deleteDC"}));
}

TEST_F(PrinterTest, RefusedDocumentIsReported) {
    Page page(100, 100);
    UsePage(&page);
    fake_.startDocResult = SP_ERROR;
    RedBluePicture picture;
    EXPECT_FALSE(vte_Printer(window_, &picture.image));
    EXPECT_STREQ(g_errorPlace, "vte_Printer()");
    EXPECT_STREQ(g_errorText, "StartDoc() failed");
    EXPECT_EQ(fake_.calls,
              (std::vector<std::string>{"dialog", "caps RASTERCAPS", "caps HORZRES", "caps VERTRES",
                                        "caps ASPECTX", "caps ASPECTY", "startDoc", "deleteDC"}));
}

TEST_F(PrinterTest, RefusedPageIsReported) {
    Page page(100, 100);
    UsePage(&page);
    fake_.startPageResult = 0;
    RedBluePicture picture;
    EXPECT_FALSE(vte_Printer(window_, &picture.image));
    EXPECT_STREQ(g_errorPlace, "vte_Printer()");
    EXPECT_STREQ(g_errorText, "StartPage() failed");
    EXPECT_EQ(fake_.calls, (std::vector<std::string>{"dialog", "caps RASTERCAPS", "caps HORZRES",
                                                     "caps VERTRES", "caps ASPECTX", "caps ASPECTY",
                                                     "startDoc", "startPage", "deleteDC"}));
}

TEST_F(PrinterTest, PictureThePrinterWillNotDrawIsAWarningAndThePageStillGoesOut) {
    Page page(100, 100);
    UsePage(&page);
    fake_.stretchFails = true;
    RedBluePicture picture;
    test::MessageRecorder boxes;
    EXPECT_TRUE(vte_Printer(window_, &picture.image));
    ASSERT_EQ(boxes.messages.size(), 1u);
    EXPECT_EQ(boxes.messages[0].first, "Attention!");
    EXPECT_EQ(boxes.messages[0].second, "StretchBlt() failed");
    EXPECT_EQ(fake_.calls, kWholeJob);
}

TEST_F(PrinterTest, NoPictureShowsNoDialog) {
    EXPECT_TRUE(vte_Printer(window_, nullptr));
    EXPECT_TRUE(fake_.calls.empty());
}
