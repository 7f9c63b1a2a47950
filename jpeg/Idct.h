// Dequantisation and the inverse DCTs: an accurate integer transform, a fast
// one with 8-bit constants, and the DC-only transform of the one-eighth
// decode. Each writes its samples straight into the destination picture.
#pragma once
#include <cstddef>
#include <cstdint>

#include "color/RangeLimit.h"
#include "jpeg/JpegState.h"

// Prepares each component's dequantisation table and chooses the block
// routine for the whole decode.
bool DCTOpen(JpegState* state);

namespace jpeg {
// The block routines (see BlockRoutine). `table` is the component's
// dequantisation table, or its DC quantiser for the DC-only transform.
void IdctAccurate(uint8_t* dest, int32_t* block, const int32_t* table, ptrdiff_t rowStep,
                  ptrdiff_t columnStep, int lastIndex);
void IdctFast(uint8_t* dest, int32_t* block, const int32_t* table, ptrdiff_t rowStep,
              ptrdiff_t columnStep, int lastIndex);
void IdctDcOnly(uint8_t* dest, int32_t* block, const int32_t* table, ptrdiff_t rowStep,
                ptrdiff_t columnStep, int lastIndex);
// The one sample of the DC-only transform: the block's average, DC times
// its quantiser over 8 (the product wraps on a corrupt DC), level-shifted
// and clamped through the masked table.
inline uint8_t DcOnlySample(int32_t dc, int32_t quantiser) {
    const int32_t product =
        static_cast<int32_t>(static_cast<uint32_t>(dc) * static_cast<uint32_t>(quantiser));
    return kRangeLimit[128 + ((product >> 3) & 1023)];
}
// The Arai-Agui-Nakajima scale factors, 16384 * s(row) * s(column).
extern const uint16_t kAanScales[64];
}  // namespace jpeg
