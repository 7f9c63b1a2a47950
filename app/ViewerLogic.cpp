#include "app/ViewerLogic.h"

#include <cstdio>
#include <cstring>

namespace {
// Clamps one axis; returns the border.
int ClampAxis(int client, int display, int* offset) {
    int border = (client - display + 1) / 2;
    if (border < 0) {
        border = 0;
        const int limit = display - client;
        if (*offset > limit) *offset = limit;
        if (*offset < 0) *offset = 0;
    } else {
        *offset = 0;
    }
    return border;
}

constexpr int kPanStep = 8;
constexpr int kFarCorner = 99999;
}  // namespace

void ClampLayout(ViewLayout* layout) {
    layout->leftBorder = ClampAxis(layout->clientWidth, layout->displayWidth, &layout->offsetX);
    layout->topBorder = ClampAxis(layout->clientHeight, layout->displayHeight, &layout->offsetY);
}

void ApplyPanKey(ViewLayout* layout, PanKey key) {
    switch (key) {
        case PanKey::PageUp:
            layout->offsetX = kFarCorner;
            layout->offsetY = 0;
            break;
        case PanKey::PageDown:
            layout->offsetX = kFarCorner;
            layout->offsetY = kFarCorner;
            break;
        case PanKey::End:
            layout->offsetX = 0;
            layout->offsetY = kFarCorner;
            break;
        case PanKey::Home:
            layout->offsetX = 0;
            layout->offsetY = 0;
            break;
        case PanKey::Left:
            layout->offsetX -= kPanStep;
            break;
        case PanKey::Up:
            layout->offsetY -= kPanStep;
            break;
        case PanKey::Right:
            layout->offsetX += kPanStep;
            break;
        case PanKey::Down:
            layout->offsetY += kPanStep;
            break;
    }
    ClampLayout(layout);
}

void ApplyDrag(ViewLayout* layout, int lastX, int lastY, int x, int y) {
    layout->offsetX += lastX - x;
    layout->offsetY += lastY - y;
    ClampLayout(layout);
}

PanCursor CursorFor(const ViewLayout& layout) {
    const bool horizontal = layout.displayWidth > layout.clientWidth;
    const bool vertical = layout.displayHeight > layout.clientHeight;
    if (horizontal && vertical) return PanCursor::All;
    if (vertical) return PanCursor::Vertical;
    if (horizontal) return PanCursor::Horizontal;
    return PanCursor::Arrow;
}

std::string ViewerTitle(const char* fileName, bool showResolution, int width, int height,
                        int depth) {
    std::string title = fileName;
    if (showResolution) {
        char resolution[64];
        std::snprintf(resolution, sizeof resolution, " (%dx%dx%d)", width, height, depth);
        title += resolution;
    }
    return title + " - Vantirel v3.0";
}

MenuItem MenuCommand(int command, const char* text, bool isDefault) {
    MenuItem entry;
    entry.command = command;
    entry.text = text;
    entry.isDefault = isDefault;
    return entry;
}

std::vector<MenuItem> BuildViewerMenu(const MenuState& state) {
    const MenuItem separator;

    std::vector<MenuItem> top;
    top.push_back(MenuCommand(kCmdSpawnNew, "Spawn new...", true));
    top.push_back(MenuCommand(kCmdLoadNew, "Load new..."));
    top.push_back(separator);
    if (state.maximised) {
        top.push_back(MenuCommand(kCmdRestoreWindow, "Restore window", true));
        top.push_back(MenuCommand(kCmdCloseWindow, "Close window", true));
        top.push_back(separator);
    }
    MenuItem file = MenuCommand(0, "File");
    file.submenu.push_back(MenuCommand(kCmdSaveAs, "Save as..."));
    if (state.fileExists) file.submenu.push_back(MenuCommand(kCmdDeleteFile, "Delete file..."));
    file.submenu.push_back(MenuCommand(kCmdCopyToClipboard, "Copy to clipboard"));
    file.submenu.push_back(MenuCommand(kCmdPrint, "Print image..."));
    top.push_back(file);

    MenuItem view = MenuCommand(0, "View");
    if (state.displayDiffersFromClient) {
        view.submenu.push_back(MenuCommand(kCmdSizeWindowToImage, "Size window to image"));
        view.submenu.push_back(MenuCommand(kCmdSizeImageToWindow, "Size image to window"));
    }
    if (state.displayDiffersFromPicture)
        view.submenu.push_back(MenuCommand(kCmdRestoreOriginalSize, "Restore original size"));
    if (state.dibSections)
        view.submenu.push_back(MenuCommand(kCmdWallpaper, "Use as desktop wallpaper"));
    top.push_back(view);

    top.push_back(MenuCommand(kCmdProperties, "Properties"));
    top.push_back(separator);
    top.push_back(MenuCommand(kCmdHelp, "Help"));
    return top;
}

WindowLimits ViewerWindowLimits(int screenWidth, int screenHeight, int frameWidth, int frameHeight,
                                int captionHeight, int menuHeight) {
    WindowLimits limits;
    limits.width = screenWidth + 2 * frameWidth;
    limits.height = screenHeight + 2 * frameHeight + captionHeight + menuHeight;
    limits.x = -frameWidth;
    limits.y = -(frameHeight + captionHeight + menuHeight);
    return limits;
}

std::string WallpaperPath(const char* windowsDirectory) {
    std::string path = windowsDirectory;
    if (path.empty() || path.back() != '\\') path += '\\';
    return path + "Vantirel Wallpaper";
}
