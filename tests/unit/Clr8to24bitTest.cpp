#include <gtest/gtest.h>

#include <cstring>

#include "color/ColourConvert.h"
#include "core/Error.h"
#include "core/Image.h"
#include "tests/support/TestSupport.h"

namespace {
uint8_t g_palette[kPaletteBytes];

const uint8_t* TestPalette() {
    // Entry i: red i, green 255 - i, blue i / 2; entry 5 is pure red.
    for (int i = 0; i < 256; ++i) {
        g_palette[3 * i + 0] = static_cast<uint8_t>(i);
        g_palette[3 * i + 1] = static_cast<uint8_t>(255 - i);
        g_palette[3 * i + 2] = static_cast<uint8_t>(i / 2);
    }
    g_palette[15] = 255, g_palette[16] = 0, g_palette[17] = 0;
    return g_palette;
}
}  // namespace

TEST(Clr8to24bit, PaletteEntryRedBecomesBytesZeroZeroTwoFiftyFive) {
    Image source(1, 1, 1, 1, TestPalette(), 8);
    source.Row(0)[0] = 5;
    Image destination(1, 1, 3, 1, nullptr, 24);
    ASSERT_TRUE(clr_8to24bit(&destination, &source, nullptr));
    EXPECT_EQ(destination.Row(0)[0], 0);
    EXPECT_EQ(destination.Row(0)[1], 0);
    EXPECT_EQ(destination.Row(0)[2], 255);
}

TEST(Clr8to24bit, EveryPixelTakesItsEntryWalkingBothStrides) {
    Image source(5, 3, 8, 3, TestPalette(), 8);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 8; ++x) source.Row(y)[x] = static_cast<uint8_t>(40 * y + 7 * x);
    Image destination(5, 3, 17, 3, nullptr, 24);
    std::memset(destination.pixels, 0xEE, destination.PixelBytes());
    ASSERT_TRUE(clr_8to24bit(&destination, &source, nullptr));
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            const int index = 40 * y + 7 * x;
            const uint8_t* out = destination.Row(y) + 3 * x;
            EXPECT_EQ(out[0], index / 2) << x << "," << y;
            EXPECT_EQ(out[1], 255 - index) << x << "," << y;
            EXPECT_EQ(out[2], index) << x << "," << y;
        }
        // The padding of the destination rows is not touched.
        EXPECT_EQ(destination.Row(y)[15], 0xEE);
        EXPECT_EQ(destination.Row(y)[16], 0xEE);
    }
}

TEST(Clr8to24bit, SourceWithoutPaletteFailsBeforeTheSizeCheck) {
    Image source(2, 2, 6, 2, nullptr, 24);
    Image destination(3, 3, 9, 3, nullptr, 24);
    EXPECT_FALSE(clr_8to24bit(&destination, &source, nullptr));
    EXPECT_STREQ(g_errorPlace, "clr_8to24bit()");
    EXPECT_STREQ(g_errorText, "Source not 8bit");
}

TEST(Clr8to24bit, DifferentSizesFail) {
    Image source(2, 2, 2, 2, TestPalette(), 8);
    Image destination(2, 3, 6, 3, nullptr, 24);
    EXPECT_FALSE(clr_8to24bit(&destination, &source, nullptr));
    EXPECT_STREQ(g_errorPlace, "clr_8to24bit()");
    EXPECT_STREQ(g_errorText, "Src-Dst image size missmatch");
}

TEST(Clr8to24bit, DestinationRowsTooShortForThreeBytesAreRefused) {
    Image source(4, 2, 4, 2, TestPalette(), 8);
    Image destination(4, 2, 4, 2, nullptr, 24);
    EXPECT_FALSE(clr_8to24bit(&destination, &source, nullptr));
    EXPECT_STREQ(g_errorText, "Src-Dst image size missmatch");
}

TEST(Clr8to24bit, ReportsItsPhaseAndOnlyTheEnd) {
    Image source(3, 200, 3, 200, TestPalette(), 8);
    Image destination(3, 200, 9, 200, nullptr, 24);
    test::RecordingProgress progress;
    ASSERT_TRUE(clr_8to24bit(&destination, &source, &progress));
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Converting to 24bit@0", "@100"}));
}
