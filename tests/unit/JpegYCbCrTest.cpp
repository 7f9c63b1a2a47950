// The YCbCr to blue-green-red conversion (tables centred at 127.5) and the
// shared range-limit table it and the transforms clamp through.
#include "jpeg/YCbCr.h"

#include <gtest/gtest.h>

#include "color/RangeLimit.h"

namespace {
struct Case {
    uint8_t y, cb, cr;
    uint8_t red, green, blue;
};

// Worked out by hand from the table definitions: red = Y + trunc(1.402 *
// (Cr - 127.5) + 0.5), blue = Y + trunc(1.772 * (Cb - 127.5) + 0.5), green =
// Y + ((trunc(-0.34414 * 16384 * (Cb - 127.5)) + 8192 + trunc(-0.71414 *
// 16384 * (Cr - 127.5))) >> 14), each clamped.
const Case kCases[] = {
    {128, 128, 128, 129, 127, 129},  // half a step above the centre
    {200, 127, 128, 201, 200, 200},  // blue: trunc(-0.386) = 0
    {128, 0, 255, 255, 81, 0},
    {60, 0, 255, 239, 13, 0},
    {230, 0, 0, 52, 255, 5},
    {0, 255, 255, 179, 0, 226},  // the largest red and blue terms
    {100, 200, 50, 0, 130, 228},
};
}  // namespace

TEST(JpegYCbCr, ConvertsThroughTablesCentredAtHalfPastOneTwentySeven) {
    for (const Case& c : kCases) {
        uint8_t pixel[3] = {c.y, c.cb, c.cr};
        jpegConvertYCbCr(pixel, 3, 1, 1);
        EXPECT_EQ(pixel[2], c.red) << int(c.y) << "," << int(c.cb) << "," << int(c.cr);
        EXPECT_EQ(pixel[1], c.green) << int(c.y) << "," << int(c.cb) << "," << int(c.cr);
        EXPECT_EQ(pixel[0], c.blue) << int(c.y) << "," << int(c.cb) << "," << int(c.cr);
    }
}

TEST(JpegYCbCr, WalksRowsByTheStrideAndLeavesThePaddingAlone) {
    uint8_t pixels[2 * 8];
    for (uint8_t& b : pixels) b = 128;
    pixels[6] = pixels[7] = 0xEE;  // padding after two pixels of row 0
    jpegConvertYCbCr(pixels, 8, 2, 2);
    EXPECT_EQ(pixels[0], 129);
    EXPECT_EQ(pixels[1], 127);
    EXPECT_EQ(pixels[5], 129);
    EXPECT_EQ(pixels[6], 0xEE);
    EXPECT_EQ(pixels[7], 0xEE);
    EXPECT_EQ(pixels[8 + 3 + 1], 127);
}

TEST(JpegRangeLimit, HoldsZerosIdentityFullRunZerosAndTheLowHalf) {
    ASSERT_EQ(kRangeLimitTable.size(), 1408u);
    EXPECT_EQ(kRangeLimit, kRangeLimitTable.data() + 256);
    for (int i = -256; i < 0; ++i) EXPECT_EQ(kRangeLimit[i], 0) << i;
    for (int i = 0; i < 256; ++i) EXPECT_EQ(kRangeLimit[i], i);
    for (int i = 256; i < 640; ++i) EXPECT_EQ(kRangeLimit[i], 255) << i;
    for (int i = 640; i < 1024; ++i) EXPECT_EQ(kRangeLimit[i], 0) << i;
    for (int i = 1024; i < 1152; ++i) EXPECT_EQ(kRangeLimit[i], i - 1024) << i;
    // From base + 128 with (value & 1023): the level shift and the clamp.
    const uint8_t* idct = kRangeLimit + 128;
    EXPECT_EQ(idct[0], 128);
    EXPECT_EQ(idct[127], 255);
    EXPECT_EQ(idct[128], 255);
    EXPECT_EQ(idct[511], 255);
    EXPECT_EQ(idct[512], 0);
    EXPECT_EQ(idct[895], 0);
    EXPECT_EQ(idct[-1 & 1023], 127);
    EXPECT_EQ(idct[-128 & 1023], 0);
}
