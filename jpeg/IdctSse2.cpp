// The transforms in eight 16-bit lanes with SSE2. The accurate one uses the
// multiply-add of 16-bit pairs into 32 bits and takes the blocks whose
// values fit 16 bits, which is every block of every real picture; the fast
// one (further down) stays in 16 bits throughout and takes the blocks whose
// values keep it there.
//
// Why the accurate results are those of the 32-bit transform: the butterfly
// before each descale is made of additions, subtractions and multiplications
// only, so its 32-bit wrapping sums are the exact sums modulo 2^32, however
// they are grouped. Here the products of each output are regrouped into pairs
// (a * c1 + b * c2) that one multiply-add computes exactly from 16-bit a and
// b; the sums then wrap as the 32-bit ones do, so each descaled value is bit
// for bit the same. What must hold is only that the multiplicands are the
// 32-bit ones: the dequantised coefficients and the values between the passes
// must fit 16 bits. Both are checked (with margin: magnitudes up to 16383),
// and a block that fails either check is left to the 32-bit transform. Within
// the checked range the shortcuts of the 32-bit transform for columns and
// rows without AC terms give what the butterfly gives, so they need no
// special case here.
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

// Writes eight columns of eight rows (a lane per row), each a descaled
// value whose low ten bits index the range limiter from its centre. The
// lookup is done arithmetically: the ten bits read as a signed value
// (512..1023 being -512..-1), the level shift added, then clamped to 0..255
// by the saturating pack. So 0..127 give 128..255, 128..511 give 255,
// 512..895 give 0 and 896..1023 give 0..127, as the table has it.
VANTIREL_SSE2_INLINE void StoreColumns(uint8_t* dest, ptrdiff_t rowStep, ptrdiff_t columnStep,
                                       __m128i (&columns)[8]) {
    for (__m128i& v : columns)
        v = _mm_add_epi16(_mm_srai_epi16(_mm_slli_epi16(v, 6), 6), _mm_set1_epi16(128));
    // Bytes, two columns per register, then transposed to two rows per
    // register.
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
        return;
    }
    alignas(16) uint8_t samples[64];
    for (int r = 0; r < 4; ++r)
        _mm_store_si128(reinterpret_cast<__m128i*>(samples + 16 * r), rows[r]);
    for (int row = 0; row < 8; ++row) {
        uint8_t* out = dest + row * rowStep;
        for (int column = 0; column < 8; ++column)
            out[column * columnStep] = samples[8 * row + column];
    }
}

// Dequantises a block in 16 bits: coefficients and multipliers narrowed
// with saturation, their products kept when exact. Lanes where a product
// does not fit 16 bits are marked in `bad`; a saturated operand (with a
// nonzero other one) gives a product of at least 32767 in magnitude, which
// the callers' range checks reject.
VANTIREL_SSE2_INLINE void Dequantise(const int32_t* in, const int32_t* table, __m128i (&x)[8],
                                     __m128i* bad) {
    for (int k = 0; k < 8; ++k) {
        const __m128i c = Load32x8(in + 8 * k), q = Load32x8(table + 8 * k);
        const __m128i low = _mm_mullo_epi16(c, q), high = _mm_mulhi_epi16(c, q);
        *bad = _mm_or_si128(*bad, _mm_xor_si128(high, _mm_srai_epi16(low, 15)));
        x[k] = low;
    }
}

VANTIREL_SSE2_INLINE bool AnySet(__m128i v) {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) != 0xFFFF;
}

// The fast transform's products (value * constant) >> 8 in 16 bits, each
// constant split as 256 a + b so that the product is a * value plus the
// high half of value * 256 b, both exact: floor(v c / 256) = a v +
// floor(v b / 256).
VANTIREL_SSE2_INLINE __m128i Times362(__m128i v) {  // 256 + 106
    return _mm_add_epi16(v, _mm_mulhi_epi16(v, _mm_set1_epi16(106 * 256)));
}
VANTIREL_SSE2_INLINE __m128i Times277(__m128i v) {  // 256 + 21
    return _mm_add_epi16(v, _mm_mulhi_epi16(v, _mm_set1_epi16(21 * 256)));
}
VANTIREL_SSE2_INLINE __m128i Times473(__m128i v) {  // 512 - 39
    return _mm_add_epi16(_mm_add_epi16(v, v), _mm_mulhi_epi16(v, _mm_set1_epi16(-39 * 256)));
}
VANTIREL_SSE2_INLINE __m128i TimesMinus669(__m128i v) {  // -768 + 99
    const __m128i three = _mm_add_epi16(_mm_add_epi16(v, v), v);
    return _mm_sub_epi16(_mm_mulhi_epi16(v, _mm_set1_epi16(99 * 256)), three);
}

// One pass of the Arai-Agui-Nakajima butterfly over eight 16-bit lanes, in
// place: x[k] holds frequency k, then output k.
VANTIREL_SSE2_INLINE void FastButterfly(__m128i (&x)[8]) {
    const __m128i tmp10 = _mm_add_epi16(x[0], x[4]), tmp11 = _mm_sub_epi16(x[0], x[4]);
    const __m128i tmp13 = _mm_add_epi16(x[2], x[6]);
    const __m128i tmp12 = _mm_sub_epi16(Times362(_mm_sub_epi16(x[2], x[6])), tmp13);
    const __m128i even0 = _mm_add_epi16(tmp10, tmp13), even3 = _mm_sub_epi16(tmp10, tmp13);
    const __m128i even1 = _mm_add_epi16(tmp11, tmp12), even2 = _mm_sub_epi16(tmp11, tmp12);

    const __m128i z13 = _mm_add_epi16(x[5], x[3]), z10 = _mm_sub_epi16(x[5], x[3]);
    const __m128i z11 = _mm_add_epi16(x[1], x[7]), z12 = _mm_sub_epi16(x[1], x[7]);
    const __m128i odd7 = _mm_add_epi16(z11, z13);
    const __m128i odd11 = Times362(_mm_sub_epi16(z11, z13));
    const __m128i z5 = Times473(_mm_add_epi16(z10, z12));
    const __m128i odd10 = _mm_sub_epi16(Times277(z12), z5);
    const __m128i odd12 = _mm_add_epi16(TimesMinus669(z10), z5);
    const __m128i odd6 = _mm_sub_epi16(odd12, odd7);
    const __m128i odd5 = _mm_sub_epi16(odd11, odd6);
    const __m128i odd4 = _mm_add_epi16(odd10, odd5);

    x[0] = _mm_add_epi16(even0, odd7);
    x[7] = _mm_sub_epi16(even0, odd7);
    x[1] = _mm_add_epi16(even1, odd6);
    x[6] = _mm_sub_epi16(even1, odd6);
    x[2] = _mm_add_epi16(even2, odd5);
    x[5] = _mm_sub_epi16(even2, odd5);
    x[4] = _mm_add_epi16(even3, odd4);
    x[3] = _mm_sub_epi16(even3, odd4);
}

// Nonzero lanes where the eight values' magnitudes, weighted by frequency
// as 1, 2, 2, 3, 1, 3, 3, 6, add up to more than 32000 (the sums
// saturating, -32768 counting as 32768).
VANTIREL_SSE2_INLINE __m128i WeightedSumAbove32000(const __m128i (&x)[8]) {
    __m128i a[8];
    for (int k = 0; k < 8; ++k)
        a[k] = _mm_max_epi16(x[k], _mm_sub_epi16(_mm_setzero_si128(), x[k]));
    const __m128i ones = _mm_adds_epu16(a[0], a[4]);
    const __m128i twos = _mm_adds_epu16(a[1], a[2]);
    // 3 (a3 + a5 + a6) + 6 a7 = 3 (a3 + a5 + a6 + 2 a7)
    const __m128i threes = _mm_adds_epu16(_mm_adds_epu16(a[3], a[5]),
                                          _mm_adds_epu16(a[6], _mm_adds_epu16(a[7], a[7])));
    __m128i sum = _mm_adds_epu16(ones, _mm_adds_epu16(twos, twos));
    sum = _mm_adds_epu16(sum, _mm_adds_epu16(_mm_adds_epu16(threes, threes), threes));
    return _mm_subs_epu16(sum, _mm_set1_epi16(32000));
}

#undef VANTIREL_SSE2_INLINE
}  // namespace

bool IdctAccurateSse2(uint8_t* dest, const int32_t* in, const int32_t* table, ptrdiff_t rowStep,
                      ptrdiff_t columnStep) {
    // Dequantise in 16 bits; every value within -16383..16383.
    __m128i x[8];
    __m128i bad = _mm_setzero_si128();
    Dequantise(in, table, x, &bad);
    for (const __m128i& v : x) bad = _mm_or_si128(bad, OutOfRange(v));
    // Pass 1: columns (a lane per column), descaled by 11 bits with
    // rounding, kept in 16 bits when they fit.
    Wide sums[8];
    Butterfly(x, 1024, sums);
    __m128i w[8];
    for (int k = 0; k < 8; ++k) {
        w[k] = _mm_packs_epi32(_mm_srai_epi32(sums[k].low, 11), _mm_srai_epi32(sums[k].high, 11));
        bad = _mm_or_si128(bad, OutOfRange(w[k]));
    }
    if (AnySet(bad)) return false;
    // Pass 2: rows (a lane per row), descaled by 18 bits with rounding. The
    // results are at most 2^13 in magnitude, so they narrow exactly.
    Transpose(w);
    Butterfly(w, 131072, sums);
    __m128i columns[8];
    for (int k = 0; k < 8; ++k)
        columns[k] =
            _mm_packs_epi32(_mm_srai_epi32(sums[k].low, 18), _mm_srai_epi32(sums[k].high, 18));
    StoreColumns(dest, rowStep, columnStep, columns);
    return true;
}

// The fast transform is done in 16 bits when every value of the butterfly
// fits them; then its wrapping 32-bit sums are the exact ones and equal
// these. Each value of one pass is a sum of the pass's eight inputs x0..x7
// with factors whose magnitudes are at most 1, 2, 1.414, 3, 1, 3, 2.414 and
// 5.03 for x0..x7 (over all the values of the butterfly, the steps of the
// products above included), give or take 5 for the truncated products. So
// when |x0| + 2 |x1| + 2 |x2| + 3 |x3| + |x4| + 3 |x5| + 3 |x6| + 6 |x7| is at
// most 32000 for a column (or a row), nothing exceeds 32767. Blocks with a
// larger column or row are left to the 32-bit transform. Within that range
// the shortcuts for columns and rows without AC terms give what the
// butterfly gives.
bool IdctFastSse2(uint8_t* dest, const int32_t* in, const int32_t* table, ptrdiff_t rowStep,
                  ptrdiff_t columnStep) {
    __m128i x[8];
    __m128i bad = _mm_setzero_si128();
    Dequantise(in, table, x, &bad);
    if (AnySet(_mm_or_si128(bad, WeightedSumAbove32000(x)))) return false;
    // Pass 1: columns (a lane per column), no descale.
    FastButterfly(x);
    Transpose(x);
    if (AnySet(WeightedSumAbove32000(x))) return false;
    // Pass 2: rows (a lane per row), descaled by 5 bits without rounding.
    FastButterfly(x);
    for (__m128i& v : x) v = _mm_srai_epi16(v, 5);
    StoreColumns(dest, rowStep, columnStep, x);
    return true;
}

}  // namespace jpeg
#endif
