#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "color/ColourConvert.h"
#include "color/ResampleBicubic.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/SaveAs.h"
#include "tests/support/TestSupport.h"

namespace {
// Kernel weights from w(t) = |t|^3 - 2|t|^2 + 1 (|t| <= 1) and
// -|t|^3 + 5|t|^2 - 8|t| + 4 (1 < |t| < 2), scaled by 65536 with t = f / 256:
// 65536 t^3 = f^3 / 256, 65536 t^2 = f^2, 65536 t = 256 f. Only f^3 / 256 is
// fractional (never by exactly one half), so rounding it rounds the weight.
struct ReferenceWeights {
    int tap[4];
};

ReferenceWeights WeightsAt(int f) {
    auto cube = [](int v) {
        return static_cast<int>((static_cast<int64_t>(v) * v * v + 128) >> 8);
    };
    const int g = 256 - f;
    ReferenceWeights w;
    w.tap[0] = -cube(f) + 2 * f * f - 256 * f;  // w(1 + t) = -t + 2t^2 - t^3
    w.tap[1] = cube(f) - 2 * f * f + 65536;     // w(t)
    w.tap[2] = cube(g) - 2 * g * g + 65536;     // w(1 - t)
    w.tap[3] = -cube(g) + 2 * g * g - 256 * g;  // w(2 - t)
    return w;
}

int Clamp(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

// The filter written out per destination pixel: horizontal taps at source
// columns i .. i + 3, vertical taps at rows n - 1 .. n + 2, positions in
// 16.16 with the documented steps; reads outside the picture repeat its edge.
std::vector<uint8_t> ReferenceResample(const Image& source, int width, int height) {
    const int sw = source.width, sh = source.height;
    const int64_t xStep = sw > 3 ? (static_cast<int64_t>(sw - 3) << 16) / width : 0;
    const int64_t yStep = sh > 2 ? (static_cast<int64_t>(sh - 2) << 16) / height : 0;
    std::vector<uint8_t> out(3 * width * height);
    for (int row = 0; row < height; ++row) {
        const int64_t y = 0x8000 + row * yStep;
        const int n = static_cast<int>(y >> 16);
        const ReferenceWeights wy = WeightsAt(static_cast<int>((y >> 8) & 255));
        for (int col = 0; col < width; ++col) {
            const int64_t x = col * xStep;
            const int i = static_cast<int>(x >> 16);
            const ReferenceWeights wx = WeightsAt(static_cast<int>((x >> 8) & 255));
            for (int c = 0; c < 3; ++c) {
                int vertical = 0;
                for (int t = 0; t < 4; ++t) {
                    const int r = std::clamp(n - 1 + t, 0, sh - 1);
                    int horizontal = 0;
                    for (int s = 0; s < 4; ++s)
                        horizontal += source.Row(r)[3 * std::min(i + s, sw - 1) + c] * wx.tap[s];
                    vertical += Clamp(horizontal >> 16) * wy.tap[t];
                }
                out[3 * (width * row + col) + c] = static_cast<uint8_t>(Clamp(vertical >> 16));
            }
        }
    }
    return out;
}

std::unique_ptr<Image> RandomPicture(int width, int height, unsigned seed, int padding = 0) {
    auto image = std::make_unique<Image>(width, height, 3 * width + padding, height, nullptr, 24);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < 3 * width; ++x) image->Row(y)[x] = static_cast<uint8_t>(random());
    return image;
}

// One row of grey values.
std::unique_ptr<Image> GreyRow(const std::vector<int>& values) {
    const int w = static_cast<int>(values.size());
    auto image = std::make_unique<Image>(w, 1, 3 * w, 1, nullptr, 24);
    for (int x = 0; x < w; ++x) std::memset(image->Row(0) + 3 * x, values[x], 3);
    return image;
}

std::vector<int> Greys(const Image& image, int row) {
    std::vector<int> values;
    for (int x = 0; x < image.width; ++x) values.push_back(image.Row(row)[3 * x]);
    return values;
}
}  // namespace

TEST(ResampleBicubic, ReferenceWeightsAtOneHalfAreTheDocumentedOnes) {
    const ReferenceWeights half = WeightsAt(128);
    EXPECT_EQ(half.tap[0], -8192);
    EXPECT_EQ(half.tap[1], 40960);
    EXPECT_EQ(half.tap[2], 40960);
    EXPECT_EQ(half.tap[3], -8192);
    for (int f = 0; f < 256; ++f) {
        const ReferenceWeights w = WeightsAt(f);
        EXPECT_EQ(w.tap[0] + w.tap[1] + w.tap[2] + w.tap[3], 65536) << f;
    }
}

TEST(ResampleBicubic, TheWeightTableIsTheKernelRoundedToTheNearestInteger) {
    EXPECT_EQ(BicubicWeight(0, 128), -8192);
    EXPECT_EQ(BicubicWeight(1, 128), 40960);
    EXPECT_EQ(BicubicWeight(2, 128), 40960);
    EXPECT_EQ(BicubicWeight(3, 128), -8192);
    // On a sample the weights are 0, 1, 0, 0.
    EXPECT_EQ(BicubicWeight(0, 0), 0);
    EXPECT_EQ(BicubicWeight(1, 0), 65536);
    EXPECT_EQ(BicubicWeight(2, 0), 0);
    EXPECT_EQ(BicubicWeight(3, 0), 0);
    // A quarter: w(1.25) = -9/64, w(0.25) = 57/64, w(0.75) = 19/64, w(1.75) = -3/64.
    EXPECT_EQ(BicubicWeight(0, 64), -9216);
    EXPECT_EQ(BicubicWeight(1, 64), 58368);
    EXPECT_EQ(BicubicWeight(2, 64), 19456);
    EXPECT_EQ(BicubicWeight(3, 64), -3072);
    for (int f = 0; f < 256; ++f) {
        const ReferenceWeights w = WeightsAt(f);
        for (int tap = 0; tap < 4; ++tap)
            ASSERT_EQ(BicubicWeight(tap, f), w.tap[tap]) << tap << " at " << f;
    }
}

TEST(ResampleBicubic, HalfwayPixelsUseWeightsMinus8192And40960) {
    // Five columns into four: x step 0x8000, so pixels 1 and 3 fall halfway
    // (f = 128) with taps from columns 0..3 and 1..4; pixels 0 and 2 sit on
    // columns 1 and 2. One row, so the vertical taps all read it and sum to 1.
    auto bumpAtThree = GreyRow({128, 128, 128, 228, 128});
    Image out(4, 1, 12, 1, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&out, bumpAtThree.get(), nullptr));
    // 128 - 100 x 8192 / 65536 = 115.5 and 128 + 100 x 40960 / 65536 = 190.5,
    // both rounded down by the shift.
    EXPECT_EQ(Greys(out, 0), (std::vector<int>{128, 115, 128, 190}));

    auto bumpAtOne = GreyRow({128, 228, 128, 128, 128});
    ASSERT_TRUE(ResampleBicubic(&out, bumpAtOne.get(), nullptr));
    EXPECT_EQ(Greys(out, 0), (std::vector<int>{228, 190, 128, 115}));
}

TEST(ResampleBicubic, DestinationPixelZeroIsSourcePixelOne) {
    auto source = GreyRow({9, 77, 30, 41, 52, 63, 74, 85, 96, 107});
    Image out(5, 1, 15, 1, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&out, source.get(), nullptr));
    EXPECT_EQ(out.Row(0)[0], 77);
}

TEST(ResampleBicubic, SameSizeDoesNotReproduceTheSource) {
    // Rows of constant grey 0, 40, ..., 200: the first destination row lies
    // half a row down with taps on rows 0, 0, 1, 2:
    // (40 x 40960 - 80 x 8192) >> 16 = 983040 >> 16 = 15, not 0.
    Image source(6, 6, 18, 6, nullptr, 24);
    for (int y = 0; y < 6; ++y) std::memset(source.Row(y), 40 * y, 18);
    Image out(6, 6, 18, 6, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&out, &source, nullptr));
    for (int x = 0; x < 18; ++x) EXPECT_EQ(out.Row(0)[x], 15) << x;

    // Horizontally pixel 0 is source pixel 1.
    auto random = RandomPicture(6, 6, 4);
    ASSERT_TRUE(ResampleBicubic(&out, random.get(), nullptr));
    EXPECT_NE(std::memcmp(out.pixels, random->pixels, 18 * 6), 0);
    EXPECT_EQ(ReferenceResample(*random, 6, 6), std::vector<uint8_t>(out.pixels, out.pixels + 108));
}

TEST(ResampleBicubic, SourceThreeWideGivesStepZeroAndOneValuePerRow) {
    auto source = GreyRow({10, 170, 90});
    Image out(7, 3, 21, 3, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&out, source.get(), nullptr));
    for (int y = 0; y < 3; ++y) EXPECT_EQ(Greys(out, y), std::vector<int>(7, 170)) << y;
}

TEST(ResampleBicubic, OvershootOfTheNegativeLobesIsClamped) {
    // Blue carries 0, 255, 255, 0, 0 and red 255, 0, 0, 0, 0. Halfway between
    // the first taps blue is 255 x 81920 / 65536 = 318 and red
    // 255 x -8192 / 65536 = -32: clamped to 255 and 0.
    Image source(5, 1, 15, 1, nullptr, 24);
    const int blue[5] = {0, 255, 255, 0, 0};
    const int red[5] = {255, 0, 0, 0, 0};
    for (int x = 0; x < 5; ++x) {
        source.Row(0)[3 * x] = static_cast<uint8_t>(blue[x]);
        source.Row(0)[3 * x + 1] = 100;
        source.Row(0)[3 * x + 2] = static_cast<uint8_t>(red[x]);
    }
    Image out(4, 1, 12, 1, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&out, &source, nullptr));
    EXPECT_EQ(out.Row(0)[3], 255);
    EXPECT_EQ(out.Row(0)[4], 100);
    EXPECT_EQ(out.Row(0)[5], 0);
}

TEST(ResampleBicubic, MatchesTheFilterWrittenOutPerPixel) {
    // Shrinking by more than three rows per step, by less, keeping and
    // enlarging: the row buffers are reused or refiltered on the way.
    const int sourceSizes[][2] = {{1, 1}, {2, 2}, {3, 5},   {4, 3},
                                  {5, 1}, {9, 4}, {40, 30}, {97, 61}};
    const int sizes[][2] = {{1, 1}, {3, 2}, {7, 5}, {20, 9}, {64, 70}, {13, 120}};
    unsigned seed = 1;
    for (const auto& s : sourceSizes)
        for (const auto& d : sizes) {
            auto source = RandomPicture(s[0], s[1], ++seed, 2);
            Image out(d[0], d[1], 3 * d[0] + 1, d[1], nullptr, 24);
            ASSERT_TRUE(ResampleBicubic(&out, source.get(), nullptr));
            const std::vector<uint8_t> expected = ReferenceResample(*source, d[0], d[1]);
            for (int y = 0; y < d[1]; ++y)
                ASSERT_EQ(std::memcmp(out.Row(y), expected.data() + 3 * d[0] * y, 3 * d[0]), 0)
                    << s[0] << "x" << s[1] << " -> " << d[0] << "x" << d[1] << " row " << y;
        }
}

TEST(ResampleBicubic, EdgeReadsDoNotDependOnBytesOutsideThePicture) {
    // The same narrow picture with different bytes in the row padding and the
    // spare row gives the same result.
    for (int width : {1, 2, 3}) {
        auto a = RandomPicture(width, 2, 50 + width, 6);
        Image b(width, 2, 3 * width + 6, 2, nullptr, 24);
        std::memset(b.pixels, 0xFF, b.PixelBytes());
        for (int y = 0; y < 2; ++y) std::memcpy(b.Row(y), a->Row(y), 3 * width);
        std::memset(a->Row(2), 0, a->stride);  // spare row
        Image outA(8, 5, 24, 5, nullptr, 24), outB(8, 5, 24, 5, nullptr, 24);
        ASSERT_TRUE(ResampleBicubic(&outA, a.get(), nullptr));
        ASSERT_TRUE(ResampleBicubic(&outB, &b, nullptr));
        EXPECT_EQ(std::memcmp(outA.pixels, outB.pixels, 24 * 5), 0) << width;
    }
}

TEST(ResampleBicubic, PaletteSourceIsExpandedFirst) {
    uint8_t palette[kPaletteBytes];
    std::mt19937 random(8);
    for (uint8_t& byte : palette) byte = static_cast<uint8_t>(random());
    Image source(11, 9, 12, 9, palette, 8);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 11; ++x) source.Row(y)[x] = static_cast<uint8_t>(random());
    Image expanded(11, 9, 33, 9, nullptr, 24);
    ASSERT_TRUE(clr_8to24bit(&expanded, &source, nullptr));

    Image out(64, 33, 192, 33, nullptr, 24);
    test::RecordingProgress progress;
    ASSERT_TRUE(ResampleBicubic(&out, &source, &progress));
    EXPECT_EQ(ReferenceResample(expanded, 64, 33),
              std::vector<uint8_t>(out.pixels, out.pixels + 192 * 33));
    // 33 rows counted down: 32 remain after the first, 1 of 33 done.
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Converting to 24bit@0", "@100",
                                                         "Resampling image@0", "@3"}));
}

TEST(ResampleBicubic, ReportsWheneverTheRowsLeftAreAMultipleOf32) {
    auto source = RandomPicture(10, 10, 3);
    Image out(5, 64, 15, 64, nullptr, 24);
    test::RecordingProgress progress;
    ASSERT_TRUE(ResampleBicubic(&out, source.get(), &progress));
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Resampling image@0", "@0", "@50"}));
}

TEST(ResampleBicubic, PaletteDestinationFails) {
    uint8_t palette[kPaletteBytes] = {};
    auto source = RandomPicture(4, 4, 1);
    Image out(4, 4, 4, 4, palette, 8);
    EXPECT_FALSE(ResampleBicubic(&out, source.get(), nullptr));
    EXPECT_STREQ(g_errorPlace, "ResampleBicubic()");
    EXPECT_STREQ(g_errorText, "Dst not 24bit");
}

TEST(ResampleBicubic, EmptyDestinationSucceedsWithoutDoingAnything) {
    auto source = RandomPicture(4, 4, 1);
    Image out(0, 5, 0, 5, nullptr, 24);
    test::RecordingProgress progress;
    EXPECT_TRUE(ResampleBicubic(&out, source.get(), &progress));
    EXPECT_TRUE(progress.events.empty());
}

TEST(ResampleBicubic, LoadIntoANewImageDecodesThenResamples) {
    auto picture = RandomPicture(20, 15, 77);
    const std::string path = test::TempPath("resample-load.bmp");
    ASSERT_TRUE(SaveAs(0, path.c_str(), picture.get()));

    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    Image thumbnail(7, 5, 21, 5, nullptr, 24);
    ASSERT_TRUE(Load(&imp, &thumbnail, nullptr, true));
    EXPECT_EQ(ReferenceResample(*picture, 7, 5),
              std::vector<uint8_t>(thumbnail.pixels, thumbnail.pixels + 21 * 5));
}

TEST(ResampleBicubic, LoadIntoANewImageGivesAPalettePictureItsPalette) {
    // The intermediate picture takes the record's palette and depth, so the
    // resampler expands it through that palette first.
    uint8_t palette[kPaletteBytes];
    std::mt19937 random(31);
    for (uint8_t& byte : palette) byte = static_cast<uint8_t>(random());
    Image picture(21, 13, 21, 13, palette, 8);
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 21; ++x) picture.Row(y)[x] = static_cast<uint8_t>(random());
    const std::string path = test::TempPath("resample-load8.bmp");
    ASSERT_TRUE(SaveAs(0, path.c_str(), &picture));

    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    ASSERT_EQ(imp.depth, 8);
    Image thumbnail(9, 6, 27, 6, nullptr, 24);
    ASSERT_TRUE(Load(&imp, &thumbnail, nullptr, true));
    Image expanded(21, 13, 63, 13, nullptr, 24);
    ASSERT_TRUE(clr_8to24bit(&expanded, &picture, nullptr));
    EXPECT_EQ(ReferenceResample(expanded, 9, 6),
              std::vector<uint8_t>(thumbnail.pixels, thumbnail.pixels + 27 * 6));
}

TEST(ResampleNearest, ColourPicturesTakeThePixelAtHalfAStep) {
    // 4 x 4 into 2 x 2: steps of 2 pixels starting at 1, so columns and rows 1, 3.
    auto source = RandomPicture(4, 4, 12);
    Image out(2, 2, 6, 2, nullptr, 24);
    test::RecordingProgress progress;
    ASSERT_TRUE(ResampleNearest(&out, source.get(), &progress));
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            EXPECT_EQ(std::memcmp(out.Row(y) + 3 * x, source->Row(2 * y + 1) + 3 * (2 * x + 1), 3),
                      0);
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Resampling image@0"}));
}

TEST(ResampleNearest, PalettePicturesCopyIndices) {
    uint8_t palette[kPaletteBytes] = {};
    Image source(3, 2, 3, 2, palette, 8);
    const uint8_t indices[6] = {1, 2, 3, 4, 5, 6};
    std::memcpy(source.pixels, indices, 6);
    // 3 -> 7 wide: step 3 x 65536 / 7 = 28086 from 14043, so 126387 (pixel 4)
    // is still column 1: columns 0, 0, 1, 1, 1, 2, 2. 2 -> 3 high: step 43690
    // from 21845, and 65535 is still row 0: rows 0, 0, 1.
    Image out(7, 3, 7, 3, palette, 8);
    ASSERT_TRUE(ResampleNearest(&out, &source, nullptr));
    const uint8_t expected[3][7] = {
        {1, 1, 2, 2, 2, 3, 3}, {1, 1, 2, 2, 2, 3, 3}, {4, 4, 5, 5, 5, 6, 6}};
    for (int y = 0; y < 3; ++y) EXPECT_EQ(std::memcmp(out.Row(y), expected[y], 7), 0) << y;
}

TEST(ResampleNearest, ColourColumnsAreSignedSixteenBitNumbers) {
    // 32769 pixels wide onto as many: one step per pixel from half a step, so
    // column j is j, until 32768 reads as -32768. In row 1 that is 3 x 32768
    // bytes before the row: row 0's pixel 1 (rows are 3 x 32769 bytes).
    const int width = 32769;
    Image source(width, 2, 3 * width, 2, nullptr, 24);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = source.Row(y) + 3 * x;
            p[0] = static_cast<uint8_t>(x);
            p[1] = static_cast<uint8_t>(x >> 8);
            p[2] = static_cast<uint8_t>(10 + y);
        }
    Image out(width, 2, 3 * width, 2, nullptr, 24);
    ASSERT_TRUE(ResampleNearest(&out, &source, nullptr));
    const uint8_t* last = out.Row(1) + 3 * 32767;
    EXPECT_EQ(last[0], 0xFF);
    EXPECT_EQ(last[1], 0x7F);
    EXPECT_EQ(last[2], 11);
    const uint8_t* wrapped = out.Row(1) + 3 * 32768;
    EXPECT_EQ(wrapped[0], 1);
    EXPECT_EQ(wrapped[1], 0);
    EXPECT_EQ(wrapped[2], 10);
}

TEST(ResampleNearest, PairsOfDifferentDepthAreLeftAloneAndSucceed) {
    uint8_t palette[kPaletteBytes] = {};
    auto source = RandomPicture(4, 4, 12);
    Image out(2, 2, 2, 2, palette, 8);
    std::memset(out.pixels, 0x33, out.PixelBytes());
    EXPECT_TRUE(ResampleNearest(&out, source.get(), nullptr));
    for (size_t i = 0; i < out.PixelBytes(); ++i) EXPECT_EQ(out.pixels[i], 0x33);
}
