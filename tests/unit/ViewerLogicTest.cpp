#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/ViewerLogic.h"

namespace {
ViewLayout Layout(int clientWidth, int clientHeight, int displayWidth, int displayHeight) {
    ViewLayout layout;
    layout.clientWidth = clientWidth;
    layout.clientHeight = clientHeight;
    layout.displayWidth = displayWidth;
    layout.displayHeight = displayHeight;
    ClampLayout(&layout);
    return layout;
}

std::vector<std::string> Texts(const std::vector<MenuItem>& items) {
    std::vector<std::string> texts;
    for (const MenuItem& item : items)
        texts.push_back(item.command || !item.submenu.empty() || !item.text.empty() ? item.text
                                                                                    : "-");
    return texts;
}

const MenuItem& Submenu(const std::vector<MenuItem>& items, const std::string& name) {
    for (const MenuItem& item : items)
        if (item.text == name) return item;
    static MenuItem none;
    return none;
}
}  // namespace

TEST(ViewerLogic, ASmallPictureIsCentredWithBordersHalvedTowardZero) {
    ViewLayout layout = Layout(101, 50, 40, 20);
    EXPECT_EQ(layout.leftBorder, 31);  // (101 - 40 + 1) / 2
    EXPECT_EQ(layout.topBorder, 15);   // (50 - 20 + 1) / 2
    layout.offsetX = 5;
    ClampLayout(&layout);
    EXPECT_EQ(layout.offsetX, 0);
}

TEST(ViewerLogic, ALargePictureHasNoBorderAndItsOffsetIsClamped) {
    ViewLayout layout = Layout(100, 80, 300, 200);
    EXPECT_EQ(layout.leftBorder, 0);
    EXPECT_EQ(layout.topBorder, 0);
    layout.offsetX = 500;
    layout.offsetY = -3;
    ClampLayout(&layout);
    EXPECT_EQ(layout.offsetX, 200);
    EXPECT_EQ(layout.offsetY, 0);
}

TEST(ViewerLogic, ArrowKeysPanByEightPixels) {
    ViewLayout layout = Layout(100, 80, 300, 200);
    ApplyPanKey(&layout, PanKey::Right);
    ApplyPanKey(&layout, PanKey::Right);
    ApplyPanKey(&layout, PanKey::Down);
    EXPECT_EQ(layout.offsetX, 16);
    EXPECT_EQ(layout.offsetY, 8);
    ApplyPanKey(&layout, PanKey::Left);
    ApplyPanKey(&layout, PanKey::Up);
    ApplyPanKey(&layout, PanKey::Up);
    EXPECT_EQ(layout.offsetX, 8);
    EXPECT_EQ(layout.offsetY, 0);
}

TEST(ViewerLogic, PageAndHomeEndKeysGoToTheCorners) {
    ViewLayout layout = Layout(100, 80, 300, 200);
    ApplyPanKey(&layout, PanKey::PageDown);
    EXPECT_EQ(layout.offsetX, 200);
    EXPECT_EQ(layout.offsetY, 120);
    ApplyPanKey(&layout, PanKey::PageUp);
    EXPECT_EQ(layout.offsetX, 200);
    EXPECT_EQ(layout.offsetY, 0);
    ApplyPanKey(&layout, PanKey::End);
    EXPECT_EQ(layout.offsetX, 0);
    EXPECT_EQ(layout.offsetY, 120);
    ApplyPanKey(&layout, PanKey::Home);
    EXPECT_EQ(layout.offsetX, 0);
    EXPECT_EQ(layout.offsetY, 0);
}

TEST(ViewerLogic, KeysDoNotPanAPictureThatFits) {
    ViewLayout layout = Layout(100, 80, 50, 50);
    ApplyPanKey(&layout, PanKey::PageDown);
    EXPECT_EQ(layout.offsetX, 0);
    EXPECT_EQ(layout.offsetY, 0);
}

TEST(ViewerLogic, DraggingRightShowsMoreOfTheLeftPart) {
    ViewLayout layout = Layout(100, 80, 300, 200);
    layout.offsetX = 50;
    layout.offsetY = 50;
    ApplyDrag(&layout, 10, 10, 30, 5);
    EXPECT_EQ(layout.offsetX, 30);
    EXPECT_EQ(layout.offsetY, 55);
}

TEST(ViewerLogic, CursorShowsTheDirectionsThePictureCanPan) {
    EXPECT_EQ(CursorFor(Layout(100, 80, 300, 200)), PanCursor::All);
    EXPECT_EQ(CursorFor(Layout(100, 80, 50, 200)), PanCursor::Vertical);
    EXPECT_EQ(CursorFor(Layout(100, 80, 300, 20)), PanCursor::Horizontal);
    EXPECT_EQ(CursorFor(Layout(100, 80, 100, 80)), PanCursor::Arrow);
}

TEST(ViewerLogic, TitleIsTheFileNameAndTheProgram) {
    EXPECT_EQ(ViewerTitle("CAT.BMP", false, 20, 10, 8), "CAT.BMP - Vantirel v3.0");
    EXPECT_EQ(ViewerTitle("CAT.BMP", true, 20, 10, 8), "CAT.BMP (20x10x8) - Vantirel v3.0");
}

TEST(ViewerLogic, MenuOfANormalWindowWithAMatchingPicture) {
    MenuState state;
    state.fileExists = true;
    const std::vector<MenuItem> menu = BuildViewerMenu(state);
    EXPECT_EQ(Texts(menu), (std::vector<std::string>{"Spawn new...", "Load new...", "-", "File",
                                                     "View", "Properties", "-", "Help"}));
    EXPECT_TRUE(menu[0].isDefault);
    EXPECT_EQ(menu[0].command, 100);
    EXPECT_EQ(menu[1].command, 110);
    EXPECT_EQ(menu[5].command, 101);
    EXPECT_EQ(menu[7].command, 102);
    EXPECT_EQ(Texts(Submenu(menu, "File").submenu),
              (std::vector<std::string>{"Save as...", "Delete file...", "Copy to clipboard",
                                        "Print image..."}));
    // No sizing commands when the picture matches the client area and its size.
    EXPECT_EQ(Texts(Submenu(menu, "View").submenu),
              (std::vector<std::string>{"Use as desktop wallpaper"}));
}

TEST(ViewerLogic, MenuOfAMaximisedWindowWithADifferentlySizedPicture) {
    MenuState state;
    state.maximised = true;
    state.displayDiffersFromClient = true;
    state.displayDiffersFromPicture = true;
    state.dibSections = false;
    const std::vector<MenuItem> menu = BuildViewerMenu(state);
    EXPECT_EQ(Texts(menu), (std::vector<std::string>{"Spawn new...", "Load new...", "-",
                                                     "Restore window", "Close window", "-", "File",
                                                     "View", "Properties", "-", "Help"}));
    EXPECT_EQ(menu[3].command, 118);
    EXPECT_TRUE(menu[3].isDefault);
    EXPECT_EQ(menu[4].command, 119);
    EXPECT_EQ(Texts(Submenu(menu, "File").submenu),
              (std::vector<std::string>{"Save as...", "Copy to clipboard", "Print image..."}));
    const std::vector<MenuItem>& view = Submenu(menu, "View").submenu;
    EXPECT_EQ(Texts(view), (std::vector<std::string>{"Size window to image", "Size image to window",
                                                     "Restore original size"}));
    EXPECT_EQ(view[0].command, 115);
    EXPECT_EQ(view[1].command, 114);
    EXPECT_EQ(view[2].command, 116);
}

TEST(ViewerLogic, MaximisedWindowPutsItsFrameOutsideTheScreen) {
    const WindowLimits limits = ViewerWindowLimits(1024, 768, 4, 4, 19, 20);
    EXPECT_EQ(limits.width, 1032);
    EXPECT_EQ(limits.height, 768 + 8 + 19 + 20);
    EXPECT_EQ(limits.x, -4);
    EXPECT_EQ(limits.y, -43);
}

TEST(ViewerLogic, WallpaperGoesIntoTheWindowsDirectory) {
    EXPECT_EQ(WallpaperPath("C:\\WINDOWS"), "C:\\WINDOWS\\Vantirel Wallpaper");
    EXPECT_EQ(WallpaperPath("C:\\"), "C:\\Vantirel Wallpaper");
}
