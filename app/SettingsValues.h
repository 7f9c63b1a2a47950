// The parts of the settings store that do not need the registry: putting
// defaults in place, walking the persisted values in their fixed order, and
// deriving the program and help-file paths. The store in SettingsStore.cpp
// connects these to the shared section and the registry.
#pragma once
#include <cstdint>
#include <functional>

#include "core/Settings.h"

constexpr const char kSettingsSectionName[] = "Vantirel v3.0.DAT";
constexpr const char kSettingsKeyPath[] = "Software\\Dravik\\Vantirel";
constexpr const char kHelpFileName[] = "Vantirel.hlp";
constexpr int kSettingsPathSize = 516;

// What a value's destination holds before the registry is asked: a default
// of zero is all zero bytes; up to four bytes take the low bytes of the
// integer (little-endian); a larger destination takes the text (zero padded).
void PutDefault(void* destination, uint32_t size, int32_t defaultValue);
void PutDefaultText(void* destination, uint32_t size, const char* text);

// Reads one value into destination (at most size bytes) and returns the
// number of bytes read, or 0 when it could not be read.
using SettingReader = std::function<uint32_t(const char* name, void* destination, uint32_t size)>;
// Writes one value: its registry type and the bytes to store.
using SettingWriter =
    std::function<void(const char* name, uint32_t type, const void* data, uint32_t size)>;

// Every persisted value in the documented order: default first, then the
// reader; a value that cannot be read keeps its default.
void ReadSettingValues(SettingsBlock* block, const SettingReader& read);
// Every persisted value in the same order; texts with their terminating NUL.
void WriteSettingValues(const SettingsBlock* block, const SettingWriter& write);
// The bytes a value occupies in the registry.
uint32_t StoredSize(const SettingsBlock* block, const SettingValue& value);

// Stores the program path (cut to fit), the positions of its file-name part
// (after the last '\' or ':') and of its extension (the last '.', or the end
// of the text), and the help path: the program path with kHelpFileName in
// place of the file-name part.
void SetProgramPaths(SettingsBlock* block, const char* modulePath);
