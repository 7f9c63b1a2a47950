// The only door from the portable code (core/, formats/, jpeg/, color/) to the
// operating system. Win32 and POSIX each implement it once.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

// Handles are opaque words; 0 means "none". On Win32 they are HANDLEs, on
// POSIX the file handle is the descriptor plus one.
using Handle = intptr_t;

enum class MapStatus { Ok, OpenFailed, MappingFailed, ViewFailed };

// Opens an existing file for reading (shared reading, sequential-scan hint)
// and maps all of it read-only. Whatever was obtained before a failure is
// left in the out-parameters so the caller releases it as usual.
MapStatus MapWholeFile(const char* path, Handle* file, Handle* mapping, const uint8_t** view,
                       uint32_t* size);
void UnmapView(const uint8_t* view, uint32_t size);
void CloseMapping(Handle mapping);
void CloseFile(Handle file);

// Reads a whole existing file (opened for reading while others may read and
// write it) into bytes: the file's length (low 32 bits) in bytes and one NUL
// after them. False when it cannot be opened; a read that ends early keeps
// what was read.
bool ReadWholeFile(const char* path, std::vector<char>* bytes);

// Creates (always replacing) a file for writing, not shared. 0 on failure.
Handle CreateFileForWriting(const char* path);
// Writes all bytes it can; returns false when fewer were written.
bool WriteBytes(Handle file, const void* data, size_t count);

// Fixed (non-moveable) pixel memory, zero-filled. nullptr when it cannot be had.
void* AllocFixed(size_t bytes);
void FreeFixed(void* block);

// Message box with no owner, exclamation icon. Can be redirected (the
// command-line tool prints instead, tests record).
using MessageBoxHook = void (*)(const char* caption, const char* text);
MessageBoxHook SetMessageBoxHook(MessageBoxHook hook);
void ShowMessage(const char* caption, const char* text);

// A warning that does not stop the work: caption "Attention!".
void Warning(const char* text);

// Fatal end: box "QUIT!" with the text (which begins "EXIT: "), exit code 1.
[[noreturn]] void FatalExit(const char* text);

// Fills x, y, width, height of a device context with the stock white brush.
// A no-op where there is no display.
bool FillWhite(void* deviceContext, int x, int y, int width, int height);

}  // namespace platform
