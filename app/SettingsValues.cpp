#include "app/SettingsValues.h"

#include <cstring>

void PutDefault(void* destination, uint32_t size, int32_t defaultValue) {
    auto* bytes = static_cast<unsigned char*>(destination);
    std::memset(bytes, 0, size);
    if (defaultValue == 0 || size > 4) return;
    const uint32_t little = static_cast<uint32_t>(defaultValue);
    for (uint32_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(little >> (8 * i));
}

void PutDefaultText(void* destination, uint32_t size, const char* text) {
    auto* bytes = static_cast<char*>(destination);
    std::memset(bytes, 0, size);
    if (size == 0) return;
    std::strncpy(bytes, text, size - 1);
}

static unsigned char* FieldOf(SettingsBlock* block, const SettingValue& value) {
    return reinterpret_cast<unsigned char*>(block) + value.offset;
}

static const unsigned char* FieldOf(const SettingsBlock* block, const SettingValue& value) {
    return reinterpret_cast<const unsigned char*>(block) + value.offset;
}

void ReadSettingValues(SettingsBlock* block, const SettingReader& read) {
    for (const SettingValue& value : kSettingValues) {
        unsigned char* field = FieldOf(block, value);
        PutDefault(field, value.size, value.defaultValue);
        // A failed read may have left anything in the field; the default stands.
        if (read(value.name, field, value.size) == 0)
            PutDefault(field, value.size, value.defaultValue);
    }
}

uint32_t StoredSize(const SettingsBlock* block, const SettingValue& value) {
    if (value.type != kSettingString) return value.size;
    const char* text = reinterpret_cast<const char*>(FieldOf(block, value));
    const size_t length = strnlen(text, value.size - 1);
    return static_cast<uint32_t>(length + 1);
}

void WriteSettingValues(const SettingsBlock* block, const SettingWriter& write) {
    for (const SettingValue& value : kSettingValues) {
        // A text filling its whole field would carry no NUL of its own; the
        // stored copy is cut one byte short so it always has one.
        if (value.type == kSettingString) {
            char text[kSettingsPathSize];
            const char* field = reinterpret_cast<const char*>(FieldOf(block, value));
            const uint32_t size = StoredSize(block, value);
            std::memcpy(text, field, size - 1);
            text[size - 1] = '\0';
            write(value.name, value.type, text, size);
        } else {
            write(value.name, value.type, FieldOf(block, value), value.size);
        }
    }
}

void SetProgramPaths(SettingsBlock* block, const char* modulePath) {
    PutDefaultText(block->programPath, sizeof block->programPath, modulePath);
    const char* path = block->programPath;
    int32_t nameStart = 0;
    int32_t extension = -1;
    int32_t length = 0;
    for (; path[length]; ++length) {
        if (path[length] == '\\' || path[length] == ':') nameStart = length + 1;
        if (path[length] == '.') extension = length;
    }
    block->programFileNamePos = nameStart;
    block->programExtensionPos = extension < 0 ? length : extension;

    std::memset(block->helpPath, 0, sizeof block->helpPath);
    std::memcpy(block->helpPath, path, static_cast<size_t>(nameStart));
    std::strncpy(block->helpPath + nameStart, kHelpFileName,
                 sizeof block->helpPath - 1 - static_cast<size_t>(nameStart));
}
