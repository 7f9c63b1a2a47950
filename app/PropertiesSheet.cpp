// The properties sheet: what the viewer shows and on what system, and the
// options of the shared settings block. A change made here is seen at once
// by every running instance, because they all read the same block.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// after windows.h, which it needs
#include <commctrl.h>

#include <cstddef>
#include <cstdint>

#include "app/PropertiesRules.h"
#include "app/Resource.h"
#include "app/Seams.h"
#include "app/SettingsStore.h"
#include "app/WebPage.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Platform.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"

namespace {

// A check box and the flag of the settings block it shows.
struct FlagBox {
    int control;
    size_t offset;
};

constexpr FlagBox kOptionBoxes[] = {
    {IDC_USE_MAX_COLORS, offsetof(SettingsBlock, disp.bUseMaxColors)},
    {IDC_DITHER, offsetof(SettingsBlock, disp.bDither)},
    {IDC_FIXED_PALETTE, offsetof(SettingsBlock, disp.bFixedPalette)},
    {IDC_DITHER15, offsetof(SettingsBlock, disp.bDither15)},
    {IDC_RUN_MAXIMIZED, offsetof(SettingsBlock, disp.bRunMaximized)},
    {IDC_TITLE_RES, offsetof(SettingsBlock, disp.bTitleRes)},
    {IDC_AUTO_SIZE, offsetof(SettingsBlock, disp.bAutoSize)},
    {IDC_FAST_DCT, offsetof(SettingsBlock, jpeg.bFastDCT)},
    {IDC_FAST_UNSUBSAMPLE, offsetof(SettingsBlock, jpeg.bFastUnsubsample)},
};

constexpr FlagBox kIndexBoxes[] = {
    {IDC_SHOW_DIRS, offsetof(SettingsBlock, idx.bShowDirs)},
    {IDC_SHOW_OTHER, offsetof(SettingsBlock, idx.bShowOther)},
    {IDC_SHOW_RES, offsetof(SettingsBlock, idx.bShowRes)},
    {IDC_SHOW_SIZE, offsetof(SettingsBlock, idx.bShowSize)},
};

uint8_t* FlagOf(const FlagBox& box) { return reinterpret_cast<uint8_t*>(g_settings) + box.offset; }

template <size_t N>
void ShowFlags(HWND page, const FlagBox (&boxes)[N]) {
    for (const FlagBox& box : boxes)
        CheckDlgButton(page, box.control, *FlagOf(box) ? BST_CHECKED : BST_UNCHECKED);
}

template <size_t N>
void TakeFlags(HWND page, const FlagBox (&boxes)[N]) {
    for (const FlagBox& box : boxes)
        *FlagOf(box) = IsDlgButtonChecked(page, box.control) == BST_CHECKED ? 1 : 0;
}

void ShowNumber(HWND page, int control, int32_t value) {
    char text[16];
    wsprintfA(text, "%d", value);
    SetDlgItemTextA(page, control, text);
}

void TakeNumber(HWND page, int control, int32_t* value, int32_t minimum) {
    char text[kNumberFieldSize + 1] = {};
    GetDlgItemTextA(page, control, text, sizeof text);
    ApplyNumberField(text, value, minimum);
}

// Tells the sheet the page accepted its notification.
INT_PTR Accepted(HWND page) {
    SetWindowLongPtrA(page, DWLP_MSGRESULT, PSNRET_NOERROR);
    return TRUE;
}

bool IsApply(LPARAM lParam) { return reinterpret_cast<NMHDR*>(lParam)->code == PSN_APPLY; }

SystemFacts ReadSystemFacts() {
    SystemFacts facts;
    SYSTEM_INFO system = {};
    GetSystemInfo(&system);
    facts.processors = static_cast<int>(system.dwNumberOfProcessors);
    facts.architecture = system.wProcessorArchitecture;
    facts.processorType = static_cast<int>(system.dwProcessorType);
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    facts.platform = static_cast<int>(version.dwPlatformId);
    facts.majorVersion = static_cast<int>(version.dwMajorVersion);
    facts.minorVersion = static_cast<int>(version.dwMinorVersion);
    facts.build = static_cast<int>(version.dwBuildNumber & 0xffff);
    return facts;
}

INT_PTR CALLBACK ViewerPageProc(HWND page, UINT message, WPARAM, LPARAM lParam) {
    if (message != WM_INITDIALOG) return FALSE;
    const auto* sheetPage = reinterpret_cast<const PROPSHEETPAGEA*>(lParam);
    const auto* picture = reinterpret_cast<const Image*>(sheetPage->lParam);
    PictureFacts facts;
    if (picture) {
        facts.path = picture->path;
        facts.width = picture->width;
        facts.height = picture->height;
        facts.depth = picture->depth;
    }
    const ScreenFacts screen{g_display.width, g_display.height, g_display.bitsPerPixel};
    const InformationTexts texts = DescribeInformation(facts, screen, g_settings->stat.iOpen,
                                                       g_settings->stat.iSave, ReadSystemFacts());
    SetDlgItemTextA(page, IDC_INFO_SOURCE, texts.source.c_str());
    SetDlgItemTextA(page, IDC_INFO_IMAGE, texts.image.c_str());
    SetDlgItemTextA(page, IDC_INFO_DISPLAY, texts.display.c_str());
    SetDlgItemTextA(page, IDC_INFO_OPENED, texts.opened.c_str());
    SetDlgItemTextA(page, IDC_INFO_SAVED, texts.saved.c_str());
    SetDlgItemTextA(page, IDC_INFO_PROCESSOR, texts.processor.c_str());
    SetDlgItemTextA(page, IDC_INFO_SYSTEM, texts.system.c_str());
    SetDlgItemTextA(page, IDC_INFO_VERSION, texts.version.c_str());
    return TRUE;
}

INT_PTR CALLBACK IndexPageProc(HWND page, UINT message, WPARAM, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG:
            ShowFlags(page, kIndexBoxes);
            for (int control : {IDC_ICON_X, IDC_ICON_Y, IDC_ICON_SPACING})
                SendDlgItemMessageA(page, control, EM_LIMITTEXT, kNumberFieldSize, 0);
            ShowNumber(page, IDC_ICON_X, g_settings->idx.iIconX);
            ShowNumber(page, IDC_ICON_Y, g_settings->idx.iIconY);
            ShowNumber(page, IDC_ICON_SPACING, g_settings->idx.iIconSpacing);
            return TRUE;
        case WM_NOTIFY:
            if (!IsApply(lParam)) return FALSE;
            TakeFlags(page, kIndexBoxes);
            TakeNumber(page, IDC_ICON_X, &g_settings->idx.iIconX, kMinimumThumbnailSize);
            TakeNumber(page, IDC_ICON_Y, &g_settings->idx.iIconY, kMinimumThumbnailSize);
            TakeNumber(page, IDC_ICON_SPACING, &g_settings->idx.iIconSpacing,
                       kMinimumThumbnailSpacing);
            return Accepted(page);
    }
    return FALSE;
}

INT_PTR CALLBACK OptionsPageProc(HWND page, UINT message, WPARAM, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG:
            ShowFlags(page, kOptionBoxes);
            return TRUE;
        case WM_NOTIFY:
            if (!IsApply(lParam)) return FALSE;
            TakeFlags(page, kOptionBoxes);
            return Accepted(page);
    }
    return FALSE;
}

void ShowErrorReport() { platform::ShowMessage(g_errorPlace, g_errorText); }

INT_PTR CALLBACK ProgramPageProc(HWND page, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) return TRUE;
    if (message != WM_COMMAND || HIWORD(wParam) != BN_CLICKED) return FALSE;
    switch (LOWORD(wParam)) {
        case IDC_UNINSTALL:
            // Carried out, the uninstall ends the process; declined, it
            // leaves the error report empty.
            if (!UninstallProgram(
                    reinterpret_cast<HINSTANCE>(GetWindowLongPtrA(page, GWLP_HINSTANCE))) &&
                g_errorPlace[0])
                ShowErrorReport();
            return TRUE;
        case IDC_VISIT_WEB_PAGE:
            if (!SpawnURL(kMakerWebPage)) ShowErrorReport();
            return TRUE;
    }
    return FALSE;
}

PROPSHEETPAGEA Page(HINSTANCE module, int dialog, DLGPROC procedure, LPARAM data) {
    PROPSHEETPAGEA page = {};
    page.dwSize = sizeof page;
    page.dwFlags = PSP_DEFAULT;  // the title is the dialog's caption
    page.hInstance = module;
    page.pszTemplate = MAKEINTRESOURCEA(dialog);
    page.pfnDlgProc = procedure;
    page.lParam = data;
    return page;
}

}  // namespace

bool ShowPropertiesSheet(HWND window, Image* picture) {
    HINSTANCE module = GetModuleHandleA(nullptr);
    PROPSHEETPAGEA pages[3] = {
        picture ? Page(module, IDD_PAGE_VIEWER, ViewerPageProc, reinterpret_cast<LPARAM>(picture))
                : Page(module, IDD_PAGE_INDEX, IndexPageProc, 0),
        Page(module, IDD_PAGE_PROGRAM, ProgramPageProc, 0),
        Page(module, IDD_PAGE_OPTIONS, OptionsPageProc, 0),
    };
    PROPSHEETHEADERA header = {};
    header.dwSize = sizeof header;
    header.dwFlags = PSH_PROPSHEETPAGE | PSH_PROPTITLE | PSH_NOAPPLYNOW | PSH_USEICONID;
    header.hwndParent = window;
    header.hInstance = module;
    header.pszIcon = MAKEINTRESOURCEA(IDI_VANTIREL_SMALL);
    header.pszCaption = "Vantirel";
    header.nPages = 3;
    header.nStartPage = 0;
    header.ppsp = pages;

    // The sheet is drawn in the normal system colours, whatever the window
    // had taken from the palette.
    LeaveAllColoursMode();
    const INT_PTR result = PropertySheetA(&header);
    if (g_settings->disp.bUseMaxColors) EnterAllColoursMode();
    if (result < 0) return SetError("Properties", "PropertySheet() failed");
    return true;
}
