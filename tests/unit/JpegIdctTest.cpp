// Dequantisation and the three block transforms: flat blocks, rounding of
// the accurate and the fast path, the masked range limiting, and agreement
// of the accurate transform with a floating-point inverse DCT.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "color/RangeLimit.h"
#include "jpeg/Idct.h"
#include "jpeg/Markers.h"
#include "jpeg/ZigZag.h"
#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {
constexpr double kPi = 3.14159265358979323846;

// Runs a transform on a block holding only `dc`, with every multiplier q,
// and returns the 64 samples (row step 8, column step 1).
std::vector<uint8_t> Transform(BlockRoutine routine, int32_t dc, int32_t q, int lastIndex = 0) {
    int32_t block[64] = {0};
    block[0] = dc;
    int32_t table[64];
    for (int32_t& m : table) m = q;
    std::vector<uint8_t> out(64, 0xAA);
    routine(out.data(), block, table, 8, 1, lastIndex);
    return out;
}

uint8_t FlatValue(BlockRoutine routine, int32_t dc, int32_t q) {
    const std::vector<uint8_t> out = Transform(routine, dc, q);
    for (uint8_t v : out) EXPECT_EQ(v, out[0]);
    // The block-level shortcut and the column/row path agree.
    EXPECT_EQ(Transform(routine, dc, q, 63), out);
    return out[0];
}
}  // namespace

TEST(JpegIdct, ADcOnlyBlockIsFlatAndRoundedInTheAccurateTransform) {
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 0, 16), 128);
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 10, 3), 132);   // 30/8 = 3.75 rounds to 4
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 4, 1), 129);    // 0.5 rounds up
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, -9, 3), 125);   // -3.375 rounds to -3
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, -10, 3), 124);  // -3.75 rounds to -4
}

TEST(JpegIdct, TheFastTransformTruncatesTowardMinusInfinity) {
    // Multipliers of the fast path carry the scale: the DC multiplier is
    // q * 16384 >> 12 = 4q.
    EXPECT_EQ(FlatValue(jpeg::IdctFast, 10, 4 * 3), 131);  // floor(3.75)
    EXPECT_EQ(FlatValue(jpeg::IdctFast, 4, 4 * 1), 128);   // floor(0.5)
    EXPECT_EQ(FlatValue(jpeg::IdctFast, -9, 4 * 3), 124);  // floor(-3.375)
}

TEST(JpegIdct, ResultsOutOfRangeClampAndWrapThroughTheMaskedTable) {
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 2000, 1), 255);       // 250 + 128
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 4000, 1), 255);       // 500: still the 255 run
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 4100, 1), 0);         // 513 wraps into the zeros
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 4800, 1), 0);         // 600
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, -1024, 1), 0);        // -128
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, -1016, 1), 1);        // -127
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, -2048, 1), 0);        // -256
    EXPECT_EQ(FlatValue(jpeg::IdctAccurate, 8192 + 40, 1), 133);  // 1029 & 1023 = 5
}

TEST(JpegIdct, TheDcOnlyTransformWritesOneSampleOfTheBlockAverage) {
    int32_t block[64] = {0};
    uint8_t out[2] = {0xAA, 0xAA};
    const int32_t q = 2;
    block[0] = 44;  // 88 / 8 = 11
    jpeg::IdctDcOnly(out, block, &q, 0, 0, 0);
    EXPECT_EQ(out[0], 139);
    EXPECT_EQ(out[1], 0xAA);
    block[0] = -45;  // -90 >> 3 = -12
    jpeg::IdctDcOnly(out, block, &q, 0, 0, 0);
    EXPECT_EQ(out[0], 116);
}

TEST(JpegIdct, TheAccurateTransformIsAnInverseDct) {
    std::mt19937 random(3);
    for (int round = 0; round < 200; ++round) {
        int32_t block[64] = {0}, table[64];
        for (int32_t& m : table) m = 1 + static_cast<int32_t>(random() % 4);
        int last = 0;
        for (int k = 0; k < 64; ++k) {
            if (random() % 3 == 0) {
                block[jpeg::kZigZagToNatural[k]] = static_cast<int32_t>(random() % 61) - 30;
                last = k;
            }
        }
        block[0] = static_cast<int32_t>(random() % 200) - 100;
        uint8_t out[64];
        int32_t copy[64];
        std::memcpy(copy, block, sizeof copy);
        jpeg::IdctAccurate(out, copy, table, 8, 1, last);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                double sum = 0;
                for (int v = 0; v < 8; ++v)
                    for (int u = 0; u < 8; ++u)
                        sum += (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5)) *
                               block[8 * v + u] * table[8 * v + u] *
                               std::cos((2 * x + 1) * u * kPi / 16) *
                               std::cos((2 * y + 1) * v * kPi / 16);
                const double expected = std::min(255.0, std::max(0.0, sum / 4 + 128));
                EXPECT_NEAR(out[8 * y + x], expected, 1.0) << round << " " << x << "," << y;
            }
        }
    }
}

TEST(JpegIdct, SamplesLandAtTheGivenRowAndColumnSteps) {
    int32_t block[64] = {0}, table[64];
    for (int32_t& m : table) m = 1;
    block[0] = 80;
    block[1] = 40;  // a horizontal ramp
    std::vector<uint8_t> plain(64), spread(8 * 96, 0xEE);
    int32_t copy[64];
    std::memcpy(copy, block, sizeof copy);
    jpeg::IdctAccurate(plain.data(), copy, table, 8, 1, 1);
    std::memcpy(copy, block, sizeof copy);
    // Every sixth byte of every second 48-byte row, as a subsampled component.
    jpeg::IdctAccurate(spread.data(), copy, table, 96, 6, 1);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) EXPECT_EQ(spread[y * 96 + x * 6], plain[8 * y + x]);
    EXPECT_EQ(spread[1], 0xEE);
    EXPECT_EQ(spread[48], 0xEE);
    EXPECT_GT(plain[0], plain[7]);
}

TEST(JpegIdct, TablesAreTheStandardOnes) {
    const uint16_t firstRow[8] = {16384, 22725, 21407, 19266, 16384, 12873, 8867, 4520};
    for (int k = 0; k < 8; ++k) EXPECT_EQ(jpeg::kAanScales[k], firstRow[k]);
    EXPECT_EQ(jpeg::kAanScales[63], 1247);
    const uint8_t inverse[12] = {0, 1, 5, 6, 14, 15, 27, 28, 2, 4, 7, 13};
    for (int k = 0; k < 12; ++k) EXPECT_EQ(jpeg::kNaturalToZigZag[k], inverse[k]);
    for (int k = 0; k < 64; ++k) EXPECT_EQ(jpeg::kNaturalToZigZag[jpeg::kZigZagToNatural[k]], k);
    for (int k = 64; k < 80; ++k) EXPECT_EQ(jpeg::kZigZagToNatural[k], 63);
}

namespace {
class JpegDequantisation : public JpegSettings {};

Bytes OneBlock(int quantTable, int dc, const Bytes& extra = {}) {
    const Codes dcCodes(StandardDc()), acCodes(StandardAc());
    BitWriter scan;
    EncodeBlock(&scan, dcCodes, acCodes, dc, {{1, 3}});
    scan.Flush();
    return Picture(Header(8, 8, {{1, 1, 1, quantTable}}, 4, extra), scan);
}
}  // namespace

TEST_F(JpegDequantisation, TableNumberFourFailsEvenThoughNoTableWasDefined) {
    const Decoded d = DecodeBytes(OneBlock(4, 10), "q4.jpg");
    EXPECT_FALSE(d.loaded);
    EXPECT_EQ(d.place, "DCTOpen");
    EXPECT_EQ(d.text, "Invalid quantization table no");
}

TEST_F(JpegDequantisation, AnUndefinedTableDecodesToFlatGrey) {
    const Decoded d = DecodeBytes(OneBlock(2, 100), "q2.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) EXPECT_EQ(d.image->Row(y)[x], 128);
}

TEST_F(JpegDequantisation, TheFastTransformsMultipliersCarryTheAanScale) {
    g_settings->jpeg.bFastDCT = 1;
    Bytes bytes = OneBlock(0, 0);
    JpegState state{};
    state.data = bytes.data();
    state.size = bytes.size();
    state.fastIdct = 1;
    ASSERT_TRUE(jdReadFileHeader(&state) && jdReadScanHeader(&state) && jpeg::InitialSetup(&state));
    ASSERT_TRUE(DCTOpen(&state));
    const int32_t* table = state.components[0]->dequant;
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table[0], 16);  // 4 * 16384 >> 12
    EXPECT_EQ(table[1], 22);  // 4 * 22725 >> 12 = 22.19
    EXPECT_EQ(table[63], 1);  // 4 * 1247 >> 12 = 1.22
    EXPECT_EQ(state.idctBlock, jpeg::IdctFast);
    jpegFreeComponents(&state);
}

TEST_F(JpegDequantisation, TheAccurateTableIsTheQuantiserInNaturalOrder) {
    Bytes body = {0x00};
    for (int k = 0; k < 64; ++k) body.push_back(static_cast<uint8_t>(k + 1));
    Bytes bytes = Soi();
    Append(&bytes, Segment(0xDB, body));
    Append(&bytes, Sof(0xC0, 8, 8, {{1, 1, 1, 0}}));
    Append(&bytes, Sos({1}));
    JpegState state{};
    state.data = bytes.data();
    state.size = bytes.size();
    ASSERT_TRUE(jdReadFileHeader(&state) && jdReadScanHeader(&state) && jpeg::InitialSetup(&state));
    ASSERT_TRUE(DCTOpen(&state));
    const int32_t* table = state.components[0]->dequant;
    for (int k = 0; k < 64; ++k) EXPECT_EQ(table[k], jpeg::kNaturalToZigZag[k] + 1);
    EXPECT_EQ(state.idctBlock, jpeg::IdctAccurate);
    jpegFreeComponents(&state);
}

// The transforms against a plain one-column-then-one-row implementation of
// the same arithmetic, written out as the integer procedure reads: 32-bit
// sums that wrap (this file is built with -fwrapv, like the decoder), the
// all-zero-AC shortcuts taken on the coefficients as they come from the
// entropy decoder. The decoder's four-lane passes, its block-level DC
// shortcut and its fixed column steps must give the same bytes for every
// block, corrupt ones included.
namespace {
const uint8_t* IdctLimit() { return kRangeLimit + 128; }

void ReferenceAccurate(const int32_t* in, const int32_t* q, uint8_t* out) {
    int32_t ws[64];
    for (int col = 0; col < 8; ++col) {
        auto dq = [&](int row) { return in[8 * row + col] * q[8 * row + col]; };
        bool flat = true;
        for (int row = 1; row < 8; ++row) flat = flat && in[8 * row + col] == 0;
        if (flat) {
            for (int row = 0; row < 8; ++row) ws[8 * row + col] = dq(0) * 4;
            continue;
        }
        int32_t z2 = dq(2), z3 = dq(6);
        int32_t z1 = (z2 + z3) * 4433;
        const int32_t t2 = z1 + z3 * -15137, t3 = z1 + z2 * 6270;
        const int32_t t0 = (dq(0) + dq(4)) * 8192, t1 = (dq(0) - dq(4)) * 8192;
        const int32_t t10 = t0 + t3, t13 = t0 - t3, t11 = t1 + t2, t12 = t1 - t2;
        int32_t o0 = dq(7), o1 = dq(5), o2 = dq(3), o3 = dq(1);
        z1 = o0 + o3;
        z2 = o1 + o2;
        z3 = o0 + o2;
        int32_t z4 = o1 + o3;
        const int32_t z5 = (z3 + z4) * 9633;
        o0 *= 2446;
        o1 *= 16819;
        o2 *= 25172;
        o3 *= 12299;
        z1 *= -7373;
        z2 *= -20995;
        z3 = z3 * -16069 + z5;
        z4 = z4 * -3196 + z5;
        o0 += z1 + z3;
        o1 += z2 + z4;
        o2 += z2 + z3;
        o3 += z1 + z4;
        const int32_t sums[8] = {t10 + o3, t11 + o2, t12 + o1, t13 + o0,
                                 t13 - o0, t12 - o1, t11 - o2, t10 - o3};
        for (int row = 0; row < 8; ++row) ws[8 * row + col] = (sums[row] + 1024) >> 11;
    }
    for (int row = 0; row < 8; ++row) {
        const int32_t* w = ws + 8 * row;
        uint8_t* o = out + 8 * row;
        bool flat = true;
        for (int k = 1; k < 8; ++k) flat = flat && w[k] == 0;
        if (flat) {
            for (int k = 0; k < 8; ++k) o[k] = IdctLimit()[((w[0] + 16) >> 5) & 1023];
            continue;
        }
        int32_t z2 = w[2], z3 = w[6];
        int32_t z1 = (z2 + z3) * 4433;
        const int32_t t2 = z1 + z3 * -15137, t3 = z1 + z2 * 6270;
        const int32_t t0 = (w[0] + w[4]) * 8192, t1 = (w[0] - w[4]) * 8192;
        const int32_t t10 = t0 + t3, t13 = t0 - t3, t11 = t1 + t2, t12 = t1 - t2;
        int32_t o0 = w[7], o1 = w[5], o2 = w[3], o3 = w[1];
        z1 = o0 + o3;
        z2 = o1 + o2;
        z3 = o0 + o2;
        int32_t z4 = o1 + o3;
        const int32_t z5 = (z3 + z4) * 9633;
        o0 *= 2446;
        o1 *= 16819;
        o2 *= 25172;
        o3 *= 12299;
        z1 *= -7373;
        z2 *= -20995;
        z3 = z3 * -16069 + z5;
        z4 = z4 * -3196 + z5;
        o0 += z1 + z3;
        o1 += z2 + z4;
        o2 += z2 + z3;
        o3 += z1 + z4;
        const int32_t sums[8] = {t10 + o3, t11 + o2, t12 + o1, t13 + o0,
                                 t13 - o0, t12 - o1, t11 - o2, t10 - o3};
        for (int k = 0; k < 8; ++k) o[k] = IdctLimit()[((sums[k] + 131072) >> 18) & 1023];
    }
}

int32_t Mul8(int32_t value, int32_t constant) { return (value * constant) >> 8; }

void ReferenceFast(const int32_t* in, const int32_t* q, uint8_t* out) {
    int32_t ws[64];
    // One butterfly for both passes: eight inputs, eight sums (no rounding
    // anywhere, the products truncated).
    auto butterfly = [](const int32_t* x, int32_t* y) {
        const int32_t t10 = x[0] + x[4], t11 = x[0] - x[4];
        const int32_t t13 = x[2] + x[6];
        const int32_t t12 = Mul8(x[2] - x[6], 362) - t13;
        const int32_t e0 = t10 + t13, e3 = t10 - t13, e1 = t11 + t12, e2 = t11 - t12;
        const int32_t z13 = x[5] + x[3], z10 = x[5] - x[3];
        const int32_t z11 = x[1] + x[7], z12 = x[1] - x[7];
        const int32_t o7 = z11 + z13;
        const int32_t o11 = Mul8(z11 - z13, 362);
        const int32_t z5 = Mul8(z10 + z12, 473);
        const int32_t o10 = Mul8(z12, 277) - z5;
        const int32_t o12 = Mul8(z10, -669) + z5;
        const int32_t o6 = o12 - o7, o5 = o11 - o6, o4 = o10 + o5;
        y[0] = e0 + o7;
        y[7] = e0 - o7;
        y[1] = e1 + o6;
        y[6] = e1 - o6;
        y[2] = e2 + o5;
        y[5] = e2 - o5;
        y[4] = e3 + o4;
        y[3] = e3 - o4;
    };
    for (int col = 0; col < 8; ++col) {
        int32_t x[8], y[8];
        bool flat = true;
        for (int row = 0; row < 8; ++row) {
            x[row] = in[8 * row + col] * q[8 * row + col];
            if (row) flat = flat && in[8 * row + col] == 0;
        }
        if (flat) {
            for (int row = 0; row < 8; ++row) ws[8 * row + col] = x[0];
            continue;
        }
        butterfly(x, y);
        for (int row = 0; row < 8; ++row) ws[8 * row + col] = y[row];
    }
    for (int row = 0; row < 8; ++row) {
        const int32_t* w = ws + 8 * row;
        bool flat = true;
        for (int k = 1; k < 8; ++k) flat = flat && w[k] == 0;
        int32_t y[8];
        if (flat)
            for (int32_t& v : y) v = w[0];
        else
            butterfly(w, y);
        for (int k = 0; k < 8; ++k) out[8 * row + k] = IdctLimit()[(y[k] >> 5) & 1023];
    }
}

// Blocks of several kinds: quantised photo-like ones, dense ones with
// extreme values, some multipliers zero, a huge DC that wraps.
struct RandomBlock {
    int32_t coefficients[64] = {0};
    int32_t table[64];
    int lastIndex = 0;
};

RandomBlock MakeBlock(std::mt19937* random, int kind) {
    RandomBlock b;
    auto next = [random](uint32_t n) { return static_cast<int32_t>((*random)() % n); };
    for (int32_t& m : b.table)
        m = kind == 0 ? 1 + next(100) : kind == 1 ? next(65536) : (next(4) == 0 ? 0 : next(300));
    const int density = kind == 0 ? 12 : kind == 1 ? 1 : 3;
    for (int k = 1; k < 64; ++k) {
        if (next(static_cast<uint32_t>(density)) != 0) continue;
        int32_t value = kind == 0 ? next(81) - 40 : next(65535) - 32767;
        if (value == 0) value = 1;
        b.coefficients[jpeg::kZigZagToNatural[k]] = value;
        b.lastIndex = k;
    }
    if (kind == 3) b.lastIndex = 0;  // DC only
    if (kind == 3) std::fill(b.coefficients + 1, b.coefficients + 64, 0);
    b.coefficients[0] = kind == 0   ? next(2001) - 1000
                        : kind == 2 ? static_cast<int32_t>((*random)())
                                    : next(65535) - 32767;
    return b;
}

void ExpectSameAsReference(BlockRoutine routine,
                           void (*reference)(const int32_t*, const int32_t*, uint8_t*)) {
    std::mt19937 random(17);
    // Column steps: greyscale, colour, subsampled colour, and one the
    // transforms take as given.
    const ptrdiff_t columnSteps[4] = {1, 3, 6, 12};
    for (int round = 0; round < 4000; ++round) {
        const RandomBlock b = MakeBlock(&random, round % 4);
        uint8_t expected[64];
        reference(b.coefficients, b.table, expected);
        const ptrdiff_t columnStep = columnSteps[round % 4];
        const ptrdiff_t rowStep = 8 * columnStep + 5;
        std::vector<uint8_t> out(static_cast<size_t>(8 * rowStep), 0xEE);
        // The entropy decoder's highest index, and the full block.
        for (int last : {b.lastIndex, 63}) {
            int32_t copy[64];
            std::memcpy(copy, b.coefficients, sizeof copy);
            routine(out.data(), copy, b.table, rowStep, columnStep, last);
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x)
                    ASSERT_EQ(out[static_cast<size_t>(y * rowStep + x * columnStep)],
                              expected[8 * y + x])
                        << "round " << round << " last " << last << " at " << x << "," << y;
            ASSERT_EQ(0, std::memcmp(copy, b.coefficients, sizeof copy)) << "input changed";
        }
        // Nothing between the samples is touched.
        for (size_t i = 0; i < out.size(); ++i) {
            const ptrdiff_t at = static_cast<ptrdiff_t>(i);
            const bool sample = at % rowStep % columnStep == 0 && at % rowStep / columnStep < 8;
            if (!sample) {
                ASSERT_EQ(out[i], 0xEE) << "round " << round << " byte " << i;
            }
        }
    }
}
}  // namespace

TEST(JpegIdct, TheAccurateTransformGivesTheBytesOfThePlainIntegerProcedure) {
    ExpectSameAsReference(jpeg::IdctAccurate, ReferenceAccurate);
}

TEST(JpegIdct, TheFastTransformGivesTheBytesOfThePlainIntegerProcedure) {
    ExpectSameAsReference(jpeg::IdctFast, ReferenceFast);
}

namespace {
// Blocks around the limits of the 16-bit vector transform: dequantised
// coefficients of about 16383 in magnitude (inside and just outside what it
// takes), DC terms that make the values between the passes about 16383,
// and dense blocks of large but ordinary values.
RandomBlock MakeEdgeBlock(std::mt19937* random, int kind) {
    RandomBlock b;
    auto next = [random](uint32_t n) { return static_cast<int32_t>((*random)() % n); };
    auto sign = [&next](int32_t v) { return next(2) ? v : -v; };
    for (int32_t& m : b.table) m = kind == 2 ? 1 + next(8) : 1;
    b.lastIndex = 63;
    if (kind == 0) {
        // One or two terms of 16383 +- 3 (times a multiplier of 1, or a
        // multiplier that brings an ordinary coefficient there).
        for (int n = 0; n < 1 + next(2); ++n) {
            const int k = next(64);
            const int32_t target = 16380 + next(7);
            if (next(2)) {
                b.table[k] = target / 7;
                b.coefficients[k] = sign(7);
            } else {
                b.coefficients[k] = sign(target);
            }
        }
    } else if (kind == 1) {
        // The DC term alone puts DC * 4 at 16383 +- 4 between the passes.
        b.coefficients[0] = sign(4094 + next(3));
        if (next(2)) b.coefficients[8 * next(8) + next(8)] += sign(1 + next(3));
    } else {
        for (int32_t& c : b.coefficients) c = next(3) == 0 ? sign(next(2000)) : 0;
    }
    return b;
}
}  // namespace

TEST(JpegIdct, BlocksAtTheEdgeOfSixteenBitsGiveTheBytesOfThePlainIntegerProcedure) {
    std::mt19937 random(23);
    for (int round = 0; round < 30000; ++round) {
        const RandomBlock b = MakeEdgeBlock(&random, round % 3);
        uint8_t expected[64];
        ReferenceAccurate(b.coefficients, b.table, expected);
        for (ptrdiff_t columnStep : {1, 3}) {
            const ptrdiff_t rowStep = 8 * columnStep + 3;
            std::vector<uint8_t> out(static_cast<size_t>(8 * rowStep), 0xEE);
            int32_t copy[64];
            std::memcpy(copy, b.coefficients, sizeof copy);
            jpeg::IdctAccurate(out.data(), copy, b.table, rowStep, columnStep, b.lastIndex);
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x)
                    ASSERT_EQ(out[static_cast<size_t>(y * rowStep + x * columnStep)],
                              expected[8 * y + x])
                        << "round " << round << " step " << columnStep << " at " << x << "," << y;
        }
    }
}

namespace {
// Blocks around the limit of the fast transform's 16-bit lanes: columns
// (and, after the first pass, rows) whose weighted sums of magnitudes lie
// about 32000, single terms of every frequency up to 32767, and columns or
// rows whose products leave 16 bits.
RandomBlock MakeFastEdgeBlock(std::mt19937* random, int kind) {
    RandomBlock b;
    auto next = [random](uint32_t n) { return static_cast<int32_t>((*random)() % n); };
    auto sign = [&next](int32_t v) { return next(2) ? v : -v; };
    const int weights[8] = {1, 2, 2, 3, 1, 3, 3, 6};
    for (int32_t& m : b.table) m = 1;
    b.lastIndex = 63;
    if (kind == 0) {
        // One column near the limit, spread over its frequencies.
        const int column = next(8);
        int budget = 31900 + next(200);
        for (int k = 0; k < 8 && budget > 0; ++k) {
            const int row = next(8);
            const int share = k == 7 ? budget : next(static_cast<uint32_t>(budget) + 1);
            b.coefficients[8 * row + column] += sign(share / weights[row]);
            budget -= share;
        }
    } else if (kind == 1) {
        // A single term of any size at any position.
        b.coefficients[next(64)] = sign(1 + next(32767));
    } else {
        // Odd terms of alternating sign (x1 = x7 = -x3 = -x5), which the
        // butterfly's products add up: down one column, or along the first
        // row (every column then flat, the workspace's rows large).
        const int32_t a = sign(4000 + next(6000));
        const int terms[4] = {1, 7, 3, 5};
        const bool along = kind == 3;
        const int line = next(8);
        for (int t = 0; t < 4; ++t) {
            const int k = terms[t];
            b.coefficients[along ? k : 8 * k + line] = t < 2 ? a : -a;
        }
        b.coefficients[along ? 0 : line] = sign(next(3000));
    }
    return b;
}
}  // namespace

TEST(JpegIdct, FastBlocksAtTheEdgeOfSixteenBitsGiveTheBytesOfThePlainIntegerProcedure) {
    std::mt19937 random(29);
    for (int round = 0; round < 30000; ++round) {
        const RandomBlock b = MakeFastEdgeBlock(&random, round % 4);
        uint8_t expected[64];
        ReferenceFast(b.coefficients, b.table, expected);
        for (ptrdiff_t columnStep : {1, 6}) {
            const ptrdiff_t rowStep = 8 * columnStep + 1;
            std::vector<uint8_t> out(static_cast<size_t>(8 * rowStep), 0xEE);
            int32_t copy[64];
            std::memcpy(copy, b.coefficients, sizeof copy);
            jpeg::IdctFast(out.data(), copy, b.table, rowStep, columnStep, b.lastIndex);
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x)
                    ASSERT_EQ(out[static_cast<size_t>(y * rowStep + x * columnStep)],
                              expected[8 * y + x])
                        << "round " << round << " step " << columnStep << " at " << x << "," << y;
        }
    }
}
