// The YCbCr to blue-green-red conversion (tables centred at 127.5) and the
// shared range-limit table it and the transforms clamp through.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "color/RangeLimit.h"
#include "jpeg/YCbCr.h"

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
    {128, 0, 255, 255, 81, 0},      {60, 0, 255, 239, 13, 0},
    {230, 0, 0, 52, 255, 5},        {0, 255, 255, 179, 0, 226},  // the largest red and blue terms
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

TEST(JpegYCbCr, PlanesConvertLikeThePixelsForEveryTriple) {
    // Every (Y, Cb, Cr): a row of the 256 luma values per chroma pair, from
    // separate planes, against the same row converted in place.
    std::vector<uint8_t> y(256), cb(256), cr(256), planes(3 * 256), pixels(3 * 256);
    for (int i = 0; i < 256; ++i) y[i] = static_cast<uint8_t>(i);
    for (int blue = 0; blue < 256; ++blue) {
        for (int red = 0; red < 256; ++red) {
            std::fill(cb.begin(), cb.end(), static_cast<uint8_t>(blue));
            std::fill(cr.begin(), cr.end(), static_cast<uint8_t>(red));
            jpegConvertYCbCrPlanes(y.data(), cb.data(), cr.data(), 256, planes.data());
            for (int i = 0; i < 256; ++i) {
                pixels[3 * i] = y[i];
                pixels[3 * i + 1] = cb[i];
                pixels[3 * i + 2] = cr[i];
            }
            jpegConvertYCbCr(pixels.data(), 3 * 256, 256, 1);
            ASSERT_EQ(planes, pixels) << "Cb " << blue << " Cr " << red;
        }
    }
}

TEST(JpegYCbCr, PlanesOfAnyLengthConvertEveryPixelAndNoMore) {
    // Lengths around the sixteen-pixel groups; the byte after the row stays.
    for (int count : {1, 15, 16, 17, 31, 32, 33, 47}) {
        std::vector<uint8_t> y(count), cb(count), cr(count), out(3 * count + 1, 0xEE);
        for (int i = 0; i < count; ++i) {
            y[i] = static_cast<uint8_t>(i * 7);
            cb[i] = static_cast<uint8_t>(255 - i * 5);
            cr[i] = static_cast<uint8_t>(i * 11 + 3);
        }
        jpegConvertYCbCrPlanes(y.data(), cb.data(), cr.data(), count, out.data());
        for (int i = 0; i < count; ++i) {
            uint8_t pixel[3] = {y[i], cb[i], cr[i]};
            jpegConvertYCbCr(pixel, 3, 1, 1);
            EXPECT_EQ(out[3 * i], pixel[0]) << count << " " << i;
            EXPECT_EQ(out[3 * i + 1], pixel[1]) << count << " " << i;
            EXPECT_EQ(out[3 * i + 2], pixel[2]) << count << " " << i;
        }
        EXPECT_EQ(out[3 * count], 0xEE) << count;
    }
    // (128, 128, 128) from planes too: red 129, green 127, blue 129.
    const uint8_t grey[16] = {128, 128, 128, 128, 128, 128, 128, 128,
                              128, 128, 128, 128, 128, 128, 128, 128};
    uint8_t out[48];
    jpegConvertYCbCrPlanes(grey, grey, grey, 16, out);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(out[3 * i], 129);
        EXPECT_EQ(out[3 * i + 1], 127);
        EXPECT_EQ(out[3 * i + 2], 129);
    }
}
