#include "app/IndexWindow.h"

#include <shellapi.h>
#include <windowsx.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "app/FileDialogs.h"
#include "app/MessagePump.h"
#include "app/ProcessStart.h"
#include "app/Resource.h"
#include "app/Seams.h"
#include "app/SettingsStore.h"
#include "app/ViewerWindow.h"
#include "app/WindowClass.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "display/DisplayConversion.h"
#include "display/ProgressDialog.h"

namespace {

constexpr char kClassName[] = "VantirelIndexWnd";
constexpr DWORD kWindowStyle = WS_OVERLAPPEDWINDOW | WS_VSCROLL | WS_VISIBLE;
constexpr DWORD kPathBufferSize = 8192;  // room for a multiple selection
constexpr COLORREF kWhite = RGB(255, 255, 255);
constexpr COLORREF kGrey = RGB(128, 128, 128);
constexpr COLORREF kLightGrey = RGB(192, 192, 192);

// The state of the one index window of this process.
struct IndexState {
    HWND window = nullptr;
    char directory[kIndexPathSize] = {};  // without a trailing backslash
    IndexList entries;
    HFONT font = nullptr;
    int textHeight = 0;
    int builtIconX = 0;  // the thumbnail size of the last build
    int builtIconY = 0;
    // The layout of the last paint.
    IndexMetrics metrics;
    int columns = 1;
    int rows = 0;
    int clientWidth = 0;
    int clientHeight = 0;
    int scroll = 0;
    bool building = false;
    bool painting = false;
    bool recreatePosted = false;
    bool buttonPressed = false;  // the left button went down in this window
    int pressedNumber = -1;
};

IndexState g_index;

void ShowErrorReport() { platform::ShowMessage(g_errorPlace, g_errorText); }

void FillRectangle(HDC dc, int left, int top, int right, int bottom, COLORREF colour) {
    if (right <= left || bottom <= top) return;
    const RECT area = {left, top, right, bottom};
    HBRUSH brush = CreateSolidBrush(colour);
    FillRect(dc, &area, brush);
    DeleteObject(brush);
}

void DrawPolyline(HDC dc, const POINT* points, int count, COLORREF colour) {
    HPEN pen = CreatePen(PS_SOLID, 1, colour);
    HGDIOBJ previous = SelectObject(dc, pen);
    Polyline(dc, points, count);
    SelectObject(dc, previous);
    DeleteObject(pen);
}

void ReleaseIconHandle(void* icon) { DestroyIcon(static_cast<HICON>(icon)); }

IndexMetrics CurrentMetrics(int textHeight) {
    const SettingsBlock& settings = *g_settings;
    return MakeIndexMetrics(settings.idx.iIconX, settings.idx.iIconY, settings.idx.iIconSpacing,
                            textHeight, settings.idx.bShowRes != 0, settings.idx.bShowSize != 0);
}

// Draws entry `number` at once, outside painting (pressed while it is being
// made or clicked), with the layout of the last paint.
void DrawEntryCell(int number, bool pressed) {
    IndexEntry* entry = g_index.entries.At(number);
    if (!entry || g_index.columns < 1) return;
    HDC dc = GetDC(g_index.window);
    PaintIndexCell(entry, dc, g_index.font, number % g_index.columns, number / g_index.columns,
                   g_index.metrics, g_index.scroll, 0, g_index.clientHeight, pressed);
    ReleaseDC(g_index.window, dc);
}

void RepaintNow() {
    InvalidateRect(g_index.window, nullptr, FALSE);
    UpdateWindow(g_index.window);
}

// The window keeps its top-left corner and takes the size that shows every
// cell.
void SizeWindowToGrid() {
    HWND window = g_index.window;
    RECT client;
    GetClientRect(window, &client);
    const IndexMetrics metrics = CurrentMetrics(g_index.textHeight);
    const int columns = IndexColumns(client.right, IndexCellWidth(metrics));
    const int rows = IndexRows(g_index.entries.Count(), columns);
    int width = 0;
    int height = 0;
    IndexFitClientSize(columns, rows, metrics, &width, &height);
    // Without the scroll bar the grid fits; the next paint shows it again if
    // the window could not be made that tall.
    ShowScrollBar(window, SB_VERT, FALSE);
    RECT frame = {0, 0, width, height};
    AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongA(window, GWL_STYLE)), FALSE,
                       static_cast<DWORD>(GetWindowLongA(window, GWL_EXSTYLE)));
    SetWindowPos(window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

// Reads the directory again and makes every thumbnail, keeping the window
// alive between entries.
void Recreate() {
    g_index.recreatePosted = false;
    if (g_index.building) return;
    g_index.building = true;
    HWND window = g_index.window;
    {
        ProgressDialog progress("Creating index", "Reading directory");
        // A root is kept as "C:"; made current it needs its backslash.
        std::string directory = g_index.directory;
        if (directory.empty() || directory.back() == ':') directory += '\\';
        SetCurrentDirectoryA(directory.c_str());
        ScanIndexDirectory(&g_index.entries, g_settings->idx.bShowDirs != 0);
        g_index.builtIconX = g_settings->idx.iIconX;
        g_index.builtIconY = g_settings->idx.iIconY;
        const IndexMetrics built = CurrentMetrics(g_index.textHeight);
        RepaintNow();

        int number = 0;
        for (IndexList::iterator entry = g_index.entries.begin(); entry != g_index.entries.end();) {
            PumpMessages();
            // Closing the window freed the list.
            if (!IsWindow(window)) return;
            DrawEntryCell(number, true);
            MakeIndexThumbnail(&*entry, built.iconX, built.iconY);
            progress.SetProgress(number + 1, g_index.entries.Count());
            if (!g_settings->idx.bShowOther && entry->kind == kIndexOther) {
                // Later entries move up.
                entry = g_index.entries.Remove(entry);
                RepaintNow();
            } else {
                DrawEntryCell(number, false);
                ++entry;
                ++number;
            }
        }
    }
    if (!IsZoomed(window) && !IsIconic(window)) SizeWindowToGrid();
    g_index.building = false;
    // The thumbnail size changed while this build ran: the next one follows.
    if (g_settings->idx.iIconX != g_index.builtIconX ||
        g_settings->idx.iIconY != g_index.builtIconY)
        InvalidateRect(window, nullptr, FALSE);
}

void PaintGrid(HDC dc, const RECT& band) {
    HWND window = g_index.window;
    const IndexMetrics metrics = CurrentMetrics(g_index.textHeight);
    const int cellWidth = IndexCellWidth(metrics);
    const int cellHeight = IndexCellHeight(metrics);
    const int count = g_index.entries.Count();

    RECT client;
    GetClientRect(window, &client);
    int columns = IndexColumns(client.right, cellWidth);
    int rows = IndexRows(count, columns);
    if (rows * cellHeight <= client.bottom) {
        g_index.scroll = 0;
        SCROLLINFO none = {};
        none.cbSize = sizeof none;
        none.fMask = SIF_RANGE | SIF_POS;
        SetScrollInfo(window, SB_VERT, &none, TRUE);
        ShowScrollBar(window, SB_VERT, FALSE);
    } else {
        SCROLLINFO info = {};
        info.cbSize = sizeof info;
        info.fMask = SIF_RANGE | SIF_PAGE | SIF_POS;
        info.nMin = 0;
        info.nMax = rows * cellHeight;
        info.nPage = static_cast<UINT>(client.bottom);
        info.nPos = g_index.scroll;
        SetScrollInfo(window, SB_VERT, &info, TRUE);
        ShowScrollBar(window, SB_VERT, TRUE);
    }
    // The scroll bar may have changed the client area.
    GetClientRect(window, &client);
    columns = IndexColumns(client.right, cellWidth);
    rows = IndexRows(count, columns);
    if (rows * cellHeight > client.bottom)
        g_index.scroll = ClampIndexScroll(g_index.scroll, rows, cellHeight, client.bottom);
    g_index.metrics = metrics;
    g_index.columns = columns;
    g_index.rows = rows;
    g_index.clientWidth = client.right;
    g_index.clientHeight = client.bottom;
    const int scroll = g_index.scroll;

    // Margins left of and above the grid, and the strip right of the last
    // column.
    const int gridLeft = metrics.spacing - 1;
    const int gridTop = metrics.spacing - 1 - scroll;
    const int gridRight = gridLeft + columns * cellWidth;
    FillRectangle(dc, 0, 0, gridLeft, client.bottom, kWhite);
    FillRectangle(dc, 0, 0, client.right, gridTop, kWhite);
    FillRectangle(dc, gridRight, 0, client.right, client.bottom, kWhite);

    // Cells in order, white past the last entry, until a row reaches below
    // the band.
    IndexList::iterator entry = g_index.entries.begin();
    for (int row = 0;; ++row) {
        for (int column = 0; column < columns; ++column) {
            const IndexEntry* current = nullptr;
            if (entry != g_index.entries.end()) current = &*entry++;
            PaintIndexCell(current, dc, g_index.font, column, row, metrics, scroll, band.top,
                           band.bottom, false);
        }
        const IndexBox cell = IndexCell(0, row, metrics, scroll);
        if (cell.top + cell.height >= band.bottom) break;
    }
}

void Paint() {
    HWND window = g_index.window;
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(window, &paint);
    if (!IsIconic(window)) {
        if (g_settings->idx.iIconX != g_index.builtIconX ||
            g_settings->idx.iIconY != g_index.builtIconY) {
            // The thumbnail size changed (another window's properties): the
            // index is built again instead.
            if (!g_index.recreatePosted && !g_index.building) {
                g_index.recreatePosted = true;
                PostMessageA(window, WM_COMMAND, kIdxCmdRecreate, 0);
            }
        } else if (!g_index.painting) {
            g_index.painting = true;
            PaintGrid(dc, paint.rcPaint);
            g_index.painting = false;
        }
    }
    EndPaint(window, &paint);
}

void ScrollBy(IndexScroll action, int thumb = 0) {
    const int cellHeight = IndexCellHeight(g_index.metrics);
    g_index.scroll = IndexScrollPosition(action, g_index.scroll, thumb, g_index.rows, cellHeight,
                                         g_index.clientHeight);
    SetScrollPos(g_index.window, SB_VERT, g_index.scroll, TRUE);
    RepaintNow();
}

void VerticalScroll(int request) {
    switch (request) {
        case SB_LINEUP:
            ScrollBy(IndexScroll::LineUp);
            break;
        case SB_LINEDOWN:
            ScrollBy(IndexScroll::LineDown);
            break;
        case SB_PAGEUP:
            ScrollBy(IndexScroll::PageUp);
            break;
        case SB_PAGEDOWN:
            ScrollBy(IndexScroll::PageDown);
            break;
        case SB_THUMBTRACK:
        case SB_THUMBPOSITION: {
            SCROLLINFO info = {};
            info.cbSize = sizeof info;
            info.fMask = SIF_TRACKPOS;
            GetScrollInfo(g_index.window, SB_VERT, &info);
            ScrollBy(IndexScroll::Thumb, info.nTrackPos);
            break;
        }
        case SB_TOP:
            ScrollBy(IndexScroll::Top);
            break;
        case SB_BOTTOM:
            ScrollBy(IndexScroll::Bottom);
            break;
    }
}

bool KeyDown(WPARAM key) {
    switch (key) {
        case VK_PRIOR:
            ScrollBy(IndexScroll::PageUp);
            return true;
        case VK_NEXT:
            ScrollBy(IndexScroll::PageDown);
            return true;
        case VK_HOME:
            ScrollBy(IndexScroll::Top);
            return true;
        case VK_END:
            ScrollBy(IndexScroll::Bottom);
            return true;
        case VK_ESCAPE:
            PostMessageA(g_index.window, WM_CLOSE, 0, 0);
            return true;
    }
    return false;
}

int HitTest(int x, int y) {
    return IndexHitTest(x, y, g_index.scroll, g_index.metrics, g_index.columns,
                        g_index.entries.Count());
}

void ButtonDown(int x, int y) {
    g_index.buttonPressed = true;
    SetCapture(g_index.window);
    g_index.pressedNumber = HitTest(x, y);
    if (g_index.pressedNumber >= 0) DrawEntryCell(g_index.pressedNumber, true);
}

void ButtonUp(int x, int y) {
    if (!g_index.buttonPressed) return;
    g_index.buttonPressed = false;
    ReleaseCapture();
    // Released outside the window (the mouse was captured): nothing opens.
    const bool inside = x >= 0 && y >= 0 && x < g_index.clientWidth && y < g_index.clientHeight;
    const int number = inside ? HitTest(x, y) : -1;
    if (g_index.pressedNumber >= 0 && g_index.pressedNumber != number)
        DrawEntryCell(g_index.pressedNumber, false);
    g_index.pressedNumber = -1;
    if (number < 0) return;
    // Released over another cell than the press: that one opens.
    OpenIndexEntry(*g_index.entries.At(number));
    DrawEntryCell(number, false);
}

void SpawnViewers() {
    std::vector<char> buffer(kPathBufferSize);
    if (!OpenImageDialog(g_index.window, buffer.data(), kPathBufferSize, true)) return;
    for (const std::string& path : SelectedPaths(buffer.data(), kPathBufferSize))
        OpenInViewer(g_index.window, path.c_str(), true);
}

void Command(int command) {
    switch (command) {
        case kIdxCmdSpawnViewer:
            SpawnViewers();
            break;
        case kIdxCmdProperties:
            if (!ShowPropertiesSheet(g_index.window, nullptr)) ShowErrorReport();
            break;
        case kIdxCmdRecreate:
            Recreate();
            break;
        case kIdxCmdHelp:
            WinHelpA(g_index.window, g_settings->helpPath, HELP_CONTENTS, 0);
            break;
    }
}

LRESULT CALLBACK IndexProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CREATE: {
            g_index.window = window;
            g_index.font = CreateIndexLabelFont();
            HDC dc = GetDC(window);
            g_index.textHeight = IndexTextHeight(dc, g_index.font);
            ReleaseDC(window, dc);
            g_index.scroll = 0;
            EnterAllColoursMode();
            DragAcceptFiles(window, TRUE);
            g_index.builtIconX = g_settings->idx.iIconX;
            g_index.builtIconY = g_settings->idx.iIconY;
            g_index.recreatePosted = true;
            PostMessageA(window, WM_COMMAND, kIdxCmdRecreate, 0);
            return 0;
        }
        case WM_DESTROY:
            g_index.entries.Clear();
            if (g_index.font) DeleteObject(g_index.font);
            g_index.font = nullptr;
            LeaveAllColoursMode();
            DragAcceptFiles(window, FALSE);
            WinHelpA(window, g_settings->helpPath, HELP_QUIT, 0);
            PostQuitMessage(0);
            return 0;
        case WM_SIZE:
            if (wParam != SIZE_MINIMIZED) InvalidateRect(window, nullptr, FALSE);
            return 0;
        case WM_PAINT:
            Paint();
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_VSCROLL:
            VerticalScroll(LOWORD(wParam));
            return 0;
        case WM_KEYDOWN:
            if (KeyDown(wParam)) return 0;
            break;
        case WM_LBUTTONDOWN:
            ButtonDown(GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam));
            return 0;
        case WM_LBUTTONUP:
            ButtonUp(GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam));
            return 0;
        case WM_CONTEXTMENU:
            TrackContextMenu(g_index.window, BuildIndexMenu(), GET_X_LPARAM(lParam),
                             GET_Y_LPARAM(lParam));
            return 0;
        case WM_COMMAND:
            Command(LOWORD(wParam));
            return 0;
        case WM_DROPFILES:
            OpenDroppedFiles(window, reinterpret_cast<HDROP>(wParam));
            return 0;
        case WM_DISPLAYCHANGE:
            RefreshDisplayCaps();
            return 0;
        case WM_PALETTECHANGED:
            if (reinterpret_cast<HWND>(wParam) != window) InvalidateRect(window, nullptr, FALSE);
            return 0;
        case WM_QUERYNEWPALETTE:
            InvalidateRect(window, nullptr, FALSE);
            return TRUE;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}

bool RegisterIndexClass(HINSTANCE instance) {
    return RegisterProgramClass(instance, kClassName, IndexProc, CS_DBLCLKS | CS_BYTEALIGNCLIENT,
                                LoadCursor(nullptr, IDC_ARROW));
}

}  // namespace

int ScanIndexDirectory(IndexList* list, bool showDirectories) {
    list->Clear();
    char current[MAX_PATH * 2] = {};
    const DWORD length = GetCurrentDirectoryA(sizeof current, current);
    std::string directory = length == 0 || length >= sizeof current ? "\\" : current;
    if (directory.back() != '\\') directory += '\\';

    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA((directory + "*.*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return 0;
    do {
        if (std::strcmp(found.cFileName, ".") == 0) continue;
        const bool isDirectory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (isDirectory && !showDirectories) continue;
        list->Insert(directory + found.cFileName, isDirectory, found.nFileSizeLow);
    } while (FindNextFileA(search, &found));
    FindClose(search);
    return list->Count();
}

void MakeIndexThumbnail(IndexEntry* entry, int iconX, int iconY) {
    ProgressDialog progress(entry->FileName(), "");
    if (entry->kind == kIndexOther) {
        ImageImpFile imp(entry->path, &progress, true);
        if (imp.ready) {
            entry->kind = kIndexPicture;
            entry->width = imp.width;
            entry->height = imp.height;
            entry->depth = imp.depth;
            int width = 0;
            int height = 0;
            FitThumbnail(imp.width, imp.height, iconX, iconY, &width, &height);
            // Loading into a new image decodes (reduced where the reader
            // offers it) and resamples into the thumbnail.
            Image thumbnail(width, height, 3 * width, height, nullptr, 24);
            if (Load(&imp, &thumbnail, &progress, true))
                entry->display.reset(MakeDisplayImage(&thumbnail, &progress));
        }
    }
    if (entry->display) return;

    // Directories, other files and pictures that did not load show the
    // shell's icon; ".." asks for "." to get the folder's.
    char path[MAX_PATH * 2] = {};
    std::strncpy(path, std::strcmp(entry->FileName(), "..") == 0 ? "." : entry->path,
                 sizeof path - 1);
    WORD iconIndex = 0;
    HICON icon = ExtractAssociatedIconA(GetModuleHandleA(nullptr), path, &iconIndex);
    if (!icon) {
        // Some shells find no associated icon where the item still has one
        // of its own (a folder, a document).
        SHFILEINFOA info = {};
        if (SHGetFileInfoA(entry->path, 0, &info, sizeof info, SHGFI_ICON | SHGFI_LARGEICON))
            icon = info.hIcon;
    }
    if (icon)
        entry->SetIcon(icon, ReleaseIconHandle);
    else  // the shared stock icon is not the entry's to release
        entry->SetIcon(LoadIcon(nullptr, IDI_APPLICATION), nullptr);
    entry->width = GetSystemMetrics(SM_CXICON);
    entry->height = GetSystemMetrics(SM_CYICON);
    entry->depth = 4;
}

HFONT CreateIndexLabelFont() {
    return CreateFontA(13, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, ANSI_CHARSET, OUT_RASTER_PRECIS,
                       CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, "arial");
}

int IndexTextHeight(HDC deviceContext, HFONT font) {
    HGDIOBJ previous = SelectObject(deviceContext, font);
    SIZE size = {};
    GetTextExtentPoint32A(deviceContext, "Jj", 2, &size);
    SelectObject(deviceContext, previous);
    return size.cy;
}

void PaintIndexCell(const IndexEntry* entry, HDC dc, HFONT font, int column, int row,
                    const IndexMetrics& metrics, int scroll, int visibleTop, int visibleBottom,
                    bool pressed) {
    const IndexBox cell = IndexCell(column, row, metrics, scroll);
    const int cellRight = cell.left + cell.width;
    const int cellBottom = cell.top + cell.height;
    if (cell.top >= visibleBottom || cellBottom <= visibleTop) return;
    if (!entry) {
        FillRectangle(dc, cell.left, cell.top, cellRight, cellBottom, kWhite);
        return;
    }

    // The frame lies 3 pixels outside the box, the bevel between them.
    const int boxLeft = cell.left + 3;
    const int boxTop = cell.top + 3;
    const int boxRight = boxLeft + metrics.iconX;
    const int boxBottom = boxTop + metrics.iconY;
    const int frameRight = boxRight + 3;  // exclusive
    const int frameBottom = boxBottom + 3;
    FillRectangle(dc, frameRight, cell.top, cellRight, cellBottom, kWhite);
    FillRectangle(dc, cell.left, frameBottom, frameRight, cellBottom, kWhite);

    const RECT frame = {cell.left, cell.top, frameRight, frameBottom};
    FrameRect(dc, &frame, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    // Two L shapes each, outer and inner ring: light at the top and left,
    // dark at the bottom and right (exchanged when pressed).
    const int l = cell.left + 1;
    const int t = cell.top + 1;
    const int r = frameRight - 2;  // the outer ring's right column
    const int b = frameBottom - 2;
    const POINT light[6] = {{l, b}, {l, t}, {r, t}, {r - 1, t + 1}, {l + 1, t + 1}, {l + 1, b}};
    const POINT dark[6] = {{l + 1, b},     {r, b},         {r, t},
                           {r - 1, t + 1}, {r - 1, b - 1}, {l + 1, b - 1}};
    DrawPolyline(dc, light, 6, pressed ? kGrey : kWhite);
    DrawPolyline(dc, dark, 6, pressed ? kWhite : kGrey);

    FillRectangle(dc, boxLeft, boxTop, boxRight, boxBottom, kLightGrey);
    const int width = entry->display ? entry->display->width : entry->width;
    const int height = entry->display ? entry->display->height : entry->height;
    const int x = boxLeft + (metrics.iconX - width) / 2;
    const int y = boxTop + (metrics.iconY - height) / 2;
    if (entry->display || entry->icon) {
        const int saved = SaveDC(dc);
        IntersectClipRect(dc, boxLeft, boxTop, boxRight, boxBottom);
        if (entry->display) {
            entry->display->Hook(dc);
            entry->display->Draw(dc, 0, 0, x, y, width, height);
        } else {
            DrawIcon(dc, x, y, static_cast<HICON>(entry->icon));
        }
        RestoreDC(dc, saved);
    }

    // The label starts at the frame's left edge, 4 pixels below it.
    const std::string label = IndexLabel(*entry, metrics.showRes, metrics.showSize);
    RECT text = {cell.left, frameBottom + 4, cellRight, cellBottom};
    HGDIOBJ previousFont = SelectObject(dc, font);
    const int previousMode = SetBkMode(dc, TRANSPARENT);
    const COLORREF previousColour = SetTextColor(dc, RGB(0, 0, 0));
    DrawTextA(dc, label.c_str(), -1, &text, DT_LEFT | DT_TOP | DT_NOPREFIX);
    SetTextColor(dc, previousColour);
    SetBkMode(dc, previousMode);
    SelectObject(dc, previousFont);
}

bool OpenIndexEntry(const IndexEntry& entry) {
    switch (entry.kind) {
        case kIndexDirectory: {
            const std::string argument = IndexArgumentFor(entry.path);
            if (StartProcess(g_settings->programPath, argument.c_str())) return true;
            platform::Warning("Couldn't execute Vantirel.EXE");
            return false;
        }
        case kIndexPicture:
            return OpenInNewProcess(entry.path);
        default:
            return reinterpret_cast<INT_PTR>(
                       ShellExecuteA(nullptr, "open", entry.path, nullptr, "", SW_SHOWNORMAL)) > 32;
    }
}

void IndexWindowMain(HINSTANCE instance, const char* path) {
    MarkIndexProcess();
    // "index.vti" only names the directory it is in.
    const std::string directory = IndexDirectoryOf(path);
    if (!directory.empty()) SetCurrentDirectoryA(directory.c_str());
    char current[kIndexPathSize] = {};
    const DWORD length = GetCurrentDirectoryA(sizeof current, current);
    if (length == 0 || length >= sizeof current) std::strcpy(current, "\\");
    const size_t end = std::strlen(current);
    if (end > 0 && current[end - 1] == '\\') current[end - 1] = '\0';
    std::strcpy(g_index.directory, current);

    if (!RegisterIndexClass(instance)) platform::FatalExit("EXIT: RegisterClassEx() failed");
    const std::string title = IndexTitle(g_index.directory);
    HWND window = CreateWindowExA(WS_EX_ACCEPTFILES, kClassName, title.c_str(), kWindowStyle,
                                  CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                  nullptr, nullptr, instance, nullptr);
    if (!window) platform::FatalExit("EXIT: CreateWindowEx() failed");
    MSG message;
    while (GetMessageA(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
    UnregisterClassA(kClassName, instance);
}
