#include "color/ErrorLimit.h"

namespace {
constexpr int32_t Limit(int32_t magnitude) {
    if (magnitude <= 15) return magnitude;
    if (magnitude <= 47) return 16 + (magnitude - 16) / 2;
    return 32;
}

constexpr std::array<int32_t, 511> BuildErrorLimit() {
    std::array<int32_t, 511> table{};
    for (int32_t i = 0; i <= 255; ++i) {
        table[255 + i] = Limit(i);
        table[255 - i] = -Limit(i);
    }
    for (int32_t i = 241; i <= 255; ++i) table[255 + i] = 0;
    return table;
}
}  // namespace

extern const std::array<int32_t, 511> kErrorLimitTable = BuildErrorLimit();
