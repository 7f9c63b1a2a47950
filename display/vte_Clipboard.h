// Copying the viewed picture to the clipboard as a packed device-independent
// bitmap (CF_DIB).
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

class Image;

// Opens the clipboard for `window`, empties it and hands it the picture as
// one movable, shareable block laid out as PackedDib.h describes. False with
// the error report filled ("Couldn't open the clipboard", "Couldn't copy
// bitmap to clipboard"); the clipboard is closed again either way. A null
// picture copies nothing and succeeds.
bool vte_Clipboard(HWND window, Image* image);

// The clipboard calls vte_Clipboard makes, replaceable so tests can watch
// their order and make them fail.
struct ClipboardCalls {
    BOOL(WINAPI* open)(HWND window);
    BOOL(WINAPI* empty)();
    HANDLE(WINAPI* setData)(UINT format, HANDLE block);
    BOOL(WINAPI* close)();
};
ClipboardCalls SystemClipboardCalls();
// Installs `calls` and returns the ones in use before.
ClipboardCalls SetClipboardCalls(const ClipboardCalls& calls);
