// Registering the program (file types, App Paths, the uninstall entry) is
// not part of this build yet: the first instance finds nothing to check.
// Installation.cpp replaces this file.
#include "app/Installation.h"

void CheckInstallation(HKEY, bool) {}
