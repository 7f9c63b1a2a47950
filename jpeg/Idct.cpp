#include "jpeg/Idct.h"

#include <cstdlib>
#include <cstring>

#include "color/RangeLimit.h"
#include "core/Error.h"
#include "jpeg/IdctSse2.h"
#include "jpeg/Simd.h"
#include "jpeg/ZigZag.h"

// Products and sums here can exceed 32 bits only for corrupt coefficients;
// the jpeg library is compiled with wrapping signed arithmetic so that such
// blocks come out as defined garbage. Left shifts are written as
// multiplications for the same reason.

namespace jpeg {

const uint16_t kAanScales[64] = {
    16384, 22725, 21407, 19266, 16384, 12873, 8867,  4520,  22725, 31521, 29692, 26722, 22725,
    17855, 12299, 6270,  21407, 29692, 27969, 25172, 21407, 16819, 11585, 5906,  19266, 26722,
    25172, 22654, 19266, 15137, 10426, 5315,  16384, 22725, 21407, 19266, 16384, 12873, 8867,
    4520,  12873, 17855, 16819, 15137, 12873, 10114, 6967,  3552,  8867,  12299, 11585, 10426,
    8867,  6967,  4799,  2446,  4520,  6270,  5906,  5315,  4520,  3552,  2446,  1247};

namespace {
// Four 32-bit lanes; the compiler maps the arithmetic to vector instructions
// where it can and to plain code elsewhere, with the same integer results.
typedef int32_t Lanes __attribute__((vector_size(16)));
// Helpers that take or give lanes are always inlined: the 64-bit Windows
// compiler mishandles such vectors passed to an out-of-line function (the
// decode crashed there), and inlined they cost nothing anyway.
#define VANTIREL_LANES_INLINE __attribute__((always_inline)) inline

// Transposes four rows of four lanes into four columns.
VANTIREL_LANES_INLINE void Transpose4(Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
    const Lanes ab01 = __builtin_shufflevector(a, b, 0, 4, 1, 5);
    const Lanes ab23 = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Lanes cd01 = __builtin_shufflevector(c, d, 0, 4, 1, 5);
    const Lanes cd23 = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    a = __builtin_shufflevector(ab01, cd01, 0, 1, 4, 5);
    b = __builtin_shufflevector(ab01, cd01, 2, 3, 6, 7);
    c = __builtin_shufflevector(ab23, cd23, 0, 1, 4, 5);
    d = __builtin_shufflevector(ab23, cd23, 2, 3, 6, 7);
}

// Pass 1 leaves rows 0..7 of four columns (half .. half + 3); the workspace
// holds them column by column, so that pass 2 takes four rows at a time
// the same way.
VANTIREL_LANES_INLINE void StoreTransposed(int32_t* workspace, int half, Lanes (&rows)[8]) {
    Transpose4(rows[0], rows[1], rows[2], rows[3]);
    Transpose4(rows[4], rows[5], rows[6], rows[7]);
    for (int j = 0; j < 4; ++j) {
        std::memcpy(workspace + 8 * (half + j), &rows[j], sizeof(Lanes));
        std::memcpy(workspace + 8 * (half + j) + 4, &rows[4 + j], sizeof(Lanes));
    }
}

// The sample range limiter indexed from its centre: adds the level shift of
// 128 and clamps, with (value & 1023) as index.
inline const uint8_t* Limit() { return kRangeLimit + 128; }

// Pass 2 leaves eight columns of four rows; each lane holds a descaled
// sample (before the level shift) whose low ten bits index the range limiter
// from its centre. Writes the four rows at dest, dest + rowStep, ...
template <int kStep>
VANTIREL_LANES_INLINE void StoreRows(uint8_t* dest, ptrdiff_t rowStep, ptrdiff_t stepGiven,
                                     const Lanes (&columns)[8]) {
    const ptrdiff_t columnStep = kStep ? kStep : stepGiven;
#ifdef VANTIREL_SSE2
    // The limiter's lookup done arithmetically: its ten index bits are a
    // signed value from -512 to 511 (512..1023 being -512..-1); the level
    // shift added, it clamps to 0..255, which is what the saturating packs
    // do. So 0..127 give 128..255, 128..511 give 255, 512..895 give 0 and
    // 896..1023 give 0..127, as the table has it.
    __m128i v[8];
    for (int c = 0; c < 8; ++c) {
        const Lanes shifted = ((columns[c] * (1 << 22)) >> 22) + 128;
        std::memcpy(&v[c], &shifted, sizeof shifted);
    }
    // Bytes column by column (four rows each), then transposed to rows.
    const __m128i low = _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[3]));
    const __m128i high = _mm_packus_epi16(_mm_packs_epi32(v[4], v[5]), _mm_packs_epi32(v[6], v[7]));
    const __m128i t0 = _mm_unpacklo_epi8(low, high), t1 = _mm_unpackhi_epi8(low, high);
    const __m128i u0 = _mm_unpacklo_epi8(t0, t1), u1 = _mm_unpackhi_epi8(t0, t1);
    const __m128i rows01 = _mm_unpacklo_epi8(u0, u1), rows23 = _mm_unpackhi_epi8(u0, u1);
    if (kStep == 1) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dest), rows01);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dest + rowStep),
                         _mm_unpackhi_epi64(rows01, rows01));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dest + 2 * rowStep), rows23);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dest + 3 * rowStep),
                         _mm_unpackhi_epi64(rows23, rows23));
        return;
    }
    alignas(16) uint8_t samples[32];
    _mm_store_si128(reinterpret_cast<__m128i*>(samples), rows01);
    _mm_store_si128(reinterpret_cast<__m128i*>(samples + 16), rows23);
    for (int row = 0; row < 4; ++row) {
        uint8_t* out = dest + row * rowStep;
        for (int column = 0; column < 8; ++column)
            out[column * columnStep] = samples[8 * row + column];
    }
#else
    const uint8_t* limit = Limit();
    for (int column = 0; column < 8; ++column) {
        const Lanes index = columns[column] & 1023;
        for (int row = 0; row < 4; ++row)
            dest[row * rowStep + column * columnStep] = limit[index[row]];
    }
#endif
}

template <int kStep>
inline void FillBlock(uint8_t* dest, uint8_t value, ptrdiff_t rowStep, ptrdiff_t stepGiven) {
    const ptrdiff_t columnStep = kStep ? kStep : stepGiven;
    for (int row = 0; row < 8; ++row) {
        uint8_t* out = dest + row * rowStep;
        for (int column = 0; column < 8; ++column) out[column * columnStep] = value;
    }
}

// Accurate transform: 13 fractional bits in the constants, 2 extra bits
// kept between the passes.
constexpr int32_t k0_298631336 = 2446, k0_390180644 = 3196, k0_541196100 = 4433,
                  k0_765366865 = 6270, k0_899976223 = 7373, k1_175875602 = 9633,
                  k1_501321110 = 12299, k1_847759065 = 15137, k1_961570560 = 16069,
                  k2_053119869 = 16819, k2_562915447 = 20995, k3_072711026 = 25172;
}  // namespace

// The transforms are instantiated for the common column steps (1 for
// greyscale, 3 and 6 for colour with and without horizontal subsampling) so
// that the stores have fixed offsets; kStep 0 takes the step as given.
template <int kStep>
void IdctAccurateT(uint8_t* dest, int32_t* in, const int32_t* q, ptrdiff_t rowStep,
                   ptrdiff_t stepGiven, int lastIndex) {
    const ptrdiff_t columnStep = kStep ? kStep : stepGiven;
    const uint8_t* limit = Limit();
    if (lastIndex == 0) {
        // Only a DC term: both passes reduce to one flat value.
        const int32_t dc = in[0] * q[0] * 4;
        FillBlock<kStep>(dest, limit[((dc + 16) >> 5) & 1023], rowStep, columnStep);
        return;
    }
#ifdef VANTIREL_SSE2
    if (IdctAccurateSse2(dest, in, q, rowStep, columnStep)) return;
#endif
    int32_t workspace[64];
    // Pass 1: columns, dequantising as the coefficients are read. Four
    // columns at a time in vector lanes; a column whose AC terms are all
    // zero takes DC * 4 (the shortcut, which differs from the butterfly only
    // when a corrupt DC overflows it) through a lane mask.
    for (int half = 0; half < 8; half += 4) {
        auto load = [&](const int32_t* p, int row) {
            Lanes v;
            std::memcpy(&v, p + 8 * row + half, sizeof v);
            return v;
        };
        auto coefficient = [&](int row) { return load(in, row) * load(q, row); };
        const Lanes acBits = load(in, 1) | load(in, 2) | load(in, 3) | load(in, 4) | load(in, 5) |
                             load(in, 6) | load(in, 7);
        const Lanes flat = acBits == 0;  // all ones where the column is DC only

        Lanes z2 = coefficient(2), z3 = coefficient(6);
        Lanes z1 = (z2 + z3) * k0_541196100;
        Lanes tmp2 = z1 + z3 * -k1_847759065;
        Lanes tmp3 = z1 + z2 * k0_765366865;
        z2 = coefficient(0);
        z3 = coefficient(4);
        const Lanes dc4 = z2 * 4;
        Lanes tmp0 = (z2 + z3) * 8192;
        Lanes tmp1 = (z2 - z3) * 8192;
        const Lanes tmp10 = tmp0 + tmp3, tmp13 = tmp0 - tmp3;
        const Lanes tmp11 = tmp1 + tmp2, tmp12 = tmp1 - tmp2;

        tmp0 = coefficient(7);
        tmp1 = coefficient(5);
        tmp2 = coefficient(3);
        tmp3 = coefficient(1);
        z1 = tmp0 + tmp3;
        z2 = tmp1 + tmp2;
        z3 = tmp0 + tmp2;
        Lanes z4 = tmp1 + tmp3;
        const Lanes z5 = (z3 + z4) * k1_175875602;
        tmp0 *= k0_298631336;
        tmp1 *= k2_053119869;
        tmp2 *= k3_072711026;
        tmp3 *= k1_501321110;
        z1 *= -k0_899976223;
        z2 *= -k2_562915447;
        z3 *= -k1_961570560;
        z4 *= -k0_390180644;
        z3 += z5;
        z4 += z5;
        tmp0 += z1 + z3;
        tmp1 += z2 + z4;
        tmp2 += z2 + z3;
        tmp3 += z1 + z4;

        auto value = [&](Lanes full) { return (flat & dc4) | (~flat & ((full + 1024) >> 11)); };
        Lanes rows[8] = {value(tmp10 + tmp3), value(tmp11 + tmp2), value(tmp12 + tmp1),
                         value(tmp13 + tmp0), value(tmp13 - tmp0), value(tmp12 - tmp1),
                         value(tmp11 - tmp2), value(tmp10 - tmp3)};
        StoreTransposed(workspace, half, rows);
    }
    // Pass 2: rows, four at a time, descaling by the constants' 13 bits, the
    // 2 pass bits and the 3 bits of the transform's scale. A row whose AC
    // terms are all zero takes the rounded DC alone.
    for (int quarter = 0; quarter < 8; quarter += 4) {
        auto term = [&](int k) {
            Lanes v;
            std::memcpy(&v, workspace + 8 * k + quarter, sizeof v);
            return v;
        };
        const Lanes w0 = term(0);
        const Lanes flat =
            (term(1) | term(2) | term(3) | term(4) | term(5) | term(6) | term(7)) == 0;
        const Lanes flatValue = (w0 + 16) >> 5;

        Lanes z2 = term(2), z3 = term(6);
        Lanes z1 = (z2 + z3) * k0_541196100;
        Lanes tmp2 = z1 + z3 * -k1_847759065;
        Lanes tmp3 = z1 + z2 * k0_765366865;
        Lanes tmp0 = (w0 + term(4)) * 8192;
        Lanes tmp1 = (w0 - term(4)) * 8192;
        const Lanes tmp10 = tmp0 + tmp3, tmp13 = tmp0 - tmp3;
        const Lanes tmp11 = tmp1 + tmp2, tmp12 = tmp1 - tmp2;

        tmp0 = term(7);
        tmp1 = term(5);
        tmp2 = term(3);
        tmp3 = term(1);
        z1 = tmp0 + tmp3;
        z2 = tmp1 + tmp2;
        z3 = tmp0 + tmp2;
        Lanes z4 = tmp1 + tmp3;
        const Lanes z5 = (z3 + z4) * k1_175875602;
        tmp0 *= k0_298631336;
        tmp1 *= k2_053119869;
        tmp2 *= k3_072711026;
        tmp3 *= k1_501321110;
        z1 *= -k0_899976223;
        z2 *= -k2_562915447;
        z3 *= -k1_961570560;
        z4 *= -k0_390180644;
        z3 += z5;
        z4 += z5;
        tmp0 += z1 + z3;
        tmp1 += z2 + z4;
        tmp2 += z2 + z3;
        tmp3 += z1 + z4;

        auto value = [&](Lanes full) {
            return (flat & flatValue) | (~flat & ((full + 131072) >> 18));
        };
        const Lanes columns[8] = {value(tmp10 + tmp3), value(tmp11 + tmp2), value(tmp12 + tmp1),
                                  value(tmp13 + tmp0), value(tmp13 - tmp0), value(tmp12 - tmp1),
                                  value(tmp11 - tmp2), value(tmp10 - tmp3)};
        StoreRows<kStep>(dest + quarter * rowStep, rowStep, columnStep, columns);
    }
}

namespace {
// Fast transform: 8 fractional bits, products truncated (no rounding term:
// that is what makes this path cheaper).
constexpr int32_t kF1_082392200 = 277, kF1_414213562 = 362, kF1_847759065 = 473,
                  kF2_613125930 = 669;
VANTIREL_LANES_INLINE Lanes Mul8(Lanes value, int32_t constant) { return (value * constant) >> 8; }
}  // namespace

template <int kStep>
void IdctFastT(uint8_t* dest, int32_t* in, const int32_t* q, ptrdiff_t rowStep, ptrdiff_t stepGiven,
               int lastIndex) {
    const ptrdiff_t columnStep = kStep ? kStep : stepGiven;
    const uint8_t* limit = Limit();
    if (lastIndex == 0) {
        FillBlock<kStep>(dest, limit[((in[0] * q[0]) >> 5) & 1023], rowStep, columnStep);
        return;
    }
#ifdef VANTIREL_SSE2
    if (IdctFastSse2(dest, in, q, rowStep, columnStep)) return;
#endif
    int32_t workspace[64];
    // Pass 1: columns, four at a time; DC-only columns take the dequantised
    // DC through a lane mask. Stored transposed for pass 2.
    for (int half = 0; half < 8; half += 4) {
        auto load = [&](const int32_t* p, int row) {
            Lanes v;
            std::memcpy(&v, p + 8 * row + half, sizeof v);
            return v;
        };
        auto coefficient = [&](int row) { return load(in, row) * load(q, row); };
        const Lanes flat = (load(in, 1) | load(in, 2) | load(in, 3) | load(in, 4) | load(in, 5) |
                            load(in, 6) | load(in, 7)) == 0;
        Lanes tmp0 = coefficient(0), tmp1 = coefficient(2), tmp2 = coefficient(4),
              tmp3 = coefficient(6);
        const Lanes dc = tmp0;
        Lanes tmp10 = tmp0 + tmp2, tmp11 = tmp0 - tmp2;
        Lanes tmp13 = tmp1 + tmp3;
        Lanes tmp12 = Mul8(tmp1 - tmp3, kF1_414213562) - tmp13;
        tmp0 = tmp10 + tmp13;
        tmp3 = tmp10 - tmp13;
        tmp1 = tmp11 + tmp12;
        tmp2 = tmp11 - tmp12;

        Lanes tmp4 = coefficient(1), tmp5 = coefficient(3), tmp6 = coefficient(5),
              tmp7 = coefficient(7);
        const Lanes z13 = tmp6 + tmp5, z10 = tmp6 - tmp5;
        const Lanes z11 = tmp4 + tmp7, z12 = tmp4 - tmp7;
        tmp7 = z11 + z13;
        tmp11 = Mul8(z11 - z13, kF1_414213562);
        const Lanes z5 = Mul8(z10 + z12, kF1_847759065);
        tmp10 = Mul8(z12, kF1_082392200) - z5;
        tmp12 = Mul8(z10, -kF2_613125930) + z5;
        tmp6 = tmp12 - tmp7;
        tmp5 = tmp11 - tmp6;
        tmp4 = tmp10 + tmp5;

        auto value = [&](Lanes full) { return (flat & dc) | (~flat & full); };
        Lanes rows[8] = {value(tmp0 + tmp7), value(tmp1 + tmp6), value(tmp2 + tmp5),
                         value(tmp3 - tmp4), value(tmp3 + tmp4), value(tmp2 - tmp5),
                         value(tmp1 - tmp6), value(tmp0 - tmp7)};
        StoreTransposed(workspace, half, rows);
    }
    // Pass 2: rows, four at a time; outputs descaled by 5 bits without a
    // rounding term, DC-only rows likewise.
    for (int quarter = 0; quarter < 8; quarter += 4) {
        auto term = [&](int k) {
            Lanes v;
            std::memcpy(&v, workspace + 8 * k + quarter, sizeof v);
            return v;
        };
        const Lanes w0 = term(0);
        const Lanes flat =
            (term(1) | term(2) | term(3) | term(4) | term(5) | term(6) | term(7)) == 0;
        Lanes tmp10 = w0 + term(4), tmp11 = w0 - term(4);
        Lanes tmp13 = term(2) + term(6);
        Lanes tmp12 = Mul8(term(2) - term(6), kF1_414213562) - tmp13;
        const Lanes tmp0 = tmp10 + tmp13, tmp3 = tmp10 - tmp13;
        const Lanes tmp1 = tmp11 + tmp12, tmp2 = tmp11 - tmp12;

        const Lanes z13 = term(5) + term(3), z10 = term(5) - term(3);
        const Lanes z11 = term(1) + term(7), z12 = term(1) - term(7);
        const Lanes tmp7 = z11 + z13;
        tmp11 = Mul8(z11 - z13, kF1_414213562);
        const Lanes z5 = Mul8(z10 + z12, kF1_847759065);
        tmp10 = Mul8(z12, kF1_082392200) - z5;
        tmp12 = Mul8(z10, -kF2_613125930) + z5;
        const Lanes tmp6 = tmp12 - tmp7;
        const Lanes tmp5 = tmp11 - tmp6;
        const Lanes tmp4 = tmp10 + tmp5;

        auto value = [&](Lanes full) { return ((flat & w0) | (~flat & full)) >> 5; };
        const Lanes columns[8] = {value(tmp0 + tmp7), value(tmp1 + tmp6), value(tmp2 + tmp5),
                                  value(tmp3 - tmp4), value(tmp3 + tmp4), value(tmp2 - tmp5),
                                  value(tmp1 - tmp6), value(tmp0 - tmp7)};
        StoreRows<kStep>(dest + quarter * rowStep, rowStep, columnStep, columns);
    }
}

#define VANTIREL_DISPATCH_STEP(name)                                            \
    void name(uint8_t* dest, int32_t* in, const int32_t* q, ptrdiff_t rowStep,  \
              ptrdiff_t columnStep, int lastIndex) {                            \
        switch (columnStep) {                                                   \
            case 1:                                                             \
                return name##T<1>(dest, in, q, rowStep, columnStep, lastIndex); \
            case 3:                                                             \
                return name##T<3>(dest, in, q, rowStep, columnStep, lastIndex); \
            case 6:                                                             \
                return name##T<6>(dest, in, q, rowStep, columnStep, lastIndex); \
            default:                                                            \
                return name##T<0>(dest, in, q, rowStep, columnStep, lastIndex); \
        }                                                                       \
    }
VANTIREL_DISPATCH_STEP(IdctAccurate)
VANTIREL_DISPATCH_STEP(IdctFast)
#undef VANTIREL_DISPATCH_STEP

void IdctDcOnly(uint8_t* dest, int32_t* in, const int32_t* q, ptrdiff_t, ptrdiff_t, int) {
    dest[0] = DcOnlySample(in[0], q[0]);
}

}  // namespace jpeg

bool DCTOpen(JpegState* state) {
    const int count =
        state->componentCount < jpeg::kMaxComponents ? state->componentCount : jpeg::kMaxComponents;
    for (int c = 0; c < count; ++c) {
        JpegComponent* component = state->components[c];
        if (component->dequant) continue;
        if (component->quantTable < 0 || component->quantTable > 3)
            return SetError("DCTOpen", "Invalid quantization table no");
        const uint32_t* quant = state->quantTables[component->quantTable];
        if (state->dcOnly) {
            component->dcQuant = static_cast<int32_t>(quant[0]);
            continue;
        }
        int32_t* table = static_cast<int32_t*>(std::malloc(64 * sizeof(int32_t)));
        if (!table) return SetError("DCTOpen", "Out of memory");
        for (int k = 0; k < 64; ++k) {
            const int32_t value = static_cast<int32_t>(quant[jpeg::kNaturalToZigZag[k]]);
            // The fast transform's multipliers carry the AAN scale and keep
            // two fractional bits.
            table[k] = state->fastIdct ? (value * jpeg::kAanScales[k]) >> 12 : value;
        }
        component->dequant = table;
    }
    state->idctBlock = state->dcOnly     ? jpeg::IdctDcOnly
                       : state->fastIdct ? jpeg::IdctFast
                                         : jpeg::IdctAccurate;
    return true;
}
