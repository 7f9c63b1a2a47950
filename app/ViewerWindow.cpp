#include "app/ViewerWindow.h"

#include <shellapi.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "app/FileDialogs.h"
#include "app/MessagePump.h"
#include "app/ProcessStart.h"
#include "app/Seams.h"
#include "app/SettingsStore.h"
#include "app/ViewerLogic.h"
#include "app/WindowClass.h"
#include "color/ResampleBicubic.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"
#include "core/SaveAs.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "display/DisplayConversion.h"
#include "display/ProgressDialog.h"
#include "formats/SlideShow.h"

namespace {

constexpr char kClassName[] = "VantirelViewWnd";
constexpr DWORD kWindowStyle = WS_OVERLAPPEDWINDOW;
constexpr DWORD kPathBufferSize = 8192;  // room for a multiple selection

struct Viewer {
    HWND window = nullptr;
    std::unique_ptr<Image> picture;  // the decoded picture
    std::unique_ptr<Image> display;  // what is painted
    ViewLayout layout;
    bool dragging = false;
    POINT lastMouse = {};
    HCURSOR cursors[4] = {};  // move-all, move-vertical, move-horizontal, arrow
    bool painting = false;
    bool sizingImage = false;
};

Viewer g_viewer;

void ShowErrorReport() { platform::ShowMessage(g_errorPlace, g_errorText); }

bool HasDisplay() { return g_viewer.display != nullptr; }

void UpdateLayout() {
    if (!HasDisplay()) return;
    g_viewer.layout.displayWidth = g_viewer.display->width;
    g_viewer.layout.displayHeight = g_viewer.display->height;
    ClampLayout(&g_viewer.layout);
}

// Every size change but minimising, and after each pan.
void Resized(int clientWidth, int clientHeight) {
    g_viewer.layout.clientWidth = clientWidth;
    g_viewer.layout.clientHeight = clientHeight;
    if (!HasDisplay()) return;
    UpdateLayout();
    if (g_settings->disp.bAutoSize &&
        (g_viewer.display->width != clientWidth || g_viewer.display->height != clientHeight))
        PostMessageA(g_viewer.window, WM_COMMAND, kCmdSizeImageToWindow, 0);
}

void Redraw() { InvalidateRect(g_viewer.window, nullptr, FALSE); }

void SizeWindowToImage() {
    if (!HasDisplay()) return;
    HWND window = g_viewer.window;
    if (IsZoomed(window)) ShowWindow(window, SW_RESTORE);
    g_viewer.layout.offsetX = 0;
    g_viewer.layout.offsetY = 0;
    RECT frame = {0, 0, g_viewer.display->width, g_viewer.display->height};
    AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongA(window, GWL_STYLE)), FALSE,
                       static_cast<DWORD>(GetWindowLongA(window, GWL_EXSTYLE)));
    SetWindowPos(window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    // A window larger than the screen may have been clipped by the system;
    // the client area is what it is now.
    RECT client;
    GetClientRect(window, &client);
    Resized(client.right, client.bottom);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
}

// Makes a new display image from the picture slot.
bool RebuildDisplay() {
    ProgressDialog progress(g_viewer.picture->fileName, "Converting");
    Image* display = MakeDisplayImage(g_viewer.picture.get(), &progress);
    if (!display) return false;
    g_viewer.display.reset(display);
    UpdateLayout();
    return true;
}

void SetTitle() {
    const Image& picture = *g_viewer.picture;
    const std::string title =
        ViewerTitle(FileNamePart(picture.path), g_settings->disp.bTitleRes != 0,
                    g_viewer.display->width, g_viewer.display->height, picture.depth);
    SetWindowTextA(g_viewer.window, title.c_str());
}

bool LoadPicture(const char* path) {
    const char* name = FileNamePart(path);
    std::unique_ptr<Image> picture;
    std::unique_ptr<Image> display;
    {
        ProgressDialog progress(name, "Opening");
        ImageImpFile imp(path, &progress, true);
        if (!imp.ready) return false;
        picture = std::make_unique<Image>(imp.width, imp.height, imp.stride, imp.rows, imp.palette,
                                          imp.depth);
        if (!Load(&imp, picture.get(), &progress, false)) return false;
        std::strncpy(picture->path, imp.path, sizeof picture->path - 1);
        picture->fileName = FileNamePart(picture->path);
        display.reset(MakeDisplayImage(picture.get(), &progress));
        if (!display) return false;
    }
    g_viewer.picture = std::move(picture);
    g_viewer.display = std::move(display);
    return true;
}

bool OpenPicture(const char* path) {
    if (!LoadPicture(path)) {
        ShowErrorReport();
        return false;
    }
    HWND window = g_viewer.window;
    UpdateLayout();
    SetTitle();
    if (g_settings->disp.bRunMaximized || IsZoomed(window)) {
        if (!IsZoomed(window)) ShowWindow(window, SW_MAXIMIZE);
        RECT client;
        GetClientRect(window, &client);
        Resized(client.right, client.bottom);
        if (IsWindowVisible(window))
            Redraw();
        else
            UpdateWindow(window);
    } else {
        SizeWindowToImage();
    }
    ++g_settings->stat.iOpen;
    return true;
}

void SizeImageToWindow() {
    if (g_viewer.sizingImage || !HasDisplay()) return;
    const int width = g_viewer.layout.clientWidth;
    const int height = g_viewer.layout.clientHeight;
    if (width < 1 || height < 1) return;
    g_viewer.sizingImage = true;
    auto resized = std::make_unique<Image>(width, height, width * 3, height, nullptr, 0);
    bool done;
    {
        ProgressDialog progress(g_viewer.picture->fileName, "Resampling image");
        done = ResampleBicubic(resized.get(), g_viewer.picture.get(), &progress);
    }
    if (done) {
        std::strcpy(resized->label, g_viewer.picture->label);
        std::strcpy(resized->path, g_viewer.picture->path);
        resized->fileName = FileNamePart(resized->path);
        ProgressDialog progress(g_viewer.picture->fileName, "Converting");
        Image* display = MakeDisplayImage(resized.get(), &progress);
        if (display)
            g_viewer.display.reset(display);
        else
            done = false;
    }
    if (!done) ShowErrorReport();
    UpdateLayout();
    Redraw();
    g_viewer.sizingImage = false;
}

void RestoreOriginalSize() {
    if (!HasDisplay()) return;
    if (g_viewer.display->width == g_viewer.picture->width &&
        g_viewer.display->height == g_viewer.picture->height)
        return;
    if (!RebuildDisplay()) {
        ShowErrorReport();
        return;
    }
    SizeWindowToImage();
    Redraw();
}

void UseAsWallpaper() {
    char windows[MAX_PATH] = {};
    GetWindowsDirectoryA(windows, sizeof windows);
    const std::string path = WallpaperPath(windows);
    HCURSOR previous = SetCursor(LoadCursor(nullptr, IDC_WAIT));
    // The displayed picture, as the screen shows it.
    const bool saved =
        SaveAs(0, path.c_str(),
               g_viewer.display->pixels ? g_viewer.display.get() : g_viewer.picture.get());
    if (saved)
        SystemParametersInfoA(SPI_SETDESKWALLPAPER, 0, const_cast<char*>(path.c_str()),
                              SPIF_UPDATEINIFILE);
    else
        ShowErrorReport();
    SetCursor(previous);
}

void DeletePictureFile() {
    Image& picture = *g_viewer.picture;
    if (MessageBoxA(g_viewer.window, "Do you really want to delete this file form the disk?",
                    picture.path, MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2) != IDYES)
        return;
    if (DeleteFileA(picture.path)) {
        std::strcpy(picture.path, "<none>");
        picture.fileName = picture.path;
    } else {
        platform::Warning("Delete failed");
    }
}

void SaveAsCommand() {
    char path[kPathBufferSize] = {};
    std::strncpy(path, g_viewer.picture->path, sizeof path - 1);
    int type = 0;
    if (!SaveImageDialog(g_viewer.window, path, sizeof path, &type)) return;
    if (SaveAs(type, path, g_viewer.picture.get()))
        ++g_settings->stat.iSave;
    else
        ShowErrorReport();
}

// "Spawn new...": every chosen file in a new process. "Load new...": the
// first into this window, the others in new processes.
void OpenFromDialog(bool firstHere) {
    std::vector<char> buffer(kPathBufferSize);
    if (!OpenImageDialog(g_viewer.window, buffer.data(), kPathBufferSize, true)) return;
    const std::vector<std::string> paths = SelectedPaths(buffer.data(), kPathBufferSize);
    for (size_t i = 0; i < paths.size(); ++i)
        OpenInViewer(g_viewer.window, paths[i].c_str(), !(firstHere && i == 0));
}

bool FileStillExists() {
    const Image& picture = *g_viewer.picture;
    return std::strcmp(picture.path, "<none>") != 0 &&
           GetFileAttributesA(picture.path) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

HMENU CreateViewerMenu(const std::vector<MenuItem>& items) {
    HMENU menu = CreatePopupMenu();
    for (const MenuItem& item : items) {
        MENUITEMINFOA info = {};
        info.cbSize = sizeof info;
        if (!item.submenu.empty() || (item.command == 0 && !item.text.empty())) {
            info.fMask = MIIM_STRING | MIIM_SUBMENU;
            info.hSubMenu = CreateViewerMenu(item.submenu);
            info.dwTypeData = const_cast<char*>(item.text.c_str());
        } else if (item.command == 0) {
            info.fMask = MIIM_FTYPE;
            info.fType = MFT_SEPARATOR;
        } else {
            info.fMask = MIIM_STRING | MIIM_ID | MIIM_STATE;
            info.wID = static_cast<UINT>(item.command);
            info.dwTypeData = const_cast<char*>(item.text.c_str());
            info.fState = item.isDefault ? MFS_DEFAULT : 0;
        }
        InsertMenuItemA(menu, GetMenuItemCount(menu), TRUE, &info);
    }
    return menu;
}

void OpenDroppedFiles(HWND window, HDROP drop) {
    const UINT count = DragQueryFileA(drop, 0xFFFFFFFF, nullptr, 0);
    for (UINT i = 0; i < count; ++i) {
        char path[MAX_PATH * 2] = {};
        DragQueryFileA(drop, i, path, sizeof path);
        OpenInViewer(window, path, true);
    }
    DragFinish(drop);
}

void TrackContextMenu(HWND window, const std::vector<MenuItem>& items, int screenX, int screenY) {
    HMENU menu = CreateViewerMenu(items);
    if (screenX == -1 && screenY == -1) {  // from the keyboard
        POINT corner = {0, 0};
        ClientToScreen(window, &corner);
        screenX = corner.x;
        screenY = corner.y;
    }
    TrackPopupMenu(menu, TPM_RIGHTBUTTON, screenX, screenY, 0, window, nullptr);
    DestroyMenu(menu);
}

namespace {

void ShowContextMenu(int screenX, int screenY) {
    if (!HasDisplay()) return;
    MenuState state;
    state.fileExists = FileStillExists();
    state.displayDiffersFromClient = g_viewer.display->width != g_viewer.layout.clientWidth ||
                                     g_viewer.display->height != g_viewer.layout.clientHeight;
    state.displayDiffersFromPicture = g_viewer.display->width != g_viewer.picture->width ||
                                      g_viewer.display->height != g_viewer.picture->height;
    state.dibSections = g_display.dibSections;
    state.maximised = IsZoomed(g_viewer.window) != 0;
    TrackContextMenu(g_viewer.window, BuildViewerMenu(state), screenX, screenY);
}

void DoubleClick() {
    if (IsZoomed(g_viewer.window))
        SizeWindowToImage();
    else
        ShowWindow(g_viewer.window, SW_MAXIMIZE);
}

void Command(int command) {
    if (!HasDisplay()) return;
    switch (command) {
        case kCmdSaveAs:
            SaveAsCommand();
            break;
        case kCmdDeleteFile:
            DeletePictureFile();
            break;
        case kCmdCopyToClipboard:
            if (!vte_Clipboard(g_viewer.window, g_viewer.picture.get())) ShowErrorReport();
            break;
        case kCmdPrint:
            if (!vte_Printer(g_viewer.window, g_viewer.picture.get())) ShowErrorReport();
            break;
        case kCmdSizeWindowToImage:
            SizeWindowToImage();
            break;
        case kCmdSizeImageToWindow:
            SizeImageToWindow();
            break;
        case kCmdRestoreOriginalSize:
            RestoreOriginalSize();
            break;
        case kCmdWallpaper:
            UseAsWallpaper();
            break;
        case kCmdSpawnNew:
            OpenFromDialog(false);
            break;
        case kCmdLoadNew:
            OpenFromDialog(true);
            break;
        case kCmdRestoreWindow:
            DoubleClick();
            break;
        case kCmdCloseWindow:
            PostMessageA(g_viewer.window, WM_CLOSE, 0, 0);
            break;
        case kCmdProperties:
            if (!ShowPropertiesSheet(g_viewer.window, g_viewer.picture.get())) ShowErrorReport();
            break;
        case kCmdHelp:
            WinHelpA(g_viewer.window, g_settings->helpPath, HELP_CONTENTS, 0);
            break;
    }
}

void Paint() {
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(g_viewer.window, &paint);
    if (HasDisplay() && !g_viewer.painting) {
        g_viewer.painting = true;
        const ViewLayout& layout = g_viewer.layout;
        HBRUSH black = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
        const int right = layout.leftBorder + layout.displayWidth;
        const int bottom = layout.topBorder + layout.displayHeight;
        if (layout.leftBorder > 0) {
            RECT left = {0, 0, layout.leftBorder, layout.clientHeight};
            RECT rightStrip = {right, 0, layout.clientWidth, layout.clientHeight};
            FillRect(dc, &left, black);
            FillRect(dc, &rightStrip, black);
        }
        if (layout.topBorder > 0) {
            RECT top = {0, 0, layout.clientWidth, layout.topBorder};
            RECT bottomStrip = {0, bottom, layout.clientWidth, layout.clientHeight};
            FillRect(dc, &top, black);
            FillRect(dc, &bottomStrip, black);
        }
        g_viewer.display->Hook(dc);
        const int width =
            layout.displayWidth < layout.clientWidth ? layout.displayWidth : layout.clientWidth;
        const int height =
            layout.displayHeight < layout.clientHeight ? layout.displayHeight : layout.clientHeight;
        g_viewer.display->Draw(dc, layout.offsetX, layout.offsetY, layout.leftBorder,
                               layout.topBorder, width, height);
        g_viewer.painting = false;
    }
    EndPaint(g_viewer.window, &paint);
}

void Pan(PanKey key) {
    ApplyPanKey(&g_viewer.layout, key);
    Redraw();
}

bool KeyDown(WPARAM key) {
    switch (key) {
        case VK_ESCAPE:
            PostMessageA(g_viewer.window, WM_CLOSE, 0, 0);
            return true;
        case VK_PRIOR:
            Pan(PanKey::PageUp);
            return true;
        case VK_NEXT:
            Pan(PanKey::PageDown);
            return true;
        case VK_END:
            Pan(PanKey::End);
            return true;
        case VK_HOME:
            Pan(PanKey::Home);
            return true;
        case VK_LEFT:
            Pan(PanKey::Left);
            return true;
        case VK_UP:
            Pan(PanKey::Up);
            return true;
        case VK_RIGHT:
            Pan(PanKey::Right);
            return true;
        case VK_DOWN:
            Pan(PanKey::Down);
            return true;
    }
    return false;
}

void DisplayModeChanged() {
    const int bits = g_display.bitsPerPixel;
    RefreshDisplayCaps();
    if (!HasDisplay()) return;
    if (bits != g_display.bitsPerPixel && !RebuildDisplay()) ShowErrorReport();
    SizeWindowToImage();
    Redraw();
}

LRESULT CALLBACK ViewerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CREATE:
            g_viewer.window = window;
            g_viewer.cursors[0] = LoadCursor(nullptr, IDC_SIZEALL);
            g_viewer.cursors[1] = LoadCursor(nullptr, IDC_SIZENS);
            g_viewer.cursors[2] = LoadCursor(nullptr, IDC_SIZEWE);
            g_viewer.cursors[3] = LoadCursor(nullptr, IDC_ARROW);
            EnterAllColoursMode();
            DragAcceptFiles(window, TRUE);
            return 0;
        case WM_DESTROY:
            LeaveAllColoursMode();
            DragAcceptFiles(window, FALSE);
            // The cursors are shared system cursors: nothing to free.
            g_viewer.display.reset();
            g_viewer.picture.reset();
            WinHelpA(window, g_settings->helpPath, HELP_QUIT, 0);
            PostQuitMessage(0);
            return 0;
        case WM_SIZE:
            if (wParam != SIZE_MINIMIZED) {
                Resized(LOWORD(lParam), HIWORD(lParam));
                Redraw();
            }
            return 0;
        case WM_GETMINMAXINFO: {
            auto* info = reinterpret_cast<MINMAXINFO*>(lParam);
            const WindowLimits limits =
                ViewerWindowLimits(g_display.width, g_display.height, GetSystemMetrics(SM_CXFRAME),
                                   GetSystemMetrics(SM_CYFRAME), GetSystemMetrics(SM_CYCAPTION),
                                   GetSystemMetrics(SM_CYMENU));
            info->ptMaxSize.x = info->ptMaxTrackSize.x = limits.width;
            info->ptMaxSize.y = info->ptMaxTrackSize.y = limits.height;
            info->ptMaxPosition.x = limits.x;
            info->ptMaxPosition.y = limits.y;
            return 0;
        }
        case WM_PAINT:
            Paint();
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_CONTEXTMENU:
            ShowContextMenu(static_cast<short>(LOWORD(lParam)), static_cast<short>(HIWORD(lParam)));
            return 0;
        case WM_COMMAND:
            Command(LOWORD(wParam));
            return 0;
        case WM_KEYDOWN:
            if (KeyDown(wParam)) return 0;
            break;
        case WM_LBUTTONDOWN:
            SetCapture(window);
            g_viewer.dragging = true;
            GetCursorPos(&g_viewer.lastMouse);
            return 0;
        case WM_MOUSEMOVE:
            if (g_viewer.dragging) {
                POINT now;
                GetCursorPos(&now);
                ApplyDrag(&g_viewer.layout, g_viewer.lastMouse.x, g_viewer.lastMouse.y, now.x,
                          now.y);
                g_viewer.lastMouse = now;
                Redraw();
            }
            return 0;
        case WM_LBUTTONUP:
            if (g_viewer.dragging) {
                g_viewer.dragging = false;
                ReleaseCapture();
            }
            return 0;
        case WM_LBUTTONDBLCLK:
            DoubleClick();
            return 0;
        case WM_SETCURSOR:
            if (LOWORD(lParam) == HTCLIENT) {
                SetCursor(g_viewer.cursors[static_cast<int>(CursorFor(g_viewer.layout))]);
                return TRUE;
            }
            break;
        case WM_DROPFILES:
            OpenDroppedFiles(window, reinterpret_cast<HDROP>(wParam));
            return 0;
        case WM_DISPLAYCHANGE:
            DisplayModeChanged();
            return 0;
        case WM_PALETTECHANGED:
            if (reinterpret_cast<HWND>(wParam) != window) Redraw();
            return 0;
        case WM_QUERYNEWPALETTE:
            Redraw();
            return TRUE;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}

// No class cursor: the window shows in which directions the picture pans.
bool RegisterViewerClass(HINSTANCE instance) {
    return RegisterProgramClass(
        instance, kClassName, ViewerProc,
        CS_DBLCLKS | CS_HREDRAW | CS_VREDRAW | CS_CLASSDC | CS_BYTEALIGNCLIENT, nullptr);
}

// What a slide show does with the viewer window it plays in.
class ViewerSlideShowHost : public SlideShowHost {
public:
    void Display(const std::string& file) override {
        OpenInViewer(g_viewer.window, file.c_str(), false);
    }
    void PumpMessages() override { ::PumpMessages(); }
    void SleepHalfSecond() override { Sleep(500); }
    bool WindowExists() override { return IsWindow(g_viewer.window) != 0; }
    // (ShellExecute is a macro of the Windows headers: the name becomes
    // ShellExecuteA here and in the base class alike.)
    void ShellExecute(const std::string& verb, const std::string& file) override {
        ::ShellExecuteA(g_viewer.window, verb.c_str(), file.c_str(), nullptr, "", SW_SHOWNORMAL);
    }
    void StartProcess(const std::string& command, const std::string& argument) override {
        ::StartProcess(command.c_str(), argument.c_str());
    }
    void CloseWindow() override {
        if (IsWindow(g_viewer.window)) DestroyWindow(g_viewer.window);
    }
};

}  // namespace

namespace {
bool g_indexProcess = false;
}  // namespace

void MarkIndexProcess() { g_indexProcess = true; }

bool OpenInViewer(HWND window, const char* path, bool spawn) {
    (void)window;
    if (IsSlideShowPath(path)) {
        // The index window has no viewer to play in: the show gets a process
        // of its own, its path given as it stands.
        if (g_indexProcess) return OpenSlideShowInNewProcess(path);
        ViewerSlideShowHost host;
        if (PlaySlideShow(path, &host)) return true;
        ShowErrorReport();
        return false;
    }
    if (spawn) return OpenInNewProcess(path);
    return OpenPicture(path);
}

void ViewerMain(HINSTANCE instance, const char* path) {
    if (!RegisterViewerClass(instance)) platform::FatalExit("EXIT: RegisterClassEx() failed");
    HWND window = CreateWindowExA(0, kClassName, "Vantirel", kWindowStyle, CW_USEDEFAULT,
                                  CW_USEDEFAULT, 64, 0, nullptr, nullptr, instance, nullptr);
    if (!window) platform::FatalExit("EXIT: CreateWindowEx() failed");
    DragAcceptFiles(window, TRUE);

    std::vector<char> chosen(kPathBufferSize);
    bool opened = false;
    if (path) {
        opened = OpenInViewer(window, path, false);
    } else if (OpenImageDialog(window, chosen.data(), kPathBufferSize, false)) {
        opened = OpenInViewer(window, chosen.data(), false);
    }
    if (!opened) {
        DestroyWindow(window);
        UnregisterClassA(kClassName, instance);
        return;
    }
    MSG message;
    while (GetMessageA(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
}
