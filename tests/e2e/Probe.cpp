// A small console program run under the same Wine prefix as Vantirel.exe:
// the end-to-end driver asks it about windows and sends them messages.
// "probe serve" answers one request per line (tab-separated fields) with
// "status<TAB>answer"; otherwise the command line is one request.
//
//   wait TITLE SECONDS     waits for a viewer window whose title contains
//                          TITLE; answers its title
//   dialog TITLE SECONDS   waits for a dialog titled exactly TITLE
//   close-dialog TITLE     cancels that dialog
//   gone TITLE SECONDS     waits until no such viewer window exists
//   count TITLE            how many such viewer windows exist
//   client TITLE           "x y width height" of its client area on the screen
//   command TITLE ID       posts WM_COMMAND ID to it
//   key TITLE VK           posts WM_KEYDOWN VK (decimal) to it
//   dblclick TITLE         posts a left double click to it
//   size TITLE W H         gives it an outer size of W x H
//   move TITLE X Y         moves it to X, Y of the screen, on top
//   filename DIALOG TEXT   types TEXT into the dialog's file-name box
//   press DIALOG ID        posts WM_COMMAND ID (1 OK, 2 Cancel) to the dialog
//   iwait TITLE SECONDS    as wait, igone and icount as gone and count, for
//   igone TITLE SECONDS    index windows
//   icount TITLE
//   dcount TITLE           how many dialogs titled exactly TITLE are shown
//   clickat TITLE X Y      posts a left button press and release at client X, Y
//   invalidate TITLE       invalidates its client area (it paints again)
//   poke OFFSET SIZE VALUE writes VALUE (SIZE bytes, little-endian) at OFFSET
//                          of the settings block the running program shares
//   poke-text OFFSET TEXT  writes TEXT and its NUL there
//   box CAPTION SECONDS [BUTTON]
//                          waits for a message box with this caption, answers
//                          its text, then presses BUTTON (1 OK, 2 Cancel,
//                          6 Yes, 7 No) if given and waits until the box has
//                          gone (so the next box asked for is a new one)
//   text DIALOG ID         the text of control ID anywhere in the dialog
//                          (property sheet pages included)
//   checked DIALOG ID      "1" or "0": the state of a check box there
//   click DIALOG ID        clicks button ID there
//   page DIALOG INDEX      shows page INDEX (from 0) of a property sheet
//   regdefault ROOT KEY    a key's default value (ROOT: HKCR, HKLM, HKCU);
//                          status 1 when the key or the value is missing
//   regvalue ROOT KEY NAME "TYPE HEXBYTES" of a value; status 1 when missing
//   note FILE TEXT...      writes the texts, blank-separated, to FILE (the
//                          probe standing in for a program the viewer starts)
//   regnames ROOT KEY      "subkeys;values": the key's subkey names and value
//                          names, each list sorted and joined by "|" (the
//                          default value is listed as "@")
//   clipboard-empty -      empties the clipboard
//   clipboard-dib PATH     writes the clipboard's CF_DIB block to PATH (as
//                          another program pasting it would read it);
//                          answers its size, fails when there is none
//   contextmenu TITLE X Y  posts the context-menu request for screen X, Y
//   menu TITLE             the context menu its process shows (waited for up
//                          to five seconds): one line per item, "TEXT ID" for
//                          a command, "-" for a separator, "TEXT" for a
//                          submenu, its items after it indented by two
//                          blanks; " default", " grayed" and " checked"
//                          follow as the item's state has them
//   menu-gone TITLE SECONDS
//                          waits until its process shows no context menu
//   menu-place TITLE       "x y": the screen position of the top-left corner
//                          of the context menu its process shows
//   drop TITLE PATH...     drops the files on it as the shell does; answers
//                          the agent's exit code
// "menu" and "drop" are carried out inside the window's process: Wine lets
// no other process read a menu, and a dropped file list is a memory block of
// the receiving process. The probe loads its agent (vantirel_probe_agent.dll,
// next to the probe) there with a remote thread and runs the agent's routine
// on another.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// after windows.h, which it needs
#include <commctrl.h>
#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Search {
    std::string title;
    bool exact = false;
    std::string windowClass;
    std::vector<HWND> found;
};

BOOL CALLBACK Collect(HWND window, LPARAM data) {
    auto* search = reinterpret_cast<Search*>(data);
    char title[512] = {};
    GetWindowTextA(window, title, sizeof title);
    char windowClass[256] = {};
    GetClassNameA(window, windowClass, sizeof windowClass);
    const bool titleMatches = search->exact ? search->title == title
                                            : std::strstr(title, search->title.c_str()) != nullptr;
    const bool classMatches = search->windowClass.empty() || search->windowClass == windowClass;
    if (titleMatches && classMatches && IsWindowVisible(window)) search->found.push_back(window);
    return TRUE;
}

std::vector<HWND> Find(const std::string& title, bool exact = false, const char* cls = "") {
    Search search;
    search.title = title;
    search.exact = exact;
    search.windowClass = cls;
    EnumWindows(Collect, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

HWND WaitFor(const std::string& title, double seconds, bool exact = false, const char* cls = "") {
    const DWORD end = GetTickCount() + static_cast<DWORD>(seconds * 1000);
    do {
        std::vector<HWND> found = Find(title, exact, cls);
        if (!found.empty()) return found.front();
        Sleep(100);
    } while (GetTickCount() < end);
    return nullptr;
}

constexpr char kViewerClass[] = "VantirelViewWnd";
constexpr char kIndexClass[] = "VantirelIndexWnd";

// A viewer window, or else an index window, whose title contains `title`.
HWND Require(const std::string& title) {
    std::vector<HWND> found = Find(title, false, kViewerClass);
    if (found.empty()) found = Find(title, false, kIndexClass);
    return found.empty() ? nullptr : found.front();
}

// Writes into the shared settings block of the running program.
bool Poke(size_t offset, const void* data, size_t size) {
    constexpr size_t kBlockSize = 2364;
    if (offset > kBlockSize || size > kBlockSize - offset) return false;
    HANDLE section = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, "Vantirel v3.0.DAT");
    if (!section) return false;
    void* view = MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, kBlockSize);
    if (view) {
        std::memcpy(static_cast<char*>(view) + offset, data, size);
        UnmapViewOfFile(view);
    }
    CloseHandle(section);
    return view != nullptr;
}

std::string TextOf(HWND window) {
    char text[1024] = {};
    GetWindowTextA(window, text, sizeof text);
    return text;
}

// The message text: the box's text control (0xFFFF), or else the first
// static control that has a text.
BOOL CALLBACK FindStatic(HWND child, LPARAM data) {
    char cls[64] = {};
    GetClassNameA(child, cls, sizeof cls);
    if (_stricmp(cls, "Static") == 0 && !TextOf(child).empty()) {
        *reinterpret_cast<std::string*>(data) = TextOf(child);
        return FALSE;
    }
    return TRUE;
}

// A control with this id anywhere below the window.
struct ControlSearch {
    int id;
    HWND found = nullptr;
};
BOOL CALLBACK FindControl(HWND child, LPARAM data) {
    auto* search = reinterpret_cast<ControlSearch*>(data);
    if (GetDlgCtrlID(child) == search->id) {
        search->found = child;
        return FALSE;
    }
    return TRUE;
}
HWND ControlIn(HWND dialog, int id) {
    ControlSearch search{id};
    EnumChildWindows(dialog, FindControl, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

HKEY RootNamed(const std::string& name) {
    if (name == "HKCR") return HKEY_CLASSES_ROOT;
    if (name == "HKLM") return HKEY_LOCAL_MACHINE;
    if (name == "HKCU") return HKEY_CURRENT_USER;
    return nullptr;
}

// Registry requests: regdefault, regvalue, regnames.
int Registry(const std::vector<std::string>& a, std::string* out) {
    HKEY root = a.size() > 2 ? RootNamed(a[1]) : nullptr;
    if (!root) return 2;
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, a[2].c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return 1;
    int status = 0;
    if (a[0] == "regdefault" || a[0] == "regvalue") {
        const char* name = a[0] == "regdefault" ? "" : (a.size() > 3 ? a[3].c_str() : "");
        BYTE data[4096];
        DWORD size = sizeof data;
        DWORD type = 0;
        if (RegQueryValueExA(key, name, nullptr, &type, data, &size) != ERROR_SUCCESS) {
            status = 1;
        } else if (a[0] == "regdefault") {
            out->assign(reinterpret_cast<char*>(data),
                        strnlen(reinterpret_cast<char*>(data), size));
        } else {
            char hex[4];
            *out = std::to_string(type) + " ";
            for (DWORD i = 0; i < size; ++i) {
                std::snprintf(hex, sizeof hex, "%02x", data[i]);
                *out += hex;
            }
        }
    } else {
        std::vector<std::string> subkeys;
        std::vector<std::string> values;
        char name[1024];
        for (DWORD i = 0; RegEnumKeyA(key, i, name, sizeof name) == ERROR_SUCCESS; ++i)
            subkeys.push_back(name);
        for (DWORD i = 0;; ++i) {
            DWORD length = sizeof name;
            if (RegEnumValueA(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS)
                break;
            values.push_back(name[0] ? name : "@");
        }
        std::sort(subkeys.begin(), subkeys.end());
        std::sort(values.begin(), values.end());
        auto join = [](const std::vector<std::string>& items) {
            std::string text;
            for (const std::string& item : items) text += (text.empty() ? "" : "|") + item;
            return text;
        };
        *out = join(subkeys) + ";" + join(values);
    }
    RegCloseKey(key);
    return status;
}

// --- the agent: what has to happen inside a Vantirel process -----------------

constexpr char kAgentName[] = "vantirel_probe_agent.dll";

// The base address of the module of that name in the process, or null.
HMODULE RemoteModule(HANDLE process, const char* name) {
    HMODULE modules[1024];
    DWORD bytes = 0;
    if (!K32EnumProcessModules(process, modules, sizeof modules, &bytes)) return nullptr;
    for (DWORD i = 0; i < bytes / sizeof(HMODULE) && i < 1024; ++i) {
        char base[MAX_PATH] = {};
        K32GetModuleBaseNameA(process, modules[i], base, sizeof base);
        if (_stricmp(base, name) == 0) return modules[i];
    }
    return nullptr;
}

// Where a routine of a module lies in the other process: its offset in the
// module as loaded here, from the module's base there. Nothing says a DLL
// sits at the same address in both.
void* RemoteRoutine(HANDLE process, const char* module, HMODULE local, const char* routine) {
    HMODULE remote = RemoteModule(process, module);
    FARPROC here = local ? GetProcAddress(local, routine) : nullptr;
    if (!remote || !here) return nullptr;
    return reinterpret_cast<char*>(remote) +
           (reinterpret_cast<char*>(here) - reinterpret_cast<char*>(local));
}

// Runs ROUTINE(TEXT) on a new thread of the other process, the text copied
// into it; answers the thread's exit code, or -1 when it could not be run
// or did not end within the time given.
long RunRemote(HANDLE process, void* routine, const std::string& text, DWORD milliseconds) {
    if (!routine) return -1;
    void* copy =
        VirtualAllocEx(process, nullptr, text.size() + 1, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (!copy) return -1;
    long result = -1;
    if (WriteProcessMemory(process, copy, text.c_str(), text.size() + 1, nullptr)) {
        HANDLE thread =
            CreateRemoteThread(process, nullptr, 0,
                               reinterpret_cast<LPTHREAD_START_ROUTINE>(routine), copy, 0, nullptr);
        if (thread) {
            DWORD code = 0;
            if (WaitForSingleObject(thread, milliseconds) == WAIT_OBJECT_0 &&
                GetExitCodeThread(thread, &code))
                result = static_cast<long>(code);
            CloseHandle(thread);
        }
    }
    // A thread that has not ended may still read the text: left in place.
    if (result != -1) VirtualFreeEx(process, copy, 0, MEM_RELEASE);
    return result;
}

// Loads the agent (found next to this program) into the window's process,
// unless it is there already, and runs one of its routines with TEXT.
// Answers the routine's exit code, or -1.
long RunAgent(HWND window, const char* routine, const std::string& text, DWORD milliseconds) {
    char agentPath[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, agentPath, sizeof agentPath);
    char* slash = std::strrchr(agentPath, '\\');
    if (!slash) return -1;
    std::strcpy(slash + 1, kAgentName);
    static HMODULE localAgent = LoadLibraryA(agentPath);
    DWORD id = 0;
    GetWindowThreadProcessId(window, &id);
    HANDLE process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, id);
    if (!process) return -1;
    if (!RemoteModule(process, kAgentName))
        RunRemote(process,
                  RemoteRoutine(process, "kernel32.dll", GetModuleHandleA("kernel32.dll"),
                                "LoadLibraryA"),
                  agentPath, 10000);
    const long result = RunRemote(process, RemoteRoutine(process, kAgentName, localAgent, routine),
                                  text, milliseconds);
    CloseHandle(process);
    return result;
}

// Whether a context menu of the window's process is shown.
struct MenuSearch {
    DWORD process;
    bool found = false;
    HWND menu = nullptr;
};
BOOL CALLBACK FindMenuOf(HWND window, LPARAM data) {
    auto* search = reinterpret_cast<MenuSearch*>(data);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    char windowClass[16] = {};
    GetClassNameA(window, windowClass, sizeof windowClass);
    if (process == search->process && std::strcmp(windowClass, "#32768") == 0 &&
        IsWindowVisible(window)) {
        search->found = true;
        search->menu = window;
    }
    return !search->found;
}
// The window of the context menu the window's process shows, or null. A
// submenu opened from it would be a second one: the tests open none.
HWND ShownMenu(HWND window) {
    MenuSearch search{0};
    GetWindowThreadProcessId(window, &search.process);
    EnumWindows(FindMenuOf, reinterpret_cast<LPARAM>(&search));
    return search.menu;
}
bool MenuShown(HWND window) { return ShownMenu(window) != nullptr; }

// Carries out one request; the answer goes to *out. Returns 0 on success.
int Execute(const std::vector<std::string>& a, std::string* out) {
    auto arg = [&](size_t i) { return i < a.size() ? a[i] : std::string(); };
    auto number = [&](size_t i, double fallback) {
        return i < a.size() ? std::atof(a[i].c_str()) : fallback;
    };
    char line[1200];
    if (a.size() < 2) return 2;
    const std::string& verb = a[0];
    const std::string& title = a[1];
    if (verb == "wait" || verb == "iwait" || verb == "dialog") {
        HWND window = verb == "dialog" ? WaitFor(title, number(2, 10), true, "#32770")
                                       : WaitFor(title, number(2, 10), false,
                                                 verb == "wait" ? kViewerClass : kIndexClass);
        if (!window) return 1;
        *out = TextOf(window);
        return 0;
    }
    if (verb == "gone" || verb == "igone") {
        const char* cls = verb == "gone" ? kViewerClass : kIndexClass;
        const DWORD end = GetTickCount() + static_cast<DWORD>(number(2, 10) * 1000);
        while (!Find(title, false, cls).empty()) {
            if (GetTickCount() > end) return 1;
            Sleep(50);
        }
        return 0;
    }
    if (verb == "count" || verb == "icount") {
        *out =
            std::to_string(Find(title, false, verb == "count" ? kViewerClass : kIndexClass).size());
        return 0;
    }
    if (verb == "dcount") {
        *out = std::to_string(Find(title, true, "#32770").size());
        return 0;
    }
    if (verb == "poke") {
        const size_t size = static_cast<size_t>(std::atoi(arg(2).c_str()));
        const long value = std::strtol(arg(3).c_str(), nullptr, 0);
        unsigned char bytes[4] = {};
        for (size_t i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
        if (size < 1 || size > 4) return 2;
        return Poke(static_cast<size_t>(std::atoi(title.c_str())), bytes, size) ? 0 : 1;
    }
    if (verb == "poke-text") {
        const std::string text = arg(2);
        return Poke(static_cast<size_t>(std::atoi(title.c_str())), text.c_str(), text.size() + 1)
                   ? 0
                   : 1;
    }
    if (verb == "client") {
        HWND window = Require(title);
        if (!window) return 1;
        RECT client;
        GetClientRect(window, &client);
        POINT origin = {0, 0};
        ClientToScreen(window, &origin);
        std::snprintf(line, sizeof line, "%ld %ld %ld %ld", origin.x, origin.y, client.right,
                      client.bottom);
        *out = line;
        return 0;
    }
    if (verb == "command" || verb == "key" || verb == "size" || verb == "close-dialog" ||
        verb == "dblclick" || verb == "clickat" || verb == "invalidate" || verb == "move") {
        HWND window = verb == "close-dialog" ? WaitFor(title, 5, true, "#32770") : Require(title);
        if (!window) return 1;
        if (verb == "command") PostMessageA(window, WM_COMMAND, std::atoi(arg(2).c_str()), 0);
        if (verb == "close-dialog") PostMessageA(window, WM_COMMAND, IDCANCEL, 0);
        if (verb == "key") PostMessageA(window, WM_KEYDOWN, std::atoi(arg(2).c_str()), 0);
        if (verb == "dblclick")
            PostMessageA(window, WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(10, 10));
        if (verb == "clickat") {
            const LPARAM point = MAKELPARAM(std::atoi(arg(2).c_str()), std::atoi(arg(3).c_str()));
            PostMessageA(window, WM_LBUTTONDOWN, MK_LBUTTON, point);
            PostMessageA(window, WM_LBUTTONUP, 0, point);
        }
        if (verb == "invalidate") InvalidateRect(window, nullptr, FALSE);
        if (verb == "move")
            SetWindowPos(window, HWND_TOP, std::atoi(arg(2).c_str()), std::atoi(arg(3).c_str()), 0,
                         0, SWP_NOSIZE);
        if (verb == "size")
            SetWindowPos(window, nullptr, 0, 0, std::atoi(arg(2).c_str()),
                         std::atoi(arg(3).c_str()), SWP_NOMOVE | SWP_NOZORDER);
        return 0;
    }
    if (verb == "menu") {
        HWND window = Require(title);
        if (!window) return 1;
        char folder[MAX_PATH] = {};
        char file[MAX_PATH] = {};
        GetTempPathA(sizeof folder, folder);
        if (!GetTempFileNameA(folder, "mnu", 0, file)) return 1;
        const long code = RunAgent(window, "ReadContextMenu", file, 15000);
        int status = 1;
        if (code == 0) {
            if (FILE* in = std::fopen(file, "rb")) {
                char buffer[4096];
                size_t got;
                while ((got = std::fread(buffer, 1, sizeof buffer, in)) > 0)
                    out->append(buffer, got);
                std::fclose(in);
                status = 0;
            }
        } else {
            *out = "agent: " + std::to_string(code);
        }
        DeleteFileA(file);
        if (!out->empty() && out->back() == '\n') out->pop_back();
        return status;
    }
    if (verb == "menu-gone") {
        HWND window = Require(title);
        if (!window) return 1;
        const DWORD end = GetTickCount() + static_cast<DWORD>(number(2, 10) * 1000);
        while (MenuShown(window)) {
            if (GetTickCount() > end) return 1;
            Sleep(50);
        }
        return 0;
    }
    if (verb == "menu-place") {
        HWND window = Require(title);
        if (!window) return 1;
        HWND menu = ShownMenu(window);
        RECT place;
        if (!menu || !GetWindowRect(menu, &place)) return 1;
        *out = std::to_string(place.left) + " " + std::to_string(place.top);
        return 0;
    }
    if (verb == "drop") {
        HWND window = Require(title);
        if (!window) return 1;
        std::string text = std::to_string(reinterpret_cast<INT_PTR>(window));
        for (size_t i = 2; i < a.size(); ++i) text += "\n" + a[i];
        const long code = RunAgent(window, "DropFiles", text, 15000);
        *out = std::to_string(code);
        return code == 0 ? 0 : 1;
    }
    if (verb == "contextmenu") {
        HWND window = Require(title);
        if (!window) return 1;
        PostMessageA(window, WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window),
                     MAKELPARAM(std::atoi(arg(2).c_str()), std::atoi(arg(3).c_str())));
        return 0;
    }
    if (verb == "filename" || verb == "press") {
        HWND dialog = WaitFor(title, 10, true, "#32770");
        if (!dialog) return 1;
        if (verb == "press") {
            PostMessageA(dialog, WM_COMMAND, std::atoi(arg(2).c_str()), 0);
            return 0;
        }
        // The file-name box: a combo box (cmb13) or, in older dialogs, an
        // edit control (edt1).
        HWND name = GetDlgItem(dialog, 0x47c);
        if (!name) name = GetDlgItem(dialog, 0x480);
        if (!name) return 1;
        SendMessageA(name, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(arg(2).c_str()));
        return 0;
    }
    if (verb == "clipboard-empty") {
        if (!OpenClipboard(nullptr)) return 1;
        EmptyClipboard();
        CloseClipboard();
        return 0;
    }
    if (verb == "clipboard-dib") {
        if (!OpenClipboard(nullptr)) return 1;
        int status = 1;
        HANDLE block = GetClipboardData(CF_DIB);
        const void* data = block ? GlobalLock(block) : nullptr;
        if (data) {
            const SIZE_T size = GlobalSize(block);
            if (FILE* file = std::fopen(title.c_str(), "wb")) {
                if (std::fwrite(data, 1, size, file) == size) status = 0;
                std::fclose(file);
            }
            *out = std::to_string(size);
            GlobalUnlock(block);
        }
        CloseClipboard();
        return status;
    }
    if (verb == "box") {
        HWND box = WaitFor(title, number(2, 10), true, "#32770");
        if (!box) return 1;
        // The text control may come a moment after the box itself.
        std::string text;
        for (int tries = 0; tries < 40 && text.empty(); ++tries) {
            char control[1024] = {};
            GetDlgItemTextA(box, 0xFFFF, control, sizeof control);
            text = control;
            if (text.empty()) EnumChildWindows(box, FindStatic, reinterpret_cast<LPARAM>(&text));
            if (text.empty()) Sleep(50);
        }
        *out = text;
        if (a.size() > 3) {
            PostMessageA(box, WM_COMMAND, std::atoi(arg(3).c_str()), 0);
            for (int tries = 0; tries < 200 && IsWindow(box); ++tries) Sleep(25);
        }
        return 0;
    }
    if (verb == "text" || verb == "checked" || verb == "click" || verb == "page") {
        HWND dialog = WaitFor(title, 10, true, "#32770");
        if (!dialog) return 1;
        if (verb == "page") {
            SendMessageA(dialog, PSM_SETCURSEL, std::atoi(arg(2).c_str()), 0);
            return 0;
        }
        HWND control = ControlIn(dialog, std::atoi(arg(2).c_str()));
        if (!control) return 1;
        if (verb == "text") {
            // Asked of the control itself: an edit control of another
            // process keeps its text to itself otherwise.
            char text[1024] = {};
            SendMessageA(control, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
            *out = text;
        }
        if (verb == "checked")
            *out = SendMessageA(control, BM_GETCHECK, 0, 0) == BST_CHECKED ? "1" : "0";
        if (verb == "click") SendMessageA(control, BM_CLICK, 0, 0);
        return 0;
    }
    if (verb.rfind("reg", 0) == 0) return Registry(a, out);
    if (verb == "note") {
        FILE* file = std::fopen(title.c_str(), "w");
        if (!file) return 1;
        for (size_t i = 2; i < a.size(); ++i)
            std::fprintf(file, "%s%s", i > 2 ? " " : "", a[i].c_str());
        std::fclose(file);
        return 0;
    }
    return 2;
}

}  // namespace

// "serve" reads one request per line (fields separated by tabs) and answers
// each with "status<TAB>text"; anything else is one request from the
// command line.
int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == "serve") {
        char request[4096];
        while (std::fgets(request, sizeof request, stdin)) {
            std::string text = request;
            while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
            std::vector<std::string> fields;
            size_t start = 0;
            for (;;) {
                const size_t tab = text.find('\t', start);
                fields.push_back(text.substr(start, tab - start));
                if (tab == std::string::npos) break;
                start = tab + 1;
            }
            std::string out;
            const int status = Execute(fields, &out);
            // Line breaks of message texts travel as "\n".
            std::string escaped;
            for (char c : out) escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
            std::printf("%d\t%s\n", status, escaped.c_str());
            std::fflush(stdout);
        }
        return 0;
    }
    std::vector<std::string> fields(argv + 1, argv + argc);
    std::string out;
    const int status = Execute(fields, &out);
    std::printf("%s\n", out.c_str());
    return status;
}
