#include "color/RangeLimit.h"

namespace {
constexpr std::array<uint8_t, 1408> BuildRangeLimit() {
    std::array<uint8_t, 1408> table{};
    size_t i = 0;
    for (int k = 0; k < 256; ++k) table[i++] = 0;
    for (int k = 0; k < 256; ++k) table[i++] = static_cast<uint8_t>(k);
    for (int k = 0; k < 384; ++k) table[i++] = 255;
    for (int k = 0; k < 384; ++k) table[i++] = 0;
    for (int k = 0; k < 128; ++k) table[i++] = static_cast<uint8_t>(k);
    return table;
}
}  // namespace

extern const std::array<uint8_t, 1408> kRangeLimitTable = BuildRangeLimit();
