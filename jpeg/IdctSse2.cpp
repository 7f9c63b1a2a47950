// The accurate transform in eight 16-bit lanes with SSE2's multiply-add of
// 16-bit pairs into 32 bits, for the blocks whose values fit 16 bits, which
// is every block of every real picture.
//
// Why the results are those of the 32-bit transform: the butterfly before
// each descale is made of additions, subtractions and multiplications only,
// so its 32-bit wrapping sums are the exact sums modulo 2^32, however they
// are grouped. Here the products of each output are regrouped into pairs
// (a * c1 + b * c2) that one multiply-add computes exactly from 16-bit a and
// b; the sums then wrap as the 32-bit ones do, so each descaled value is
// bit for bit the same. What must hold is only that the multiplicands are
// the 32-bit ones: the dequantised coefficients and the values between the
// passes must fit 16 bits. Both are checked (with margin: magnitudes up to
// 16383), and a block that fails either check is left to the 32-bit
// transform. Within the checked range the shortcuts of the 32-bit transform
// for columns and rows without AC terms give what the butterfly gives, so
// they need no special case here.
#include "jpeg/IdctSse2.h"

#ifdef VANTIREL_SSE2

namespace jpeg {
namespace {

// Every helper that takes or gives vectors is inlined: the 64-bit Windows
// compiler has mishandled vectors passed to out-of-line functions.
#define VANTIREL_SSE2_INLINE __attribute__((always_inline)) inline

// Two 32-bit halves of eight lanes.
struct Wide {
    __m128i low, high;
};

VANTIREL_SSE2_INLINE Wide Add(Wide a, Wide b) {
    return {_mm_add_epi32(a.low, b.low), _mm_add_epi32(a.high, b.high)};
}
VANTIREL_SSE2_INLINE Wide Sub(Wide a, Wide b) {
    return {_mm_sub_epi32(a.low, b.low), _mm_sub_epi32(a.high, b.high)};
}

// The pairs (a, b) of each lane, ready for the multiply-add.
struct Pairs {
    __m128i low, high;
};
VANTIREL_SSE2_INLINE Pairs MakePairs(__m128i a, __m128i b) {
    return {_mm_unpacklo_epi16(a, b), _mm_unpackhi_epi16(a, b)};
}

// a * c1 + b * c2 in every lane, exactly.
VANTIREL_SSE2_INLINE Wide MulAdd(const Pairs& p, int16_t c1, int16_t c2) {
    const __m128i constants = _mm_set1_epi32(
        static_cast<int32_t>(static_cast<uint16_t>(c1)) |
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint16_t>(c2)) << 16));
    return {_mm_madd_epi16(p.low, constants), _mm_madd_epi16(p.high, constants)};
}

// One pass of the Loeffler-Ligtenberg-Moschytz butterfly over eight lanes.
// x[k] holds frequency k; out[n] receives output n before the descale, with
// `rounding` already added. The products of the published form are
// regrouped by multiplicand:
//   even part: tmp2 = 4433 z2 - 10704 z6, tmp3 = 10703 z2 + 4433 z6,
//              tmp0 = 8192 (z0 + z4), tmp1 = 8192 (z0 - z4);
//   odd part (t0 = x7, t1 = x5, t2 = x3, t3 = x1):
//     tmp0 = -11363 t0 + 9633 t1 - 6436 t2 + 2260 t3
//     tmp1 =   9633 t0 + 2261 t1 - 11362 t2 + 6437 t3
//     tmp2 =  -6436 t0 - 11362 t1 - 2259 t2 + 9633 t3
//     tmp3 =   2260 t0 + 6437 t1 + 9633 t2 + 11363 t3
// (for instance the published odd tmp0 is 2446 t0 - 7373 (t0 + t3) - 16069
// (t0 + t2) + 9633 (t0 + t1 + t2 + t3)).
VANTIREL_SSE2_INLINE void Butterfly(const __m128i (&x)[8], int32_t rounding, Wide (&out)[8]) {
    const Pairs p04 = MakePairs(x[0], x[4]), p26 = MakePairs(x[2], x[6]);
    const __m128i round = _mm_set1_epi32(rounding);
    Wide tmp0 = MulAdd(p04, 8192, 8192);
    Wide tmp1 = MulAdd(p04, 8192, -8192);
    tmp0 = {_mm_add_epi32(tmp0.low, round), _mm_add_epi32(tmp0.high, round)};
    tmp1 = {_mm_add_epi32(tmp1.low, round), _mm_add_epi32(tmp1.high, round)};
    const Wide tmp2 = MulAdd(p26, 4433, -10704);
    const Wide tmp3 = MulAdd(p26, 10703, 4433);
    const Wide tmp10 = Add(tmp0, tmp3), tmp13 = Sub(tmp0, tmp3);
    const Wide tmp11 = Add(tmp1, tmp2), tmp12 = Sub(tmp1, tmp2);

    const Pairs p01 = MakePairs(x[7], x[5]), p23 = MakePairs(x[3], x[1]);
    const Wide odd0 = Add(MulAdd(p01, -11363, 9633), MulAdd(p23, -6436, 2260));
    const Wide odd1 = Add(MulAdd(p01, 9633, 2261), MulAdd(p23, -11362, 6437));
    const Wide odd2 = Add(MulAdd(p01, -6436, -11362), MulAdd(p23, -2259, 9633));
    const Wide odd3 = Add(MulAdd(p01, 2260, 6437), MulAdd(p23, 9633, 11363));

    out[0] = Add(tmp10, odd3);
    out[7] = Sub(tmp10, odd3);
    out[1] = Add(tmp11, odd2);
    out[6] = Sub(tmp11, odd2);
    out[2] = Add(tmp12, odd1);
    out[5] = Sub(tmp12, odd1);
    out[3] = Add(tmp13, odd0);
    out[4] = Sub(tmp13, odd0);
}

// Nonzero lanes where a 16-bit value lies outside -16384..16383.
VANTIREL_SSE2_INLINE __m128i OutOfRange(__m128i v) {
    return _mm_xor_si128(_mm_srai_epi16(v, 14), _mm_srai_epi16(v, 15));
}

// Transposes eight rows of eight 16-bit lanes.
VANTIREL_SSE2_INLINE void Transpose(__m128i (&v)[8]) {
    const __m128i a0 = _mm_unpacklo_epi16(v[0], v[1]), a1 = _mm_unpackhi_epi16(v[0], v[1]);
    const __m128i a2 = _mm_unpacklo_epi16(v[2], v[3]), a3 = _mm_unpackhi_epi16(v[2], v[3]);
    const __m128i a4 = _mm_unpacklo_epi16(v[4], v[5]), a5 = _mm_unpackhi_epi16(v[4], v[5]);
    const __m128i a6 = _mm_unpacklo_epi16(v[6], v[7]), a7 = _mm_unpackhi_epi16(v[6], v[7]);
    const __m128i b0 = _mm_unpacklo_epi32(a0, a2), b1 = _mm_unpackhi_epi32(a0, a2);
    const __m128i b2 = _mm_unpacklo_epi32(a1, a3), b3 = _mm_unpackhi_epi32(a1, a3);
    const __m128i b4 = _mm_unpacklo_epi32(a4, a6), b5 = _mm_unpackhi_epi32(a4, a6);
    const __m128i b6 = _mm_unpacklo_epi32(a5, a7), b7 = _mm_unpackhi_epi32(a5, a7);
    v[0] = _mm_unpacklo_epi64(b0, b4);
    v[1] = _mm_unpackhi_epi64(b0, b4);
    v[2] = _mm_unpacklo_epi64(b1, b5);
    v[3] = _mm_unpackhi_epi64(b1, b5);
    v[4] = _mm_unpacklo_epi64(b2, b6);
    v[5] = _mm_unpackhi_epi64(b2, b6);
    v[6] = _mm_unpacklo_epi64(b3, b7);
    v[7] = _mm_unpackhi_epi64(b3, b7);
}

VANTIREL_SSE2_INLINE __m128i Load32x8(const int32_t* p) {
    return _mm_packs_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 4)));
}

#undef VANTIREL_SSE2_INLINE
}  // namespace

bool IdctAccurateSse2(uint8_t* dest, const int32_t* in, const int32_t* table, ptrdiff_t rowStep,
                      ptrdiff_t columnStep) {
    // Dequantise in 16 bits. Coefficients and multipliers are narrowed with
    // saturation; a product that is exact and within -16383..16383 can only
    // come from unsaturated operands (or a zero one), so checking the
    // product's range checks the narrowing too.
    __m128i x[8];
    __m128i bad = _mm_setzero_si128();
    for (int k = 0; k < 8; ++k) {
        const __m128i c = Load32x8(in + 8 * k), q = Load32x8(table + 8 * k);
        const __m128i low = _mm_mullo_epi16(c, q), high = _mm_mulhi_epi16(c, q);
        bad = _mm_or_si128(bad, _mm_xor_si128(high, _mm_srai_epi16(low, 15)));
        bad = _mm_or_si128(bad, OutOfRange(low));
        x[k] = low;
    }
    // Pass 1: columns (a lane per column), descaled by 11 bits with
    // rounding, kept in 16 bits when they fit.
    Wide sums[8];
    Butterfly(x, 1024, sums);
    __m128i w[8];
    for (int k = 0; k < 8; ++k) {
        w[k] = _mm_packs_epi32(_mm_srai_epi32(sums[k].low, 11), _mm_srai_epi32(sums[k].high, 11));
        bad = _mm_or_si128(bad, OutOfRange(w[k]));
    }
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(bad, _mm_setzero_si128())) != 0xFFFF) return false;
    // Pass 2: rows (a lane per row), descaled by 18 bits with rounding. The
    // results are at most 2^13 in magnitude, so they narrow exactly.
    Transpose(w);
    Butterfly(w, 131072, sums);
    __m128i columns[8];
    for (int k = 0; k < 8; ++k) {
        const __m128i v =
            _mm_packs_epi32(_mm_srai_epi32(sums[k].low, 18), _mm_srai_epi32(sums[k].high, 18));
        // The range limiter's lookup done arithmetically: its ten index
        // bits read as a signed value (512..1023 being -512..-1), the level
        // shift added, then clamped to 0..255 by the saturating pack. So
        // 0..127 give 128..255, 128..511 give 255, 512..895 give 0 and
        // 896..1023 give 0..127, as the table has it.
        columns[k] = _mm_add_epi16(_mm_srai_epi16(_mm_slli_epi16(v, 6), 6), _mm_set1_epi16(128));
    }
    // Bytes, two columns (eight rows each) per register, then transposed to
    // two rows per register.
    const __m128i c01 = _mm_packus_epi16(columns[0], columns[1]);
    const __m128i c23 = _mm_packus_epi16(columns[2], columns[3]);
    const __m128i c45 = _mm_packus_epi16(columns[4], columns[5]);
    const __m128i c67 = _mm_packus_epi16(columns[6], columns[7]);
    const __m128i t0 = _mm_unpacklo_epi8(c01, c23), t1 = _mm_unpackhi_epi8(c01, c23);
    const __m128i t2 = _mm_unpacklo_epi8(c45, c67), t3 = _mm_unpackhi_epi8(c45, c67);
    const __m128i u0 = _mm_unpacklo_epi8(t0, t1), u1 = _mm_unpackhi_epi8(t0, t1);
    const __m128i u2 = _mm_unpacklo_epi8(t2, t3), u3 = _mm_unpackhi_epi8(t2, t3);
    const __m128i rows[4] = {_mm_unpacklo_epi32(u0, u2), _mm_unpackhi_epi32(u0, u2),
                             _mm_unpacklo_epi32(u1, u3), _mm_unpackhi_epi32(u1, u3)};
    if (columnStep == 1) {
        for (int r = 0; r < 4; ++r) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dest + 2 * r * rowStep), rows[r]);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dest + (2 * r + 1) * rowStep),
                             _mm_unpackhi_epi64(rows[r], rows[r]));
        }
        return true;
    }
    alignas(16) uint8_t samples[64];
    for (int r = 0; r < 4; ++r)
        _mm_store_si128(reinterpret_cast<__m128i*>(samples + 16 * r), rows[r]);
    for (int row = 0; row < 8; ++row) {
        uint8_t* out = dest + row * rowStep;
        for (int column = 0; column < 8; ++column)
            out[column * columnStep] = samples[8 * row + column];
    }
    return true;
}

}  // namespace jpeg
#endif
