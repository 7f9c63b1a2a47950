// The viewer window's arithmetic and rules that need no window: borders and
// pan offsets, keys, the title, the context menu's contents and the window
// limits. Portable so they are tested natively.
#pragma once
#include <string>
#include <vector>

struct ViewLayout {
    int clientWidth = 0;
    int clientHeight = 0;
    int displayWidth = 0;
    int displayHeight = 0;
    int leftBorder = 0;
    int topBorder = 0;
    int offsetX = 0;  // how far the picture is shifted left
    int offsetY = 0;  // how far the picture is shifted up
};

// Borders centre a picture smaller than the client area (halving toward
// zero); where the picture is larger the border is 0 and the offset is
// clamped to 0 ... picture size - client size; elsewhere the offset is 0.
void ClampLayout(ViewLayout* layout);

enum class PanKey { PageUp, PageDown, End, Home, Left, Up, Right, Down };
// Moves the offsets as the key asks (arrows by 8 pixels, the others to a
// corner) and clamps.
void ApplyPanKey(ViewLayout* layout, PanKey key);
// Dragging from one screen position to another: the picture follows the
// mouse (dragging right shows more of the left part).
void ApplyDrag(ViewLayout* layout, int lastX, int lastY, int x, int y);

enum class PanCursor { All, Vertical, Horizontal, Arrow };
PanCursor CursorFor(const ViewLayout& layout);

// "NAME - Vantirel v3.0", with " (WxHxD)" after the name when asked.
std::string ViewerTitle(const char* fileName, bool showResolution, int width, int height,
                        int depth);

// Context menu commands.
enum ViewerCommand {
    kCmdSpawnNew = 100,
    kCmdProperties = 101,
    kCmdHelp = 102,
    kCmdLoadNew = 110,
    kCmdSaveAs = 111,
    kCmdDeleteFile = 112,
    kCmdPrint = 113,
    kCmdSizeImageToWindow = 114,
    kCmdSizeWindowToImage = 115,
    kCmdRestoreOriginalSize = 116,
    kCmdCopyToClipboard = 117,
    kCmdRestoreWindow = 118,
    kCmdCloseWindow = 119,
    kCmdWallpaper = 120,
};

struct MenuItem {
    int command = 0;  // 0 with no submenu: a separator
    std::string text;
    bool isDefault = false;
    std::vector<MenuItem> submenu;
};

struct MenuState {
    bool fileExists = false;  // the picture came from a file that still exists
    bool displayDiffersFromClient = false;
    bool displayDiffersFromPicture = false;
    bool dibSections = true;  // not Win32s
    bool maximised = false;
};

// A command item of a context menu.
MenuItem MenuCommand(int command, const char* text, bool isDefault = false);

// The context menu as the current state makes it.
std::vector<MenuItem> BuildViewerMenu(const MenuState& state);

struct WindowLimits {
    int width;  // maximised size and maximum tracking size
    int height;
    int x;  // maximised position
    int y;
};
// The frame and caption of a maximised viewer lie outside the screen.
WindowLimits ViewerWindowLimits(int screenWidth, int screenHeight, int frameWidth, int frameHeight,
                                int captionHeight, int menuHeight);

// The wallpaper's path: the Windows directory, a '\' unless it ends in one,
// and "Vantirel Wallpaper".
std::string WallpaperPath(const char* windowsDirectory);
