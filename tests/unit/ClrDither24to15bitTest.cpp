#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "color/ColourConvert.h"
#include "core/Error.h"
#include "core/Image.h"
#include "tests/support/TestSupport.h"

namespace {
// The diffusion written out directly: a 2-D array of error sums (scaled by
// 16) with one spare column at each side, each pixel handing 7, 3, 5 and 1
// sixteenths of its error to its neighbours in the direction of travel.
int ReferenceLimit(int e) {
    const int magnitude = e < 0 ? -e : e;
    int limited;
    if (magnitude < 16)
        limited = magnitude;
    else if (magnitude < 48)
        limited = 16 + (magnitude - 16) / 2;
    else
        limited = 32;
    if (e >= 241) return 0;
    return e < 0 ? -limited : limited;
}

std::vector<uint8_t> ReferenceDither15(const Image& source) {
    const int w = source.width, h = source.height;
    std::vector<uint8_t> out(3 * w * h);
    std::vector<int> sums(3 * (w + 2) * (h + 1), 0);
    auto sum = [&](int x, int y, int c) -> int& { return sums[3 * ((w + 2) * y + x + 1) + c]; };
    for (int y = 0; y < h; ++y) {
        const int dir = y % 2 == 0 ? 1 : -1;
        for (int k = 0; k < w; ++k) {
            const int x = dir == 1 ? k : w - 1 - k;
            for (int c = 0; c < 3; ++c) {
                const int e = ReferenceLimit((sum(x, y, c) + 8) >> 4);
                int v = source.Row(y)[3 * x + c] + e;
                v = v < 0 ? 0 : v > 255 ? 255 : v;
                out[3 * (w * y + x) + c] = static_cast<uint8_t>(v & 0xF8);
                const int q = v & 7;
                if (x + dir >= 0 && x + dir < w) sum(x + dir, y, c) += 7 * q;
                sum(x - dir, y + 1, c) += 3 * q;
                sum(x, y + 1, c) += 5 * q;
                sum(x + dir, y + 1, c) += q;
            }
        }
    }
    return out;
}

void FillRandom(Image* image, unsigned seed) {
    std::mt19937 random(seed);
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < 3 * image->width; ++x)
            image->Row(y)[x] = static_cast<uint8_t>(random() & 255);
}

void FillFlat(Image* image, uint8_t value) {
    for (int y = 0; y < image->height; ++y) std::memset(image->Row(y), value, 3 * image->width);
}
}  // namespace

TEST(ClrDither24to15bit, ChannelsThatAreMultiplesOfEightAreCopiedUnchanged) {
    Image source(37, 29, 3 * 37 + 5, 29, nullptr, 24);
    std::mt19937 random(3);
    for (int y = 0; y < 29; ++y)
        for (int x = 0; x < 3 * 37; ++x) source.Row(y)[x] = static_cast<uint8_t>(random() & 0xF8);
    Image destination(37, 29, 3 * 37, 29, nullptr, 24);
    ASSERT_TRUE(clr_Dither24to15bit(&destination, &source, nullptr));
    for (int y = 0; y < 29; ++y)
        ASSERT_EQ(std::memcmp(destination.Row(y), source.Row(y), 3 * 37), 0) << "row " << y;
}

TEST(ClrDither24to15bit, FlatGreyHundredBecomesNinetySixAndHundredFourAveragingHundred) {
    const int size = 256;
    Image picture(size, size, 3 * size, size, nullptr, 24);
    FillFlat(&picture, 100);
    ASSERT_TRUE(clr_Dither24to15bit(&picture, &picture, nullptr));
    int64_t total = 0;
    int count96 = 0, count104 = 0;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < 3 * size; ++x) {
            const int v = picture.Row(y)[x];
            ASSERT_TRUE(v == 96 || v == 104) << v << " at " << x << "," << y;
            total += v;
            (v == 96 ? count96 : count104)++;
        }
    const double mean = static_cast<double>(total) / (3.0 * size * size);
    EXPECT_NEAR(mean, 100.0, 0.1);
    EXPECT_GT(count96, 0);
    EXPECT_GT(count104, 0);
    // Row 0 by hand: 100 -> 96 leaves 4, then 7 x 4 = 28 gives e = 2, 102 -> 96
    // leaves 6, then e = 3 for good: 103 -> 96 with 7 left, so the first row
    // is 96 throughout; the errors come out in the rows below.
    for (int x = 0; x < 3 * size; ++x) ASSERT_EQ(picture.Row(0)[x], 96) << x;
}

TEST(ClrDither24to15bit, MatchesTheDiffusionWrittenOutDirectly) {
    for (int width : {1, 2, 5, 64}) {
        Image source(width, 23, 3 * width + 2, 23, nullptr, 24);
        FillRandom(&source, 11 + width);
        Image destination(width, 23, 3 * width, 23, nullptr, 24);
        ASSERT_TRUE(clr_Dither24to15bit(&destination, &source, nullptr));
        const std::vector<uint8_t> expected = ReferenceDither15(source);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 3 * width; ++x)
                ASSERT_EQ(destination.Row(y)[x], expected[3 * width * y + x])
                    << "width " << width << " byte " << x << " row " << y;
    }
}

TEST(ClrDither24to15bit, WorksInPlaceWithTheSameResult) {
    Image source(31, 17, 93, 17, nullptr, 24);
    FillRandom(&source, 5);
    Image copy(31, 17, 93, 17, nullptr, 24);
    std::memcpy(copy.pixels, source.pixels, source.PixelBytes());
    Image separate(31, 17, 93, 17, nullptr, 24);
    ASSERT_TRUE(clr_Dither24to15bit(&separate, &source, nullptr));
    ASSERT_TRUE(clr_Dither24to15bit(&copy, &copy, nullptr));
    EXPECT_EQ(std::memcmp(copy.pixels, separate.pixels, 93 * 17), 0);
}

TEST(ClrDither24to15bit, EveryChannelOfTheOutputIsAMultipleOfEight) {
    Image picture(50, 40, 150, 40, nullptr, 24);
    FillRandom(&picture, 9);
    ASSERT_TRUE(clr_Dither24to15bit(&picture, &picture, nullptr));
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 150; ++x) ASSERT_EQ(picture.Row(y)[x] & 7, 0);
}

TEST(ClrDither24to15bit, OnePixelWideImageStillDiffusesDownward) {
    // 103 keeps 96 and leaves 7; only the 5/16 below stays in the picture,
    // e = (35 + 8) >> 4 = 2 lifts the next pixel to 105 -> 104 leaving 1,
    // whose 5/16 rounds away, and the pattern repeats.
    Image picture(1, 6, 3, 6, nullptr, 24);
    FillFlat(&picture, 103);
    ASSERT_TRUE(clr_Dither24to15bit(&picture, &picture, nullptr));
    const int expected[6] = {96, 104, 96, 104, 96, 104};
    for (int y = 0; y < 6; ++y)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(picture.Row(y)[c], expected[y]) << "row " << y;
}

TEST(ClrDither24to15bit, DifferentSizesFailBeforeTheDepthChecks) {
    uint8_t palette[kPaletteBytes] = {};
    Image source(4, 4, 4, 4, palette, 8);
    Image destination(4, 5, 4, 5, palette, 8);
    EXPECT_FALSE(clr_Dither24to15bit(&destination, &source, nullptr));
    EXPECT_STREQ(g_errorPlace, "clr_Dither24to15bit");
    EXPECT_STREQ(g_errorText, "Src Dst image size missmatch");
}

TEST(ClrDither24to15bit, PaletteDestinationFailsBeforePaletteSource) {
    uint8_t palette[kPaletteBytes] = {};
    Image source(4, 4, 4, 4, palette, 8);
    Image destination(4, 4, 4, 4, palette, 8);
    EXPECT_FALSE(clr_Dither24to15bit(&destination, &source, nullptr));
    EXPECT_STREQ(g_errorPlace, "clr_Dither24to15bit");
    EXPECT_STREQ(g_errorText, "Dst not 24bit");

    Image colour(4, 4, 12, 4, nullptr, 24);
    EXPECT_FALSE(clr_Dither24to15bit(&colour, &source, nullptr));
    EXPECT_STREQ(g_errorText, "Src not 24bit");
}

TEST(ClrDither24to15bit, ReportsEverySixtyFourRowsFromRowSixtyTwo) {
    Image picture(3, 130, 9, 130, nullptr, 24);
    FillFlat(&picture, 77);
    test::RecordingProgress progress;
    ASSERT_TRUE(clr_Dither24to15bit(&picture, &picture, &progress));
    // Rows 62 and 126 satisfy (row + 1) & 63 == 63: 63 and 127 of 130.
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Dithering@0", "@48", "@97", "@100"}));
}
