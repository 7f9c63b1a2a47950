// The file-type lists of the open and save dialogs, built from the format
// tables, and the save dialog's name and type rules. Portable so they are
// tested natively.
#pragma once
#include <cstddef>
#include <string>

// Pairs of display text and pattern, each ending in a zero byte, the list
// ended by one more zero byte (the string's own terminator is not counted).
std::string BuildOpenFilter();
std::string BuildSaveFilter();

// The directory part of a path: everything before its file name (the text
// after the last '\' or ':').
std::string DirectoryPart(const char* path);

// The save dialog's proposed name: the file name without its directory and
// without its extension (cut at the last '.').
std::string DefaultSaveName(const char* path);

// True when the file name part of path has a '.'.
bool HasExtension(const char* path);

// The export type for a chosen name: the selected filter's index less one,
// unless the name's extension (compared without case) belongs to another
// export table entry.
int ChooseExportType(int filterIndex, const char* path);
