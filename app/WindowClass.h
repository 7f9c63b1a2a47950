// Registering the program's top-level window classes: the program icon at
// 32x32 and 16x16, no background brush, no menu.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// Tries the extended registration first; platforms without it take the
// older one. The cursor may be null (the window then sets its own). False
// when both fail.
bool RegisterProgramClass(HINSTANCE instance, const char* name, WNDPROC procedure, UINT style,
                          HCURSOR cursor);
