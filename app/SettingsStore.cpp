#include "app/SettingsStore.h"

#include <cstring>

#include "core/Platform.h"
#include "display/DisplayCaps.h"

bool g_shellAware = false;

namespace {

constexpr int kSystemColourCount = 20;

// What the 20 system display elements become while a window uses all the
// colours of a palette: only black and white stay reserved.
constexpr COLORREF kBlack = RGB(0, 0, 0);
constexpr COLORREF kWhite = RGB(255, 255, 255);
constexpr COLORREF kAllColoursSystemTable[kSystemColourCount] = {
    kBlack, kBlack, kWhite, kWhite, kWhite, kWhite, kBlack, kBlack, kBlack, kBlack,
    kWhite, kWhite, kBlack, kBlack, kWhite, kWhite, kBlack, kWhite, kBlack, kBlack};

void FillFirstInstance(SettingsBlock* block, const SettingsLocation& location) {
    std::memset(block, 0, sizeof *block);
    block->instanceCount = 1;
    for (int i = 0; i < kSystemColourCount; ++i) block->savedSysColors[i] = GetSysColor(i);
    block->allColoursRefCount = 0;

    char modulePath[kSettingsPathSize] = {};
    GetModuleFileNameA(nullptr, modulePath, sizeof modulePath);
    modulePath[sizeof modulePath - 1] = '\0';
    SetProgramPaths(block, modulePath);

    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    g_shellAware = version.dwMajorVersion >= 4;

    HKEY key = nullptr;
    DWORD disposition = 0;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, location.keyPath, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, &key, &disposition) != ERROR_SUCCESS)
        key = nullptr;
    location.installationCheck(key, g_shellAware);
    // Without the key every field stays zero, defaults included (the
    // thumbnails are then 0 by 0): kept as the program always behaved.
    if (!key) return;
    ReadSettingValues(block, [key](const char* name, void* destination, uint32_t size) {
        return static_cast<uint32_t>(ReadRegistryValue(key, name, destination, size, 0));
    });
    RegCloseKey(key);
}

}  // namespace

void OpenSettings(InstanceRecord* record, const SettingsLocation& location) {
    record->previousSettings = g_settings;
    record->view = nullptr;
    record->section = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                         sizeof(SettingsBlock), location.sectionName);
    if (!record->section) platform::FatalExit("EXIT: CreateFileMapping() failed");
    const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    record->view = MapViewOfFile(record->section, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (!record->view) platform::FatalExit("EXIT: MapViewOfFile() failed");
    g_settings = static_cast<SettingsBlock*>(record->view);
    // The count is a plain increment in shared memory: instances start and
    // end by user action, and the races that remain are accepted.
    if (existed) {
        ++g_settings->instanceCount;
        return;
    }
    FillFirstInstance(g_settings, location);
}

void CloseSettings(InstanceRecord* record, const SettingsLocation& location) {
    if (!record->view) return;
    SettingsBlock* block = static_cast<SettingsBlock*>(record->view);
    --block->instanceCount;
    if (block->instanceCount >= 1) return;  // not the last: writes nothing

    HKEY key = nullptr;
    DWORD disposition = 0;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, location.keyPath, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, &key, &disposition) == ERROR_SUCCESS) {
        WriteSettingValues(block,
                           [key](const char* name, uint32_t type, const void* data, uint32_t size) {
                               WriteRegistryValue(key, name, type, data, size);
                           });
        RegCloseKey(key);
    }
    if (g_settings == block) g_settings = record->previousSettings;
    UnmapViewOfFile(record->view);
    CloseHandle(record->section);
    record->view = nullptr;
    record->section = nullptr;
}

DWORD ReadRegistryValue(HKEY key, const char* name, void* destination, DWORD size,
                        int32_t defaultValue) {
    PutDefault(destination, size, defaultValue);
    DWORD type = 0;
    DWORD read = size;
    if (RegQueryValueExA(key, name, nullptr, &type, static_cast<BYTE*>(destination), &read) !=
        ERROR_SUCCESS) {
        PutDefault(destination, size, defaultValue);
        return 0;
    }
    return read;
}

DWORD ReadRegistryText(HKEY key, const char* name, char* destination, DWORD size,
                       const char* defaultText) {
    PutDefaultText(destination, size, defaultText);
    DWORD type = 0;
    DWORD read = size;
    if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(destination), &read) !=
        ERROR_SUCCESS) {
        PutDefaultText(destination, size, defaultText);
        return 0;
    }
    return read;
}

bool WriteRegistryValue(HKEY key, const char* name, DWORD type, const void* data, DWORD size) {
    const BYTE* bytes = static_cast<const BYTE*>(data);
    if (RegSetValueExA(key, name, 0, type, bytes, size) == ERROR_SUCCESS) return true;
    if (RegSetValueExA(key, name, 0, REG_SZ, bytes, size) == ERROR_SUCCESS) return true;
    platform::ShowMessage("Can't write value to the Registry", name);
    return false;
}

bool WriteRegistryValueAt(HKEY root, const char* keyPath, const char* name, DWORD type,
                          const void* data, DWORD size) {
    HKEY key = nullptr;
    DWORD disposition = 0;
    if (RegCreateKeyExA(root, keyPath, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                        &key, &disposition) != ERROR_SUCCESS)
        return false;
    const bool written = WriteRegistryValue(key, name, type, data, size);
    RegCloseKey(key);
    return written;
}

LONG ReadKeyDefault(HKEY root, const char* keyPath, char* destination, LONG size) {
    std::memset(destination, 0, static_cast<size_t>(size));
    LONG length = size;
    if (RegQueryValueA(root, keyPath, destination, &length) != ERROR_SUCCESS) return 0;
    return length;
}

bool WriteKeyDefault(HKEY root, const char* keyPath, const char* text) {
    if (RegSetValueA(root, keyPath, REG_SZ, text, static_cast<DWORD>(std::strlen(text))) ==
        ERROR_SUCCESS)
        return true;
    platform::ShowMessage("Can't write key to the Registry", keyPath);
    return false;
}

bool DeleteRegistryTree(HKEY root, const char* keyPath) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, keyPath, 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) return false;
    // Deleting one subkey renumbers the rest; a subkey that stays is skipped
    // so the walk always ends.
    DWORD index = 0;
    char name[MAX_PATH + 1];
    while (RegEnumKeyA(key, index, name, sizeof name) == ERROR_SUCCESS) {
        if (!DeleteRegistryTree(key, name)) ++index;
    }
    RegCloseKey(key);
    return RegDeleteKeyA(root, keyPath) == ERROR_SUCCESS;
}

bool HasSubkeys(HKEY key) {
    char name[MAX_PATH + 1];
    return RegEnumKeyA(key, 0, name, sizeof name) == ERROR_SUCCESS;
}

void EnterAllColoursMode() {
    if (!g_settings->disp.bUseMaxColors || !g_display.paletteDevice) return;
    if (g_settings->allColoursRefCount++ != 0) return;
    HDC screen = GetDC(nullptr);
    SetSystemPaletteUse(screen, SYSPAL_NOSTATIC);
    ReleaseDC(nullptr, screen);
    INT elements[kSystemColourCount];
    for (int i = 0; i < kSystemColourCount; ++i) elements[i] = i;
    SetSysColors(kSystemColourCount, elements, kAllColoursSystemTable);
}

void LeaveAllColoursMode() {
    if (g_settings->allColoursRefCount == 0) return;
    if (--g_settings->allColoursRefCount != 0) return;
    HDC screen = GetDC(nullptr);
    SetSystemPaletteUse(screen, SYSPAL_STATIC);
    ReleaseDC(nullptr, screen);
    INT elements[kSystemColourCount];
    COLORREF saved[kSystemColourCount];
    for (int i = 0; i < kSystemColourCount; ++i) {
        elements[i] = i;
        saved[i] = g_settings->savedSysColors[i];
    }
    SetSysColors(kSystemColourCount, elements, saved);
}
