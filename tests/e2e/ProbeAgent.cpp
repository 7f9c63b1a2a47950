// The probe's agent: a small DLL the probe loads into a running Vantirel
// process, for what only that process can do. Wine keeps a menu's items to
// the process that made it, and a dropped file list is a memory block of
// the receiving process, so reading the context menu and dropping a file
// both have to happen inside.
//
// Each export is a thread routine the probe starts with CreateRemoteThread;
// its argument is a NUL-terminated text the probe wrote into the process.
// The exit code is the outcome: 0 done, anything else a failure.
#include <windows.h>

// after windows.h, which it needs (DROPFILES)
#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A menu window answers this with the menu it shows.
constexpr UINT kGetMenuMessage = 0x01E1;  // MN_GETHMENU

// The menus this process shows: the context menu and any submenu opened
// from it, each in a menu window of its own.
BOOL CALLBACK CollectShownMenus(HWND window, LPARAM data) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    char windowClass[16] = {};
    GetClassNameA(window, windowClass, sizeof windowClass);
    if (process == GetCurrentProcessId() && std::strcmp(windowClass, "#32768") == 0 &&
        IsWindowVisible(window)) {
        HMENU menu = reinterpret_cast<HMENU>(SendMessageA(window, kGetMenuMessage, 0, 0));
        if (menu && IsMenu(menu)) reinterpret_cast<std::vector<HMENU>*>(data)->push_back(menu);
    }
    return TRUE;
}

bool HasSubmenu(HMENU menu, HMENU submenu) {
    for (int i = 0; i < GetMenuItemCount(menu); ++i)
        if (GetSubMenu(menu, i) == submenu) return true;
    return false;
}

// The context menu itself: the shown menu that is no other's submenu.
HMENU ShownContextMenu() {
    std::vector<HMENU> shown;
    EnumWindows(CollectShownMenus, reinterpret_cast<LPARAM>(&shown));
    for (HMENU candidate : shown) {
        bool isSubmenu = false;
        for (HMENU other : shown) isSubmenu = isSubmenu || HasSubmenu(other, candidate);
        if (!isSubmenu) return candidate;
    }
    return nullptr;
}

// One line per item, as "TEXT ID" for a command, "-" for a separator and
// "TEXT" for a submenu, whose items follow indented by two blanks; then
// " default", " grayed" and " checked" as the item's state has them.
void Describe(HMENU menu, int depth, std::string* out) {
    const int count = GetMenuItemCount(menu);
    for (int i = 0; i < count; ++i) {
        char text[256] = {};
        MENUITEMINFOA info = {};
        info.cbSize = sizeof info;
        info.fMask = MIIM_FTYPE | MIIM_STRING | MIIM_ID | MIIM_STATE | MIIM_SUBMENU;
        info.dwTypeData = text;
        info.cch = sizeof text;
        if (!GetMenuItemInfoA(menu, static_cast<UINT>(i), TRUE, &info)) {
            *out += std::string(2 * depth, ' ') + "?\n";
            continue;
        }
        std::string entry = info.fType & MFT_SEPARATOR ? "-" : text;
        if (!info.hSubMenu && !(info.fType & MFT_SEPARATOR))
            entry += " " + std::to_string(info.wID);
        if (info.fState & MFS_DEFAULT) entry += " default";
        if (info.fState & MFS_GRAYED) entry += " grayed";
        if (info.fState & MFS_CHECKED) entry += " checked";
        *out += std::string(2 * depth, ' ') + entry + "\n";
        if (info.hSubMenu) Describe(info.hSubMenu, depth + 1, out);
    }
}

}  // namespace

// Argument: the path of the file to write. Waits up to five seconds for a
// context menu of this process to be shown, then writes its items there.
// Exit code 1: no menu shown (or its window gave none); 3: the file could
// not be written.
extern "C" __declspec(dllexport) DWORD WINAPI ReadContextMenu(LPVOID argument) {
    const char* path = static_cast<const char*>(argument);
    HMENU menu = nullptr;
    for (int tries = 0; tries < 100 && !menu; ++tries) {
        menu = ShownContextMenu();
        if (!menu) Sleep(50);
    }
    if (!menu) return 1;
    std::string text;
    Describe(menu, 0, &text);
    FILE* file = std::fopen(path, "wb");
    if (!file) return 3;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written ? 0 : 3;
}

// Argument: the window's handle in decimal, then each file's path after a
// line break. Drops the files on the window as the shell does: a global
// block of DROPFILES and the double-NUL-terminated list of ANSI paths,
// posted with WM_DROPFILES; the window frees it with DragFinish.
// Exit code 1: bad argument; 2: no memory; 3: the message was not posted.
extern "C" __declspec(dllexport) DWORD WINAPI DropFiles(LPVOID argument) {
    const char* text = static_cast<const char*>(argument);
    char* rest = nullptr;
    HWND window = reinterpret_cast<HWND>(static_cast<INT_PTR>(std::strtoll(text, &rest, 10)));
    if (!window || !rest || *rest != '\n' || !IsWindow(window)) return 1;
    // "A\nB" becomes "A\0B\0\0".
    std::string list = rest + 1;
    for (char& c : list)
        if (c == '\n') c = '\0';
    list += std::string(2, '\0');
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(DROPFILES) + list.size());
    if (!block) return 2;
    auto* drop = static_cast<DROPFILES*>(GlobalLock(block));
    drop->pFiles = sizeof(DROPFILES);
    drop->fWide = FALSE;
    // Dropped near the client area's top-left corner.
    drop->pt.x = 1;
    drop->pt.y = 1;
    drop->fNC = FALSE;
    std::memcpy(reinterpret_cast<char*>(drop) + sizeof(DROPFILES), list.data(), list.size());
    GlobalUnlock(block);
    if (!PostMessageA(window, WM_DROPFILES, reinterpret_cast<WPARAM>(block), 0)) {
        GlobalFree(block);
        return 3;
    }
    return 0;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
