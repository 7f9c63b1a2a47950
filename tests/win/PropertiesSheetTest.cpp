// The properties sheet, opened for real and worked from a timer of the test's
// own thread (the sheet's modal loop dispatches it).
#include <gtest/gtest.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// after windows.h, which it needs
#include <commctrl.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "app/Seams.h"
#include "app/SettingsStore.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "tests/win/InstallationTestSupport.h"

namespace {

// Works the open sheet; returns true to press OK, false for Cancel.
using Driver = std::function<bool(HWND sheet)>;
Driver g_driver;
bool g_driven = false;
int g_ticksSinceDriven = 0;
int g_ticksWaiting = 0;

BOOL CALLBACK FindSheet(HWND window, LPARAM found) {
    char windowClass[64] = {};
    GetClassNameA(window, windowClass, sizeof windowClass);
    if (std::strcmp(windowClass, "#32770") == 0 && IsWindowVisible(window)) {
        *reinterpret_cast<HWND*>(found) = window;
        return FALSE;
    }
    return TRUE;
}

// Drives the sheet once its first page is in place; a sheet that does not
// close after its button was pressed is cancelled so the test ends.
void CALLBACK Tick(HWND, UINT, UINT_PTR, DWORD) {
    HWND sheet = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), FindSheet, reinterpret_cast<LPARAM>(&sheet));
    if (!sheet || !PropSheet_GetCurrentPageHwnd(sheet)) {
        // A sheet without pages (its templates missing) would wait forever.
        if (sheet && ++g_ticksWaiting == 1500) PostMessageA(sheet, WM_COMMAND, IDCANCEL, 0);
        return;
    }
    if (!g_driven) {
        g_driven = true;
        const bool ok = g_driver(sheet);
        PropSheet_PressButton(sheet, ok ? PSBTN_OK : PSBTN_CANCEL);
    } else if (++g_ticksSinceDriven == 100) {
        ADD_FAILURE() << "the sheet stayed open";
        PostMessageA(sheet, WM_COMMAND, IDCANCEL, 0);
    }
}

// Opens the sheet as the program does and lets `drive` work it.
bool RunSheet(Image* picture, Driver drive) {
    g_driver = std::move(drive);
    g_driven = false;
    g_ticksSinceDriven = 0;
    g_ticksWaiting = 0;
    const UINT_PTR timer = SetTimer(nullptr, 0, 20, Tick);
    const bool shown = ShowPropertiesSheet(nullptr, picture);
    KillTimer(nullptr, timer);
    EXPECT_TRUE(g_driven) << "the sheet never showed";
    return shown;
}

HWND PageAt(HWND sheet, int index) {
    PropSheet_SetCurSel(sheet, nullptr, index);
    return PropSheet_GetCurrentPageHwnd(sheet);
}

std::string TextOf(HWND window) {
    char text[600] = {};
    GetWindowTextA(window, text, sizeof text);
    return text;
}

std::string ControlText(HWND page, int control) { return TextOf(GetDlgItem(page, control)); }

std::vector<std::string> Tabs(HWND sheet) {
    HWND tabs = PropSheet_GetTabControl(sheet);
    std::vector<std::string> names;
    for (int i = 0; i < TabCtrl_GetItemCount(tabs); ++i) {
        char text[64] = {};
        TCITEMA item = {};
        item.mask = TCIF_TEXT;
        item.pszText = text;
        item.cchTextMax = sizeof text;
        SendMessageA(tabs, TCM_GETITEMA, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
        names.push_back(text);
    }
    return names;
}

// The texts of the page's static controls without an id of their own
// (labels and group boxes), in creation order.
std::vector<std::string> Labels(HWND page) {
    std::vector<std::string> labels;
    for (HWND child = GetWindow(page, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        if (GetDlgCtrlID(child) == -1 || GetDlgCtrlID(child) == 0xffff)
            labels.push_back(TextOf(child));
    return labels;
}

bool Checked(HWND page, int control) { return IsDlgButtonChecked(page, control) == BST_CHECKED; }

void Click(HWND page, int control) { SendDlgItemMessageA(page, control, BM_CLICK, 0, 0); }

void Type(HWND page, int control, const char* text) { SetDlgItemTextA(page, control, text); }

class PropertiesSheet : public ::testing::Test {
protected:
    void SetUp() override {
        saved_ = g_settings;
        FillDefaultSettings(&block_);
        for (int i = 0; i < 20; ++i) block_.savedSysColors[i] = GetSysColor(i);
        g_settings = &block_;
        savedDisplay_ = g_display;
        RefreshDisplayCaps();
        ClearError();
    }
    void TearDown() override {
        g_settings = saved_;
        g_display = savedDisplay_;
    }
    SettingsBlock block_;
    SettingsBlock* saved_ = nullptr;
    DisplayCaps savedDisplay_;
};

std::string ExpectedProcessorLine() {
    SYSTEM_INFO system = {};
    GetSystemInfo(&system);
    const char* names[] = {"Intel", "Mips", "Alpha", "PPC"};
    const char* name =
        system.wProcessorArchitecture < 4 ? names[system.wProcessorArchitecture] : "?";
    return std::to_string(system.dwNumberOfProcessors) + " " + name + " " +
           std::to_string(system.dwProcessorType) + " CPU";
}

}  // namespace

TEST_F(PropertiesSheet, FromAViewerTheInformationPageComesFirstWithThePicturesLines) {
    Image picture(320, 200, 320, 200, nullptr, 8);
    std::strcpy(picture.path, "C:\\Pictures\\CAT.GIF");
    block_.stat.iOpen = 12;
    block_.stat.iSave = 3;
    g_display.width = 1024;
    g_display.height = 768;
    g_display.bitsPerPixel = 16;
    EXPECT_TRUE(RunSheet(&picture, [](HWND sheet) {
        EXPECT_EQ(TextOf(sheet), "Properties for Vantirel");
        EXPECT_EQ(Tabs(sheet), (std::vector<std::string>{"Viewer", "Program", "Options"}));
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        EXPECT_EQ(ControlText(page, 216), "Source: C:\\Pictures\\CAT.GIF");
        EXPECT_EQ(ControlText(page, 215), "Image: 320x200x8");
        EXPECT_EQ(ControlText(page, 214), "Display: 1024x768x16");
        EXPECT_EQ(ControlText(page, 210), "12");
        EXPECT_EQ(ControlText(page, 211), "3");
        EXPECT_EQ(ControlText(page, 213), ExpectedProcessorLine());
        EXPECT_EQ(ControlText(page, 217), "Vantirel v.3.0");
        EXPECT_EQ(Labels(page), (std::vector<std::string>{"Image", "Statistics", "Files opened:",
                                                          "Files saved:", "System"}));
        return true;
    }));
}

TEST_F(PropertiesSheet, TheSystemLineNamesThePlatformAndItsVersion) {
    Image picture(4, 4, 12, 4, nullptr, 24);
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    ASSERT_EQ(version.dwPlatformId, static_cast<DWORD>(VER_PLATFORM_WIN32_NT));
    const std::string expected = "Windows NT v." + std::to_string(version.dwMajorVersion) + "." +
                                 std::to_string(version.dwMinorVersion) + " build " +
                                 std::to_string(version.dwBuildNumber & 0xffff);
    EXPECT_TRUE(RunSheet(&picture, [&](HWND sheet) {
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        EXPECT_EQ(ControlText(page, 212), expected);
        EXPECT_EQ(ControlText(page, 215), "Image: 4x4x24");
        return false;
    }));
}

TEST_F(PropertiesSheet, FromAnIndexWindowTheIndexOptionsComeFirst) {
    block_.idx.bShowDirs = 1;
    block_.idx.bShowSize = 1;
    block_.idx.bShowRes = 0;
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        EXPECT_EQ(Tabs(sheet), (std::vector<std::string>{"Index", "Program", "Options"}));
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        EXPECT_EQ(ControlText(page, 230), "Show directories");
        EXPECT_EQ(ControlText(page, 231), "Show non-image files");
        EXPECT_EQ(ControlText(page, 232), "Show image resolutions");
        EXPECT_EQ(ControlText(page, 233), "Show image file sizes");
        EXPECT_TRUE(Checked(page, 230));
        EXPECT_FALSE(Checked(page, 231));
        EXPECT_FALSE(Checked(page, 232));
        EXPECT_TRUE(Checked(page, 233));
        EXPECT_EQ(ControlText(page, 234), "88");
        EXPECT_EQ(ControlText(page, 235), "66");
        EXPECT_EQ(ControlText(page, 236), "10");
        EXPECT_EQ(Labels(page),
                  (std::vector<std::string>{"Maximum icon size:", "x", "Icon spacing:"}));
        return false;
    }));
}

TEST_F(PropertiesSheet, ThumbnailWidthOfTenIsStoredAsThirtyTwoAndNegativeSpacingAsZero) {
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        Type(page, 234, "10");
        Type(page, 235, "120");
        Type(page, 236, "-4");
        Click(page, 231);
        Click(page, 232);
        return true;
    }));
    EXPECT_EQ(block_.idx.iIconX, 32);
    EXPECT_EQ(block_.idx.iIconY, 120);
    EXPECT_EQ(block_.idx.iIconSpacing, 0);
    EXPECT_EQ(block_.idx.bShowOther, 1);
    EXPECT_EQ(block_.idx.bShowRes, 0);
    EXPECT_EQ(block_.idx.bShowDirs, 0);
}

TEST_F(PropertiesSheet, TextThatIsNotANumberLeavesTheThumbnailSettingAlone) {
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        Type(page, 234, "wide");
        Type(page, 235, "");
        Type(page, 236, "7");
        return true;
    }));
    EXPECT_EQ(block_.idx.iIconX, 88);
    EXPECT_EQ(block_.idx.iIconY, 66);
    EXPECT_EQ(block_.idx.iIconSpacing, 7);
}

TEST_F(PropertiesSheet, EditFieldsTakeAtMostThirtyTwoCharacters) {
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        EXPECT_EQ(SendDlgItemMessageA(page, 236, EM_GETLIMITTEXT, 0, 0), 32);
        return false;
    }));
}

TEST_F(PropertiesSheet, OptionsPageShowsEveryFlagAndApplyStoresTheBoxes) {
    block_.disp.bDither = 1;
    block_.disp.bTitleRes = 1;
    block_.jpeg.bFastUnsubsample = 1;
    Image picture(4, 4, 12, 4, nullptr, 24);
    EXPECT_TRUE(RunSheet(&picture, [](HWND sheet) {
        HWND page = PageAt(sheet, 2);
        EXPECT_EQ(ControlText(page, 220), "Use all colors in 8bit modes (windows becomes b&&w)");
        EXPECT_EQ(ControlText(page, 222), "Use Floyd-Steinberg dithering in 8/4/1bit modes");
        EXPECT_EQ(ControlText(page, 221), "Use fixed palette in 8bit modes ('coexists' better)");
        EXPECT_EQ(ControlText(page, 223), "Use Floyd-Steinberg dithering in 16/15bit modes");
        EXPECT_EQ(ControlText(page, 224), "Run maximized");
        EXPECT_EQ(ControlText(page, 225), "Display resolution in title bar");
        EXPECT_EQ(ControlText(page, 226), "Autosize image to window");
        EXPECT_EQ(ControlText(page, 227), "Fast DCT (lower quality)");
        EXPECT_EQ(ControlText(page, 228), "Fast upsubsample (lower quality)");
        EXPECT_EQ(Labels(page), (std::vector<std::string>{"Color depth conversion", "Miscellaneus",
                                                          "JPEG codec"}));
        EXPECT_FALSE(Checked(page, 220));
        EXPECT_TRUE(Checked(page, 222));
        EXPECT_FALSE(Checked(page, 221));
        EXPECT_FALSE(Checked(page, 223));
        EXPECT_FALSE(Checked(page, 224));
        EXPECT_TRUE(Checked(page, 225));
        EXPECT_FALSE(Checked(page, 226));
        EXPECT_FALSE(Checked(page, 227));
        EXPECT_TRUE(Checked(page, 228));
        for (int control : {221, 222, 223, 224, 225, 226, 227, 228}) Click(page, control);
        return true;
    }));
    EXPECT_EQ(block_.disp.bUseMaxColors, 0);
    EXPECT_EQ(block_.disp.bFixedPalette, 1);
    EXPECT_EQ(block_.disp.bDither, 0);
    EXPECT_EQ(block_.disp.bDither15, 1);
    EXPECT_EQ(block_.disp.bRunMaximized, 1);
    EXPECT_EQ(block_.disp.bTitleRes, 0);
    EXPECT_EQ(block_.disp.bAutoSize, 1);
    EXPECT_EQ(block_.jpeg.bFastDCT, 1);
    EXPECT_EQ(block_.jpeg.bFastUnsubsample, 0);
    EXPECT_EQ(block_.disp.bOpenInfo, 1);  // no box of its own
}

TEST_F(PropertiesSheet, CancelKeepsEverySetting) {
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        HWND index = PropSheet_GetCurrentPageHwnd(sheet);
        Type(index, 234, "200");
        Click(index, 230);
        HWND options = PageAt(sheet, 2);
        Click(options, 226);
        return false;
    }));
    EXPECT_EQ(block_.idx.iIconX, 88);
    EXPECT_EQ(block_.idx.bShowDirs, 0);
    EXPECT_EQ(block_.disp.bAutoSize, 0);
}

TEST_F(PropertiesSheet, ProgramPageOffersUninstallAndTheMakersPage) {
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        HWND page = PageAt(sheet, 1);
        EXPECT_EQ(ControlText(page, 202), "Uninstall...");
        EXPECT_EQ(ControlText(page, 204), "Visit Dravik's WWW site!");
        EXPECT_EQ(Labels(page), (std::vector<std::string>{
                                    "Uninstall:", "Press button to clean up the registry"}));
        return false;
    }));
}

TEST_F(PropertiesSheet, UninstallButtonAsksAndDecliningChangesNothing) {
    wintest::ScriptedAnswers answers({IDNO});
    EXPECT_TRUE(RunSheet(nullptr, [](HWND sheet) {
        Click(PageAt(sheet, 1), 202);
        return false;
    }));
    ASSERT_EQ(answers.asked.size(), 1u);
    EXPECT_EQ(answers.asked[0].caption, "Uninstall - Vantirel");
    EXPECT_EQ(answers.asked[0].text, "Do you really want to uninstall Vantirel?");
    EXPECT_STREQ(g_errorPlace, "");
}

TEST_F(PropertiesSheet, AllColoursModeIsLeftWhileTheSheetIsOpenAndEnteredAgainAfter) {
    block_.disp.bUseMaxColors = 1;
    g_display.paletteDevice = true;
    const COLORREF window = GetSysColor(COLOR_WINDOW);
    const COLORREF buttonFace = GetSysColor(COLOR_BTNFACE);
    EnterAllColoursMode();
    ASSERT_EQ(block_.allColoursRefCount, 1);
    ASSERT_EQ(GetSysColor(COLOR_BTNFACE), RGB(255, 255, 255));  // index 15
    int countWhileOpen = -1;
    COLORREF faceWhileOpen = 0;
    EXPECT_TRUE(RunSheet(nullptr, [&](HWND) {
        countWhileOpen = block_.allColoursRefCount;
        faceWhileOpen = GetSysColor(COLOR_BTNFACE);
        return false;
    }));
    EXPECT_EQ(countWhileOpen, 0);
    EXPECT_EQ(faceWhileOpen, buttonFace);
    EXPECT_EQ(block_.allColoursRefCount, 1);
    EXPECT_EQ(GetSysColor(COLOR_WINDOW), RGB(255, 255, 255));
    LeaveAllColoursMode();
    EXPECT_EQ(GetSysColor(COLOR_WINDOW), window);
}

TEST_F(PropertiesSheet, AllColoursModeTurnedOffInTheSheetIsNotEnteredAgain) {
    block_.disp.bUseMaxColors = 1;
    g_display.paletteDevice = true;
    EnterAllColoursMode();
    Image picture(4, 4, 12, 4, nullptr, 24);
    EXPECT_TRUE(RunSheet(&picture, [](HWND sheet) {
        Click(PageAt(sheet, 2), 220);
        return true;
    }));
    EXPECT_EQ(block_.disp.bUseMaxColors, 0);
    EXPECT_EQ(block_.allColoursRefCount, 0);
}
