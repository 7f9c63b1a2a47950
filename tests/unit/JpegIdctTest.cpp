// Dequantisation and the three block transforms: flat blocks, rounding of
// the accurate and the fast path, the masked range limiting, and agreement
// of the accurate transform with a floating-point inverse DCT.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

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
