// Message boxes that ask the user something (OK, Yes/No) during installation
// and uninstall. They go through one function so tests can answer them.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// Shows a message box without owner and returns the button pressed (IDOK,
// IDYES, IDNO...), or what the installed hook answers.
int AskUser(const char* caption, const char* text, UINT type);

// Replaces the message box; returns the previous hook (null: the real box).
using AskUserHook = int (*)(const char* caption, const char* text, UINT type);
AskUserHook SetAskUserHook(AskUserHook hook);
