// The decoding pipeline: MCU layout, where blocks land, the in-place
// upsamplers (exact rounding of the smooth filters, the drifting generic
// replication and its guarded writes), the one-eighth decode, progress, and
// a checksum per option set on real files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "jpeg/Huffman.h"
#include "jpeg/Markers.h"
#include "jpeg/jdPipe.h"
#include "jpeg/vti_JPEG.h"
#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {

class JpegPipeline : public JpegSettings {};

// A state holding three components for PostExpand alone, over `pixels`
// (of which the first `blockBytes` are the picture, the rest a canary).
struct ExpandState {
    JpegState state{};
    std::vector<uint8_t> pixels;
    size_t blockBytes;
    ExpandState(int hMax, int vMax, const int factors[3][2], int paddedWidth, int paddedHeight,
                bool fast) {
        blockBytes = static_cast<size_t>(paddedWidth) * 3 * paddedHeight;
        pixels.assign(blockBytes + 256, 0xCA);
        state.outputBase = pixels.data();
        state.outputStride = paddedWidth * 3;
        state.outputBytes = blockBytes;
        state.componentCount = 3;
        state.hMax = hMax;
        state.vMax = vMax;
        state.paddedWidth = paddedWidth;
        state.paddedHeight = paddedHeight;
        state.fastUpsampling = fast;
        for (int c = 0; c < 3; ++c) {
            auto* component = static_cast<JpegComponent*>(std::calloc(1, sizeof(JpegComponent)));
            component->h = factors[c][0];
            component->v = factors[c][1];
            component->paddedWidth = paddedWidth * component->h / hMax;
            component->paddedHeight = paddedHeight * component->v / vMax;
            state.components[c] = component;
        }
    }
    ~ExpandState() { jpegFreeComponents(&state); }
    uint8_t& At(int x, int y, int c) {
        return pixels[static_cast<size_t>(y) * state.outputStride + 3 * x + c];
    }
    bool CanaryIntact() const {
        for (size_t i = blockBytes; i < pixels.size(); ++i)
            if (pixels[i] != 0xCA) return false;
        return true;
    }
};

const int k422[3][2] = {{2, 1}, {1, 1}, {1, 1}};
const int k440[3][2] = {{1, 2}, {1, 1}, {1, 1}};
const int k411[3][2] = {{4, 1}, {1, 1}, {1, 1}};
const int k4V[3][2] = {{1, 4}, {1, 1}, {1, 1}};

}  // namespace

TEST(JpegUpsampling, SmoothHorizontalWeighsNearerSamplesThreeToOneRoundingOneThenTwo) {
    ExpandState e(2, 1, k422, 16, 8, false);
    const int samples[8] = {10, 50, 20, 200, 0, 255, 7, 9};
    for (int i = 0; i < 8; ++i) e.At(2 * i, 0, 1) = static_cast<uint8_t>(samples[i]);
    // Row 1: where the rounding terms show.
    e.At(0, 1, 1) = 0;
    e.At(2, 1, 1) = 2;
    for (int i = 2; i < 8; ++i) e.At(2 * i, 1, 1) = 2;
    ASSERT_TRUE(PostExpand(&e.state));
    const int expected[16] = {10, 20, 40, 42, 28, 65, 155, 150, 50, 64, 191, 193, 69, 7, 9, 9};
    for (int x = 0; x < 16; ++x) EXPECT_EQ(e.At(x, 0, 1), expected[x]) << x;
    EXPECT_EQ(e.At(1, 1, 1), 0);  // (3*0 + 2 + 1) >> 2
    EXPECT_EQ(e.At(2, 1, 1), 2);  // (3*2 + 0 + 2) >> 2
    EXPECT_TRUE(e.CanaryIntact());
}

TEST(JpegUpsampling, SmoothVerticalRoundsTheOtherWayRound) {
    ExpandState e(1, 2, k440, 8, 16, false);
    const int samples[8] = {0, 2, 20, 200, 0, 255, 7, 9};
    for (int i = 0; i < 8; ++i) e.At(0, 2 * i, 2) = static_cast<uint8_t>(samples[i]);
    ASSERT_TRUE(PostExpand(&e.state));
    const int expected[16] = {0, 1, 1, 7, 15, 65, 155, 150, 50, 64, 191, 193, 69, 8, 8, 9};
    for (int y = 0; y < 16; ++y) EXPECT_EQ(e.At(0, y, 2), expected[y]) << y;
    EXPECT_TRUE(e.CanaryIntact());
}

TEST(JpegUpsampling, FastUpsamplingReplicatesSamples) {
    ExpandState e(2, 1, k422, 16, 8, true);
    for (int i = 0; i < 8; ++i) e.At(2 * i, 3, 1) = static_cast<uint8_t>(30 * i);
    ASSERT_TRUE(PostExpand(&e.state));
    for (int x = 0; x < 16; ++x) EXPECT_EQ(e.At(x, 3, 1), 30 * (x / 2)) << x;
}

TEST(JpegUpsampling, TheLumaIsLeftAlone) {
    ExpandState e(2, 1, k422, 16, 8, false);
    for (int x = 0; x < 16; ++x) e.At(x, 0, 0) = static_cast<uint8_t>(x);
    ASSERT_TRUE(PostExpand(&e.state));
    for (int x = 0; x < 16; ++x) EXPECT_EQ(e.At(x, 0, 0), x);
}

TEST(JpegUpsampling, GenericHorizontalReplicationDriftsOnePixelPerSample) {
    ExpandState e(4, 1, k411, 32, 8, false);
    auto initial = [](int linear) { return static_cast<uint8_t>(100 + linear % 50); };
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 32; ++x) e.At(x, y, 1) = initial(32 * y + x);
    for (int y = 0; y < 8; ++y)
        for (int i = 0; i < 8; ++i) e.At(4 * i, y, 1) = static_cast<uint8_t>(10 * i + y);
    ASSERT_TRUE(PostExpand(&e.state));
    // The first sample covers the next four pixels, the second read comes
    // from pixel 5 (never a sample) and so on.
    for (int x = 1; x <= 4; ++x) EXPECT_EQ(e.At(x, 0, 1), 0) << x;
    for (int x = 6; x <= 9; ++x) EXPECT_EQ(e.At(x, 0, 1), initial(5)) << x;
    // The walk of row 0 runs into row 1: pixel 30 lands on row 1's first
    // pixels, and row 1 starts from there.
    for (int x = 0; x <= 4; ++x) EXPECT_EQ(e.At(x, 1, 1), initial(30)) << x;
    // The last row's walk would leave the picture: those writes are dropped.
    EXPECT_TRUE(e.CanaryIntact());
}

TEST(JpegUpsampling, GenericVerticalReplicationReadsEveryFifthRow) {
    ExpandState e(1, 4, k4V, 8, 32, true);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 8; ++x) e.At(x, y, 2) = static_cast<uint8_t>(y);
    ASSERT_TRUE(PostExpand(&e.state));
    for (int y = 1; y <= 4; ++y) EXPECT_EQ(e.At(3, y, 2), 0) << y;
    for (int y = 6; y <= 9; ++y) EXPECT_EQ(e.At(3, y, 2), 5) << y;
    for (int y = 11; y <= 14; ++y) EXPECT_EQ(e.At(3, y, 2), 10) << y;
    EXPECT_EQ(e.At(3, 31, 2), 30);
    EXPECT_TRUE(e.CanaryIntact());
}

TEST(JpegUpsampling, AOneComponentPictureWithAGapToFillIsRefused) {
    // Only reachable with a state whose largest factor exceeds the one
    // component's: the frame header alone cannot make one.
    const int unsampled[3][2] = {{1, 1}, {1, 1}, {1, 1}};
    ExpandState e(2, 1, unsampled, 16, 8, false);
    e.state.componentCount = 1;
    ClearError();
    EXPECT_FALSE(PostExpand(&e.state));
    EXPECT_STREQ(g_errorPlace, "PostExpand");
    EXPECT_STREQ(g_errorText,
                 "Subsampled grayscale not supported, Why would anyone do such a stupid thing?");
    e.state.components[0]->h = 2;
    EXPECT_TRUE(PostExpand(&e.state));
}

TEST(JpegUpsampling, ComponentCountsOtherThanOneOrThreeAreRefused) {
    ExpandState e(1, 1, k440, 8, 8, false);
    e.state.componentCount = 2;
    ClearError();
    EXPECT_FALSE(PostExpand(&e.state));
    EXPECT_STREQ(g_errorPlace, "PostExpand");
    EXPECT_STREQ(g_errorText, "Only 1 or 3 components supported");
    e.state.componentCount = 3;
    e.state.ccir601 = 1;
    EXPECT_FALSE(PostExpand(&e.state));
    EXPECT_STREQ(g_errorText, "CCIR601 subsampling not supported!");
}

namespace {
const Codes& DcCodes() {
    static const Codes codes(StandardDc());
    return codes;
}
const Codes& AcCodes() {
    static const Codes codes(StandardAc());
    return codes;
}

// A 16x16 4:2:0 picture: four luma blocks, one Cb block with a gradient
// (AC terms), one flat Cr block.
Bytes Picture420() {
    BitWriter scan;
    const int luma[4] = {40, -40, 80, 0};
    int predictor = 0;
    for (int dc : luma) {
        EncodeBlock(&scan, DcCodes(), AcCodes(), dc - predictor);
        predictor = dc;
    }
    EncodeBlock(&scan, DcCodes(), AcCodes(), 0, {{1, 30}, {2, -20}});
    EncodeBlock(&scan, DcCodes(), AcCodes(), 24);
    scan.Flush();
    return Picture(Header(16, 16, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}), scan);
}

// Runs the loader's stages on a state the test can look into afterwards.
struct Pipeline {
    Bytes bytes;
    std::unique_ptr<JpegState> state{new JpegState()};
    std::unique_ptr<Image> image;
    bool ok;
    Pipeline(const Bytes& file, int width, int height, int depth) : bytes(file) {
        image.reset(
            new Image(width, height, width * (depth == 24 ? 3 : 1), height, nullptr, depth));
        state->data = bytes.data();
        state->size = bytes.size();
        state->outputBase = image->pixels;
        state->outputStride = image->stride;
        state->outputBytes = image->PixelBytes();
        state->startOfScan = jpeg::HuffStartOfScan;
        state->decodeMcu = jpeg::HuffDecodeMcu;
        state->endOfScan = jpeg::HuffEndOfScan;
        ClearError();
        ok = jdReadFileHeader(state.get()) && jdReadScanHeader(state.get()) &&
             jpeg::InitialSetup(state.get()) && jdPipe(state.get());
    }
    ~Pipeline() { jpegFreeComponents(state.get()); }
};
}  // namespace

TEST_F(JpegPipeline, A420PictureHasSixBlocksPerMcuInFrameOrder) {
    Pipeline p(Picture420(), 16, 16, 24);
    ASSERT_TRUE(p.ok) << g_errorText;
    EXPECT_EQ(p.state->blocksPerMcu, 6);
    const int membership[6] = {0, 0, 0, 0, 1, 2};
    for (int b = 0; b < 6; ++b) EXPECT_EQ(p.state->mcuMembership[b], membership[b]);
    EXPECT_EQ(p.state->mcusPerRow, 1);
    EXPECT_EQ(p.state->mcuRows, 1);
    // Luma blocks in raster order within the MCU.
    EXPECT_EQ(p.image->Row(0)[0], 133);  // 40/8 = 5
    EXPECT_EQ(p.image->Row(0)[3 * 8], 123);
    EXPECT_EQ(p.image->Row(8)[0], 138);
    EXPECT_EQ(p.image->Row(15)[3 * 15], 128);
}

TEST_F(JpegPipeline, AOneComponentScanIsNotInterleavedWhateverItsSamplingFactors) {
    // A 24x12 greyscale picture whose component says 2x2: one block per
    // MCU, three blocks across and two down, in rows, as the encoder wrote
    // them (a 16x16 MCU would take the third block for the second row).
    BitWriter scan;
    const int values[6] = {8, 16, 24, 32, 40, 48};
    int predictor = 0;
    for (int dc : values) {
        EncodeBlock(&scan, DcCodes(), AcCodes(), dc - predictor);
        predictor = dc;
    }
    scan.Flush();
    const Bytes bytes = Picture(Header(24, 12, {{1, 2, 2, 0}}), scan);
    Pipeline p(bytes, 32, 16, 8);
    ASSERT_TRUE(p.ok) << g_errorText;
    EXPECT_EQ(p.state->blocksPerMcu, 1);
    EXPECT_EQ(p.state->mcusPerRow, 3);
    EXPECT_EQ(p.state->mcuRows, 2);
    for (int b = 0; b < 6; ++b) {
        const int x = 8 * (b % 3) + 3, y = 8 * (b / 3) + 2;
        EXPECT_EQ(p.image->Row(y)[x], 128 + values[b] / 8) << b;
    }
    // Through the import path: announced with the frame's 16x16 padding.
    const Decoded d = DecodeBytes(bytes, "grey22.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    EXPECT_EQ(d.image->stride, 32);
    EXPECT_EQ(d.image->Row(11)[23], 134);
    EXPECT_EQ(d.image->Row(8)[0], 132);
}

TEST_F(JpegPipeline, TheScanHeaderOrdersTheBlocksOfTheMcu) {
    // 4:2:0 with the scan naming Cr, then Y, then Cb: the MCU holds Cr's
    // block, Y's four, then Cb's, and each lands in its own byte.
    Bytes bytes = Soi();
    Append(&bytes, Dqt(0, 1));
    Append(&bytes, Sof(0xC0, 16, 16, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}));
    Append(&bytes, Dht(0, 0, StandardDc()));
    Append(&bytes, Dht(1, 0, StandardAc()));
    Append(&bytes, Sos({3, 1, 2}));
    BitWriter scan;
    EncodeBlock(&scan, DcCodes(), AcCodes(), -80);  // Cr
    const int luma[4] = {8, 16, 24, 32};
    int predictor = 0;
    for (int dc : luma) {
        EncodeBlock(&scan, DcCodes(), AcCodes(), dc - predictor);
        predictor = dc;
    }
    EncodeBlock(&scan, DcCodes(), AcCodes(), 160);  // Cb
    scan.Flush();
    Pipeline p(Picture(bytes, scan), 16, 16, 24);
    ASSERT_TRUE(p.ok) << g_errorText;
    const int membership[6] = {2, 0, 0, 0, 0, 1};
    for (int b = 0; b < 6; ++b) EXPECT_EQ(p.state->mcuMembership[b], membership[b]) << b;
    for (int b = 0; b < 4; ++b)
        EXPECT_EQ(p.image->Row(8 * (b / 2) + 1)[3 * (8 * (b % 2) + 1)], 128 + luma[b] / 8) << b;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            EXPECT_EQ(p.image->Row(y)[3 * x + 1], 148) << x << "," << y;  // Cb 160 / 8
            EXPECT_EQ(p.image->Row(y)[3 * x + 2], 118) << x << "," << y;  // Cr -80 / 8
        }
    }
}

TEST_F(JpegPipeline, FastUpsamplingReplicatesChromaIn2x2Squares) {
    g_settings->jpeg.bFastUnsubsample = 1;
    const Decoded d = DecodeBytes(Picture420(), "420fast.jpg", nullptr, false, false);
    ASSERT_TRUE(d.loaded) << d.text;
    int distinct = 0;
    for (int y = 0; y < 16; y += 2) {
        for (int x = 0; x < 16; x += 2) {
            const uint8_t cb = d.image->Row(y)[3 * x + 1];
            EXPECT_EQ(d.image->Row(y)[3 * (x + 1) + 1], cb);
            EXPECT_EQ(d.image->Row(y + 1)[3 * x + 1], cb);
            EXPECT_EQ(d.image->Row(y + 1)[3 * (x + 1) + 1], cb);
            EXPECT_EQ(d.image->Row(y + 1)[3 * (x + 1) + 2], 131);  // flat Cr: 24/8 = 3
            distinct += cb != d.image->Row(0)[1];
        }
    }
    EXPECT_GT(distinct, 10);
}

TEST_F(JpegPipeline, ElevenBlocksPerMcuAreTooMany) {
    BitWriter scan;
    scan.Flush();
    const Decoded d = DecodeBytes(
        Picture(Header(24, 24, {{1, 3, 3, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}), scan), "eleven.jpg");
    EXPECT_FALSE(d.loaded);
    EXPECT_EQ(d.place, "jdPipe");
    EXPECT_EQ(d.text, "Sampling factors too large!");
}

TEST_F(JpegPipeline, ChromaTwoAgainstLumaThreeIsFractional) {
    BitWriter scan;
    for (int b = 0; b < 7; ++b) EncodeBlock(&scan, DcCodes(), AcCodes(), 0);
    scan.Flush();
    const Decoded d = DecodeBytes(
        Picture(Header(24, 8, {{1, 3, 1, 0}, {2, 2, 1, 0}, {3, 2, 1, 0}}), scan), "frac.jpg");
    EXPECT_FALSE(d.loaded);
    EXPECT_EQ(d.place, "PostExpand");
    EXPECT_EQ(d.text, "Fractional subsampling not supported!");
}

TEST_F(JpegPipeline, TwoComponentsDecodeButAreRefusedWhenAssembled) {
    BitWriter scan;
    EncodeBlock(&scan, DcCodes(), AcCodes(), 0);
    EncodeBlock(&scan, DcCodes(), AcCodes(), 0);
    scan.Flush();
    Pipeline p(Picture(Header(8, 8, {{1, 1, 1, 0}, {2, 1, 1, 0}}), scan), 8, 8, 24);
    EXPECT_FALSE(p.ok);
    EXPECT_STREQ(g_errorPlace, "PostExpand");
    EXPECT_STREQ(g_errorText, "Only 1 or 3 components supported");
}

TEST_F(JpegPipeline, AGreyPictureDecodesWithoutAssemblyOrConversion) {
    BitWriter scan;
    EncodeBlock(&scan, DcCodes(), AcCodes(), 80);
    scan.Flush();
    test::RecordingProgress progress;
    const Decoded d =
        DecodeBytes(Picture(Header(8, 8, {{1, 1, 1, 0}}), scan), "grey.jpg", &progress);
    ASSERT_TRUE(d.loaded) << d.text;
    EXPECT_EQ(d.depth, 8);
    EXPECT_EQ(d.image->depth, 8);
    EXPECT_EQ(d.image->Row(0)[0], 138);
    EXPECT_EQ(d.image->palette[3 * 138], 138);
    bool decompressing = false;
    for (const std::string& event : progress.events) {
        EXPECT_EQ(event.find("Assembling components"), std::string::npos) << event;
        decompressing |= event == "Decompressing@0";
    }
    EXPECT_TRUE(decompressing);
}

TEST_F(JpegPipeline, AColourPictureReportsAssemblyPerComponent) {
    test::RecordingProgress progress;
    const Decoded d = DecodeBytes(Picture420(), "progress.jpg", &progress, false, false);
    ASSERT_TRUE(d.loaded);
    const std::vector<std::string> expected = {
        "Decompressing@0", "@100", "Assembling components@0", "@33", "@66", "@100"};
    EXPECT_EQ(progress.events, expected);
}

TEST_F(JpegPipeline, TheOneEighthDecodeMakesOnePixelPerBlock) {
    g_settings->idx.iIconX = 8;
    g_settings->idx.iIconY = 8;
    BitWriter scan;
    int predictor = 0;
    std::vector<int> dcs;
    for (int b = 0; b < 8 * 6; ++b) {
        const int dc = (b * 37) % 300 - 150;
        dcs.push_back(dc);
        EncodeBlock(&scan, DcCodes(), AcCodes(), dc - predictor, {{1, 50}, {5, -9}});
        predictor = dc;
    }
    scan.Flush();
    const Decoded d =
        DecodeBytes(Picture(Header(64, 48, {{1, 1, 1, 0}}, 2), scan), "eighth.jpg", nullptr, true);
    ASSERT_TRUE(d.loaded) << d.text;
    ASSERT_EQ(d.width, 8);
    ASSERT_EQ(d.height, 6);
    for (int b = 0; b < 48; ++b) {
        // (DC * q) >> 3, level-shifted and clamped.
        const int value = std::min(255, std::max(0, 128 + ((dcs[b] * 2) >> 3)));
        EXPECT_EQ(d.image->Row(b / 8)[b % 8], value) << b;
    }
}

TEST_F(JpegPipeline, ALargePictureIsAnnouncedAtOneEighthWithEachPixelItsBlocksDc) {
    // 1000x750 greyscale and 800x600 at 4:2:0, quantisers 3, blocks with
    // random DC values (some far out of range) and AC terms that the
    // one-eighth decode decodes and drops.
    g_settings->idx.iIconX = 80;
    g_settings->idx.iIconY = 60;
    g_settings->jpeg.bFastUnsubsample = 1;
    uint32_t seed = 4;
    auto next = [&seed](int n) {
        seed = seed * 1103515245u + 12345u;
        return static_cast<int>((seed >> 12) % static_cast<uint32_t>(n));
    };
    auto pixel = [](int dc) { return std::min(255, std::max(0, 128 + ((dc * 3) >> 3))); };
    {
        const int across = 125, down = 94;
        std::vector<int> dcs;
        BitWriter scan;
        int predictor = 0;
        for (int b = 0; b < across * down; ++b) {
            const int dc = next(1000) - 500;
            EncodeBlock(&scan, DcCodes(), AcCodes(), dc - predictor, {{1, next(40) + 1}, {9, -3}});
            predictor = dc;
            dcs.push_back(dc);
        }
        scan.Flush();
        const Decoded d = DecodeBytes(Picture(Header(1000, 750, {{1, 1, 1, 0}}, 3), scan),
                                      "large-grey.jpg", nullptr, true);
        ASSERT_TRUE(d.loaded) << d.text;
        ASSERT_EQ(d.width, 125);
        ASSERT_EQ(d.height, 94);
        for (int b = 0; b < across * down; ++b)
            ASSERT_EQ(d.image->Row(b / across)[b % across], pixel(dcs[b])) << b;
    }
    {
        const int mcusAcross = 50, mcusDown = 38;  // 600 / 16 rounded up
        std::vector<int> luma(static_cast<size_t>(mcusAcross * mcusDown * 4)),
            cb(static_cast<size_t>(mcusAcross * mcusDown)),
            cr(static_cast<size_t>(mcusAcross * mcusDown));
        BitWriter scan;
        int predictors[3] = {0, 0, 0};
        auto put = [&](int component, int dc) {
            EncodeBlock(&scan, DcCodes(), AcCodes(), dc - predictors[component], {{2, 5}});
            predictors[component] = dc;
        };
        for (int m = 0; m < mcusAcross * mcusDown; ++m) {
            for (int b = 0; b < 4; ++b) put(0, luma[4 * m + b] = next(700) - 350);
            put(1, cb[m] = next(700) - 350);
            put(2, cr[m] = next(700) - 350);
        }
        scan.Flush();
        const Decoded d = DecodeBytes(
            Picture(Header(800, 600, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, 3), scan),
            "large-420.jpg", nullptr, true);
        ASSERT_TRUE(d.loaded) << d.text;
        ASSERT_EQ(d.width, 100);
        ASSERT_EQ(d.height, 75);
        for (int y = 0; y < 75; ++y) {
            for (int x = 0; x < 100; ++x) {
                const int m = (y / 2) * mcusAcross + x / 2;
                const uint8_t* p = d.image->Row(y) + 3 * x;
                ASSERT_EQ(p[0], pixel(luma[4 * m + 2 * (y % 2) + x % 2])) << x << "," << y;
                ASSERT_EQ(p[1], pixel(cb[m])) << x << "," << y;
                ASSERT_EQ(p[2], pixel(cr[m])) << x << "," << y;
            }
        }
    }
}

TEST_F(JpegPipeline, TheOneEighthDecodeUpsamplesOnItsOwnGrid) {
    g_settings->idx.iIconX = 1;
    g_settings->idx.iIconY = 1;
    g_settings->jpeg.bFastUnsubsample = 1;
    BitWriter scan;
    // Two MCUs of 4:2:0: chroma DC 16 then 48 (Cb), Cr 0.
    for (int m = 0; m < 2; ++m) {
        for (int b = 0; b < 4; ++b)
            EncodeBlock(&scan, DcCodes(), AcCodes(), m == 0 && b == 0 ? 8 : 0);
        EncodeBlock(&scan, DcCodes(), AcCodes(), m == 0 ? 16 : 32);
        EncodeBlock(&scan, DcCodes(), AcCodes(), 0);
    }
    scan.Flush();
    const Decoded d =
        DecodeBytes(Picture(Header(32, 16, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}), scan),
                    "eighth420.jpg", nullptr, true);
    ASSERT_TRUE(d.loaded) << d.text;
    ASSERT_EQ(d.width, 4);
    ASSERT_EQ(d.height, 2);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(d.image->Row(y)[3 * x], 129);  // every luma block at DC 8
            EXPECT_EQ(d.image->Row(y)[3 * x + 1], x < 2 ? 130 : 134) << x << "," << y;
            EXPECT_EQ(d.image->Row(y)[3 * x + 2], 128);
        }
    }
}

namespace {
struct ChecksumCase {
    const char* file;
    // accurate+smooth, accurate+fast, fast+smooth, fast+fast, then the same
    // four for the one-eighth decode.
    uint32_t sums[8];
};

const ChecksumCase kChecksums[] = {
#include "tests/unit/JpegChecksums.inc"
};
}  // namespace

TEST_F(JpegPipeline, RealFilesKeepTheirChecksumPerOptionSet) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "corpus not available";
    g_settings->idx.iIconX = 1;
    g_settings->idx.iIconY = 1;
    for (const ChecksumCase& c : kChecksums) {
        const std::vector<uint8_t> bytes =
            test::ReadFile(test::CorpusPath(std::string("jpeg/") + c.file));
        for (int option = 0; option < 8; ++option) {
            g_settings->jpeg.bFastDCT = (option >> 1) & 1;
            g_settings->jpeg.bFastUnsubsample = option & 1;
            const bool reduced = option >= 4;
            const Decoded d = DecodeBytes(bytes, "sum.jpg", nullptr, reduced);
            ASSERT_TRUE(d.loaded) << c.file << ": " << d.text;
            EXPECT_EQ(PixelChecksum(*d.image), c.sums[option]) << c.file << " option " << option;
        }
    }
}

namespace {
// PostExpand for ratios of 1 and 2 written as the filters are defined: one
// component and one direction at a time, every output from a copy of the
// samples as they were. The decoder expands both chroma components in one
// pass over whole rows of bytes instead; it must give the same bytes.
void ReferenceExpand(std::vector<uint8_t>* pixels, ptrdiff_t stride, int width,
                     const int factors[3][2], int hMax, int vMax, int samplesPerBlockWide,
                     int mcusWide, int mcusHigh, bool fast) {
    for (int c = 0; c < 3; ++c) {
        const int h = factors[c][0], v = factors[c][1];
        const int rh = hMax / h, rv = vMax / v;
        const int wide = mcusWide * h * samplesPerBlockWide;
        const int high = mcusHigh * v * samplesPerBlockWide;
        auto at = [&](int x, int y) -> uint8_t& {
            return (*pixels)[static_cast<size_t>(y * stride + 3 * x + c)];
        };
        if (rh == 2) {
            for (int y = 0; y < high; ++y) {
                const int row = y * rv;
                std::vector<int> s(static_cast<size_t>(wide));
                for (int i = 0; i < wide; ++i) s[i] = at(2 * i, row);
                const int n = wide;
                if (fast || n == 1) {
                    for (int i = 0; i < n; ++i) at(2 * i + 1, row) = static_cast<uint8_t>(s[i]);
                    continue;
                }
                at(1, row) = static_cast<uint8_t>((3 * s[0] + s[1] + 1) >> 2);
                for (int i = 1; i <= n - 2; ++i) {
                    at(2 * i, row) = static_cast<uint8_t>((3 * s[i] + s[i - 1] + 2) >> 2);
                    at(2 * i + 1, row) = static_cast<uint8_t>((3 * s[i] + s[i + 1] + 1) >> 2);
                }
                at(2 * n - 2, row) = static_cast<uint8_t>((3 * s[n - 1] + s[n - 2] + 2) >> 2);
                at(2 * n - 1, row) = static_cast<uint8_t>(s[n - 1]);
            }
        }
        if (rv == 2) {
            const int n = high;
            for (int x = 0; x < width; ++x) {
                std::vector<int> s(static_cast<size_t>(n));
                for (int i = 0; i < n; ++i) s[i] = at(x, 2 * i);
                if (fast || n == 1) {
                    for (int i = 0; i < n; ++i) at(x, 2 * i + 1) = static_cast<uint8_t>(s[i]);
                    continue;
                }
                at(x, 1) = static_cast<uint8_t>((3 * s[0] + s[1] + 2) >> 2);
                for (int i = 1; i <= n - 2; ++i) {
                    at(x, 2 * i) = static_cast<uint8_t>((3 * s[i] + s[i - 1] + 1) >> 2);
                    at(x, 2 * i + 1) = static_cast<uint8_t>((3 * s[i] + s[i + 1] + 2) >> 2);
                }
                at(x, 2 * n - 2) = static_cast<uint8_t>((3 * s[n - 1] + s[n - 2] + 1) >> 2);
                at(x, 2 * n - 1) = static_cast<uint8_t>(s[n - 1]);
            }
        }
    }
}
}  // namespace

TEST(JpegUpsampling, EveryLayoutGivesTheBytesOfTheFiltersAsDefined) {
    const int layouts[][3][2] = {
        {{2, 2}, {1, 1}, {1, 1}},  // 4:2:0
        {{2, 1}, {1, 1}, {1, 1}},  // 4:2:2
        {{1, 2}, {1, 1}, {1, 1}},  // 4:4:0
        {{1, 1}, {1, 1}, {1, 1}},  // 4:4:4
        {{2, 2}, {2, 1}, {2, 1}},  // chroma halved vertically only
        {{2, 2}, {1, 2}, {1, 1}},  // Cb and Cr differ
        {{1, 1}, {2, 2}, {2, 2}},  // the luma is the subsampled one
    };
    uint32_t seed = 99;
    auto next = [&seed](int n) {
        seed = seed * 1664525u + 1013904223u;
        return static_cast<int>((seed >> 8) % static_cast<uint32_t>(n));
    };
    int cases = 0;
    for (const auto& factors : layouts) {
        int hMax = 1, vMax = 1;
        for (const auto& f : factors) {
            hMax = std::max(hMax, f[0]);
            vMax = std::max(vMax, f[1]);
        }
        for (int reduced = 0; reduced < 2; ++reduced) {
            for (int fast = 0; fast < 2; ++fast) {
                // Full decodes and one-eighth ones, the latter down to one or
                // two samples a row (the filters' end cases).
                for (int mcusWide : {1, 2, 3, 5, 13}) {
                    const int mcusHigh = 1 + next(4);
                    const int perBlock = reduced ? 1 : 8;
                    const int width = mcusWide * hMax * perBlock;
                    const int height = mcusHigh * vMax * perBlock;
                    const ptrdiff_t stride = 3 * width;
                    JpegState state{};
                    std::vector<uint8_t> pixels(static_cast<size_t>(stride * height) + 64);
                    for (uint8_t& b : pixels) b = static_cast<uint8_t>(next(256));
                    std::vector<uint8_t> expected = pixels;
                    state.outputBase = pixels.data();
                    state.outputStride = stride;
                    state.outputBytes = static_cast<size_t>(stride * height);
                    state.componentCount = 3;
                    state.hMax = hMax;
                    state.vMax = vMax;
                    state.paddedWidth = mcusWide * hMax * 8;
                    state.paddedHeight = mcusHigh * vMax * 8;
                    state.fastUpsampling = static_cast<uint8_t>(fast);
                    state.dcOnly = static_cast<uint8_t>(reduced);
                    for (int c = 0; c < 3; ++c) {
                        auto* component =
                            static_cast<JpegComponent*>(std::calloc(1, sizeof(JpegComponent)));
                        component->index = c;
                        component->h = factors[c][0];
                        component->v = factors[c][1];
                        component->paddedWidth = state.paddedWidth * component->h / hMax;
                        component->paddedHeight = state.paddedHeight * component->v / vMax;
                        state.components[c] = component;
                        state.scanComponents[c] = component;
                    }
                    state.scanCount = 3;
                    const bool ok = PostExpand(&state);
                    jpegFreeComponents(&state);
                    ASSERT_TRUE(ok) << g_errorText;
                    ReferenceExpand(&expected, stride, width, factors, hMax, vMax, perBlock,
                                    mcusWide, mcusHigh, fast != 0);
                    for (size_t i = 0; i < pixels.size(); ++i) {
                        ASSERT_EQ(pixels[i], expected[i])
                            << "layout " << (&factors - layouts) << " reduced " << reduced
                            << " fast " << fast << " " << mcusWide << "x" << mcusHigh
                            << " MCUs, pixel " << i / 3 % width << "," << i / 3 / width << " byte "
                            << i % 3;
                    }
                    ++cases;
                }
            }
        }
    }
    EXPECT_EQ(cases, 7 * 2 * 2 * 5);
}
