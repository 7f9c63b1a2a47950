#include "app/FileDialogs.h"

#include <commdlg.h>
#include <dlgs.h>

#include <cstdio>
#include <cstring>

#include "app/FileFilters.h"
#include "app/ProcessStart.h"
#include "app/Resource.h"
#include "core/Error.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"
#include "core/SaveAs.h"
#include "core/Settings.h"

namespace {

void StoreDirectory(char* setting, size_t size, const std::string& directory) {
    std::memset(setting, 0, size);
    std::strncpy(setting, directory.c_str(), size - 1);
}

// The explorer dialog is the hook dialog's parent.
UINT_PTR CALLBACK OpenDialogHook(HWND hook, UINT message, WPARAM wParam, LPARAM lParam) {
    HWND dialog = GetParent(hook);
    switch (message) {
        case WM_INITDIALOG: {
            SetWindowLongPtrA(hook, GWLP_USERDATA, lParam);
            // A longer drop-down for the 28 file types.
            HWND types = GetDlgItem(dialog, cmb1);
            RECT box;
            if (types && GetWindowRect(types, &box)) {
                SetWindowPos(types, nullptr, 0, 0, box.right - box.left,
                             (box.bottom - box.top) * 10, SWP_NOMOVE | SWP_NOZORDER);
            }
            CommDlg_OpenSave_SetControlText(dialog, IDOK, "View");
            return TRUE;
        }
        case WM_NOTIFY: {
            const NMHDR* header = reinterpret_cast<const NMHDR*>(lParam);
            if (header->code != CDN_SELCHANGE) break;
            std::string line;
            if (g_settings->disp.bOpenInfo) {
                char path[MAX_PATH * 2] = {};
                if (CommDlg_OpenSave_GetFilePath(dialog, path, sizeof path) > 0)
                    line = PictureInformation(path);
            }
            SetDlgItemTextA(hook, IDC_OPEN_INFO, line.c_str());
            break;
        }
        case WM_COMMAND:
            if (LOWORD(wParam) == IDC_OPEN_INDEX) {
                char folder[MAX_PATH * 2] = {};
                CommDlg_OpenSave_GetFolderPath(dialog, folder, sizeof folder - 16);
                std::string path = folder;
                if (path.empty() || path.back() != '\\') path += '\\';
                StoreDirectory(g_settings->szLastImpDir, sizeof g_settings->szLastImpDir, path);
                path += "index.vti";
                OpenInNewProcess(path.c_str());
                PostMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
                return TRUE;
            }
            break;
        case WM_HELP: {
            const HELPINFO* help = reinterpret_cast<const HELPINFO*>(lParam);
            WinHelpA(static_cast<HWND>(help->hItemHandle), g_settings->helpPath, HELP_CONTEXTPOPUP,
                     static_cast<ULONG_PTR>(help->iCtrlId));
            return TRUE;
        }
    }
    return FALSE;
}

}  // namespace

std::string PictureInformation(const char* path) {
    ClearError();
    ImageImpFile imp(path, nullptr, false);
    if (imp.ready) {
        char line[400];
        std::snprintf(line, sizeof line, "%dx%dx%d, %s, %s", imp.width, imp.height, imp.depth,
                      imp.description, imp.compression);
        return line;
    }
    if (std::strncmp(g_errorText, "Couldn't open", 13) == 0) return std::string();
    return g_errorText;
}

std::vector<std::string> SelectedPaths(const char* buffer, DWORD size) {
    std::vector<std::string> paths;
    const size_t first = strnlen(buffer, size);
    if (first == 0) return paths;
    const std::string head(buffer, first);
    if (first + 1 >= size || buffer[first + 1] == '\0') {
        paths.push_back(head);
        return paths;
    }
    const std::string directory = head.back() == '\\' ? head : head + "\\";
    for (size_t at = first + 1; at < size && buffer[at];) {
        const size_t length = strnlen(buffer + at, size - at);
        paths.push_back(directory + std::string(buffer + at, length));
        at += length + 1;
    }
    return paths;
}

bool OpenImageDialog(HWND owner, char* buffer, DWORD size, bool multiSelect) {
    const std::string filter = BuildOpenFilter();
    std::memset(buffer, 0, size);
    OPENFILENAMEA request = {};
    request.lStructSize = sizeof request;
    request.hwndOwner = owner;
    request.hInstance = GetModuleHandleA(nullptr);
    request.lpstrFilter = filter.c_str();
    request.nFilterIndex = 1;
    request.lpstrFile = buffer;
    request.nMaxFile = size;
    request.lpstrInitialDir = g_settings->szLastImpDir[0] ? g_settings->szLastImpDir : nullptr;
    request.lpstrTitle = "Open image file";
    request.Flags = OFN_EXPLORER | OFN_LONGNAMES | OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST |
                    OFN_HIDEREADONLY | OFN_ENABLETEMPLATE | OFN_ENABLEHOOK |
                    (multiSelect ? OFN_ALLOWMULTISELECT : 0);
    request.lpTemplateName = MAKEINTRESOURCEA(IDD_OPEN_TEMPLATE);
    request.lpfnHook = OpenDialogHook;

    BOOL chosen = GetOpenFileNameA(&request);
    if (!chosen && CommDlgExtendedError() != 0) {
        // Older platforms refuse the extension: ask once more without it.
        request.Flags &= ~(OFN_ENABLETEMPLATE | OFN_ENABLEHOOK | OFN_ALLOWMULTISELECT);
        request.lpTemplateName = nullptr;
        request.lpfnHook = nullptr;
        std::memset(buffer, 0, size);
        chosen = GetOpenFileNameA(&request);
        if (!chosen && CommDlgExtendedError() != 0) {
            platform::Warning("GetOpenFileName() failed");
            return false;
        }
    }
    if (!chosen) return false;
    const size_t nameOffset = request.nFileOffset < size ? request.nFileOffset : 0;
    StoreDirectory(
        g_settings->szLastImpDir, sizeof g_settings->szLastImpDir,
        std::string(buffer, nameOffset > 0 && buffer[nameOffset - 1] == '\0' ? std::strlen(buffer)
                                                                             : nameOffset));
    return true;
}

bool SaveImageDialog(HWND owner, char* path, DWORD size, int* exportType) {
    const std::string filter = BuildSaveFilter();
    const std::string name = DefaultSaveName(path);
    std::memset(path, 0, size);
    std::strncpy(path, name.c_str(), size - 1);

    OPENFILENAMEA request = {};
    request.lStructSize = sizeof request;
    request.hwndOwner = owner;
    request.lpstrFilter = filter.c_str();
    request.nFilterIndex = static_cast<DWORD>(g_settings->iLastExpType + 1);
    request.lpstrFile = path;
    request.nMaxFile = size;
    request.lpstrInitialDir = g_settings->szLastExpDir[0] ? g_settings->szLastExpDir : nullptr;
    request.lpstrTitle = "Save image as";
    request.Flags = OFN_EXPLORER | OFN_LONGNAMES | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY;

    for (;;) {
        if (!GetSaveFileNameA(&request)) {
            if (CommDlgExtendedError() != 0) platform::Warning("GetSaveFileName() failed");
            return false;
        }
        const int selected = static_cast<int>(request.nFilterIndex);
        const char* extension = nullptr;
        if (!HasExtension(path) && GetExportFormat(selected - 1, &extension, nullptr) &&
            std::strlen(path) + 1 + std::strlen(extension) < size) {
            std::strcat(path, ".");
            std::strcat(path, extension);
        }
        if (GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES) {
            const int answer = MessageBoxA(owner, "File already exists!\nOverwrite it?", path,
                                           MB_ICONEXCLAMATION | MB_YESNOCANCEL);
            if (answer == IDCANCEL) return false;
            if (answer == IDNO) continue;
        }
        *exportType = ChooseExportType(selected, path);
        StoreDirectory(g_settings->szLastExpDir, sizeof g_settings->szLastExpDir,
                       DirectoryPart(path));
        g_settings->iLastExpType = *exportType;
        return true;
    }
}
