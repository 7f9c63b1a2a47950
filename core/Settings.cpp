#include "core/Settings.h"

#include <cstring>

namespace {
SettingsBlock g_defaultBlock = [] {
    SettingsBlock block;
    FillDefaultSettings(&block);
    return block;
}();
}  // namespace

SettingsBlock* g_settings = &g_defaultBlock;

void FillDefaultSettings(SettingsBlock* block) {
    std::memset(block, 0, sizeof *block);
    auto* bytes = reinterpret_cast<unsigned char*>(block);
    for (const SettingValue& value : kSettingValues) {
        if (value.type == kSettingString) continue;  // empty text: already zero
        const uint32_t little = static_cast<uint32_t>(value.defaultValue);
        for (uint32_t i = 0; i < value.size && i < 4; ++i)
            bytes[value.offset + i] = static_cast<unsigned char>(little >> (8 * i));
    }
    block->instanceCount = 1;
}
