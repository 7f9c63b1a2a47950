// The version and installation check that opening the settings runs in the
// first instance, with the settings key open (or null when it could not be
// opened) and whether the platform's shell knows about uninstall entries and
// the like (major version 4 or more).
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

void CheckInstallation(HKEY settingsKey, bool shellAware);
