// The YCbCr conversion of separate planes with SSE2 (see YCbCrSse2.cpp).
#pragma once
#include <cstdint>

#include "jpeg/Simd.h"

namespace jpeg {
#ifdef VANTIREL_SSE2
// Converts the first pixels of the row in groups of sixteen (as
// jpegConvertYCbCrPlanes does) and returns how many it converted.
int ConvertYCbCrPlanesSse2(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int count,
                           uint8_t* out);
#endif
}  // namespace jpeg
