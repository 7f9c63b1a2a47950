// The accurate and the fast transform in 16-bit vector lanes (SSE2), for
// blocks whose values fit them; the 32-bit transforms in Idct.cpp take the
// others.
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
// The same for the fast transform, which takes a block when a weighted sum
// of the magnitudes of every column's dequantised coefficients, and of every
// row's values between the passes, stays within 32000 (see IdctSse2.cpp).
bool IdctFastSse2(uint8_t* dest, const int32_t* block, const int32_t* table, ptrdiff_t rowStep,
                  ptrdiff_t columnStep);
#endif
}  // namespace jpeg
