// The accurate transform in 16-bit vector lanes (SSE2), for blocks whose
// values fit them; the 32-bit transform in Idct.cpp takes the others.
#pragma once
#include <cstddef>
#include <cstdint>

#include "jpeg/Simd.h"

namespace jpeg {
#ifdef VANTIREL_SSE2
// Writes the 8x8 samples as the accurate transform does and returns true,
// or writes nothing and returns false when a dequantised coefficient or a
// value between the passes lies outside -16383..16383.
bool IdctAccurateSse2(uint8_t* dest, const int32_t* block, const int32_t* table, ptrdiff_t rowStep,
                      ptrdiff_t columnStep);
#endif
}  // namespace jpeg
