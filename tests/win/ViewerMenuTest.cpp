#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/ViewerWindow.h"

namespace {
std::vector<std::string> Items(HMENU menu) {
    std::vector<std::string> items;
    for (int i = 0; i < GetMenuItemCount(menu); ++i) {
        char text[128] = {};
        MENUITEMINFOA info = {};
        info.cbSize = sizeof info;
        info.fMask = MIIM_FTYPE | MIIM_STRING | MIIM_ID | MIIM_STATE | MIIM_SUBMENU;
        info.dwTypeData = text;
        info.cch = sizeof text;
        GetMenuItemInfoA(menu, static_cast<UINT>(i), TRUE, &info);
        std::string entry = info.fType & MFT_SEPARATOR ? "-" : text;
        if (!info.hSubMenu && !(info.fType & MFT_SEPARATOR))
            entry += " " + std::to_string(info.wID);
        if (info.fState & MFS_DEFAULT) entry += " default";
        items.push_back(entry);
    }
    return items;
}
}  // namespace

TEST(ViewerMenu, PopupMenuHoldsTheCommandsOfTheMaximisedState) {
    MenuState state;
    state.maximised = true;
    state.fileExists = true;
    state.displayDiffersFromClient = true;
    HMENU menu = CreateViewerMenu(BuildViewerMenu(state));
    EXPECT_EQ(Items(menu),
              (std::vector<std::string>{"Spawn new... 100 default", "Load new... 110", "-",
                                        "Restore window 118 default", "Close window 119 default",
                                        "-", "File", "View", "Properties 101", "-", "Help 102"}));
    EXPECT_EQ(Items(GetSubMenu(menu, 6)),
              (std::vector<std::string>{"Save as... 111", "Delete file... 112",
                                        "Copy to clipboard 117", "Print image... 113"}));
    EXPECT_EQ(Items(GetSubMenu(menu, 7)),
              (std::vector<std::string>{"Size window to image 115", "Size image to window 114",
                                        "Use as desktop wallpaper 120"}));
    DestroyMenu(menu);
}

TEST(ViewerMenu, ViewSubmenuIsEmptyOfSizingCommandsWhenEverythingMatches) {
    MenuState state;
    state.dibSections = false;
    HMENU menu = CreateViewerMenu(BuildViewerMenu(state));
    ASSERT_EQ(GetMenuItemCount(menu), 8);
    EXPECT_EQ(GetMenuItemCount(GetSubMenu(menu, 4)), 0);
    EXPECT_EQ(Items(GetSubMenu(menu, 3)),
              (std::vector<std::string>{"Save as... 111", "Copy to clipboard 117",
                                        "Print image... 113"}));
    DestroyMenu(menu);
}
