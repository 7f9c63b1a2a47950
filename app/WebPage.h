// Opening a web page in the browser registered for HTML files.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "app/ProcessStart.h"

// How the browser is started: a command and its argument (none here).
using ProcessStarter = bool (*)(const char* command, const char* argument);

// Finds the browser through the type of ".html" (or ".htm") and its open
// command under `classes`, and starts it on the page. On failure the error
// report (place "SpawnURL") says why and the result is false.
bool SpawnURL(const char* page, HKEY classes = HKEY_CLASSES_ROOT,
              ProcessStarter start = StartProcess);
