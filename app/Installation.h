// The version and installation check that opening the settings runs in the
// first instance, and the uninstall that "-UNINSTALL" and the properties
// sheet start. Both work on the registry places below.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "app/SettingsValues.h"

// Where the program's registry entries live. The program uses the system's
// roots; tests put keys of their own in their place, so that the same key
// paths are written below a scratch key of the real registry.
struct RegistryPlaces {
    HKEY user = HKEY_CURRENT_USER;  // holds the settings key
    const char* settingsKey = kSettingsKeyPath;
    HKEY machine = HKEY_LOCAL_MACHINE;  // App Paths and the uninstall entry
    HKEY classes = HKEY_CLASSES_ROOT;   // file types and the directory command
};

// Runs with the settings key open (or null when it could not be opened) and
// whether the platform's shell knows about App Paths, uninstall entries and
// the like (major version 4 or more). On a first run it greets the user,
// records the version, registers the program and offers to take over the
// file types of the import table; a copy of this version found registered
// elsewhere is registered again quietly; a newer version is left alone.
void CheckInstallation(HKEY settingsKey, bool shellAware);
void CheckInstallation(HKEY settingsKey, bool shellAware, const char* programPath,
                       const RegistryPlaces& places);

// What uninstalling did, short of ending the process.
enum class UninstallOutcome {
    Declined,         // the user said no: nothing was changed
    RegistryCleaned,  // the user kept the files
    RemovingFiles,    // the batch file was written and started
    BatchFileFailed,  // the registry is clean; the error report says why
};
// Starts a command line the way the batch file is started (shown normally).
using CommandStarter = bool (*)(const char* commandLine);
// Asks, removes the registry entries and, when the user wants it, writes the
// batch file into the program's folder and starts it.
UninstallOutcome RemoveInstallation(const char* programPath, const RegistryPlaces& places,
                                    CommandStarter start);
