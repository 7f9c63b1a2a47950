// The viewer window "VantirelViewWnd": one picture per process, commands from
// a context menu, the keyboard, the mouse and dropped files.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

// after windows.h, which it needs (HDROP)
#include <shellapi.h>

// Registers the class, creates the window, opens `path` (or, with none, what
// the open dialog chooses) and runs the message loop while the window lives.
// Returns when the window has closed or the first picture could not be
// opened (the class is then unregistered).
void ViewerMain(HINSTANCE instance, const char* path);

#include <vector>

#include "app/ViewerLogic.h"

// The context menu as a popup menu; the caller destroys it.
HMENU CreateViewerMenu(const std::vector<MenuItem>& items);

// Shows the items as the window's context menu at a screen position and
// sends the chosen command to the window. From the keyboard (-1, -1) the
// menu opens at the client area's top-left corner.
void TrackContextMenu(HWND window, const std::vector<MenuItem>& items, int screenX, int screenY);

// Opens a file into the viewer window, or with spawn set into a new viewer
// process. True when the picture is shown (or the process started). A slide
// show plays in this window, or, in the index window's process, in a new
// process.
bool OpenInViewer(HWND window, const char* path, bool spawn);

// Files dropped on the window: each opens in a new viewer process (a slide
// show as OpenInViewer plays it). Releases the drop.
void OpenDroppedFiles(HWND window, HDROP drop);

// Says that this process shows an index window, not a viewer.
void MarkIndexProcess();
