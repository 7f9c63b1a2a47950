// The open dialog (with the picture information line and the index button)
// and the save dialog (with its extension, overwrite and type rules).
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <string>
#include <vector>

// True with the chosen path (or, with multiSelect, the directory and the
// names as the dialog returns them) in buffer; false when cancelled or when
// the dialog fails ("GetOpenFileName() failed").
bool OpenImageDialog(HWND owner, char* buffer, DWORD size, bool multiSelect);

// On entry path holds the current picture's path; true with the target path
// there and the export type chosen; false when cancelled or on failure.
bool SaveImageDialog(HWND owner, char* path, DWORD size, int* exportType);

// The full paths of a dialog result: one path, or a directory followed by
// names (each ended by a zero byte, the list by another).
std::vector<std::string> SelectedPaths(const char* buffer, DWORD size);

// The information line for one file: "%dx%dx%d, %s, %s", or the error text
// of a file that is no picture, or nothing when it cannot be opened.
std::string PictureInformation(const char* path);
