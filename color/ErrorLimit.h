// The error limiter of the Floyd-Steinberg diffusion shared by the 8-bit
// quantiser and the 15-bit ditherer.
//
// Index -255..255 (kErrorLimit[i] for i in that range): errors up to 15 pass
// unchanged, 16..47 are halved on their way up to 31, larger ones become 32,
// signs kept. Diffused errors therefore cannot pile up into streaks. Indices
// 241..255 hold 0, not 32: the table has always been built that way and the
// pictures it produces are kept as they are.
#pragma once
#include <array>
#include <cstdint>

extern const std::array<int32_t, 511> kErrorLimitTable;
inline const int32_t* const kErrorLimit = kErrorLimitTable.data() + 255;

// kErrorLimit for any value: indices beyond -255..255 are taken as the ends.
inline int32_t LimitError(int32_t e) {
    if (e < -255) e = -255;
    if (e > 255) e = 255;
    return kErrorLimit[e];
}
