// The YCbCr conversion of separate planes, sixteen pixels at a time with
// SSE2, giving exactly the bytes of the table conversion.
//
// The tables are truncations (toward zero) of products with decimal
// constants, centred at 127.5; with d = 2 * i - 255 (odd, -255..255) their
// entries are also these integer expressions, checked for all 256 values
// (and the green sum for all 65536 pairs) by the tests:
//   red from Cr:  ((d * 11485 + 8192) >> 14) + [d < 0]
//   blue from Cb: ((d * 14516 + 8192) >> 14) + [d < 0]
//   the green term ((green from Cb + green from Cr) >> 14) is
//     (8192 - 2819 db - 5850 dr - tb - tr) >> 14
//   where -0.34414 * 16384 * c = -2819.19488 d and -0.71414 * 16384 * c =
//   -5850.23488 d split into their integer parts and the truncated
//   fractions tb = trunc(0.19488 db) = ((db * 12776) >> 16) + [db < 0] and
//   tr = trunc(0.23488 dr) = ((dr * 15392) >> 16) + [dr < 0].
// The sums of Y and a term, -225..481, clamp to 0..255 in the saturating
// pack exactly as the range limiter does.
#include "jpeg/YCbCrSse2.h"

#ifdef VANTIREL_SSE2

namespace jpeg {
namespace {

// Every helper that takes or gives vectors is inlined: the 64-bit Windows
// compiler has mishandled vectors passed to out-of-line functions.
#define VANTIREL_SSE2_INLINE __attribute__((always_inline)) inline

VANTIREL_SSE2_INLINE __m128i PairConstant(int16_t c1, int16_t c2) {
    return _mm_set1_epi32(
        static_cast<int32_t>(static_cast<uint16_t>(c1)) |
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint16_t>(c2)) << 16));
}

// (a * c1 + b * c2 + add) >> 14 in eight 16-bit lanes, the sum in 32 bits.
VANTIREL_SSE2_INLINE __m128i MulAddShift(__m128i a, __m128i b, __m128i constants, __m128i add) {
    const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi16(a, b), constants);
    const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi16(a, b), constants);
    return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(low, add), 14),
                           _mm_srai_epi32(_mm_add_epi32(high, add), 14));
}

// Blue, green and red of eight pixels in 16-bit lanes (not yet clamped).
VANTIREL_SSE2_INLINE void Convert8(__m128i y, __m128i cb, __m128i cr, __m128i* blue, __m128i* green,
                                   __m128i* red) {
    const __m128i d255 = _mm_set1_epi16(255);
    const __m128i db = _mm_sub_epi16(_mm_add_epi16(cb, cb), d255);
    const __m128i dr = _mm_sub_epi16(_mm_add_epi16(cr, cr), d255);
    // -1 where d < 0: subtracting it adds the [d < 0] of the formulas.
    const __m128i negativeB = _mm_srai_epi16(db, 15), negativeR = _mm_srai_epi16(dr, 15);
    const __m128i one = _mm_set1_epi16(1), zero = _mm_setzero_si128();

    const __m128i redTerm =
        _mm_sub_epi16(MulAddShift(dr, one, PairConstant(11485, 8192), zero), negativeR);
    const __m128i blueTerm =
        _mm_sub_epi16(MulAddShift(db, one, PairConstant(14516, 8192), zero), negativeB);

    const __m128i tb = _mm_sub_epi16(_mm_mulhi_epi16(db, _mm_set1_epi16(12776)), negativeB);
    const __m128i tr = _mm_sub_epi16(_mm_mulhi_epi16(dr, _mm_set1_epi16(15392)), negativeR);
    // 8192 - tb - tr lies within 8082..8302: positive, so it widens with
    // zeros.
    const __m128i rest = _mm_sub_epi16(_mm_sub_epi16(_mm_set1_epi16(8192), tb), tr);
    const __m128i pairs = PairConstant(-2819, -5850);
    const __m128i low = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(db, dr), pairs),
                                      _mm_unpacklo_epi16(rest, zero));
    const __m128i high = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(db, dr), pairs),
                                       _mm_unpackhi_epi16(rest, zero));
    const __m128i greenTerm = _mm_packs_epi32(_mm_srai_epi32(low, 14), _mm_srai_epi32(high, 14));

    *blue = _mm_add_epi16(y, blueTerm);
    *green = _mm_add_epi16(y, greenTerm);
    *red = _mm_add_epi16(y, redTerm);
}

// Four pixels as blue, green, red, 0 in 32-bit lanes become their twelve
// bytes at the bottom of the register, zeros above.
VANTIREL_SSE2_INLINE __m128i Pack12(__m128i pixels) {
    // In each 64-bit half, the first pixel's three bytes and then, shifted
    // down by one byte, the second's.
    const __m128i first = _mm_set_epi32(0, 0x00FFFFFF, 0, 0x00FFFFFF);
    const __m128i second = _mm_set_epi32(0x0000FFFF, static_cast<int32_t>(0xFF000000), 0x0000FFFF,
                                         static_cast<int32_t>(0xFF000000));
    const __m128i halves = _mm_or_si128(_mm_and_si128(pixels, first),
                                        _mm_and_si128(_mm_srli_epi64(pixels, 8), second));
    // Bytes 0-5 and 8-13 hold the pixels: close the gap.
    const __m128i lowSix = _mm_set_epi32(0, 0, 0x0000FFFF, -1);
    return _mm_or_si128(_mm_and_si128(halves, lowSix),
                        _mm_andnot_si128(lowSix, _mm_srli_si128(halves, 2)));
}

#undef VANTIREL_SSE2_INLINE
}  // namespace

int ConvertYCbCrPlanesSse2(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int count,
                           uint8_t* out) {
    const __m128i zero = _mm_setzero_si128();
    int x = 0;
    for (; x + 16 <= count; x += 16, out += 48) {
        const __m128i y16 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + x));
        const __m128i cb16 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cb + x));
        const __m128i cr16 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cr + x));
        __m128i blueLow, greenLow, redLow, blueHigh, greenHigh, redHigh;
        Convert8(_mm_unpacklo_epi8(y16, zero), _mm_unpacklo_epi8(cb16, zero),
                 _mm_unpacklo_epi8(cr16, zero), &blueLow, &greenLow, &redLow);
        Convert8(_mm_unpackhi_epi8(y16, zero), _mm_unpackhi_epi8(cb16, zero),
                 _mm_unpackhi_epi8(cr16, zero), &blueHigh, &greenHigh, &redHigh);
        const __m128i blue = _mm_packus_epi16(blueLow, blueHigh);
        const __m128i green = _mm_packus_epi16(greenLow, greenHigh);
        const __m128i red = _mm_packus_epi16(redLow, redHigh);
        // Blue, green, red, 0 per pixel, four pixels a register, then
        // twelve bytes each, laid end to end.
        const __m128i bgLow = _mm_unpacklo_epi8(blue, green),
                      bgHigh = _mm_unpackhi_epi8(blue, green);
        const __m128i r0Low = _mm_unpacklo_epi8(red, zero), r0High = _mm_unpackhi_epi8(red, zero);
        const __m128i p0 = Pack12(_mm_unpacklo_epi16(bgLow, r0Low));
        const __m128i p1 = Pack12(_mm_unpackhi_epi16(bgLow, r0Low));
        const __m128i p2 = Pack12(_mm_unpacklo_epi16(bgHigh, r0High));
        const __m128i p3 = Pack12(_mm_unpackhi_epi16(bgHigh, r0High));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_or_si128(p0, _mm_slli_si128(p1, 12)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16),
                         _mm_or_si128(_mm_srli_si128(p1, 4), _mm_slli_si128(p2, 8)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 32),
                         _mm_or_si128(_mm_srli_si128(p2, 8), _mm_slli_si128(p3, 4)));
    }
    return x;
}

}  // namespace jpeg
#endif
