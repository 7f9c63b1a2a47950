// The clamp table shared by the inverse DCT, the YCbCr conversion, dithering,
// quantising and resampling.
//
// 1408 bytes: 256 zeros, the identity 0..255, 384 bytes of 255, 384 zeros,
// then 0..127. kRangeLimit points at the identity run, so kRangeLimit[v]
// clamps any v in -256..639 to 0..255. The IDCT indexes it from
// kRangeLimit + 128 with (value & 1023), which adds the level shift of 128 and
// clamps in one step: 0..127 -> 128..255, 128..511 -> 255, 512..895 -> 0 and
// 896..1023 (that is -128..-1) -> 0..127.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

extern const std::array<uint8_t, 1408> kRangeLimitTable;
inline const uint8_t* const kRangeLimit = kRangeLimitTable.data() + 256;
