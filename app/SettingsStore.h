// The settings block shared by every running instance through a named
// section, persisted in the registry by the last instance to exit; the
// registry helpers the rest of the program uses; the all-colours mode.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdint>

#include "app/Installation.h"
#include "app/SettingsValues.h"

// What start-up keeps for the whole run.
struct InstanceRecord {
    HINSTANCE instance;
    HANDLE section;
    void* view;
    SettingsBlock* previousSettings;  // where g_settings pointed before
};

// The installation check the first instance runs with the settings key
// (null when it could not be opened) and whether the shell is the newer one.
using InstallationCheck = void (*)(HKEY settingsKey, bool shellAware);

// Where the store lives. The program uses the defaults; tests pass names of
// their own so they never share a section or key with a running program,
// and a check of their own, since the program's would greet them and
// register the test program.
struct SettingsLocation {
    const char* sectionName = kSettingsSectionName;
    const char* keyPath = kSettingsKeyPath;
    InstallationCheck installationCheck = CheckInstallation;
};

// Creates or opens the section and points g_settings at it. The first
// instance fills it (program paths, system colours, registry values) and
// runs the installation check; later ones only count themselves. Failures
// end the process ("QUIT!").
void OpenSettings(InstanceRecord* record, const SettingsLocation& location = {});
// Counts this instance out; the last one writes every value to the registry
// and releases the section (g_settings then points where it did before).
void CloseSettings(InstanceRecord* record, const SettingsLocation& location = {});

// True when the platform's major version is 4 or more (set by OpenSettings).
extern bool g_shellAware;

// Puts the default in place, then reads the value (at most size bytes).
// Returns the bytes read, or 0 (the default then stands).
DWORD ReadRegistryValue(HKEY key, const char* name, void* destination, DWORD size,
                        int32_t defaultValue);
DWORD ReadRegistryText(HKEY key, const char* name, char* destination, DWORD size,
                       const char* defaultText);
// Writes the value; retries once as REG_SZ; then says "Can't write value to
// the Registry" with the value's name.
bool WriteRegistryValue(HKEY key, const char* name, DWORD type, const void* data, DWORD size);

// Creates keyPath under root and writes one value there.
bool WriteRegistryValueAt(HKEY root, const char* keyPath, const char* name, DWORD type,
                          const void* data, DWORD size);
// A key's default value (RegQueryValueA): destination zero-filled first;
// returns the length read or 0.
LONG ReadKeyDefault(HKEY root, const char* keyPath, char* destination, LONG size);
// Sets a key's default value as REG_SZ; failure says "Can't write key to the
// Registry" with the key path.
bool WriteKeyDefault(HKEY root, const char* keyPath, const char* text);
// Deletes a key with everything below it; false when it could not be opened
// or something in it could not be deleted.
bool DeleteRegistryTree(HKEY root, const char* keyPath);
// True when the open key has at least one subkey.
bool HasSubkeys(HKEY key);

// The all-colours mode of a palette display: the first window to enter takes
// the whole system palette (the 20 system colours become black and white),
// the last to leave gives it back. Entering does nothing unless
// "disp.bUseMaxColors" is on and the screen is a palette device.
void EnterAllColoursMode();
void LeaveAllColoursMode();
